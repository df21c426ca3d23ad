#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets into corpus/: one small input for each shape that a target's input can have.

Inputs that a fuzzer found are put beside them by hand, under other names; this script leaves them alone.
"""

import gzip
import struct
import zlib
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


def compare_seeds():
    """Settings, then 6 bytes for each record: its time step, kind, data, identifier and channel."""
    drive = b"".join(bytes([20, 5, 1, number, number % 3, 0]) for number in range(60))
    jumps = b"".join(bytes([30 - number % 5, number % 8, number % 4, 1, number % 3, number % 2, 0]) for number in range(60))
    for name, settings in (("exact", bytes([0, 0, 0, 0, 10, 1])), ("without-times", bytes([1, 0, 0, 0, 10, 1])),
                           ("tolerance", bytes([0, 1, 0, 0, 1, 0, 0, 0, 10, 1])),
                           ("as-kept", bytes([0, 0, 0, 1, 15, 10, 1]))):
        write("compare", name, settings + b"\x02" + drive)
        write("compare", name + "-out-of-order", settings[:-1] + b"\x00\x03" + jumps)


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


def bin_seeds():
    everything = b"".join(records())
    write("bin_file", "all-kinds", everything)
    write("bin_file", "nothing", b"")
    write("bin_file", "last-record-cut", everything[:-1])
    write("bin_file", "length-27", everything + struct.pack("<I", 27) + bytes(23))
    write("bin_file", "length-beyond-any-entry", everything + struct.pack("<I", 28 + 65536) + bytes(24))


def pcapng_client_seeds():
    everything = b"".join(with_length(r) for r in records())
    write("pcapng_client", "all-kinds", b"\x00" + everything)
    write("pcapng_client", "ethernet-only", b"\x01" + everything)
    write("pcapng_client", "flushed-between", b"\x00" + b"\xFF\xFF".join(with_length(r) for r in records()))
    write("pcapng_client", "cut-records", b"\x00" + b"".join(with_length(r[: 28 + 3 * i]) for i, r in enumerate(records())))
    write("pcapng_client", "unknown-bus", b"\x00" + with_length(record(4, 1, b"payload")))
    both = bytearray(record(2, 5, flexray_item(5, 1, 7, bytes(6))))
    both[40] = 2
    write("pcapng_client", "both-flexray-channels", b"\x00" + with_length(bytes(both)))


def asc_client_seeds():
    everything = b"".join(with_length(r) for r in records())
    for options in range(8):
        write("asc_client", f"all-kinds-options-{options}", bytes([options]) + everything)
    write("asc_client", "cut-records", b"\x00" + b"".join(with_length(r[: 28 + 3 * i]) for i, r in enumerate(records())))
    write("asc_client", "unknown-bus", b"\x00" + with_length(record(4, 1, b"payload")))


def source_seeds():
    for name, text in {
        "plain": "can",
        "options": "can?seed=7&load=80&duration=1h30m&speed=2.5&buffer=100",
        "fastest": "can?speed=max",
        "script": "script?type=13&instance=3",
        "path": "candump:/tmp/a b.log?interface=can0&origin=absolute&direction=tx",
        "twice": "can?seed=1&seed=2",
        "no-value": "can?seed",
        "unknown-kind": "bus:x",
        "fraction": "can?duration=0.5s&speed=0.001",
        "overflow": "can?seed=18446744073709551616",
    }.items():
        write("source_text", name, text.encode())


def candump_seeds():
    for name, text in {
        "classic": "(1.5) can0 123#0102\n(1.6) can0 7FF#\n",
        "extended": "(1.5) can0 00000123#aBcD\n(1.4) can0 1FFFFFFF#1122334455667788\n",
        "fd": "(1.5) can0 123##1" + "00" * 64 + "\n(1.7) can0 123##3001122\n",
        "remote": "(1.5) can0 123#R\n(1.5) can0 123#R8_F\n",
        "error-frame": "(1.5) can0 20000080#0000000000000000\n",
        "directions": "(1.5) can0 123#01 T\n(1.5) can0 123#01 R\n",
        "two-interfaces": "(2.000000001) can1 1#\n(1.999999999) can0 2#\n(2.0) can1 3#\n",
        "crlf-and-blanks": "(1.5) can0 123#01\r\n \t\r\n\n(1.6)  can0\t123#02\r\n",
        "latest-time": "(18446744072.999999999) can0 1#\n",
        "bad-line": "(1.5) can0 123#01\nnonsense\n",
    }.items():
        write("candump", name, text.encode())


def csv_seeds():
    head = "timestamp_ns,channel,kind,flags,id,cycle,crc,data\n"
    for name, control, lines in (
        ("lin", 0, "0,1,frame,,0x11,,,0102\n1000,1,frame,tx,0x12,,52,\n"),
        ("flexray", 0, "0,A,frame,,5,1,0x123,01020304\n500,AB,frame,tx|startup|sync,6,2,7,\n"),
        ("both-buses", 1, "5,2,frame,,1,,,00\n6,A,frame,,5,1,1,0102\n"),
        ("lin-of-both", 3, "5,2,frame,,1,,,00\n6,A,frame,,5,1,1,0102\n"),
        ("out-of-order", 8, "9000,1,frame,,1,,,aa\n100,1,frame,,2,,,bb\n"),
        ("columns-missing", 0, "1,2,3\n"),
        ("lin-events", 0, "0,1,wakeup,,,,,\n7,1,trigger,rising,,,,\n8,1,no_response,,3,,,\n9,1,sync_error,,,,,\n"),
        ("lin-errors", 0, "0,1,checksum_error,,3,,,01\n1,1,parity_error,,3,,,\n2,1,transmit_error,,3,,,02\n"),
        ("flexray-events", 0, "0,A,start_of_cycle,,,11,,\n1,A,state,halt,,,,\n2,B,symbol,,,,,\n3,A,overrun,,,,,\n"),
        ("flexray-errors", 0, "0,A,nit_syntax_error,,,1,,\n1,B,content_error,,9,2,,\n"),
    ):
        write("csv", name, bytes([control]) + (head + lines).encode())


def pcap_seeds():
    def packet(second, frame):
        return struct.pack("<IIII", second, 5, len(frame), len(frame)) + frame

    head = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1)
    frames = packet(2, bytes(60)) + packet(1, bytes(range(64)))
    write("pcap", "microseconds", b"\0" + head + frames)
    write("pcap", "nanoseconds", b"\1" + struct.pack("<I", 0xA1B23C4D) + head[4:] + frames)
    write("pcap", "cut", b"\0" + head + frames[:-5])
    write("pcap", "other-link-type", b"\0" + head[:20] + struct.pack("<I", 227) + frames)
    write("pcap", "big-endian", b"\2" + struct.pack(">IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))

    def block(kind, body):
        length = struct.pack("<I", len(body) + 12)
        return struct.pack("<I", kind) + length + body + length

    section = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))
    interface = block(1, struct.pack("<HHI", 1, 0, 65535) + struct.pack("<HHB3xHH", 9, 1, 9, 0, 0))
    enhanced = block(6, struct.pack("<IIIII", 0, 0, 77, 60, 60) + bytes(60))
    write("pcap", "pcapng", b"\0" + section + interface + enhanced + enhanced)
    write("pcap", "pcapng-without-interface", b"\0" + section + enhanced)


def packet_input_seeds():
    def block(kind, body, order="<"):
        length = struct.pack(order + "I", len(body) + 12)
        return struct.pack(order + "I", kind) + length + body + length

    def option(code, value):
        return struct.pack("<HH", code, len(value)) + value + bytes(-len(value) % 4)

    def packet(interface, time, data, options=b""):
        head = struct.pack("<IIIII", interface, 0, time, len(data), len(data))
        return block(6, head + data + bytes(-len(data) % 4) + options)

    end = bytes(4)
    section = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1) + option(1, b"title\nrecorded by me on it") + end)
    ns = option(9, b"\x09")
    interfaces = b"".join(
        block(1, struct.pack("<HHI", link, 0, 0) + option(2, name) + ns + end)
        for link, name in ((227, b"CAN-1"), (212, b"LIN-2"), (210, b"FR-3"), (1, b"eth0"), (147, b"other"))
    )
    can = b"\0\0\x01\x23\x02\0\0\0\xA1\xA2"
    error = b"\x20\0\0\x08\x08\0\0\0" + bytes([0, 0, 4, 0, 0, 0, 0, 0])
    lin = b"\x01\0\0\0\x21\x50\xAC\0\x01\x02"
    flexray = b"\x01\0\x20\x03\x02\0\0\x07\x08"
    lost = option(4, struct.pack("<Q", 3)) + option(1, b"LOST: 3 items came too late, 2026-11-21T12:00:00.1Z to 2026-11-21T12:00:00.2Z") + end
    whole = section + interfaces + packet(0, 1, can) + packet(0, 2, error) + packet(1, 3, lin) + packet(2, 4, flexray)
    whole += packet(2, 4, b"\x81" + flexray[1:]) + packet(3, 5, bytes(range(64)), lost) + packet(4, 6, b"x")
    write("packet_input", "pcapng-all-buses", whole)
    write("packet_input", "pcapng-cut", whole[:-7])
    write("packet_input", "pcapng-two-sections", whole + whole)
    others = block(3, struct.pack("<I", 60) + bytes(60)) + block(2, struct.pack("<HHIIII", 3, 1, 0, 7, 4, 9) + bytes(4))
    statistics = block(5, struct.pack("<III", 0, 0, 9) + option(5, struct.pack("<Q", 7)) + end)
    custom = block(0x40000BAD, struct.pack("<I", 0) + b"note")
    write("packet_input", "pcapng-other-blocks", section + interfaces + others + statistics + custom + block(77, b""))
    export = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, 44) + option(4, b"Norvik electronic Qor-API Trace Dll") + end)
    described = struct.pack("<HHI", 1, 0, 1522) + option(2, b"12") + ns + end
    length = struct.pack("<I", len(described) + 16)
    excessive = struct.pack("<I", 1) + length + described + length
    write("packet_input", "pcapng-export", export + excessive + packet(0, 8, bytes(60)) + custom)
    big = block(0x0A0D0D0A, struct.pack(">IHHq", 0x1A2B3C4D, 1, 0, -1), ">") + block(1, struct.pack(">HHI", 1, 0, 0), ">")
    big += block(6, struct.pack(">IIIII", 0, 0, 7, 4, 4) + b"abcd", ">")
    write("packet_input", "pcapng-big-endian", big)
    for order, name in (("<", "little"), (">", "big")):
        for magic, unit in ((0xA1B2C3D4, "microseconds"), (0xA1B23C4D, "nanoseconds")):
            head = struct.pack(order + "IHHiIII", magic, 2, 4, 0, 0, 65535, 1)
            data = struct.pack(order + "IIII", 1, 5, 60, 60) + bytes(60)
            write("packet_input", f"pcap-{name}-{unit}", head + data + data[:-5])
    write("packet_input", "pcap-check-sequence", struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 9, 0x24000001) + data)


# ---- Calls of the C interface, as c_interface_fuzz.cpp reads them


class Calls:
    def __init__(self):
        self.data = b""

    def add(self, call, *arguments):
        self.data += bytes([call]) + b"".join(arguments)
        return self

    def allocate(self):
        return self.add(0, b"\0")

    def delete(self, monitor=0):
        return self.add(1, bytes([monitor]))

    def add_channel(self, port, monitor=0):
        return self.add(2, bytes([monitor, port, 0, 0, 0]))

    def start(self, mode=0, monitor=0):
        return self.add(5, bytes([monitor, mode]))

    def stop(self, monitor=0):
        return self.add(6, bytes([monitor]))

    def deliver(self, port, times):
        items = b"".join(struct.pack("<HBB", time, i % 4, i % 9) for i, time in enumerate(times))
        return self.add(7, bytes([port, len(times) - 1]) + items)

    def get_items(self, monitor=0, start=0):
        return self.add(10, bytes([monitor, 0, start, 1, 1, 0]))

    def get_list(self, monitor=0, start=0):
        return self.add(12, bytes([monitor, 0, start, 1, 1, 0]))

    def set_number(self, identifier, number, monitor=0):
        return self.add(14, bytes([monitor, 0, identifier, 4, 0, number, 0, 0]))

    def set_text(self, identifier, text, monitor=0):
        return self.add(14, bytes([monitor, 0, identifier, 0, 0, 0, len(text)]) + text + b"\0")

    def flush(self, monitor=0):
        return self.set_text(2, b"", monitor)

    def export_asc(self, flags, monitor=0):
        return self.add(16, bytes([monitor, 0, flags, 0, 0, 2]))


def call_seeds():
    one = Calls().allocate().add_channel(0).start().deliver(0, [3, 1, 2]).get_items().get_list().stop().export_asc(0).delete()
    write("c_interface", "one-channel", one.data)
    four = Calls().allocate()
    for port in range(4):
        four.add_channel(port)
    four.start(1)
    for port in range(4):
        four.deliver(port, range(0, 20, 2))
    write("c_interface", "four-channels", four.get_list().stop().delete().data)
    swap = Calls().allocate().add_channel(1).set_number(4, 5).start()
    for first in range(0, 40, 4):
        swap.deliver(1, range(first, first + 4)).get_items(start=first)
    write("c_interface", "swapping", swap.stop().get_items().export_asc(8).flush().get_items().data)
    drop = Calls().allocate().add_channel(2).set_number(4, 7).start(2)
    for first in range(0, 40, 5):
        drop.deliver(2, range(first, first + 5))
    write("c_interface", "dropping-the-oldest", drop.get_items().stop().delete().data)
    live = Calls().allocate().add_channel(3).set_number(6, 50).start(1).deliver(3, range(9)).stop()
    nowhere = Calls().allocate().add_channel(3).set_text(5, b"").start(1).start(0).deliver(3, range(9)).stop()
    write("c_interface", "live-file-nowhere", nowhere.data)
    write("c_interface", "texts", Calls().allocate().set_text(9, b"some text").add(13, bytes([0, 0, 9, 39, 0, 0])).data)
    write("c_interface", "live-file-series", live.export_asc(1).data)
    three = Calls()
    for monitor in range(3):
        three.allocate().add_channel(monitor, monitor).start(0, monitor).deliver(monitor, [1, 2])
    write("c_interface", "three-monitors", three.delete(1).get_items(0).get_items(1).data)


# ---- Calls of the MDF blocks, as mdf_blocks_fuzz.cpp reads them


def mdf_insert(which, data):
    return bytes([0, which]) + struct.pack("<H", len(data)) + data


def mdf_seeds():
    for packed in (0, 1):
        head = bytes([packed, 1]) + struct.pack("<HH", 100, 500)
        name = "packed" if packed else "plain"
        records = b"".join(mdf_insert(i % 2, bytes(range(i, i + 40))) for i in range(40))
        write("mdf_blocks", f"{name}-many-blocks", head + records)
        write("mdf_blocks", f"{name}-nothing", head)
        write("mdf_blocks", f"{name}-flushes", head + 6 * (mdf_insert(0, b"abc") + bytes([7, 0]) + mdf_insert(1, b"de") + bytes([8, 1])))
        write("mdf_blocks", f"{name}-failing-flush", head + mdf_insert(0, b"abc") + bytes([10, 0]) + mdf_insert(0, b"def"))
        write("mdf_blocks", f"{name}-up-to-date", head + 3 * (mdf_insert(0, b"abc") + bytes([9, 0]) + bytes([11, 0]) + b"\1\0\1\3txt\2ev\1\5\0"))


def mdf_entries_seeds():
    made = b"".join(with_length(r) for r in records())
    write("mdf_entries", "all-kinds", b"\xFF\x01" + made)
    write("mdf_entries", "no-buses", b"\x00\x00" + made)
    write("mdf_entries", "standard-all-kinds", b"\xFF\x81" + made)
    for place, bus in enumerate(("can", "lin", "flexray")):  # much faster than with all of them
        of_bus = b"".join(with_length(r) for r in records() if r[24] == place)
        write("mdf_entries", f"{bus}-alone", bytes([1 << place, 0]) + of_bus)
    write("mdf_entries", "flushed-between", b"\xFF\x01" + b"\xFF\xFF".join(with_length(r) for r in records()))
    cut = b"".join(with_length(r[: 28 + 3 * i]) for i, r in enumerate(records()))
    write("mdf_entries", "cut-records", b"\xFF\x01" + cut)
    frame = bytearray(record(2, 200, ITEMS["flexray"][0]))
    of_channels = b"".join(with_length(frame[:40] + bytes([channel]) + frame[41:]) for channel in (0, 1, 2, 2, 3))
    write("mdf_entries", "flexray-on-both-channels-and-none", b"\xFF\x01" + of_channels)


# ---- What Linux says of its interfaces


def socket_message(frame, control=b""):
    kind = {16: 0, 72: 1}.get(len(frame), 2)
    return bytes([0, 0, len(frame), kind]) + frame + struct.pack("<H", len(control)) + control


def control_message(kind, content):
    message = struct.pack("<QII", 16 + len(content), 1, kind) + content
    return message + bytes(-len(message) % 8)


def classic_frame(identifier, data, dlc=0):
    return struct.pack("<IBxxB8s", identifier, len(data), dlc, data)


def linux_can_seeds():
    stamped = control_message(37, struct.pack("<6q", 1700000000, 1, 0, 0, 5, 6)) + control_message(40, struct.pack("<I", 7))
    messages = [
        socket_message(classic_frame(0x123, b"123"), stamped),
        socket_message(classic_frame(0x98FEF100, b"12345678", 12)),
        socket_message(classic_frame(0x40000123, b"1234")),
        socket_message(classic_frame(0x20000008, bytes([0, 0, 4, 0, 0, 0, 0, 0]))),
        socket_message(classic_frame(0x20000044, bytes([0, 1, 0, 0, 0, 0, 0, 0]))),
        socket_message(struct.pack("<IBBxx64s", 0x321, 64, 7, bytes(range(64)))),
        socket_message(b"no frame"),
    ]
    write("linux_can", "all-kinds", b"".join(messages))
    write("linux_can", "cut-control", socket_message(classic_frame(1, b""), stamped[:-9]))


def linux_packet_seeds():
    def packet(data, last, status=0, tag=0):
        size = (68 + len(data) + 15) // 16 * 16
        head = struct.pack("<IIIIIIHHIIHxx8x", 0 if last else size, 1700000000, 7, len(data), len(data), status, 68, 82, 0, tag, 0x8100)
        return (head + struct.pack("<HHiHBB8s", 17, 3, 2, 1, 4, 6, bytes(8)) + data).ljust(size, b"\0")

    packets = packet(bytes(60), False) + packet(bytes(range(100)), True, 0x50, 100)
    block = struct.pack("<IIIIIIQIIII", 1, 0, 1, 2, 48, 48 + len(packets), 1, 0, 0, 0, 0) + packets
    write("linux_packet", "two", block)
    write("linux_packet", "cut-off", block[:-30])


def linux_links_seeds():
    def attribute(kind, content):
        return struct.pack("<HH", 4 + len(content), kind) + content + bytes(-len(content) % 4)

    def message(kind, content):
        return struct.pack("<IHHII", 16 + len(content), kind, 0, 0, 0) + content

    def link(kind, name, info=b""):
        return message(16, struct.pack("<BxHiII", 0, kind, 1, 1, 0) + attribute(3, name + b"\0") + attribute(18, info))

    timing = struct.pack("<8I", 500000, 0, 0, 0, 0, 0, 0, 0)
    data = attribute(1, timing) + attribute(4, struct.pack("<I", 3)) + attribute(8, timing)
    can = link(280, b"can0", attribute(1, b"can\0") + attribute(2, data))
    write("linux_links", "can-and-ethernet", can + link(1, b"eth0") + message(3, bytes(4)))
    write("linux_links", "cut-off", can[:-20])


# ---- Measurement files, as mdf_reader_fuzz.cpp reads them


class Mdf:
    """A small file, block by block."""

    def __init__(self, finalized=True, version=410):
        self.bytes = bytearray((b"MDF     " if finalized else b"UnFinMF ") + b"4.10    seeds   ".ljust(20, b"\0"))
        self.bytes += struct.pack("<H", version) + bytes(30) + struct.pack("<HH", 0 if finalized else 5, 0)
        self.block(b"HD", [0] * 6, struct.pack("<Q24x", 1795262400 * 10**9))
        self.last = 64, 0

    def block(self, kind, links, data):
        self.bytes += bytes(-len(self.bytes) % 8)
        place = len(self.bytes)
        self.bytes += b"##" + kind + struct.pack("<IQQ", 0, 24 + 8 * len(links) + len(data), len(links))
        self.bytes += struct.pack(f"<{len(links)}Q", *links) + data
        return place

    def link(self, block, index, target):
        struct.pack_into("<Q", self.bytes, block + 24 + 8 * index, target)

    def text(self, text):
        return self.block(b"TX", [], text.encode() + b"\0" * (8 - len(text) % 8))

    def channels(self, channels):
        following = 0
        for name, kind, data_type, bit, bits, sync, parts, data in reversed(channels):
            fields = struct.pack("<BBBBIII52x", kind, sync, data_type, bit % 8, bit // 8, bits, 0x400)
            composition = self.channels(parts)
            following = self.block(b"CN", [following, composition, self.text(name), 0, 0, data, 0, 0], fields)
        return following

    def group(self, id_size, data, groups):
        first, last = 0, 0
        for name, number, count, flags, size, channels in groups:
            fields = struct.pack("<QQHHIII", number, count, flags, ord("."), 0, size, 0)
            place = self.block(b"CG", [0, self.channels(channels), self.text(name), 0, 0, 0], fields)
            if last:
                self.link(last, 0, place)
            first, last = first or place, place
        place = self.block(b"DG", [0, first, data, 0], bytes([id_size]) + bytes(7))
        self.link(*self.last, place)
        self.last = place, 0
        return last


def mdf_frames(kind=0, data=0):
    parts = [("ID", 0, 0, 64, 32, 0, [], 0), ("DataLength", 0, 0, 96, 8, 0, [], 0), ("DataBytes", kind, 10, 104, 64, 0, [], data)]
    return [("t", 2, 4, 0, 64, 1, [], 0), ("CAN_DataFrame", 0, 10, 64, 104, 0, parts, 0)]


def mdf_record(number, data=bytes(8)):
    return struct.pack("<dIB", number * 1e-3, 0x120 + number, 2) + data


def mdf_reader_seeds():
    records = b"".join(mdf_record(i, bytes([i] * 8)) for i in range(4))
    for name, finalized in (("fixed", True), ("fixed-unfinished", False)):
        file = Mdf(finalized)
        file.group(0, file.block(b"DT", [], records), [("CAN1", 0, 4, 6, 21, mdf_frames())])
        write("mdf_reader", name, bytes(file.bytes))
    packed = zlib.compress(records)
    file = Mdf()
    zipped = file.block(b"DZ", [], struct.pack("<2sBxIQQ", b"DT", 0, 0, len(records), len(packed)) + packed)
    listed = file.block(b"DL", [0, zipped], struct.pack("<BxxxIQ", 0, 1, 0))
    file.group(0, file.block(b"HL", [listed], bytes(8)), [("CAN1", 0, 4, 6, 21, mdf_frames())])
    write("mdf_reader", "packed", bytes(file.bytes))
    columns = zlib.compress(bytes(records[row * 21 + column] for column in range(21) for row in range(4)))
    file = Mdf()
    zipped = file.block(b"DZ", [], struct.pack("<2sBxIQQ", b"DT", 1, 21, len(records), len(columns)) + columns)
    file.group(0, zipped, [("CAN1", 0, 4, 6, 21, mdf_frames())])
    write("mdf_reader", "transposed", bytes(file.bytes))
    file = Mdf()
    values = file.block(b"SD", [], b"".join(struct.pack("<I", 2) + bytes([i, i]) for i in range(4)))
    offsets = b"".join(mdf_record(i, struct.pack("<Q", 6 * i)) for i in range(4))
    file.group(0, file.block(b"DT", [], offsets), [("CAN1", 0, 4, 6, 21, mdf_frames(1, values))])
    write("mdf_reader", "variable", bytes(file.bytes))
    file = Mdf()
    mixed = b"".join(b"\1" + mdf_record(i, bytes([i] * 8)) + b"\2" + mdf_record(i + 1) for i in range(4))
    groups = [("CAN1", 1, 4, 6, 21, mdf_frames()), ("CAN2", 2, 4, 6, 21, mdf_frames())]
    file.group(1, file.block(b"DT", [], mixed), groups)
    write("mdf_reader", "mixed", bytes(file.bytes))


EXPRESSIONS = {
    "can": ["bus == can and id in 0x100..0x1FF, 0x7DF", "id & 0x7F0 == 0x120 or not extended", "data[0..1] == 0x0102 && dlc > 1"],
    "lin": ["kind in error, wakeup or len < 3", "(bus != lin || channel == 0b10) and checksum_error"],
    "flexray": ["slot > 17 and cycle & 3 == 1", "side in a, ab and not null and sync", "data[3..2] == 513"],
    "ethernet": [
        "src == 02:00:00:00:00:01 and vlan not in 5..7, 9",
        "ip == 10.0.0.0/8 or dst_port in (80, 30490)",
        "ethertype == arp and dst & 01-00-00-00-00-00",
    ],
}


CONDITIONS = [
    "missing(bus == can and id == 0x123) for 200ms",
    "missing(id in 1, 2) for 0.5 s and not (id == 3 or overrun) or loss",
    "loss and not missing(error) for 1m30s or fd",
]


def filter_seeds():
    for place, bus in enumerate(EXPRESSIONS):
        of_bus = [r for r in records() if r[24] == place]
        for number, expression in enumerate(EXPRESSIONS[bus]):
            write("filter", f"{bus}-{number}", expression.encode() + b"\0" + of_bus[number % len(of_bus)])
    of_can = [r for r in records() if r[24] == 0]
    for number, expression in enumerate(CONDITIONS):
        write("filter", f"condition-{number}", expression.encode() + b"\0" + of_can[number % len(of_can)])
    for name, expression in {
        "misspelled": "bus == can and idd == 1",
        "unclosed": "not (((fd or brs) and dir == tx",
        "no-utf-8": "fd and \udcff",
        "steering": "fd\x1b[31m",
        "too-deep": "(" * 150 + "fd" + ")" * 150,
        "too-large": "id == 0x1ffffffffffffffff",
    }.items():
        write("filter", name, expression.encode(errors="surrogateescape"))


GOLDEN = Path(__file__).parent.parent / "golden"

OTHER_TOOLS = """date Mit Okt 7 09:00:19.123 2026
base dec  timestamps relative
no internal events logged
   0.000000 1  291             Rx   d 2 001 255  Length = 215910 BitCount = 110 ID = 291
   0.000100 1  EngineData      Tx   d 1 007 Length = 1 BitCount = 1 ID = 419299586x
   0.000100 1  291x            Rx   r
   0.000100 CANFD   1 Rx        291  Name   1 0 2  2 001 002   102203  133   303000 e 46500250
   0.000100 1  ErrorFrame Flags = 0xe CodeExt = 0x20a2 Code = 0x82 ID = 0
   0.000100 1  Statistic: D 0 R 0 XD 0 XR 0 E 0 O 0 B 0.00%
   0.000100 Li SleepModeEvent
   0.000100 ETH 1 Rx 3:0102ff
// 0.000000 Ethernet 1: overrun, data were lost here
"""


def asc_input_seeds():
    for name in ("client-four-buses", "client-four-buses-relative-dec", "asc-all-kinds-dec", "asc-all-kinds-hex"):
        text = (GOLDEN / f"{name}.asc").read_bytes()
        write("asc_input", name, text[:6000])
    write("asc_input", "other-tools", OTHER_TOOLS.encode())
    write("asc_input", "other-tools-cr-lf", OTHER_TOOLS.replace("\n", "\r\n").encode())
    write("asc_input", "cut", OTHER_TOOLS.encode()[:300])


def text_input_seeds():
    """The replays' own seeds are recordings for the client as well; those of the CSV after their options."""
    for name, options in (("candump", 0), ("csv", 1)):
        for seed in sorted((CORPUS / name).iterdir()):
            write(f"{name}_input", seed.name, seed.read_bytes()[options:])


def raw_zstd(data):
    """A frame of one block that isn't compressed; of 256 bytes and more."""
    return struct.pack("<IBHI", 0xFD2FB528, 0x60, len(data) - 256, len(data) << 3 | 1)[:-1] + data


def compressed_input_seeds():
    zstd, asc, log, csv, as_file, two_streams = 1, 2, 4, 6, 8, 16
    everything = b"".join(records())
    packed = gzip.compress(everything, mtime=0)
    texts = {"asc": (asc, "asc_input/other-tools"), "candump": (log, "candump_input/two-interfaces"),
             "csv": (csv, "csv_input/lin")}

    def seed(name, options, data, part=0):
        write("compressed_input", name, bytes([options, part]) + data)

    for name, kind in (("gzip", 0), ("zstd", zstd)):
        seed(f"{name}-records", kind, everything)
        for part in (1, 128, 255):
            seed(f"{name}-records-two-streams-cut-{part}", kind | two_streams, everything, part)
        for text, (option, path) in texts.items():
            seed(f"{name}-{text}", kind | option, (CORPUS / path).read_bytes(), 128)
    seed("file-gzip", as_file, packed)
    seed("file-gzip-two-members", as_file, packed + packed)
    seed("file-gzip-rubbish-after-it", as_file, packed + b"rubbish")
    seed("file-gzip-cut", as_file, packed[:-20])
    seed("file-gzip-wrong-checksum", as_file, packed[:-8] + bytes(4) + packed[-4:])
    seed("file-gzip-nothing-in-it", as_file, gzip.compress(b"", mtime=0))
    seed("file-gzip-zeros", as_file, gzip.compress(bytes(100000), mtime=0))
    seed("file-zstd", as_file | zstd, raw_zstd(everything))
    seed("file-zstd-two-frames", as_file | zstd, raw_zstd(everything) + raw_zstd(everything))
    seed("file-zstd-skippable-frame", as_file | zstd, struct.pack("<II", 0x184D2A50, 4) + b"skip" + raw_zstd(everything))
    seed("file-zstd-cut", as_file | zstd, raw_zstd(everything)[:-20])
    seed("file-zstd-large-window", as_file | zstd, bytes.fromhex("28B52FFD00F8") + bytes(20))


if __name__ == "__main__":
    poll_seeds()
    swap_file_seeds()
    compare_seeds()
    asc_seeds()
    pcapng_seeds()
    bin_seeds()
    pcapng_client_seeds()
    asc_client_seeds()
    asc_input_seeds()
    linux_can_seeds()
    linux_links_seeds()
    linux_packet_seeds()
    source_seeds()
    candump_seeds()
    csv_seeds()
    pcap_seeds()
    packet_input_seeds()
    call_seeds()
    mdf_seeds()
    mdf_entries_seeds()
    mdf_reader_seeds()
    filter_seeds()
    text_input_seeds()  # after those that it takes
    compressed_input_seeds()  # likewise
