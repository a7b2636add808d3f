"""The page drops peers that do nothing."""

import contextlib
import socket

from pytest_subtitle import SECONDS

REQUEST = b"GET /about HTTP/1.1\r\nHost: localhost\r\n\r\n"


def test_idle_peers_are_dropped(serve, recording, tmp_path):
    address, _ = serve(recording.write(tmp_path / "drive.jsonl"))
    port = int(address.rstrip("/").rpartition(":")[2])
    with contextlib.ExitStack() as stack:
        peers = []
        for request in (b"", REQUEST[:20], REQUEST):
            peer = socket.create_connection(("127.0.0.1", port), SECONDS)
            peers.append(stack.enter_context(peer))
            peer.sendall(request)
        for peer in peers:
            while peer.recv(65536):  # until its end, or the limit of time
                pass
