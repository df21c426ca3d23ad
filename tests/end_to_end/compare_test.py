"""qor-trace compare: two recordings that differ in what was done to one of them."""

import json
import os
import signal
import struct

from support import DEADLINE, ClientTest, main


def split(records):
    """The records of a raw file."""
    found = []
    place = 0
    while place < len(records):
        length = int.from_bytes(records[place : place + 4], "little")
        found.append(records[place : place + length])
        place += length
    return found


def later(record, ns):
    """The record with another time, in both of its places."""
    time = struct.unpack_from("<Q", record, 8)[0] + ns
    moved = bytearray(record)
    struct.pack_into("<Q", moved, 8, time)
    if record[24] != 1:  # all but LIN
        struct.pack_into("<Q", moved, 28 if record[24] == 0 else 32, time)
    return bytes(moved)


class Compare(ClientTest):
    def record(self, source="can?seed=7", name="a.bin", *more):
        self.run_client("record", source, "-d", "5s", "--speed", "max", "-o", name, *more, expect=None)
        return split((self.folder / name).read_bytes())

    def write(self, records, name="b.bin", described=True):
        """A raw file with the description of a.bin, or none."""
        (self.folder / name).write_bytes(b"".join(records))
        if described:
            known = json.loads((self.folder / "a.bin.json").read_text())
            del known["records"]
            (self.folder / (name + ".json")).write_text(json.dumps(known))

    def compare(self, *args, expect):
        out, _ = self.run_client("compare", *args, "--json", expect=expect)
        return json.loads(out)

    def counts(self, *args, expect):
        counts = self.compare(*args, expect=expect)["counts"]
        return counts["equal"], counts["only_in_a"], counts["only_in_b"], counts["different"]

    def test_copy_is_equal(self):
        records = self.record()
        self.write(records)
        out, err = self.run_client("compare", "a.bin", "b.bin")
        text = out.decode()
        self.assertIn(f"A: a.bin, {len(records)} entries\n", text)
        self.assertIn("times: UTC, tolerance 0.000000000 s\n", text)
        self.assertTrue(text.endswith(f"\nequal: {len(records)} equal\n"), text)
        self.assertEqual(err, "")

    def test_gap_and_changed_frame_are_told_with_their_places(self):
        records = self.record()
        other = records[:1000] + records[1400:]
        changed = next(place for place in range(1200, 1300) if len(other[place]) > 44 and other[place][40] & 0x14 == 0)
        other[changed] = other[changed][:-1] + bytes([other[changed][-1] ^ 0xFF])
        self.write(other)
        report = self.compare("a.bin", "b.bin", expect=3)
        self.assertEqual((report["schema"], report["version"], report["verdict"]), ("qor-trace-compare", 1, "different"))
        self.assertEqual(report["counts"]["equal"], len(records) - 401)
        gap, frame = report["differences"]
        self.assertEqual((gap["what"], gap["count"], gap["a"]["entry"], gap["last_entry"]), ("only_in_a", 400, 1001, 1400))
        self.assertIsNone(gap["b"])
        self.assertEqual((frame["what"], frame["fields"]), ("different", ["data"]))
        self.assertEqual((frame["a"]["entry"], frame["b"]["entry"]), (changed + 401, changed + 1))
        self.assertEqual(frame["b"]["data"][-2:], f"{other[changed][-1]:02x}")

    def test_differences_of_one_channel_leave_the_others_alone(self):
        records = self.record("vehicle?seed=7")
        lin = [place for place, record in enumerate(records) if record[24] == 1]
        self.write([record for place, record in enumerate(records) if place not in set(lin[10:20])])
        report = self.compare("a.bin", "b.bin", expect=3)
        self.assertEqual({channel["bus"]: channel["only_in_a"] for channel in report["channels"]},
                         {"CAN": 0, "LIN": 10, "FlexRay": 0, "Ethernet": 0})
        self.assertEqual(len(report["differences"]), 1)

    def test_conversions_are_equal_as_their_formats_keep_them(self):
        self.record("vehicle?seed=7", "a.bin", "-o", "a.asc", "-o", "a.pcapng", "-o", "a.mf4", "-o", "a.log.gz", "-o", "b.bin.zst")
        self.assertEqual(self.compare("a.bin", "b.bin.zst", expect=0)["verdict"], "equal")
        for name, form in (("a.asc", "asc"), ("a.pcapng", "pcapng"), ("a.mf4", "mf4"), ("a.log.gz", "log")):
            with self.subTest(name):
                report = self.compare("a.bin", name, "--as-kept-by", form, expect=0)
                self.assertEqual(report["verdict"], "equal")
                self.assertEqual(report["counts"]["equal"], report["b"]["entries"])
                self.assertEqual(report["a"]["not_compared"], report["a"]["entries"] - report["b"]["entries"])
                out, err = self.run_client("compare", "a.bin", name, expect=3)
                self.assertIn(b"\ndifferent: ", out)
                self.assertIn(f"--as-kept-by {form} leaves out what has no place there", err)
        # Each has lost what both have.
        self.assertEqual(self.compare("a.asc", "a.mf4", "--as-kept-by", "asc,mf4", expect=0)["verdict"], "equal")

    def test_times_may_be_apart_by_the_tolerance(self):
        records = self.record()
        self.write([later(record, index % 900) for index, record in enumerate(records)])
        self.assertEqual(self.counts("a.bin", "b.bin", "--tolerance", "1us", expect=0)[0], len(records))
        report = self.compare("a.bin", "b.bin", "--tolerance", "500ns", expect=3)
        self.assertEqual(report["counts"]["fields"], {"time": report["counts"]["different"]})
        self.assertEqual((report["apart"]["least_ns"], report["apart"]["greatest_ns"]), (0, 899))
        self.assertEqual(report["differences"][0]["apart_ns"], 501)

    def test_clock_that_counts_from_elsewhere_is_measured_and_set_off(self):
        records = self.record()
        self.write([later(record, 3 * 10**9 + 25) for record in records], described=False)
        self.write(records, "c.bin", described=False)
        report = self.compare("c.bin", "b.bin", expect=3)
        self.assertEqual((report["times"], report["counts"]["equal"]), ("own", 0))
        out, err = self.run_client("compare", "c.bin", "b.bin", expect=3)
        self.assertIn("Nothing is equal at the same time. If the clocks differ: --ignore time says by how much", err)
        report = self.compare("c.bin", "b.bin", "--ignore", "time", expect=0)
        self.assertEqual((report["apart"]["first_ns"], report["apart"]["last_ns"]), (3000000025, 3000000025))
        for option in (["--offset", "-3000000025ns"], ["--offset=-3s", "--tolerance", "25ns"], ["--times", "relative"]):
            self.assertEqual(self.compare("c.bin", "b.bin", *option, expect=0)["verdict"], "equal")

    def test_recording_without_a_moment_is_compared_from_its_start(self):
        records = self.record()
        self.write([later(record, 10**9) for record in records], described=False)
        _, err = self.run_client("compare", "a.bin", "b.bin")
        self.assertIn('It isn\'t known when "b.bin" was recorded, so times count from the first entry of each', err)
        _, err = self.run_client("compare", "a.bin", "b.bin", "--times", "utc", expect=1)
        self.assertIn("It isn't known when the entries of \"b.bin\" were recorded", err)

    def test_fields_and_channel_numbers_may_differ_where_that_is_asked_for(self):
        records = self.record()
        moved = [record[:4] + b"\x05" + record[5:40] + bytes([record[40] ^ 2]) + record[41:] for record in records]
        self.write(moved)
        self.assertEqual(self.counts("a.bin", "b.bin", expect=3), (0, len(records), len(records), 0))
        self.assertEqual(self.counts("a.bin", "b.bin", "--channel", "5=1", expect=3), (0, 0, 0, len(records)))
        self.assertEqual(self.counts("a.bin", "b.bin", "--channel", "5=1", "--ignore", "dir", expect=0)[0], len(records))
        self.assertEqual(self.counts("a.bin", "b.bin", "--ignore", "dir,channel", expect=0)[0], len(records))

    def test_selections_are_made_of_both(self):
        records = self.record()
        changed = 2000
        self.write(records[:changed] + records[changed + 1 :])
        moment = struct.unpack_from("<Q", records[changed], 8)[0] - struct.unpack_from("<Q", records[0], 8)[0]
        for option, same in ((["--from", f"{moment + 1}ns"], True), (["--to", f"{moment}ns"], True),
                             (["--from", f"{moment}ns"], False), (["--count", str(changed)], True),
                             (["--count", str(changed + 1)], False), (["--filter", "bus == lin"], True)):
            with self.subTest(option):
                self.compare("a.bin", "b.bin", *option, expect=0 if same else 3)

    def test_cuts_are_where_they_are_in_a(self):
        records = self.record()
        self.write(records[500:])
        report = self.compare("a.bin", "b.bin", "--from", "2s", expect=0)
        self.assertGreater(report["counts"]["equal"], 1000)

    def test_descriptions_are_compared_where_asked_for(self):
        records = self.record()
        self.write(records)
        self.assertEqual(self.compare("a.bin", "b.bin", "--description", expect=0)["description"], [])
        known = json.loads((self.folder / "b.bin.json").read_text())
        known["title"] = "wet road"
        known["channels"][0]["bit_rate"] = 250000
        known["losses"] = [{"channel": 1, "cause": "disk_full", "first_time_ns": 5, "last_time_ns": 6, "count": 7}]
        (self.folder / "b.bin.json").write_text(json.dumps(known))
        self.compare("a.bin", "b.bin", expect=0)
        self.assertEqual(self.compare("a.bin", "b.bin", "--description", expect=3)["description"],
                         ['title ("", "wet road")', 'channel 1: bit rate ("500000/2000000", "250000/2000000")',
                          "loss on channel 1 (disk_full): 7 items, only in B"])

    def test_no_more_differences_are_shown_than_asked_for(self):
        records = self.record()
        self.write(records[::2])
        out, _ = self.run_client("compare", "a.bin", "b.bin", "--max", "2", expect=3)
        shown = out.decode().split("and ")[0]
        self.assertEqual(shown.count("only in A: 1 entry"), 2)
        self.assertIn(f"\nand {len(records) // 2 - 2} further differences\n", out.decode())

    def test_standard_input_is_one_of_them(self):
        self.record()
        with open(self.folder / "a.bin", "rb") as stdin:
            out, _ = self.run_client("compare", "-", "a.bin", stdin=stdin)
        self.assertIn(b"\nequal: ", out)

    def test_damaged_recording_is_compared_as_far_as_it_goes(self):
        self.record()
        (self.folder / "b.bin").write_bytes((self.folder / "a.bin").read_bytes()[:100001])
        report = self.compare("a.bin", "b.bin", expect=1)
        self.assertEqual(report["verdict"], "incomplete")
        self.assertGreater(report["counts"]["equal"], 1000)
        self.assertEqual(report["differences"], [])
        out, err = self.run_client("compare", "a.bin", "b.bin", expect=1)
        self.assertIn(b"\nso far: ", out)
        self.assertIn("There is no whole record at byte", err)

    def test_recording_that_was_cut_off_is_a_difference_even_if_nothing_else_is(self):
        self.record("can?seed=7", "a.asc")
        text = (self.folder / "a.asc").read_text()
        (self.folder / "b.asc").write_text(text[:-9])  # within the last line, which is no entry
        (self.folder / "c.asc").write_text(text[:-9])
        _, err = self.run_client("compare", "b.asc", "c.asc", expect=3)
        self.assertIn("b.asc: LOST: ", err)

    def test_interruption_is_a_failure_with_what_was_compared(self):
        self.record()
        os.mkfifo(self.folder / "pipe")
        process = self.start("compare", "a.bin", "pipe", "--json")
        with open(self.folder / "pipe", "wb") as pipe:
            pipe.write((self.folder / "a.bin").read_bytes()[:50000])
            pipe.flush()
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"Interrupted", err)
        self.assertEqual(json.loads(out)["verdict"], "incomplete")

    def test_the_same_file_twice_is_said(self):
        self.record()
        os.link(self.folder / "a.bin", self.folder / "b.bin")
        _, err = self.run_client("compare", "a.bin", "b.bin")
        self.assertIn('A and B are the same file, "a.bin"', err)

    def test_arguments_that_make_no_sense(self):
        self.record()
        for args, words in ((["a.bin"], "B is missing"), (["-", "-"], "Standard input can only be read once"),
                            (["a.bin", "a.bin", "a.bin"], "one argument too many"),
                            (["a.bin", "a.bin", "--ignore", "colour"], "there are time, channel, kind"),
                            (["a.bin", "a.bin", "--as-kept-by", "bin"], "there are asc, mf4, pcapng, log"),
                            (["a.bin", "a.bin", "--tolerance", "5"], "write 10ms or 1us"),
                            (["a.bin", "a.bin", "--offset", "soon"], "--offset"),
                            (["a.bin", "a.bin", "--times", "gps"], "there are utc, own and relative"),
                            (["a.bin", "a.bin", "--time-format", "julian"], "no format of times"),
                            (["a.bin", "a.bin", "--filter", "id =="], "id is a number"),
                            (["a.bin", "a.bin", "--channel", "1"], "isn't understood")):
            with self.subTest(args):
                out, err = self.run_client("compare", *args, expect=2)
                self.assertEqual(out, b"")
                self.assertIn(words, err)
        for args in (["a.bin", "none.bin"], ["none.bin", "a.bin"], ["a.bin", "."]):
            out, err = self.run_client("compare", *args, expect=1)
            self.assertEqual(out, b"")
            self.assertIn("Cannot open", err)


if __name__ == "__main__":
    main()
