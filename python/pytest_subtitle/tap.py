"""A tap, which receives the notifications of a service."""

import subprocess

from .json_lines import JsonLines
from .limits import SECONDS, await_growth

__tracebackhide__ = True


class Tap:
    """One SubtitleMgrTap with every subscription."""

    def __init__(self, workspace, launcher=()):
        self.recording = JsonLines(workspace.new_path("tap"))
        self.awaited = 0  # so many notifications were taken by await_notification
        command = [workspace.program("SubtitleMgrTap"), "--json", "--output", self.recording.path]
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen(
            [*launcher, *command],
            env=workspace.environment(),
            cwd=workspace.files,
            stdin=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
        )

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def await_subscriptions(self):
        """Waits until it has subscribed; then it writes the header."""
        self._wait_for(self.recording.read, "the tap's subscriptions", SECONDS)

    def notifications(self):
        """The notifications so far, each as the recording's object."""
        return self.recording.read()[1:]

    def await_notification(self, kind, within=SECONDS, **fields):
        """Waits for the first such notification after the last one that was awaited.

        Returns it. The kind is RegionData, RegionVisibility or Palette.
        """
        wanted = {"notification": kind, **fields}

        def found():
            received = self.notifications()
            for at in range(self.awaited, len(received)):
                if wanted.items() <= received[at].items():
                    self.awaited = at + 1
                    return received[at]
            return None

        return self._wait_for(found, "a notification with %s" % wanted, within)

    def _wait_for(self, found, what, within):
        def look():
            has_ended = self.process.poll() is not None
            result = found()
            if not result and has_ended:
                raise RuntimeError("the tap has ended: %s" % self.process.stderr.read().decode())
            return result

        return await_growth(look, what, within)
