"""What --filter, --from, --to, --count and --channel leave of real recordings is what a second filter, written here from the
layout of records, leaves of them."""

import json
import pathlib
import struct

from support import ClientTest, arguments, main

CAN, LIN, FLEXRAY, ETHERNET = range(4)
SECOND = 10**9
TAGS = (0x8100, 0x88A8, 0x9100)


class Record:
    """A record of a .bin file, read without the client's help."""

    def __init__(self, raw):
        self.raw = raw
        _, self.channel, self.time, _, self.bus = struct.unpack_from("<IIQQB", raw)
        self.id = self.dlc = self.slot = self.cycle = self.len = self.tx = None
        self.data = b""
        self.flags = 0
        getattr(self, ("can", "lin", "flexray", "ethernet")[self.bus])()

    def can(self):
        identifier, self.flags, _, self.dlc, self.len = struct.unpack_from("<IBBBB", self.raw, 36)
        self.tx = bool(self.flags & 2)
        self.data = self.raw[44:]
        self.error = bool(self.flags & 4)
        self.event = bool(self.flags & 0x10)
        if self.event:
            self.dlc = None
            self.error = False
        else:
            self.id = identifier & 0x3FFFFFFF

    def lin(self):
        self.flags, length, identifier = struct.unpack_from("<HBB", self.raw, 30)
        self.tx = bool(self.flags & 0x40)
        self.error = bool(self.flags & 7) or self.flags & 0x48 == 0x48
        self.event = not self.error and bool(self.flags & 0x10)
        wakeup = not self.error and not self.event and bool(self.flags & 0x20)
        if self.event or wakeup:
            return
        self.id = identifier & 0x3F
        self.len = max(length - 1, 0)
        self.data = self.raw[35 : 35 + self.len]

    def flexray(self):
        kind, = struct.unpack_from("<H", self.raw, 30)
        self.event = False
        self.error = 7 <= kind <= 10
        self.tx = kind == 2
        if kind == 3:
            self.cycle = self.raw[40]
        if self.error:
            self.cycle = self.raw[42]
        if kind in (1, 2):
            self.flags, self.slot, self.cycle, words = struct.unpack_from("<BHBB", self.raw, 41)
            self.len = 2 * words
            self.data = b"" if self.flags & 4 else self.raw[48 : 48 + self.len]

    def ethernet(self):
        kind, = struct.unpack_from("<H", self.raw, 30)
        self.flags, self.event = self.raw[40], False
        self.error = bool(self.flags & 2)
        self.tx = bool(self.flags & 1)
        self.vlans, self.type, self.port = [], None, ()
        if kind != 1:
            return
        self.len, = struct.unpack_from("<H", self.raw, 42)
        self.data = self.raw[44 : 44 + self.len]
        at = 12
        while len(self.data) >= at + 4 and int.from_bytes(self.data[at : at + 2], "big") in TAGS:
            self.vlans.append(int.from_bytes(self.data[at + 2 : at + 4], "big") & 0xFFF)
            at += 4
        self.type = int.from_bytes(self.data[at : at + 2], "big") if len(self.data) >= at + 2 else None
        packet = self.data[at + 2 :]
        if self.type == 0x800 and packet[9] in (6, 17) and int.from_bytes(packet[6:8], "big") & 0x1FFF == 0:
            header = 4 * (packet[0] & 15)
            self.port = struct.unpack_from(">HH", packet, header)
        if self.type == 0x86DD and packet[6] in (6, 17):
            self.port = struct.unpack_from(">HH", packet, 40)


def number(record, first, last):
    """Bytes of the data, big-endian, or None."""
    return int.from_bytes(record.data[first : last + 1], "big") if last < len(record.data) else None


# Each expression, and what it means.
EXPRESSIONS = {
    "bus == can": lambda r: r.bus == CAN,
    "bus != can and dir == rx": lambda r: r.bus != CAN and r.tx is False,
    "id in 0x100..0x1FF, 0x7DF, 0x3c": lambda r: r.id is not None and (0x100 <= r.id <= 0x1FF or r.id in (0x7DF, 0x3C)),
    "id & 0x0F0 == 0x040": lambda r: r.id is not None and r.id & 0xF0 == 0x40,
    "id != 0x133": lambda r: r.id is not None and r.id != 0x133,
    "not id == 0x133": lambda r: r.id != 0x133,
    "extended or remote": lambda r: r.bus == CAN and not r.event and (r.flags & 1 or r.flags & 0xC == 0 and not r.len and r.dlc),
    "fd and brs and len > 8": lambda r: r.bus == CAN and not r.event and r.flags & 0x28 == 0x28 and r.len > 8,
    "error": lambda r: r.error,
    "event or kind == wakeup": lambda r: r.event or r.bus == LIN and not r.error and bool(r.flags & 0x20),
    "len == 0": lambda r: r.len == 0,
    "data[0] & 0x80": lambda r: bool(r.data) and r.data[0] & 0x80,
    "data[2..3] > 1000 && dlc <= 8": lambda r: (number(r, 2, 3) or 0) > 1000 and r.dlc is not None and r.dlc <= 8,
    "data[1..0] < 0x4000": lambda r: len(r.data) > 1 and (r.data[1] << 8 | r.data[0]) < 0x4000,
    "slot in 1..50 and cycle & 1 == 1": lambda r: r.slot is not None and 1 <= r.slot <= 50 and r.cycle & 1,
    "cycle == 6": lambda r: r.cycle == 6,
    "null": lambda r: r.bus == FLEXRAY and r.slot is not None and r.flags & 4,
    "startup or sync": lambda r: r.slot is not None and r.flags & 0x18,
    "vlan": lambda r: r.bus == ETHERNET and bool(r.vlans),
    "ethertype == ipv4 and port == 30490": lambda r: r.bus == ETHERNET and r.type == 0x800 and 30490 in r.port,
    "port in 0..1023": lambda r: r.bus == ETHERNET and any(port < 1024 for port in r.port),
    "dst & 01:00:00:00:00:00": lambda r: r.bus == ETHERNET and len(r.data) >= 12 and r.data[0] & 1,
    "channel >= 3 and not (bus == flexray or len > 60)": lambda r: r.channel >= 3 and not (r.bus == FLEXRAY or (r.len or 0) > 60),
}


def read(path):
    contents, records, at = path.read_bytes(), [], 0
    while at < len(contents):
        length, = struct.unpack_from("<I", contents, at)
        records.append(Record(contents[at : at + length]))
        at += length
    return records


def joined(records):
    return b"".join(record.raw for record in records)


class Filter(ClientTest):
    def record(self, *sources):
        self.run_client("record", *sources, "--speed", "max", "-o", "all.bin", expect=None)
        return read(self.folder / "all.bin")

    def convert(self, *options, expect=0):
        """The bytes that are selected, and the summary."""
        (self.folder / "some.bin").unlink(missing_ok=True)
        out, _ = self.run_client("convert", "all.bin", "-o", "some.bin", *options, "--json", expect=expect)
        return (self.folder / "some.bin").read_bytes(), json.loads(out)

    def expect_all(self, records, *never):
        """Of each expression, what the second filter says; some of them match nothing in these records."""
        for expression, wanted in EXPRESSIONS.items():
            with self.subTest(expression):
                matching = [record for record in records if wanted(record)]
                self.assertEqual(bool(matching), expression not in never)
                got, summary = self.convert("--filter", expression, expect=None)
                self.assertEqual(got, joined(matching))
                self.assertEqual(summary["entries"], len(matching))
                self.assertEqual(summary["left_out"]["unmatched"], len(records) - len(matching))
                rest, _ = self.convert("--filter", f"not ({expression})", expect=None)
                self.assertEqual(rest, joined(record for record in records if not wanted(record)))

    def test_of_the_synthetic_vehicle(self):
        self.expect_all(self.record("vehicle?seed=3&duration=10s"), *NOT_IN_THE_VEHICLE)

    def test_of_real_recordings_of_all_buses(self):
        folder = pathlib.Path(arguments.recordings)
        names = ["can/icsim-sample.log", "can/css-94C49784-2.log", "can/canfd-std.log", "can/ecubus-errorframes.log",
                 "lin/stress.csv", "lin/burst.csv", "flexray/vehicle-first-half.csv",
                 "ethernet/many-protocols.pcap", "ethernet/qinq.pcap", "ethernet/someip-1.pcap"]
        paths = [folder / name for name in names]
        if not all(path.exists() for path in paths):
            self.skipTest("recordings are missing")
        self.expect_all(self.record(*paths), *NOT_IN_THE_RECORDINGS)

    def test_times_cut_a_recording_into_parts_that_make_it_up(self):
        records = self.record("can?seed=1&duration=10s", "lin?seed=2&duration=10s")
        start = records[0].time
        cuts = (["--to", "3s"], ["--from", "3s", "--to", "7500ms"], ["--from", "7.5s"])
        parts = [self.convert(*cut)[0] for cut in cuts]
        self.assertEqual(b"".join(parts), joined(records))
        self.assertEqual(parts[1], joined(r for r in records if 3 * SECOND <= r.time - start < 7.5 * SECOND))

    def test_count_ends_with_the_last_entry_that_matches(self):
        records = self.record("can?seed=1&duration=10s")
        got, summary = self.convert("--filter", "fd", "--count", "10")
        self.assertEqual(got, joined([r for r in records if r.flags & 8 and not r.event][:10]))
        self.assertEqual((summary["entries"], summary["ended_by"]), (10, "count"))
        _, summary = self.convert("--count", str(len(records) + 1))
        self.assertEqual(summary["ended_by"], "input_ended")

    def test_channels_get_other_numbers_everywhere(self):
        records = self.record("can?seed=1&duration=2s", "lin?seed=2&duration=2s")
        swapped = [struct.pack("<II", len(r.raw), 3 - r.channel) + r.raw[8:] for r in records]
        self.assertEqual(self.convert("--channel", "1=2", "--channel", "2=1")[0], b"".join(swapped))
        _, summary = self.convert("--channel", "2=7")
        self.assertEqual([channel["channel"] for channel in summary["channels"]], [1, 7])
        live = self.summary("can?seed=1&duration=2s", "lin?seed=2&duration=2s", "--speed", "max", "--channel", "1=2",
                            "--channel", "2=1")
        self.assertEqual([channel["bus"] for channel in live["channels"]], ["LIN", "CAN"])
        self.assertEqual(live["channels"][0]["source"], "lin?seed=2&duration=2s")

    def test_two_channels_never_become_one(self):
        self.record("can?seed=1&duration=2s", "lin?seed=2&duration=2s")
        _, err = self.run_client("convert", "all.bin", "-o", "some.bin", "--channel", "1=2", expect=1)
        self.assertIn("Channel 1 can't become 2, which is another one", err)
        _, err = self.run_client("record", "can", "lin", "--no-output", "--channel", "1=2", expect=2)
        self.assertIn("--channel 1=2: channel 2 is another one", err)

    def test_a_recording_takes_what_convert_takes_of_it(self):
        self.record("can?seed=1&duration=5s")
        options = ["--filter", "id in 0x80..0x100 and not error", "--from", "1s", "--to", "4s"]
        expected, _ = self.convert(*options)
        _, err = self.run_client("record", "can?seed=1&duration=5s", "--speed", "max", "-o", "live.bin", *options)
        self.assertEqual((self.folder / "live.bin").read_bytes(), expected)
        self.assertIn(" outside --from and --to, ", err)
        self.assertIn(" that --filter doesn't match\n", err)

    def test_an_endless_recording_ends_with_the_count_and_at_the_time(self):
        summary = self.summary("can?seed=1", "--speed", "100", "--filter", "error", "--count", "3")
        self.assertEqual((summary["entries"], summary["ended_by"]), (3, "count"))
        summary = self.summary("can?seed=1", "--speed", "100", "--to", "1s")
        self.assertLess(summary["last_time_ns"] - summary["first_time_ns"], SECOND)

    def test_list_has_the_selected_entries_alone(self):
        records = self.record("can?seed=1&duration=5s", "lin?seed=2&duration=5s")
        for source in (["all.bin"], ["can?seed=1&duration=5s", "lin?seed=2&duration=5s", "--speed", "max"]):
            out, err = self.run_client("list", *source, "--filter", "bus == can and dlc == 8 and kind == frame", "--channel",
                                       "1=9", "--json")
            rows = json.loads(out)
            self.assertEqual(sum(row["count"] for row in rows),
                             sum(r.bus == CAN and r.dlc == 8 and not r.error and not r.event for r in records))
            self.assertEqual({(row["channel"], row["dlc"]) for row in rows}, {(9, 8)})
            self.assertIn("left out: ", err)

    def test_times_of_a_measurement_file_are_those_of_the_whole_recording(self):
        self.record("can?seed=1&duration=5s")
        for name, options in (("whole.mf4", []), ("part.mf4", ["--from", "2s"])):
            self.run_client("convert", "all.bin", "-o", name, "--start-time", "2026-11-21T14:30:00Z", *options)
        start = [struct.unpack_from("<Q", (self.folder / name).read_bytes(), 64 + 24 + 8 * 6)[0]
                 for name in ("whole.mf4", "part.mf4")]
        self.assertEqual(start[0], start[1])
        self.assertGreater(start[0], 1_700_000_000 * SECOND)

    def test_mistakes_are_refused_with_the_place_marked_before_anything_is_made(self):
        for verb in (["record", "can", "-o", "x.bin"], ["convert", "all.bin", "-o", "x.bin"], ["list", "can"]):
            _, err = self.run_client(*verb, "--filter", "bus == can and idd == 0x123", expect=2)
            self.assertEqual(err, 'qor-trace: There is no field "idd"; did you mean id?\n'
                                  "  bus == can and idd == 0x123\n"
                                  "                 ^^^\n")
        _, err = self.run_client("record", "can", "-o", "x.pcapng", "--as-exported", "--filter", "fd", expect=2)
        self.assertIn("--as-exported writes everything", err)
        self.assertEqual(self.files(), [])

    def test_a_long_expression_fits_a_narrow_terminal(self):
        shown = self.on_a_terminal(40, "list", "can", "--filter", " or ".join(["id == 0x100"] * 50 + ["idd"]), expect=2)
        lines = shown.replace("\r", "").rstrip("\n").split("\n")
        self.assertTrue(lines[-2].endswith("or idd") and lines[-1].endswith("^^^"), shown)
        self.assertEqual(len(lines[-2]), len(lines[-1]))
        self.assertLessEqual(len(lines[-2]), 40)


# What doesn't occur there, so that every other expression is known to match something.
NOT_IN_THE_VEHICLE = ("port in 0..1023",)
NOT_IN_THE_RECORDINGS = ("event or kind == wakeup",)

if __name__ == "__main__":
    main()
