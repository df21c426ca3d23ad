"""LIN, FlexRay and Ethernet: real recordings, and the made-up vehicle, come back whole from every output."""

import csv
import json
import pathlib
import re
import shutil
import struct
import subprocess
from typing import NamedTuple

from capture_test import read_capture
from support import ClientTest, arguments, main, nanoseconds

CAN, LIN, FLEXRAY, ETHERNET = range(4)
LIN_FLAGS = {"frame": 0, "checksum_error": 0x02, "sync_error": 0x04, "parity_error": 0x01, "no_response": 0x48}
FLEXRAY_FLAGS = {"ppi": 0x02, "null": 0x04, "sync": 0x08, "startup": 0x10}


class Event(NamedTuple):
    """One event of any bus. Times in ns."""

    time: int
    kind: int  # LIN: flags; FlexRay, Ethernet: item type
    name: tuple  # what the bus calls it: identifier; slot, channel, cycle, flags, header CRC
    data: bytes  # with the checksum of LIN


def recordings(folder, pattern):
    return sorted((pathlib.Path(arguments.recordings) / folder).glob(pattern))


def read_records(contents):
    """(bus, channel, time, payload from byte 28 on) of each record. Raises ValueError unless all are whole."""
    records = []
    offset = 0
    while offset < len(contents):
        length, channel, time_ns, relative, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if length < 44 or offset + length > len(contents) or relative != 0 or bus > ETHERNET:
            raise ValueError(f"odd record at {offset}")
        records.append((bus, channel, time_ns, contents[offset + 28 : offset + length]))
        offset += length
    return records


def event_of(record):
    bus, _, time_ns, payload = record
    if bus == LIN:
        _, flags, length, identifier, _ = struct.unpack_from("<HHBBB", payload)
        return Event(time_ns, flags, (identifier & 0x3F,), payload[7 : 7 + length])
    size, kind, item_time = struct.unpack_from("<HHQ", payload)
    if size != len(payload) or item_time != time_ns:
        raise ValueError("odd item")
    if bus == ETHERNET:
        flags, _, length = struct.unpack_from("<BBH", payload, 12)
        if length != len(payload) - 16:
            raise ValueError("odd frame length")
        return Event(time_ns, kind, (flags,), payload[16:])
    if kind not in (1, 2):
        return Event(time_ns, kind, tuple(payload[12:]), b"")
    channel, flags, slot, cycle, words, crc = struct.unpack_from("<BBHBBH", payload, 12)
    return Event(time_ns, kind, (slot, channel, cycle, flags, crc), payload[20 : 20 + 2 * words])


def read_csv(path):
    """The events of a LIN or FlexRay recording, with times from the first one on."""
    with open(path, newline="") as file:
        rows = list(csv.DictReader(file))
    start = int(rows[0]["timestamp_ns"])
    events = []
    for row in rows:
        time_ns = int(row["timestamp_ns"]) - start
        data = bytes.fromhex(row["data"])
        if row["channel"] in "AB":
            flags = sum(FLEXRAY_FLAGS[flag] for flag in row["flags"].split("|") if flag)
            name = (int(row["id"]), "AB".index(row["channel"]), int(row["cycle"]), flags, int(row["crc"]))
            events.append(Event(time_ns, 1, name, data))
        else:
            checksum = bytes([int(row["crc"])]) if row["crc"] else b""
            events.append(Event(time_ns, LIN_FLAGS[row["kind"]], (int(row["id"] or 0),), data + checksum))
    return events


def read_pcap(path):
    """The frames of a classic capture file, with times from the earliest one on and in their order."""
    contents = path.read_bytes()
    order, unit = {
        b"\xd4\xc3\xb2\xa1": ("<", 1000),
        b"\xa1\xb2\xc3\xd4": (">", 1000),
        b"\x4d\x3c\xb2\xa1": ("<", 1),
        b"\xa1\xb2\x3c\x4d": (">", 1),
    }[contents[:4]]
    frames = []
    offset = 24
    while offset < len(contents):
        seconds, fraction, captured, _ = struct.unpack_from(order + "IIII", contents, offset)
        offset += 16
        frames.append(Event(seconds * 10**9 + fraction * unit, 1, (0,), contents[offset : offset + captured]))
        offset += captured
    start = min(frame.time for frame in frames)
    return sorted((frame._replace(time=frame.time - start) for frame in frames), key=lambda frame: frame.time)


def lin_packet(packet):
    """A LINKTYPE_LIN packet, with its times, as an event; errors as they are in a record."""
    _, time_ns, flags, contents = packet
    head, identifier, checksum, errors = contents[4:8]
    kind = {0: 0, 1: 0x48, 2: 0x04, 4: 0x01, 8: 0x02}[errors]
    data = contents[8 : 8 + (head >> 4)]
    return Event(time_ns, kind, (identifier & 0x3F,), data if kind in (0x48, 0x04) else data + bytes([checksum]))


def flexray_packet(packet):
    """A LINKTYPE_FLEXRAY packet as an event."""
    _, time_ns, direction, contents = packet
    channel = contents[0] >> 7
    header = int.from_bytes(contents[2:7], "big")
    flags = (header >> 38 & 1) * 2 + (1 - (header >> 37 & 1)) * 4 + (header >> 36 & 1) * 8 + (header >> 35 & 1) * 16
    name = (header >> 24 & 0x7FF, channel, header & 0x3F, flags, header >> 6 & 0x7FF)
    return Event(time_ns, direction, name, contents[7:])


def ethernet_packet(packet):
    _, time_ns, _, contents = packet
    return Event(time_ns, 1, (0,), contents)


def asc_lines(path):
    return [line.split() for line in path.read_text().splitlines() if line[:1].isdigit()]


class Recordings(ClientTest):
    def record(self, path, *options):
        self.run_client("record", path, "--speed", "max", "-o", "a.bin", "-o", "a.asc", "-o", "a.pcapng", *options)
        return [event_of(record) for record in read_records((self.folder / "a.bin").read_bytes())]

    def packets(self):
        return read_capture((self.folder / "a.pcapng").read_bytes()).since_start()

    def rows(self):
        return json.loads(self.run_client("list", "a.bin", "--json")[0])

    def each(self, folder, pattern):
        found = recordings(folder, pattern)
        if not found:
            self.skipTest(f"no recordings in {folder}")
        for path in found:
            with self.subTest(path.name):
                yield path

    def test_lin(self):
        for path in self.each("lin", "*.csv"):
            expected = read_csv(path)
            self.assertEqual(self.record(path), expected)
            self.assertEqual([lin_packet(packet) for packet in self.packets()], expected)
            self.assertEqual(sum(row["count"] for row in self.rows()), len(expected))
            good = [event for event in expected if event.kind == 0]
            lines = [words for words in asc_lines(self.folder / "a.asc") if words[3] == "Rx"]
            self.assertEqual(len(lines), len(good))
            for words, event in zip(lines, good):
                size = int(words[4], 16)
                self.assertEqual(words[1], "Li")
                self.assertEqual(int(words[2], 16), event.name[0])
                self.assertEqual(bytes.fromhex("".join(words[5 : 5 + size]) + words[7 + size]), event.data)
                self.assertLessEqual(abs(nanoseconds(words[0]) - event.time), 500)

    def test_flexray(self):
        for path in self.each("flexray", "*.csv"):
            expected = read_csv(path)
            self.assertEqual(self.record(path), expected)
            empty = [event._replace(data=bytes(len(event.data))) if event.name[3] & 4 else event for event in expected]
            self.assertEqual([flexray_packet(packet) for packet in self.packets()], empty)
            rows = self.rows()
            self.assertEqual(sum(row["count"] for row in rows), len(expected))
            for row in rows:
                cycles = {
                    event.name[2]
                    for event in expected
                    if event.name[0] == row["slot"] and bool(event.name[3] & 4) == (row["kind"] == "null")
                }
                self.assertEqual({cycle % row["cycle_repetition"] for cycle in cycles}, {row["base_cycle"]})
            lines = asc_lines(self.folder / "a.asc")
            self.assertEqual(len(lines), len(expected))
            for words, event in zip(lines, expected):
                slot, channel, cycle, flags, crc = event.name
                # time Fr RMSG 1 0 CHANNEL A/B SLOT CYCLE Rx 0 STATE 5 28 CRC NAME LENGTH BYTES DATA
                self.assertLessEqual(abs(nanoseconds(words[0]) - event.time), 500)
                self.assertEqual([int(word, 16) for word in words[6:9]], [channel + 1, slot, cycle])
                self.assertEqual(int(words[14], 16), crc)
                data = b"" if flags & 4 else event.data
                self.assertEqual(bytes.fromhex("".join(words[18:])), data)

    def test_ethernet(self):
        for path in self.each("ethernet", "*.pcap"):
            expected = read_pcap(path)
            self.assertEqual(self.record(path), expected)
            self.assertEqual([ethernet_packet(packet) for packet in self.packets()], expected)
            self.assertEqual(sum(row["count"] for row in self.rows()), len(expected))
            lines = asc_lines(self.folder / "a.asc")
            self.assertEqual(len(lines), len(expected))
            for words, event in zip(lines, expected):
                size, _, frame = words[4].partition(":")
                self.assertEqual(int(size, 16), len(event.data))
                self.assertEqual(bytes.fromhex(frame), event.data)

    def test_together_they_are_one_trace_in_the_order_of_their_times(self):
        paths = [recordings(*where)[:1] for where in (("can", "icsim*"), ("lin", "*"), ("flexray", "*"), ("ethernet", "q*"))]
        if not all(paths):
            self.skipTest("recordings are missing")
        self.run_client("record", *(path for (path,) in paths), "--speed", "max", "-o", "a.bin")
        records = read_records((self.folder / "a.bin").read_bytes())
        self.assertEqual([record[2] for record in records], sorted(record[2] for record in records))
        self.assertEqual({(record[0], record[1]) for record in records}, {(CAN, 1), (LIN, 2), (FLEXRAY, 3), (ETHERNET, 4)})
        expected = read_csv(paths[1][0]) + read_csv(paths[2][0]) + read_pcap(paths[3][0])
        got = [event_of(record) for record in records if record[0] != CAN]
        self.assertEqual(sorted(got), sorted(expected))


class Vehicle(ClientTest):
    SOURCE = "vehicle?seed=5"

    def test_all_buses_are_recorded_and_nothing_is_lost(self):
        summary = self.summary(self.SOURCE, "-d", "60s", "--speed", "max", "-o", "a.bin")
        records = read_records((self.folder / "a.bin").read_bytes())
        self.assertEqual(len(records), summary["entries"])
        self.assertEqual([record[2] for record in records], sorted(record[2] for record in records))
        self.assertEqual([channel["bus"] for channel in summary["channels"]], ["CAN", "LIN", "FlexRay", "Ethernet"])
        self.assertEqual([channel["source"] for channel in summary["channels"]],
                         [f"{self.SOURCE} ({kind})" for kind in ("can", "lin", "flexray", "ethernet")])
        for number, channel in enumerate(summary["channels"]):
            self.assertEqual(channel["entries"], sum(record[0] == number for record in records))
            self.assertEqual(channel["lost"]["count"], 0)
            self.assertLess(channel["last_time_ns"], 60 * 10**9)
            for lane, percent in channel["load_percent"].items():
                self.assertTrue(0 < percent < 100, (channel["bus"], lane, percent))
        for number, source in enumerate(("can", "lin", "flexray", "ethernet")):
            self.run_client("record", f"{source}?seed=5", "-d", "60s", "--speed", "max", "-o", "b.bin")
            alone = read_records((self.folder / "b.bin").read_bytes())
            self.assertEqual([(record[2], record[3]) for record in records if record[0] == number],
                             [(record[2], record[3]) for record in alone])

    def test_conversion_gives_the_same_text(self):
        # One Ethernet entry is no frame: it has no line, and is told.
        self.run_client("record", self.SOURCE, "-d", "20s", "--speed", "max", "-o", "a.bin", "-o", "a.asc", expect=None)
        self.run_client("convert", "a.bin", "-o", "b.asc", expect=None)
        ours, theirs = ((self.folder / name).read_text().splitlines() for name in ("a.asc", "b.asc"))
        self.assertEqual(ours[5:], theirs[5:])
        self.assertGreater(len(ours), 50000)

    def test_list_has_a_row_for_every_message(self):
        self.run_client("record", self.SOURCE, "-d", "20s", "--speed", "max", "-o", "a.bin")
        rows = json.loads(self.run_client("list", "a.bin", "--json")[0])
        records = read_records((self.folder / "a.bin").read_bytes())
        self.assertEqual(sum(row["count"] for row in rows), len(records))
        self.assertEqual({row["bus"] for row in rows}, {"CAN", "LIN", "FlexRay", "Ethernet"})
        text = self.run_client("list", "a.bin")[0].decode()
        self.assertEqual(len(re.findall(r"^ ?\d+  (?:CAN|LIN|FlexRay|Ethernet) ", text, re.MULTILINE)), len(rows))


FIELDS = ("frame.interface_name", "frame.time_epoch", "frame.packet_flags_direction", "frame.protocols", "lin.frame_id",
          "lin.checksum", "flexray.fid", "flexray.cc", "flexray.ch", "flexray.hcrc", "flexray.nfi", "can.id", "eth.src",
          "_ws.malformed")


class OtherReader(ClientTest):
    def dissected(self, path):
        # It guesses DNS behind any UDP port, from the first bytes alone.
        command = ["tshark", "-r", str(path), "--disable-protocol", "dns", "-T", "fields"]
        for field in FIELDS:
            command += ["-e", field]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
        return [dict(zip(FIELDS, line.split("\t"))) for line in result.stdout.decode().splitlines()]

    def setUp(self):
        super().setUp()
        if shutil.which("tshark") is None:
            self.skipTest("tshark is not installed")

    def test_tshark_dissects_every_bus_of_the_vehicle(self):
        self.run_client("record", "vehicle?seed=2", "-d", "5s", "--speed", "max", "-o", "a.bin", "-o", "a.pcapng")
        capture = read_capture((self.folder / "a.pcapng").read_bytes())
        names = [name for _, name in capture.interfaces]
        self.assertEqual(names, ["CAN-1", "LIN-2", "FR-3", "ETH-4"])
        rows = self.dissected(self.folder / "a.pcapng")
        self.assertEqual(len(rows), len(capture.packets))
        protocols = {"CAN-1": "can", "LIN-2": "lin", "FR-3": "flexray", "ETH-4": "eth"}
        for row, (interface, time_ns, direction, contents) in zip(rows, capture.packets):
            name = names[interface]
            self.assertEqual(row["frame.interface_name"], name)
            self.assertEqual(nanoseconds(row["frame.time_epoch"]), time_ns)
            self.assertEqual(int(row["frame.packet_flags_direction"], 16), direction & 3)
            self.assertEqual(row["frame.protocols"].split(":")[0], protocols[name])
            self.assertEqual(row["_ws.malformed"], "")
            if name == "ETH-4":
                self.assertEqual(row["eth.src"], contents[6:12].hex(":"))
        # Every frame of the records is a packet, and the other way round.
        frames = [record for record in read_records((self.folder / "a.bin").read_bytes())]
        ethernet = [record[3][16:] for record in frames if record[0] == ETHERNET]
        self.assertEqual([packet[3] for packet in capture.packets if names[packet[0]] == "ETH-4"], ethernet)

    def test_tshark_reads_the_frames_of_real_recordings(self):
        for folder, pattern, read in (("lin", "*.csv", read_csv), ("flexray", "*.csv", read_csv)):
            found = recordings(folder, pattern)
            if not found:
                self.skipTest(f"no recordings in {folder}")
            for path in found:
                with self.subTest(path.name):
                    self.run_client("record", path, "--speed", "max", "-o", "a.pcapng")
                    rows = self.dissected(self.folder / "a.pcapng")
                    start = read_capture((self.folder / "a.pcapng").read_bytes()).start
                    expected = [event._replace(time=start + event.time) for event in read(path)]
                    self.assertEqual(len(rows), len(expected))
                    for row, event in zip(rows, expected):
                        self.check(folder, row, event)

    def check(self, folder, row, event):
        self.assertEqual(nanoseconds(row["frame.time_epoch"]), event.time)
        self.assertEqual(row["_ws.malformed"], "")
        if folder == "lin":
            self.assertEqual(int(row["lin.frame_id"], 0), event.name[0])
            if event.kind == 0:
                self.assertEqual(int(row["lin.checksum"], 0), event.data[-1])
            return
        slot, channel, cycle, flags, crc = event.name
        self.assertEqual([int(row[field]) for field in ("flexray.fid", "flexray.cc", "flexray.ch", "flexray.hcrc")],
                         [slot, cycle, channel, crc])
        self.assertEqual(int(row["flexray.nfi"]), 0 if flags & 4 else 1)


if __name__ == "__main__":
    main()
