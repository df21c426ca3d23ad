#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets into corpus/: one small input for each shape that a target's input can have.

Inputs that a fuzzer found are put beside them by hand, under other names; this script leaves them alone.
"""

import struct
from pathlib import Path

CORPUS = Path(__file__).parent / "corpus"


def write(target, name, data):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(data)


# ---- Monitor items and poll responses


def can_item(time, identifier, flags, data):
    return struct.pack("<QIBBBB", time, identifier, flags, 0, min(len(data), 15), len(data)) + data


def lin_item(time, identifier, flags, data):
    return struct.pack("<HHQBBBBI", 20 + len(data), 0, time, flags, len(data), identifier, 0, 416667) + data


def flexray_item(time, kind, slot, data):
    return struct.pack("<HHQBBHBBH", 20 + len(data), kind, time, 0, 0, slot, 1, len(data) // 2, 77) + data


def ethernet_item(time, kind, flags, data):
    return struct.pack("<HHQBBH", 16 + len(data), kind, time, flags, 0, len(data)) + data


def padded(items):
    return b"".join(item + bytes(-len(item) % 4) for item in items)


def response(bus, items):
    if bus == "can":
        return bytes(4) + padded(items)
    if bus == "flexray":
        return bytes(8) + padded(items)
    return bytes(4) + struct.pack("<HH", len(items), 0) + b"".join(items)


ITEMS = {
    "can": [
        can_item(200, 0x123, 0, b"\x01\x02"),
        can_item(100, 0x80000124, 1, bytes(range(8))),
        can_item(300, 0x40000125, 0x28, bytes(range(64))),
        can_item(400, 0, 4, b"\x03"),
        can_item(500, 0, 0x10, b"\x00"),
    ],
    "lin": [
        lin_item(200, 0x11, 0, b"\x01\x02\xFC"),
        lin_item(100, 0x12, 0x40, bytes(range(9))),
        lin_item(300, 0, 0x20, b""),
    ],
    "flexray": [
        flexray_item(200, 1, 5, bytes(8)),
        flexray_item(100, 2, 6, bytes(range(254))),
        flexray_item(300, 4, 0, b""),
        flexray_item(400, 7, 3, b""),
    ],
    "ethernet": [
        ethernet_item(200, 1, 0, bytes(60)),
        ethernet_item(100, 1, 1, bytes(range(64))),
        ethernet_item(300, 2, 0, b"note"),
    ],
}


def poll_seeds():
    for bus, items in ITEMS.items():
        target = f"{bus}_poll"
        whole = response(bus, items)
        write(target, "empty-response", b"\x00" + response(bus, []))
        write(target, "one-item", b"\x00" + response(bus, items[:1]))
        write(target, "all-kinds", b"\x00" + whole)
        write(target, "two-responses", b"\x01" + whole + whole)
        write(target, "four-responses", b"\x03" + 4 * response(bus, items[:1]))
        write(target, "last-item-cut", b"\x00" + whole[:-3])
        write(target, "length-beyond-the-bytes", b"\x04\xA0" + whole)
        write(target, "length-too-short", b"\x04\x05" + whole)


# ---- Records


def record(bus, time, payload, channel=1):
    return struct.pack("<IIQQB3x", 28 + len(payload), channel, time, 0, bus) + payload


def lin_record(item):
    size = max(item[13], 1)
    data = item[20:][:9].ljust(9, b"\0")
    payload = struct.pack("<HHBBB", 0, item[12], size, item[14], 0) + data + item[16:20]
    return record(1, struct.unpack_from("<Q", item, 4)[0], payload)


def records():
    made = [record(0, struct.unpack_from("<Q", item)[0], item) for item in ITEMS["can"]]
    made += [lin_record(item) for item in ITEMS["lin"]]
    made += [record(2, struct.unpack_from("<Q", item, 4)[0], item) for item in ITEMS["flexray"]]
    made += [record(3, struct.unpack_from("<Q", item, 4)[0], item) for item in ITEMS["ethernet"]]
    return made


def with_length(data):
    return struct.pack("<H", len(data)) + data


def swap_file_seeds():
    everything = b"".join(records())
    settings = bytes(16)
    whole = (everything * 3)[: len(everything) * 3]
    write("swap_file", "more-than-was-swapped", settings + whole)
    write("swap_file", "fewer-than-were-swapped", settings + everything)
    write("swap_file", "nothing", b"")
    write("swap_file", "last-record-cut", settings + everything[:-1])
    write("swap_file", "length-0", settings + everything + bytes(40))
    write("swap_file", "length-beyond-the-file", settings + everything + b"\xFF\xFF\xFF\x7F")
    write("swap_file", "length-27", settings + records()[0] + struct.pack("<I", 27) + bytes(23))
    write("swap_file", "series-of-files", bytes([5, 0, 1, 15, 0, 1, 0, 0]) + bytes(8) + whole)
    write("swap_file", "small-buffer", bytes([0, 0, 0, 100, 0, 1, 1]) + bytes(9) + whole)


def asc_seeds():
    for flags in range(16):
        head = struct.pack("<BQH", flags, 150, 0)
        write("asc_entries", f"all-kinds-flags-{flags:x}", head + b"".join(with_length(r) for r in records()))
    cut = b"".join(with_length(r[: 28 + 3 * i]) for i, r in enumerate(records()))
    write("asc_entries", "cut-records", struct.pack("<BQH", 0, 0, 0) + cut)
    write("asc_entries", "long-frame", struct.pack("<BQH", 9, 0, 0) + with_length(record(3, 7, ethernet_item(7, 1, 0, bytes(1500)))))


def pcapng_seeds():
    items = b"".join(
        struct.pack("<B", 4 * channel) + with_length(item) for channel, item in enumerate(ITEMS["ethernet"])
    )
    write("pcapng_export", "frames-and-custom", struct.pack("<BQ", 0, 0) + items)
    write("pcapng_export", "from-a-start-time", struct.pack("<BQ", 1, 150) + items)
    write("pcapng_export", "other-bus", struct.pack("<BQ", 0, 0) + b"\x01" + with_length(ITEMS["flexray"][0]))
    write("pcapng_export", "cut-item", struct.pack("<BQ", 0, 0) + b"\x04" + with_length(ITEMS["ethernet"][0][:15]))


if __name__ == "__main__":
    poll_seeds()
    swap_file_seeds()
    asc_seeds()
    pcapng_seeds()
