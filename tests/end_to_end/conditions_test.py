"""What --start-on and --stop-on leave: alike of recordings and of files, by the entries on their way and on a silent bus."""

import json

from support import ClientTest, main, records_of, time_of

SECOND = 10**9


def is_error(record):
    return bool(record[40] & 4) and not record[40] & 0x10


class Conditions(ClientTest):
    def frames(self, *times_and_identifiers):
        """A recording of one interface, times in ms."""
        self.write_candump([f"({ms / 1000:.6f}) can0 {identifier}#00" for ms, identifier in times_and_identifiers], "bus.log")

    def marked_frames(self, *marked):
        """bus.csv: a frame every ms from 0 to 8 ms, some of them the last ones before a loss."""
        rows = [f"{ms * 10**6},1,frame,{'rx|overrun' if ms in marked else 'rx'},{ms},,52,01" for ms in range(9)]
        (self.folder / "bus.csv").write_text("\n".join(["timestamp_ns,channel,kind,flags,id,cycle,crc,data", *rows, ""]))

    def everywhere(self, source, *options, expect=0):
        """What a recording of the source keeps, which is what its conversion keeps, and the summary of the recording."""
        self.run_client("record", source, "--speed", "max", "-o", "all.bin", expect=None)
        out, _ = self.run_client("record", source, "--speed", "max", "-o", "live.bin", "--json", *options, expect=expect)
        live = json.loads(out)
        out, _ = self.run_client("convert", "all.bin", "-o", "some.bin", "--json", *options, expect=expect)
        converted = json.loads(out)
        kept = (self.folder / "live.bin").read_bytes()
        self.assertEqual(kept, (self.folder / "some.bin").read_bytes())
        for name in ("entries", "left_out"):
            self.assertEqual(live[name], converted[name])
        for verb in (["list", "all.bin"], ["list", source, "--speed", "max"]):
            out, _ = self.run_client(*verb, "--json", *options, expect=expect)
            self.assertEqual(sum(row["count"] for row in json.loads(out)), live["entries"])
        return records_of(kept), live

    def test_what_lies_between_two_entries_both_included(self):
        kept, summary = self.everywhere("can?seed=1&duration=10s", "--start-on", "error", "--stop-on", "error")
        everything = records_of((self.folder / "all.bin").read_bytes())
        errors = [place for place, record in enumerate(everything) if is_error(record)]
        self.assertEqual(kept, everything[errors[0] : errors[1] + 1])
        self.assertEqual(summary["left_out"]["before_start"], errors[0])
        self.assertEqual(summary["ended_by"], "stop_on")

    def test_conditions_see_what_the_filter_leaves_out(self):
        kept, _ = self.everywhere("can?seed=1&duration=10s", "--start-on", "error", "--filter", "not error")
        everything = records_of((self.folder / "all.bin").read_bytes())
        start = next(place for place, record in enumerate(everything) if is_error(record))
        self.assertEqual(kept, [record for record in everything[start:] if not is_error(record)])

    def test_a_start_that_never_happens_keeps_nothing_and_says_so(self):
        kept, summary = self.everywhere("can?seed=1&duration=2s", "--start-on", "id == 0x7ff and fd")
        self.assertEqual((kept, summary["ended_by"]), ([], "sources_ended"))
        _, err = self.run_client("convert", "all.bin", "-o", "x.bin", "--start-on", "id == 0x7ff and fd")
        self.assertRegex(err, r"left out: [0-9,]+ entries before --start-on, which never happened")

    def test_what_is_missing_starts_and_stops(self):
        # 0x100 is away from 200 ms to 700 ms, and from 900 ms on.
        times = [0, 100, 200, 700, 800, 900]
        self.frames(*sorted([(ms, "100") for ms in times] + [(ms, "200") for ms in range(50, 2000, 100)]))
        missing = "missing(id == 0x100) for 300ms"
        kept, _ = self.everywhere("bus.log", "--start-on", missing, "--stop-on", "id == 0x100")
        self.assertEqual([time_of(record) // 10**6 for record in kept], [550, 650, 700])
        kept, summary = self.everywhere("bus.log", "--start-on", "id == 0x100", "--stop-on", missing)
        self.assertEqual([time_of(record) // 10**6 for record in kept], [0, 50, 100, 150, 200, 250, 350, 450])
        self.assertEqual(summary["ended_by"], "stop_on")
        kept, _ = self.everywhere("bus.log", "--start-on", missing + " and id == 0x200", "--count", "1")
        self.assertEqual([time_of(record) // 10**6 for record in kept], [550])

    def test_a_bus_that_falls_silent_ends_a_recording_by_the_clock(self):
        self.frames((0, "100"), (100, "100"), (3_600_000, "100"))
        for sources in (["bus.log"], ["bus.log", "lin?duration=100ms"]):
            summary = self.summary(*sources, "--stop-on", "missing(bus == can) for 200ms", "--filter", "bus == can")
            self.assertEqual((summary["entries"], summary["ended_by"]), (2, "stop_on"))

    def test_a_message_that_is_missing_on_a_busy_bus_ends_a_recording(self):
        self.frames((0, "100"), (100, "100"), (3_600_000, "100"))
        summary = self.summary("bus.log", "can?seed=1", "--stop-on", "missing(channel == 1) for 1s")
        self.assertEqual(summary["ended_by"], "stop_on")
        self.assertLessEqual(summary["last_time_ns"], 1_100_000_000)

    def test_a_loss_happens_in_front_of_the_entry_after_it(self):
        self.marked_frames(4)
        kept, _ = self.everywhere("bus.csv", "--start-on", "loss", expect=None)
        self.assertEqual([time_of(record) // 10**6 for record in kept], [5, 6, 7, 8])
        kept, summary = self.everywhere("bus.csv", "--stop-on", "loss", expect=None)
        self.assertEqual([time_of(record) // 10**6 for record in kept], [0, 1, 2, 3, 4])
        self.assertEqual(summary["ended_by"], "stop_on")

    def test_an_interface_that_is_gone_is_a_loss(self):
        summary = self.summary("can?seed=1&gone=1s", "lin?seed=1", "--speed", "2", "--stop-on", "loss", expect=None)
        self.assertEqual(summary["ended_by"], "stop_on")

    def test_losses_before_the_start_are_left_out(self):
        self.marked_frames(1, 6)
        _, summary = self.everywhere("bus.csv", "--start-on", "id == 4", expect=3)
        self.assertEqual([loss["first_time_ns"] // 10**6 for loss in summary["losses"]], [6])
        self.everywhere("bus.csv", "--start-on", "id == 8", expect=0)

    def test_mistakes_are_refused_with_the_place_marked_before_anything_is_made(self):
        for verb in (["record", "can", "-o", "x.bin"], ["convert", "all.bin", "-o", "x.bin"], ["list", "can"]):
            for option in ("--start-on", "--stop-on"):
                _, err = self.run_client(*verb, option, "missing(id == 0x123, 200ms)", expect=2)
                self.assertEqual(err, "qor-trace: The time comes after the parenthesis, as in missing(id == 0x123) for "
                                      "200ms.\n  missing(id == 0x123, 200ms)\n                     ^\n")
        _, err = self.run_client("list", "can", "--filter", "missing(id == 1) for 1s", expect=2)
        self.assertIn("missing is for --start-on, --stop-on and --trigger", err)
        self.assertEqual(self.files(), [])


if __name__ == "__main__":
    main()
