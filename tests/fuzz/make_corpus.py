#!/usr/bin/env python3
"""Writes the fuzz targets' first inputs to tests/fuzz/corpus/, by names that say what they are.

What a fuzzer found later is added there by hand, beside a unit test of its own.
"""

import os
import struct

CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")

SUBSCRIBE, UNSUBSCRIBE, SET_REGION, SET_VISIBILITY, SET_PALETTE = 15360, 15362, 15364, 15366, 15368
REGION_DATA, VISIBILITY, PALETTE = 15129, 15132, 15133
REQUESTS = [
    "subscribe",
    "region",
    "visibility",
    "palette",
    "subscribe",
    "unsubscribe",
    "invert",
    "refresh",
    "sensor",
    "get level",
    "set level",
    "ping",
]
ITEMS = {"region": 0, "visibility": 1, "palette": 2}


def u32(number):
    return struct.pack(">I", number)


def write(target, name, content):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as file:
        file.write(content)


# Rows of choices, in the order in which the targets take them. 0 is the usual choice.


def record_choices(region, fields, data, claim=None):
    """A right payload; or, with a claim, one whose length is a lie."""
    lie = b"\0" if claim is None else b"\x09" + u32(claim)
    return b"\0" + bytes([region]) + bytes(fields) + bytes([len(data)]) + data + lie


def number_choice(number):
    return b"\0" + bytes([number])


def split_frame(kind, message, payload, claim=b"\0"):
    """A frame of the target frame_splitter."""
    return b"\0\0" + bytes([kind - 1, message - 15104, 0, len(payload)]) + payload + b"\x07" + claim


def service_frame(name, payload):
    """A frame of the target service, with a right length."""
    return b"\0\0\0\0" + bytes([REQUESTS.index(name)]) + payload + b"\x05\0"


def subscription(number, item):
    return b"\0" + number_choice(number) + b"\0" + bytes([ITEMS[item]])


def burst(client, *frames):
    return bytes([client, len(frames) - 1]) + b"".join(frames)


def frame_splitter():
    ping = split_frame(1, 15105, b"")
    region = split_frame(3, REGION_DATA, b"\x03\x00" + u32(4) + b"\x01\x02\x03\x04")
    cuts = b"\x01" * 24
    write("frame_splitter", "one_frame_byte_by_byte", ping + cuts)
    write("frame_splitter", "two_frames_in_one_piece", ping + region + b"\xfc" * 8)
    write(
        "frame_splitter",
        "a_frame_longer_than_a_block",
        b"\0\0\x02\x00\x3f\xff\x3f" + b"pixel" * 12 + b"abc\x07\0" + b"\xfc" * 40,
    )
    write(
        "frame_splitter",
        "a_length_too_large",
        split_frame(1, 15105, b"abc", b"\x09\x01" + u32(16777217)) + cuts,
    )
    write(
        "frame_splitter",
        "a_length_too_small",
        split_frame(1, 15105, b"abcd", b"\x09\0\x7e") + ping + cuts,
    )
    write("frame_splitter", "no_frame_at_all", b"\x0f\x20" + b"GET / HTTP/1.1\r\n\r\n" + cuts)


def records():
    for target, prefix in (("region_record", b"\x03\x02"), ("palette_record", b"\x03\x1f\x01")):
        write(target, "three_bytes", prefix + u32(3) + b"\x01\x02\xff")
        write(target, "empty", prefix + u32(0))
        write(target, "length_too_large", prefix + u32(4) + b"\x01\x02\xff")
        write(target, "length_too_small", prefix + u32(2) + b"\x01\x02\xff")
        write(target, "largest_length", prefix + u32(0xFFFFFFFF) + b"\x01")
        write(target, "cut_in_the_length", prefix + b"\0\0")
    write("palette_record", "fill_of_another_value", b"\x0e\xff\x80" + u32(4) + b"\x10\x80\x80\0")
    for name, payload in (
        ("visible", b"\x03\x01"),
        ("hidden", b"\x0e\0"),
        ("visible_as_255", b"\0\xff"),
        ("too_short", b"\x03"),
        ("too_long", b"\x03\x01\0"),
    ):
        write("visibility_record", name, payload)


def service():
    everything = burst(
        0,
        service_frame("subscribe", subscription(1, "region")),
        service_frame("subscribe", subscription(6, "visibility")),
        service_frame("subscribe", subscription(10, "palette")),
    )
    region = service_frame("region", record_choices(3, [0], b"\0\x01\x02\xff"))
    palette = service_frame("palette", record_choices(2, [31, 1], b"\x10\xff"))
    visibility = service_frame("visibility", b"\0\x03\x01")
    refresh = service_frame("refresh", b"\0")
    invert = service_frame("invert", b"\0" + number_choice(3))
    changes = burst(1, region, palette, visibility, invert)
    write(
        "service",
        "everything_published_to_another",
        b"\0" + everything + changes + burst(1, refresh),
    )
    write("service", "with_garbage_between", b"\x08" + everything + changes)
    write("service", "refusing_subscriptions", b"\x02" + everything + changes)
    write("service", "refusing_refresh", b"\x04" + everything + changes + burst(0, refresh))
    write(
        "service",
        "refusing_sensors",
        b"\x06" + burst(2, service_frame("sensor", b"\0" + number_choice(5) + b"\x01")),
    )
    write(
        "service",
        "unsubscribed_by_one_number",
        b"\0"
        + everything
        + burst(0, service_frame("unsubscribe", b"\0" + number_choice(1)))
        + changes,
    )
    write(
        "service",
        "log_level_set_and_read",
        b"\0"
        + burst(
            0,
            service_frame("set level", b"\0" + number_choice(9)),
            service_frame("get level", b"\0"),
        ),
    )
    write(
        "service",
        "regions_that_do_not_exist",
        b"\0"
        + burst(
            0,
            service_frame("region", record_choices(15, [0], b"\x01")),
            service_frame("invert", b"\0" + number_choice(0)),
        ),
    )
    write(
        "service",
        "a_record_that_lies",
        b"\0"
        + everything
        + burst(1, service_frame("region", record_choices(3, [0], b"\x01", 0xFFFFFFFF)), region),
    )
    write(
        "service",
        "no_frame_at_all",
        b"\0" + everything + b"\x01\0\x3f\x10" + b"no frame at all!" + changes,
    )
    write("service", "a_client_that_ends_sending", b"\0" + everything + b"\0\xfc" + changes)
    write("service", "a_client_that_goes", b"\0" + everything + b"\0\xf8" + changes)
    write("service", "quit_between_requests", b"\0" + everything + b"\x01\0\0\x7f" + changes)


def endpoint_notification(item, number, payload):
    """A step in which the service publishes one record."""
    return (
        b"\x07\0\0\0" + b"\0\0" + bytes([ITEMS[item]]) + b"\0" + bytes([number]) + payload + b"\0"
    )


def endpoint_subscription(number, item, answer=b"\x07"):
    return b"\x01" + bytes([number]) + b"\0" + bytes([ITEMS[item]]) + answer


def endpoint_request(request, answer):
    """A request: 0 ping to 6 sensor, and what is answered."""
    return b"\x03" + bytes([request]) + b"\x03abc\0" + answer


def endpoint():
    everything = (
        endpoint_subscription(1, "region")
        + endpoint_subscription(6, "visibility")
        + endpoint_subscription(10, "palette")
    )
    region = endpoint_notification("region", 4, record_choices(3, [2], b"\0\x01\x02\x03"))
    lie = endpoint_notification("region", 4, record_choices(3, [2], b"\x01", 0xFFFFFFFF))
    visibility = endpoint_notification("visibility", 6, b"\0\x03\x01")
    palette = endpoint_notification("palette", 10, record_choices(2, [31, 1], b"\x10\xff"))
    hang_up = b"\0\0"
    write("endpoint", "subscribed_to_everything", everything + region + visibility + palette)
    write("endpoint", "subscribed_to_nothing", region + visibility + palette)
    write(
        "endpoint", "a_record_that_lies_between_good_ones", everything + region + lie + visibility
    )
    write("endpoint", "unsubscribed_by_one_number", everything + b"\x02\x01\x07" + region + palette)
    write(
        "endpoint", "a_refused_subscription", endpoint_subscription(4, "region", b"\x01") + region
    )
    write(
        "endpoint",
        "a_lost_connection",
        everything + hang_up + endpoint_request(0, b"\x07") + region,
    )
    for number, name in enumerate(
        [
            "none",
            "refused",
            "another_message",
            "an_old_one",
            "of_nobody",
            "of_any_bytes\x05abcde",
            "twice",
            "right",
        ]
    ):
        name, _, extra = name.partition("\x05")
        answer = bytes([number]) + (b"\x05" + extra.encode() if extra else b"")
        write(
            "endpoint", "answers_" + name, b"".join(endpoint_request(r, answer) for r in range(7))
        )


def texts():
    sessions = {
        "left_at_once": "x",
        "every_key_and_left": "1\n2\ns\nc\nr\nk\n9\nZ\nq\n",
        "input_ends_in_the_menu": "s\n",
        "region_data_from_a_file": "3\n4\nbits\n1500\nx\n",
        "region_data_from_no_file": "3\n4\nnone\n5\nx\n",
        "region_data_of_4_gib": "3\n1\nbits\n4294967295\nx\n",
        "visibility": "4\n14\nyes\n4 300 f\nx",
        "rgb_palette_with_transparent_entry": "5\n2\npal\nt\nt\n255\nx\n",
        "rgb_palette_entry_out_of_range": "5\n2\npal\nt\nt\n256\nx\n",
        "rgb_palette_with_a_nul_byte_in_its_name": "5\n2\npal\0\nt\nf\nx\n",
        "rgb_palette_that_is_too_short": "5\n2\nshort\nt\nt\n0\nx\n",
        "palette_as_it_is": "5\n2\npal\nf\n31\nt\nx\n",
        "dynamic_test": "7\n3\n1 250\n2 8\n3 100\n4 10\n5\ns\n?\nx\nx\n",
        "dynamic_test_of_no_size": "7\n3\n3 0\n4 0\nx\nx\n",
        "sensor_test": "8\n1234567890nmcsMx\nx\n",
        "number_that_is_none": "6\nabc\nx\n",
        "number_out_of_range": "6\n99999999999\nx\n",
        "input_ends_in_a_number": "7\n",
        "input_ends_in_a_file_name": "3\n1\nbi",
        "all_on_one_line": "4 1 t 6 1 sx",
    }
    for name, keys in sessions.items():
        write("console", name, keys.encode())
    write("console", "bytes_of_every_kind", bytes(range(256)))

    scenarios = {
        "all_directives": "wait-subscribers 10 # first\nregion-data 3 2 00010203ff\n"
        "visibility 3 t\npalette 2 31 t 10ff\nsleep 500\n",
        "from_a_file": "region-data 1 0 @bitmap\npalette 1 0 f @empty\n",
        "no_data": "region-data 1 255 -\npalette 1 0 f -\n",
        "odd_hex": "region-data 1 0 abc\n",
        "number_too_large": "visibility 1 t\nregion-data 256 0 00\n",
        "unknown_directive": "\n# comment\n\x1b[2Jclear\n",
        "too_many_words": "sleep 1 2\n",
        "no_such_subscription": "wait-subscribers 5\n",
        "no_such_file": "region-data 1 0 @nothing\n",
        "line_without_end": "sleep 4294967295",
        "only_blanks": " \t\r\n#\n",
    }
    for name, text in scenarios.items():
        write("scenario", name, text.encode())


def names_and_log():
    longest = "n" * 255
    for name in [
        "SubtitleMgr",
        "node1/SubtitleMgr",
        "a/b/c",
        longest,
        longest + "n",
        "",
        "/",
        "a//b",
        ".",
        "..",
        "../outside/SubtitleMgr",
        "link/SubtitleMgr",
        "socket",
        "a/",
        "./a",
        "a\nb",
        "a\x7f",
        "a\0b",
        "\xe4",
    ]:
        title = name[:24] + ("_and_one_more" if len(name) == 256 else "")
        title = "".join(c if c.isalnum() else "_" for c in title) or "empty"
        write("names_and_log", "listen_" + title, b"\0" + name.encode("latin-1"))
        write("names_and_log", "connect_" + title, b"\x01" + name.encode("latin-1"))
    for title, parts in [
        ("longer_than_a_path", ["d" * 200] * 21),
        ("of_very_many_parts", ["d"] * 300),
    ]:
        write(
            "names_and_log", "listen_" + title, b"\0" + "/".join([*parts, "SubtitleMgr"]).encode()
        )
    for title, text in [
        ("plain", b"Successfully opened file pal.bin"),
        ("escape", b"\x1b[31mred\x1b[0m"),
        ("second_control_range", b"\x9b31m \xc2\x9b31m"),
        ("umlauts", "Grüße".encode()),
        ("cut_letter", b"a\xe2\x82"),
        ("lines", b"one\ntwo\r\n"),
        ("empty", b""),
        ("longer_than_an_entry", b"0123456789abcdef" * 600),
        ("other_ranges", b"\xf5\xff\xc0\x80"),
    ]:
        write("names_and_log", "log_" + title, b"\x02" + text)


def command_line():
    usual = [
        "-p",
        "-q",
        "-h",
        "-i",
        "-c",
        "-e",
        "node1",
        "-l",
        "-s",
        "63",
        "--ping",
        "--quit",
        "--help",
        "--usage",
        "--interactive",
        "--conn",
        "--log",
        "--set=8",
        "--connection=",
        "--",
        "-",
        "-pe",
        "--l",
        "--ping=now",
        "-e/../up",
        "--config",
        "",
        "--u",
        "-pqc",
        "-s-1",
    ]
    for line in [
        "-p",
        "-q",
        "-h",
        "--usage",
        "-i -p",
        "-c -p",
        "-e node1 -p",
        "-l -p",
        "-s 63 -p",
        "--quit -- -p",
        "-p node1 -q",
        "-- -p",
        "-",
        "--set=8",
        "--connection= -p",
        "-e",
        "-pe",
        "--l",
        "--ping=now",
        "--config",
        "-pqc",
        "-s-1",
        "-e/../up -p",
        "--u",
        "--interactive --quit",
    ]:
        name = "".join(c if c.isalnum() else "_" for c in line).strip("_") or "dash"
        name += "_alone" if line in ("-", "--l", "--u") else ""
        write("command_line", name, bytes(usual.index(word) for word in line.split()))
    write("command_line", "no_option", b"")
    write("command_line", "any_words", b"\xc8zx=\xff\x01--p\xea\xe4ping now\xc3pqi")


def generated_bytes():
    write(
        "generated_bytes",
        "palette_of_white_black_and_odd_bytes",
        b"\0" + b"\xff\xff\xff\x07" + b"\0\0\0\x09" + b"\x01\x80\xfe\x0a" + b"\x01\x02\x03",
    )
    write("generated_bytes", "palette_of_every_byte", b"\0" + bytes(range(256)))
    write("generated_bytes", "no_palette", b"\0")
    for name, width, height in [
        ("default", b"\x03\x07\x01", b"\x03\x03\x01"),
        ("one_segment", b"\x03\0\x01", b"\x03\0\x01"),
        ("too_wide", b"\x03\0\x02", b"\x03\x01\x01"),
        ("no_width", b"\x01\0", b"\x03\x01\x01"),
        ("no_height", b"\x03\0\x01", b"\x01\0"),
        ("single_pixels", b"\x01\x01", b"\x01\x01"),
        ("of_100_by_10", b"\x01\x64", b"\x01\x0a"),
        ("largest", b"\0" + b"\xff" * 4, b"\0" + b"\xff" * 4),
    ]:
        write("generated_bytes", "pattern_" + name, b"\x01\xfa\x08" + width + height + b"\0before")
    write(
        "generated_bytes",
        "pattern_over_a_short_bitmap",
        b"\x01\x01\x01\x03\0\x02\x03\0\x02\x03" + u32(100) + b"xyz",
    )
    write(
        "generated_bytes",
        "pattern_over_a_long_bitmap",
        b"\x01\x01\x01\x03\x04\x01\x03\x03\x01\x03" + u32(40000) + b"xyz",
    )


def main():
    for make in (
        frame_splitter,
        records,
        service,
        endpoint,
        texts,
        names_and_log,
        command_line,
        generated_bytes,
    ):
        make()


if __name__ == "__main__":
    main()
