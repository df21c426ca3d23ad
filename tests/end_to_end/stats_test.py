"""The numbers that a recording tells while it runs (--stats)."""

import json
import signal

from support import ClientTest, main


class Stats(ClientTest):
    def lines(self, *args, expect=0):
        out, _ = self.run_client("record", *args, "--json", expect=expect)
        events = [json.loads(line) for line in out.splitlines()]
        self.assertEqual({event["schema"] for event in events}, {"qor-trace-events"})
        return [event for event in events if event["event"] == "stats"], events[-1]

    def check_sums(self, stats, summary):
        for channel in summary["channels"]:
            parts = [part for line in stats for part in line["channels"] if part["channel"] == channel["channel"]]
            self.assertEqual(sum(part["entries"] for part in parts), channel["entries"])
            self.assertEqual(sum(part["frames"] for part in parts), channel["received"] + channel["transmitted"])
            self.assertEqual(sum(part["lost"] for part in parts), channel["lost"]["count"])

    def test_all_lines_together_are_the_summary(self):
        stats, summary = self.lines("vehicle?seed=2&duration=2s", "-o", "x.bin", "--stats", "200ms")
        self.assertGreater(len(stats), 3)
        self.check_sums(stats, summary)
        self.assertEqual([line["index"] for line in stats], list(range(1, len(stats) + 1)))
        size = (self.folder / "x.bin").stat().st_size
        self.assertEqual(stats[-1]["written_bytes"], size)
        self.assertEqual(sum(part["bytes"] for line in stats for part in line["channels"]), size)
        self.assertEqual(stats[-1]["waiting_entries"], 0)
        self.assertGreater(stats[-1]["room_bytes"], 0)
        for line in stats:
            for channel in line["channels"]:
                for load in channel["load_percent"].values():
                    self.assertTrue(load is None or 0 <= load < 100, channel)

    def test_losses_are_in_the_lines(self):
        stats, summary = self.lines("can?seed=2&duration=20s&load=90&buffer=8&speed=50", "--no-output", "--stats", "100ms",
                                    expect=3)
        self.assertGreater(sum(channel["lost"]["count"] for channel in summary["channels"]), 0)
        self.check_sums(stats, summary)
        self.assertIsNone(stats[-1]["room_bytes"])

    def test_a_silent_bus_has_lines_too(self):
        (self.folder / "silent.log").write_text("(0.000000) can0 001#00\n(1000000.000000) can0 001#00\n")
        process = self.start("record", "silent.log", "--no-output", "--stats", "100ms", "--json")
        lines = [json.loads(process.stdout.readline()) for _ in range(6)]
        process.send_signal(signal.SIGINT)
        process.communicate()
        self.assertEqual(sum(channel["entries"] for line in lines for channel in line["channels"]), 1)

    def test_people_get_the_same_in_words(self):
        _, err = self.run_client("record", "can?seed=2&duration=1s", "-o", "x.bin", "--stats", "200ms")
        self.assertRegex(err, r"\d frames, \d+ errors?, 0 lost, \d+ waiting, CAN 1 \d+\.\d %")

    def test_an_interval_that_is_none_is_refused(self):
        for interval in ("soon", "5ms", "0s"):
            _, err = self.run_client("record", "can?duration=1s", "--no-output", "--stats", interval, expect=2)
            self.assertIn("at least 100ms", err)


if __name__ == "__main__":
    main()
