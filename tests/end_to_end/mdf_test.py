"""Measurement files (.mf4) of the client, through a reader that finds channels by their names in the file itself."""

import json
import os
import signal
import struct
import time
import zlib
from typing import NamedTuple

from buses_test import CAN, ETHERNET, FLEXRAY, LIN, event_of, read_csv, read_pcap, read_records
from buses_test import recordings as recordings_of
from support import ClientTest, Frame, main, nanoseconds, read_candump, recordings


class Channel(NamedTuple):
    kind: int  # 1: the value is an offset into the signal data
    type: int  # 0 unsigned, 4 float, 10 bytes
    byte: int
    bit: int
    bits: int
    signal: bytes


class Group(NamedTuple):
    name: str  # of the bus
    event: str
    bus_type: int  # of the source
    source: tuple  # its name and path
    records: list
    channels: dict

    def value(self, record, name):
        """A channel's value: a number, or bytes."""
        channel = self.channels[f"{self.event}.{name}" if name != "t" else name]
        size = (channel.bit + channel.bits + 7) // 8
        contents = record[channel.byte : channel.byte + size]
        if channel.kind == 1:
            offset = int.from_bytes(contents, "little")
            (length,) = struct.unpack_from("<I", channel.signal, offset)
            return channel.signal[offset + 4 : offset + 4 + length]
        if channel.type == 10:
            return contents
        if channel.type == 4:
            return struct.unpack("<d", contents)[0]
        return int.from_bytes(contents, "little") >> channel.bit & (1 << channel.bits) - 1


class Reader:
    """Reads a whole file. Raises ValueError or struct.error for what makes no sense."""

    def __init__(self, contents):
        self.contents = contents
        if contents[8:16] != b"4.10    ":
            raise ValueError("no MDF 4.10 file")
        self.finalized = contents[:8] == b"MDF     "
        links, data = self.block(64, b"##HD")
        (self.start,) = struct.unpack_from("<Q", data)
        self.comment = self.text(links[5]) if links[5] else ""
        self.events = list(self.read_events(links[4]))
        self.groups = list(self.read_groups())

    def block(self, position, *kinds):
        """Links and data of a block."""
        kind, length, count = struct.unpack_from("<4s4xQQ", self.contents, position)
        if kind not in kinds or position + length > len(self.contents):
            raise ValueError(f"{kind} at {position}, not {kinds}")
        links = struct.unpack_from(f"<{count}Q", self.contents, position + 24)
        return links, self.contents[position + 24 + 8 * count : position + length]

    def text(self, position):
        return self.block(position, b"##TX", b"##MD")[1].split(b"\0")[0].decode()

    def read_events(self, position):
        """(type, name, time in ns, kinds of block that it is about) of all events."""
        while position:
            links, data = self.block(position, b"##EV")
            scopes = {self.contents[link : link + 4] for link in links[5:]}
            yield data[0], self.text(links[3]) if links[3] else "", struct.unpack_from("<q", data, 16)[0], scopes
            position = links[0]

    def data(self, position):
        """What is behind a data link."""
        if position == 0:
            return b""
        kind = self.contents[position : position + 4]
        links, data = self.block(position, b"##DT", b"##SD", b"##DZ", b"##DL", b"##HL")
        if kind == b"##HL":
            return self.data(links[0])
        if kind == b"##DL":
            return b"".join(self.data(link) for link in links[1:]) + self.data(links[0])
        if kind == b"##DZ":
            whole, packed = struct.unpack_from("<QQ", data, 8)
            data = zlib.decompress(data[24 : 24 + packed]) if packed else data[24 : 24 + whole]
            if len(data) != whole:
                raise ValueError("odd packed block")
        return data

    def channels(self, position):
        """The channels of a list, and those that they are made of, by name."""
        found = {}
        while position:
            links, data = self.block(position, b"##CN")
            kind, _, data_type, bit, byte, bits = struct.unpack_from("<BBBBII", data)
            signal = self.data(links[5]) if kind == 1 else b""
            found[self.text(links[2])] = Channel(kind, data_type, byte, bit, bits, signal)
            if links[1]:
                found.update(self.channels(links[1]))
            position = links[0]
        return found

    def read_groups(self):
        position = self.block(64, b"##HD")[0][0]
        while position:
            links, data = self.block(position, b"##DG")
            group, counts = self.block(links[1], b"##CG")
            _, count = struct.unpack_from("<QQ", counts)
            (size,) = struct.unpack_from("<I", counts, 24)
            size += data[0]  # the record id in front
            records = self.data(links[2])
            if len(records) < count * size or self.finalized and len(records) > count * size:
                raise ValueError(f"{len(records)} bytes are no {count} records of {size}")
            rows = [records[i * size + data[0] : (i + 1) * size] for i in range(count)]
            source, kind = self.block(group[3], b"##SI")
            structure = self.block(group[1], b"##CN")[0][0]  # the channel after the time
            event = self.text(self.block(structure, b"##CN")[0][2])
            names = tuple(self.text(link) if link else "" for link in source[:2])
            yield Group(self.text(group[2]), event, kind[1], names, rows, self.channels(group[1]))
            position = links[0]

    def of(self, event):
        """(bus name, record, value function) of all records of a kind of event."""
        for group in self.groups:
            if group.event == event:
                for record in group.records:
                    yield group.name, lambda name, record=record, group=group: group.value(record, name)


def killed_recording(test):
    """Records into a.mf4, kills the client when 1000 frames were flushed, and reads what is left: a.part.mf4."""
    process = test.start("record", "can?load=90", "--speed", "200", "-o", "a.mf4")
    part = test.folder / "a.part.mf4"

    def counted():
        contents = part.read_bytes()
        begun = contents[64:68] == b"##HD"  # the file may be a moment old
        return sum(len(group.records) for group in Reader(contents).groups) if begun else 0

    test.wait_until(part.exists, "the file")
    process.send_signal(signal.SIGSTOP)
    while counted() < 1000:  # what was flushed
        process.send_signal(signal.SIGCONT)
        time.sleep(0.1)
        process.send_signal(signal.SIGSTOP)
    process.kill()
    process.wait()
    return Reader(part.read_bytes())


def can_frames(reader):
    """The frames of the CAN groups, by time."""
    frames = []
    for bus, value in reader.of("CAN_DataFrame"):
        identifier = value("ID") & 0x1FFFFFFF
        frames.append(Frame(value("t"), int(bus.removeprefix("CAN")), identifier, bool(value("IDE")), bool(value("Dir")),
                            fd=bool(value("EDL")), brs=bool(value("BRS")), esi=bool(value("ESI")), data=value("DataBytes")))
    for bus, value in reader.of("CAN_RemoteFrame"):
        identifier = value("ID") & 0x1FFFFFFF
        frames.append(Frame(value("t"), int(bus.removeprefix("CAN")), identifier, bool(value("IDE")), bool(value("Dir"))))
    for bus, value in reader.of("CAN_ErrorFrame"):
        frames.append(Frame(value("t"), int(bus.removeprefix("CAN")), transmitted=bool(value("Dir")), error=True))
    return sorted(frames)


class Mdf(ClientTest):
    def read(self, name="a.mf4"):
        return Reader((self.folder / name).read_bytes())

    def test_can_recordings_come_back(self):
        if not recordings():
            self.skipTest("no recordings")
        for recording in recordings():
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "a.mf4")
                self.assertEqual(can_frames(self.read()), sorted(read_candump(recording)))
                self.assertTrue(self.read().finalized)

    def test_can_recordings_come_back_as_exported(self):
        if not recordings():
            self.skipTest("no recordings")
        for recording in recordings():
            with self.subTest(recording.name):
                self.run_client("record", recording, "--speed", "max", "-o", "a.mf4", "--as-exported")
                expected = sorted(read_candump(recording))
                got = can_frames(self.read())
                # A frame without data is recorded with the bytes that its length code tells: remote frames show none.
                self.assertEqual(len(got), len(expected))
                for ours, theirs in zip(got, expected):
                    if not theirs.data and not theirs.error:
                        ours = ours._replace(data=ours.data.rstrip(b"\0"))
                    self.assertEqual(ours, theirs)
                self.assertTrue(self.read().finalized)

    def test_flexray_recordings_come_back(self):
        for path in recordings_of("flexray", "*.csv") or [None]:
            if path is None:
                self.skipTest("no recordings in flexray")
            with self.subTest(path.name):
                self.run_client("record", path, "--speed", "max", "-o", "a.mf4")
                got = []
                for kind in ("FLX_Frame", "FLX_NullFrame"):
                    for bus, value in self.read().of(kind):
                        self.assertEqual((bus, value("Dir")), ("FLEX1", 0))
                        flags = value("PayloadPreambleFlag") * 2 + value("NullFrameFlag") * 4
                        flags += value("SyncFrameFlag") * 8 + value("StartUpFrameFlag") * 16
                        self.assertEqual(bool(flags & 4), kind == "FLX_NullFrame")
                        name = (value("ID"), value("FlxChannel"), value("Cycle"), flags, value("HeaderCRC"))
                        got.append((value("t"), name, b"" if flags & 4 else value("DataBytes"), value("PayloadLength")))
                expected = [
                    (event.time, event.name, b"" if event.name[3] & 4 else event.data, len(event.data) // 2)
                    for event in read_csv(path)
                ]
                self.assertEqual(sorted(got), sorted(expected))

    def test_lin_recordings_come_back(self):
        for path in recordings_of("lin", "*.csv") or [None]:
            if path is None:
                self.skipTest("no recordings in lin")
            with self.subTest(path.name):
                self.run_client("record", path, "--speed", "max", "-o", "a.mf4")
                expected = read_csv(path)
                got = []
                for _, value in self.read().of("LIN_Frame"):
                    size = value("ReceivedDataByteCount")
                    data = value("DataBytes")[:size] + bytes([value("Checksum")])
                    got.append((value("t"), value("ID"), data))
                good = [(event.time, event.name[0], event.data) for event in expected if event.kind == 0]
                self.assertEqual(got, good)
                errors = sum(1 for kind in ("TransmissionError", "ChecksumError", "SyncError", "ReceiveError")
                             for _ in self.read().of("LIN_" + kind))
                self.assertEqual(errors, len(expected) - len(good))

    def test_ethernet_recordings_come_back(self):
        for path in recordings_of("ethernet", "*.pcap") or [None]:
            if path is None:
                self.skipTest("no recordings in ethernet")
            with self.subTest(path.name):
                self.run_client("record", path, "--speed", "max", "-o", "a.mf4")
                got = []
                for bus, value in self.read().of("ETH_Frame"):
                    self.assertEqual((bus, value("Dir")), ("ETH1", 0))
                    self.assertEqual(value("DataLength"), len(value("DataBytes")))
                    head = value("Destination") + value("Source") + struct.pack(">H", value("EtherType"))
                    got.append((value("t"), head + value("DataBytes")))
                self.assertEqual(got, [(frame.time, frame.data) for frame in read_pcap(path)])

    def test_vehicle_as_exported_lacks_what_the_library_has_no_group_for(self):
        summary = self.summary("vehicle?seed=9", "-d", "5s", "--speed", "max", "-o", "a.mf4", "--as-exported")
        self.assertEqual(summary["outputs"][0]["omitted"]["Ethernet entries"], summary["channels"][3]["entries"])
        self.assertEqual({group.bus_type for group in self.read().groups}, {2})
        self.assertEqual(self.read().comment, "")

    def test_convert_writes_the_librarys_bytes_when_asked(self):
        self.run_client("record", "vehicle?seed=9", "-d", "2s", "--speed", "max", "-o", "a.bin", "-o", "a.mf4", "--as-exported")
        self.run_client("convert", "a.bin", "-o", "b.mf4", "--as-exported")
        events = [group.event for group in self.read("b.mf4").groups]
        self.assertEqual(events, [group.event for group in self.read("a.mf4").groups])
        self.assertIn("LIN_Wakeup", events)
        self.run_client("convert", "a.bin", "-o", "b.pcapng", "--as-exported", expect=2)

    def test_vehicle_is_recorded_with_all_that_the_format_holds(self):
        summary = self.summary("vehicle?seed=9", "-d", "20s", "--speed", "max", "-o", "a.bin", "-o", "a.mf4")
        output = summary["outputs"][1]
        reader = self.read()
        records = read_records((self.folder / "a.bin").read_bytes())
        self.assertLessEqual(set(output["omitted"]), {"FlexRay status items", "Ethernet records that are no frames"})
        self.assertEqual(output["records"] + sum(output["omitted"].values()), len(records))
        self.assertEqual(output["start_time_ns"], reader.start)
        kinds = {group.event: 0 for group in reader.groups}
        for group in reader.groups:
            kinds[group.event] += len(group.records)
        frames = [event_of(record) for record in records if record[0] == FLEXRAY]
        both = sum(1 for frame in frames if frame.kind in (1, 2) and frame.name[1] == 2)  # two records each
        triggers = [event for event in reader.events if event[0] == 6]
        self.assertEqual(sum(kinds.values()) + len(triggers), output["records"] + both)
        self.assertTrue(all(event[3] == {b"##CG"} for event in triggers))
        self.assertEqual({group.name: group.bus_type for group in reader.groups}, {"CAN1": 2, "LIN2": 3, "FLEX3": 5, "ETH4": 7})
        ethernet = [event_of(record) for record in records if record[0] == ETHERNET]
        self.assertEqual(kinds["ETH_Frame"], sum(1 for event in ethernet if event.kind == 1 and not event.name[0] & 2))
        self.assertEqual(kinds["ETH_ChecksumError"], sum(1 for event in ethernet if event.kind == 1 and event.name[0] & 2))
        got = sorted(
            (value("t"), value("Dir"), value("Destination") + value("Source") + struct.pack(">H", value("EtherType")) + value("DataBytes"))
            for kind in ("ETH_Frame", "ETH_ChecksumError")
            for _, value in reader.of(kind)
        )
        self.assertEqual(got, sorted((event.time, event.name[0] & 1, event.data) for event in ethernet if event.kind == 1))
        self.assertIn('<e name="tool">qor-trace</e>', reader.comment)
        self.assertEqual(kinds["FLX_StartCycle"], sum(1 for frame in frames if frame.kind == 3))
        lin = [event_of(record) for record in records if record[0] == LIN]
        self.assertEqual(kinds["LIN_WakeUp"], sum(1 for event in lin if event.kind & 0x7F in (0x20, 0x60)))
        can = sum(1 for record in records if record[0] == CAN)
        can_kinds = ("CAN_DataFrame", "CAN_ErrorFrame", "CAN_RemoteFrame")
        of_can = sum(1 for event in triggers if event[1].startswith(("Trigger input", "User event")))
        self.assertEqual(sum(kinds[kind] for kind in can_kinds), can - of_can)
        for group in reader.groups:
            times = [group.value(record, "t") for record in group.records]
            self.assertEqual(times, sorted(times))

    def test_series_hold_together_what_one_file_holds(self):
        source = ("can?load=90&seed=4", "-d", "90s", "--speed", "max")
        self.run_client("record", *source, "-o", "whole.mf4", "-o", "part.mf4", "--mdf-split", "3M")
        parts = sorted((name for name in self.files() if name.startswith("part")), key=lambda name: (len(name), name))
        self.assertGreater(len(parts), 2)
        self.assertEqual(parts[:2], ["part.mf4", "part_1.mf4"])
        readers = [self.read(name) for name in parts]
        self.assertEqual({reader.start for reader in readers}, {readers[0].start})
        self.run_client("record", *source, "-o", "one.mf4", "--mdf-split", "4095M")
        together = [frame for reader in readers for frame in can_frames(reader)]
        self.assertEqual(sorted(together), can_frames(self.read("one.mf4")))
        for name in parts:
            self.assertLessEqual((self.folder / name).stat().st_size, 3 << 20)

    def test_first_event_has_its_wall_clock_time(self):
        before = time.time_ns()
        self.run_client("record", "can?duration=1s", "-o", "a.mf4", "-o", "a.bin")
        after = time.time_ns()
        start = self.read().start
        first = can_frames(self.read())[0].time
        self.assertLessEqual(before, start)
        self.assertLessEqual(start + first, after)
        self.run_client("convert", "a.bin", "-o", "b.mf4")
        times = [record[2] for record in read_records((self.folder / "a.bin").read_bytes())]
        self.assertEqual(self.read("b.mf4").start, start)
        self.run_client("convert", "a.bin", "-o", "b.mf4", "--start-time", "2026-11-21T14:30:00.5Z")
        self.assertEqual(self.read("b.mf4").start + times[0], 1795271400500000000)
        self.run_client("convert", "a.bin", "-o", "b.mf4", "--start-time", "noon", expect=2)

    def test_recordings_with_wall_clock_times_keep_them(self):
        log = self.write_candump(["(1398128223.803317) can0 123#01", "(1398128224.803317) can0 123#02"])
        self.run_client("record", f"candump:{log}?origin=absolute&speed=max", "-o", "a.mf4")
        reader = self.read()
        self.assertEqual(reader.start, nanoseconds("1398128222.803317"))  # a second before the first entry
        self.assertEqual([frame.time for frame in can_frames(reader)], [10**9, 2 * 10**9])

    def test_full_disk_leaves_a_readable_file_and_says_so(self):
        source = ("can?load=90&duration=60s&speed=max", "--memory-limit", "5000000")
        _, err = self.run_client("record", *source, "-o", "a.mf4", expect=1, file_limit=700000)
        self.assertRegex(err, r'Cannot write "[^"]*a.mf4": .*a.part.mf4", marked as unfinalized')
        self.assertEqual(self.files(), ["a.part.mf4"])
        reader = self.read("a.part.mf4")
        self.assertFalse(reader.finalized)
        self.assertGreater(len(can_frames(reader)), 0)

    def test_killed_recording_leaves_a_readable_file(self):
        left = killed_recording(self)
        self.assertFalse(left.finalized)
        self.assertGreaterEqual(len(can_frames(left)), 1000)

    def test_outputs_that_make_no_sense(self):
        for args in (["-o", "a.mf4", "--mdf-split", "2M"], ["-o", "a.bin", "--mdf-split", "5M"],
                     ["-o", "a.mf4", "--mdf-split", "x"], ["-o", "-", "--format", "mf4"]):
            self.run_client("record", "can", *args, expect=2)
        self.run_client("record", "can", "-o", "nowhere/a.mf4", expect=1)
        self.assertEqual(self.files(), [])

    def test_json_names_the_files_of_a_series(self):
        out, _ = self.run_client("record", "can?load=90&duration=60s&speed=max", "-o", "a.mf4", "--mdf-split", "3M", "--json")
        (output,) = json.loads(out)["outputs"]
        self.assertEqual(sorted(map(os.path.basename, output["files"])), self.files())


if __name__ == "__main__":
    main()
