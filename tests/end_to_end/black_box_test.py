"""A black box: what its incidents hold, of recordings and of files, and what happens when one can't be written."""

import json
import signal
import struct

from support import ClientTest, main, records_of, time_of

MS = 10**6
RING, POST = 500, 200  # ms
OPTIONS = ("--ring", f"{RING}ms", "--post", f"{POST}ms", "--trigger", "id == 0x7ff")


def identifier_of(record):
    return struct.unpack_from("<I", record, 36)[0] & 0x3FFFFFFF


def incidents_of(records, ring=RING * MS, post=POST * MS):
    """What the incidents of a recording hold, worked out without the client: its triggers are known by their identifier."""
    spans = []
    for time in (time_of(record) for record in records if identifier_of(record) == 0x7FF):
        if spans and time - ring <= spans[-1][1]:
            spans[-1][1] = time + post
        else:
            spans.append([time - ring, time + post])
    return [[record for record in records if first <= time_of(record) <= last] for first, last in spans]


class BlackBox(ClientTest):
    def numbered(self, count, triggers, step=1):
        """bus.log: a frame every so many ms with a running number, and triggers at some times, in ms."""
        frames = [(number * step, f"100#{number:08X}") for number in range(count)]
        frames += [(ms + 0.5, "7FF#") for ms in triggers]
        self.write_candump([f"({ms / 1000:.6f}) can0 {frame}" for ms, frame in sorted(frames)], "bus.log")

    def everything(self):
        self.run_client("record", "bus.log", "--speed", "max", "-o", "all.bin")
        return records_of((self.folder / "all.bin").read_bytes())

    def written(self, folder, ending=".bin"):
        return sorted((self.folder / folder).glob("*" + ending))

    def contents(self, folder):
        return [records_of(path.read_bytes()) for path in self.written(folder)]

    def run_box(self, verb, source, folder, *options, expect=0, names=("incident-%n.bin",), **kwargs):
        """Gives the events, the summary being the last one."""
        (self.folder / folder).mkdir(exist_ok=True)
        outputs = [word for name in names for word in ("-o", f"{folder}/{name}")]
        speed = ["--speed", "max"] if verb == "record" else []
        out, err = self.run_client(verb, source, *speed, *outputs, "--json", *options, expect=expect, **kwargs)
        return [json.loads(line) for line in out.splitlines()], err

    def test_incidents_hold_what_came_around_their_triggers_whole_and_in_order(self):
        self.numbered(10_000, [100, 2000, 2150, 4000, 4600, 4800, 6000, 6700, 6701, 8000, 9999])
        everything = self.everything()
        expected = incidents_of(everything)
        self.assertEqual(len(expected), 6)
        for verb, source in (("record", "bus.log"), ("convert", "all.bin")):
            events, _ = self.run_box(verb, source, verb, *OPTIONS)
            self.assertEqual(self.contents(verb), expected)
            summary = events[-1]
            self.assertEqual(summary["entries"], sum(map(len, expected)))
            self.assertEqual(summary["left_out"]["between_incidents"], len(everything) - summary["entries"])
            self.assertEqual([incident["entries"] for incident in summary["incidents"]], [*map(len, expected)])

    def test_conditions_and_cuts_go_with_it(self):
        self.numbered(5000, [1000, 2000, 3000])
        everything = self.everything()
        self.run_box("convert", "all.bin", "some", *OPTIONS, "--filter", "data[3] & 1 == 1", "--from", "1500ms")
        cut = [record for record in everything if time_of(record) >= 1500 * MS + time_of(everything[0])]
        odd = lambda record: len(record) > 47 and record[47] & 1
        self.assertEqual(self.contents("some"), [[*filter(odd, incident)] for incident in incidents_of(cut)])

    def test_incidents_are_told_as_they_begin_and_are_closed(self):
        self.numbered(5000, [1000, 4000])
        self.everything()
        events, err = self.run_box("convert", "all.bin", "told", *OPTIONS)
        self.assertEqual([(event["event"], event.get("number")) for event in events],
                         [("incident_begun", 1), ("incident_closed", 1), ("incident_begun", 2), ("incident_closed", 2),
                          ("summary", None)])
        self.assertEqual(events[0]["triggers"], [{"by": "id == 0x7ff", "time_ns": 1000 * MS + MS // 2}])
        self.assertEqual(events[1]["entries"], 701)
        self.assertEqual(events[1]["files"], [
            {"incident": 1, "complete": True, "path": str(self.folder / "told" / "incident-000001.bin")}])
        self.assertIn("incident 1: id == 0x7ff at 1.000500000 s\n", err)
        self.assertRegex(err, r"incident 2: 701 entries, 3\.501000000 s to 4\.200000000 s; written: .*incident-000002\.bin\n")
        self.assertIn("left out: 3600 entries in no incident\n", err)

    def test_loads_are_those_of_the_incidents_not_of_the_time_between_them(self):
        self.numbered(20_000, [2000, 18_000])
        events, err = self.run_box("record", "bus.log", "loads", *OPTIONS)
        whole = self.summary("bus.log", "--speed", "max")["channels"][0]["load_percent"]["bus"]
        self.assertAlmostEqual(events[-1]["channels"][0]["load_percent"]["bus"], whole, delta=whole / 100)
        self.assertIn("1402 entries in 1.398000000 s", err)

    def test_every_format_gets_whole_files(self):
        self.numbered(4000, [1000, 3000])
        self.everything()
        endings = ("bin", "asc", "mf4", "pcapng", "ndjson", "csv", "log", "bin.gz")
        self.run_box("convert", "all.bin", "all", *OPTIONS, names=[f"incident-%n.{ending}" for ending in endings])
        for ending in ("bin", "asc", "mf4", "pcapng", "log", "bin.gz"):
            paths = [path for path in self.written("all", "." + ending)]
            self.assertEqual(len(paths), 2)
            out, _ = self.run_client("info", "--json", *paths)
            self.assertEqual([file["entries"] for file in json.loads(out)["files"]], [701, 701], ending)
        for ending in ("ndjson", "csv"):
            for path in self.written("all", "." + ending):
                self.assertEqual(path.read_text().count("\n"), 701 + (ending == "csv"))
        self.assertEqual(list((self.folder / "all").glob("*.part*")), [])

    def test_a_loss_triggers_and_goes_with_its_incident(self):
        rows = [f"{ms * MS},1,frame,{'rx|overrun' if ms in (100, 700) else 'rx'},{ms % 60},,52,01" for ms in range(1000)]
        (self.folder / "bus.csv").write_text("\n".join(["timestamp_ns,channel,kind,flags,id,cycle,crc,data", *rows, ""]))
        self.run_client("record", "bus.csv", "--speed", "max", "-o", "all.bin", expect=3)
        for verb, source in (("record", "bus.csv"), ("convert", "all.bin")):
            events, _ = self.run_box(verb, source, verb, "--ring", "50ms", "--post", "20ms", "--trigger", "loss", expect=3)
            self.assertEqual([incident["triggers"][0]["time_ns"] // MS for incident in events[-1]["incidents"]], [100, 700])
            self.assertEqual([[time_of(record) // MS for record in incident] for incident in self.contents(verb)],
                             [[*range(50, 121)], [*range(650, 721)]])
            for path, ms in zip(self.written(verb, ".bin.json"), (100, 700)):
                description = json.loads(path.read_text())
                self.assertEqual([loss["first_time_ns"] // MS for loss in description["losses"]], [ms])
                self.assertTrue(description["complete"])
        events, _ = self.run_box("convert", "all.bin", "apart", "--ring", "50ms", "--post", "20ms", "--trigger", "id == 30", "--to",
                                 "50ms")
        self.assertEqual(events[-1]["losses"], [])

    def test_what_is_missing_triggers_on_a_silent_bus(self):
        self.write_candump([f"({second:.6f}) can0 100#00" for second in (0, 0.1, 3600)], "bus.log")
        out, _ = self.run_client("record", "bus.log", "-o", "i-%n.bin", "--json", "--trigger", "missing(id == 0x100) for 300ms",
                                 "--stop-on", "missing(id == 0x100) for 1s")
        summary = json.loads(out.splitlines()[-1])
        self.assertEqual([(incident["entries"], incident["triggers"][0]["time_ns"] // MS) for incident in summary["incidents"]],
                         [(2, 400)])

    def test_a_signal_triggers(self):
        process = self.start("record", "can?seed=1", "-o", "i-%n.bin", "--ring", "1h", "--post", "10ms", "--json")
        # Before that, the signal ends the process.
        self.wait_until(lambda: any(self.folder.glob(".qor-trace-swap-*")), "the recording")
        begun = lambda: any(self.folder.glob("i-*.bin.part"))

        def press():
            process.send_signal(signal.SIGUSR1)
            return begun()

        self.wait_until(press, "an incident")
        process.send_signal(signal.SIGINT)
        out, err = process.communicate()
        self.assertEqual(process.returncode, 0, err)
        summary = json.loads(out.splitlines()[-1])
        self.assertEqual([incident["triggers"][0]["by"] for incident in summary["incidents"]], ["signal"])
        records = records_of((self.folder / "i-000001.bin").read_bytes())
        self.assertEqual(len(records), summary["incidents"][0]["entries"])
        self.assertGreater(len(records), 0)

    def test_one_that_finds_no_room_is_told_and_the_next_one_is_written(self):
        # The first one is large, the second one small.
        frames = [(number / 20, f"100#{number:08X}") for number in range(20_000)] + [(990.001, "7FF#")]
        frames += [(ms, "100#00") for ms in range(2000, 4000)] + [(3000.5, "7FF#")]
        self.write_candump([f"({ms / 1000:.6f}) can0 {frame}" for ms, frame in sorted(frames)], "bus.log")
        everything = self.everything()
        expected = incidents_of(everything)
        for verb, source in (("record", "bus.log"), ("convert", "all.bin")):
            events, err = self.run_box(verb, source, verb, *OPTIONS, expect=1, file_limit=300_000)
            self.assertEqual([path.name for path in self.written(verb)], ["incident-000002.bin"])
            self.assertEqual(self.contents(verb), expected[1:])
            self.assertTrue((self.folder / verb / "incident-000001.bin.part").exists())
            files = events[-1]["outputs"][0]["files"]
            self.assertEqual([file["complete"] for file in files], [False, True])
            self.assertIn("File too large", files[0]["error"])
            self.assertRegex(err, r"Incident 1: Cannot write .*: File too large.*The next one is tried again")

    def test_a_folder_that_is_gone_for_a_while_costs_what_happens_meanwhile(self):
        process = self.start("record", "can?seed=1", "-o", "out/i-%n.bin", "--ring", "50ms", "--post", "10ms", "--trigger",
                             "kind == event") if (self.folder / "out").mkdir() is None else None
        out = self.folder / "out"
        self.wait_until(lambda: len(list(out.glob("i-*.bin"))) >= 1, "an incident")
        out.rename(self.folder / "away")
        self.wait_until(lambda: self.said(process, "No such file"), "an incident without its folder")
        out.mkdir()
        self.wait_until(lambda: len(list(out.glob("i-*.bin"))) >= 1, "another one")
        process.send_signal(signal.SIGINT)
        process.communicate()
        self.assertEqual(process.returncode, 1)

    def said(self, process, text):
        if not hasattr(self, "heard"):
            self.heard = ""
            import os
            os.set_blocking(process.stderr.fileno(), False)
        self.heard += (process.stderr.read() or b"").decode()
        return text in self.heard

    def test_what_is_there_is_never_replaced(self):
        self.numbered(2000, [1000])
        self.everything()
        for _ in range(2):
            self.run_box("convert", "all.bin", "twice", *OPTIONS)
        self.assertEqual([path.name for path in self.written("twice")], ["incident-000001.bin", "incident-000002.bin"])
        self.run_box("convert", "all.bin", "named", *OPTIONS, names=("box.bin",))
        self.assertEqual([path.name for path in self.written("named")], ["box_000001.bin"])

    def test_a_ring_that_its_size_has_cut_says_so(self):
        self.numbered(40_000, [39_000])
        self.everything()
        events, err = self.run_box("convert", "all.bin", "short", "--ring", "30s", "--ring", "1M", "--post", "1ms", "--trigger",
                                   "id == 0x7ff")
        incident, = events[-1]["incidents"]
        self.assertTrue(incident["past_is_short"])
        self.assertIn("the ring's size was full", err)
        records, = self.contents("short")
        numbers = [int.from_bytes(record[44:48], "big") for record in records if identifier_of(record) == 0x100]
        self.assertEqual(numbers, [*range(numbers[0], 39_002)])
        self.assertGreaterEqual(sum(map(len, records)), (1 << 20) * 15 // 16 - 1000)

    def test_a_ring_on_disk_is_the_same(self):
        self.numbered(5000, [1000, 3000])
        everything = self.everything()
        self.run_box("convert", "all.bin", "disk", *OPTIONS, "--ring", "8M", "--ring-on-disk")
        self.assertEqual(self.contents("disk"), incidents_of(everything))
        self.assertEqual(len(list((self.folder / "disk").iterdir())), 4)  # two files, and their descriptions

    def test_without_an_incident_there_is_no_file(self):
        self.numbered(100, [])
        self.everything()
        events, err = self.run_box("convert", "all.bin", "none", *OPTIONS)
        self.assertEqual((events[-1]["incidents"], events[-1]["entries"]), ([], 0))
        self.assertEqual(self.written("none", ""), [])
        self.assertIn("left out: 100 entries in no incident", err)

    def test_mistakes_are_refused_before_anything_is_made(self):
        can = ["record", "can", "-o", "i-%n.mf4"]
        for words, sentence in (
                ([*can, "--ring", "sixty"], '--ring "sixty" is neither a time nor a size; write 60s or 200MB.'),
                ([*can, "--ring", "60s", "--ring", "1m"], "--ring 1m: the ring has a time already."),
                ([*can, "--ring", "1M", "--ring", "2M"], "--ring 2M: the ring has a size already."),
                ([*can, "--ring", "100"], "--ring takes 1M at least."),
                ([*can, "--ring", "1s", "--post", "soon"], '--post "soon" is no time; write 10s, 500ms or 1m30s.'),
                ([*can, "--post", "1s"], "--post and --ring-on-disk are of a black box; add --ring 60s or --trigger "
                                         '"error".'),
                ([*can, "--ring", "60s", "--ring-on-disk"], "A ring on disk takes its room from the start; say how much, as in "
                                                            "--ring 60s --ring 10GB."),
                (["record", "can", "--no-output", "--ring", "60s"], "A black box needs an output for its incidents; name one, "
                                                                    "as in -o incident-%n.mf4."),
                (["record", "can", "-o", "-", "--ring", "60s"], "A black box writes a file for each incident, and standard "
                                                                "output is one; name a file with -o."),
                ([*can, "--ring", "60s", "--as-exported"], "--as-exported writes everything; leave it out, or the black box."),
                (["convert", "all.bin", "-o", "i.bin", "--ring", "1s"], "What is read is written when something happens in it; "
                                                                        'say what, as in --trigger "error".'),
        ):
            _, err = self.run_client(*words, expect=2)
            self.assertEqual(err, f"qor-trace: {sentence}\n")
        _, err = self.run_client(*can, "--trigger", "missing(id == 1) for", expect=2)
        self.assertIn("A time is expected here, such as 200ms, 5s or 1m30s.\n  missing(id == 1) for\n                      ^", err)
        _, err = self.run_client(*can, "--ring", "100000GB", expect=1)
        self.assertRegex(err, r"There is no room for a ring of .* in memory: this machine has .* to spare")
        self.assertEqual(self.files(), [])


if __name__ == "__main__":
    main()
