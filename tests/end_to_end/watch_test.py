"""`qor-trace watch` in a real terminal: what the screen shows, what the keys do, and how the terminal is left."""

import json
import os
import re
import signal

from support import arguments, main, nanoseconds, read_bin
from terminal import TerminalTest

CAN = "can?seed=7"
CHANNEL = r"^ +1 CAN +[1-9]\d*/s  load +[1-9]\d*\.\d %"
ENTRIES = r"  (\d+) entries"


class Watch(TerminalTest):
    def entries(self, terminal):
        """How many the first line shows; it may be paused."""
        return int(terminal.wait_for(ENTRIES)[1])

    def wait_for_more(self, terminal, than):
        self.wait_until(lambda: self.entries(terminal) > than, f"more than {than} entries")

    def rows(self, terminal):
        """The table by message: the cells of each row."""
        lines = terminal.screen().splitlines()
        head = next(index for index, line in enumerate(lines) if "Message" in line)
        cells = [re.sub(r"^[>*]|\b[RT]x\b", " ", line).split() for line in lines[head + 1 : -1]]
        rows = [row for row in cells if row]
        return {tuple(row[:4]): row for row in rows}

    def part_of(self, name, source, seconds):
        """Checks that a recording is a part of what the source has to give, without a gap; gives the places of its first
        and its last frame there."""
        self.run_client("record", source.replace("?", "?speed=max&"), "-d", f"{seconds}s", "-o", "whole.bin")
        whole = read_bin((self.folder / "whole.bin").read_bytes())
        part = read_bin((self.folder / name).read_bytes())
        first = whole.index(part[0])
        self.assertEqual(part, whole[first : first + len(part)])
        return first, first + len(part) - 1

    # What is shown.

    def test_all_buses_are_shown_with_their_rates_and_loads(self):
        terminal = self.open("watch", "vehicle?seed=1")
        terminal.wait_for(CHANNEL)
        terminal.wait_for(r"^ +2 LIN +[1-9]\d*/s  load +[1-9]\d*\.\d %")
        terminal.wait_for(r"^ +3 FR +[1-9]\d*/s  load +[1-9]\d*\.\d/[1-9]\d*\.\d %")
        terminal.wait_for(r"^ +4 Eth +[1-9]\d*/s  load +\d+\.\d/\d+\.\d %")
        terminal.wait_for(r"^ +Ch Bus Message +Kind +Count Rate/s Cycle ms  Jitter Data$")
        # a0 comes every 10 ms, with jitter.
        terminal.wait_for(r"^ +1 CAN a0 +CAN +\d+ +\d+\.\d +(9\.[89]|10\.[012])\d+ +\d\.\d{3} ([0-9a-f]{2} ){5}\+$")

    def test_forty_columns_by_twelve_lines_are_enough(self):
        terminal = self.open("watch", "vehicle?seed=1", columns=40, lines=12)
        terminal.wait_for(r"^ +1 CAN +[1-9]\d*/s +[1-9]\d*\.\d % err \d+  lost 0$")
        terminal.wait_for(r"^  and 2 more  [1-9]\d*/s")
        terminal.wait_for(r"^ +Ch Message +Count +ms Data$")
        terminal.wait_for(r"^ +1 a0 +\d+ +(9\.|10\.)\d+ [0-9a-f]{2} [0-9a-f]{2} [0-9a-f]{2}")
        self.assertTrue(all(len(line) <= 40 for line in terminal.screen().splitlines()))

    def test_the_view_fits_itself_to_another_size(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.resize(40, 12)
        terminal.wait_for(r"^ +Ch Message +Count +ms Data$")
        terminal.wait_for(r"\A(.*\n){11}\? help.*\n\Z")
        terminal.resize(120, 30)
        terminal.wait_for(r"Kind +Dir +Count")
        terminal.wait_for(r"\A(.*\n){29}\? help.*\n\Z")
        terminal.resize(20, 4)
        terminal.wait_for("20 x 4 is too sm")
        terminal.resize(80, 24)
        terminal.wait_for(CHANNEL)

    def test_errors_are_red_and_changed_bytes_are_marked(self):
        terminal = self.open("watch", CAN, "--filter", "error or id == 0xa0")
        red, underlined = r"\x1b\[(\d+;)*31m", r"\x1b\[(\d+;)*4(;\d+)*m"
        terminal.wait_for(red + r"[^\x1b]*\berror\b", attributes=True)
        terminal.wait_for(r"a0 +(\x1b\[[\d;]*m)?CAN .*" + underlined, attributes=True)

    def test_no_color_leaves_the_other_marks(self):
        terminal = self.open("watch", CAN, "--filter", "error or id == 0xa0", environment={"NO_COLOR": "1"})
        terminal.wait_for(r"\berror\b")
        terminal.wait_for(r"\x1b\[(\d+;)*4(;\d+)*m[0-9a-f]{2}", attributes=True)
        self.assertNotRegex(terminal.screen(attributes=True), r"\x1b\[(\d+;)*[34][0-7]m")

    def test_losses_are_shown_while_they_happen_and_are_the_exit_code(self):
        terminal = self.shell()
        self.run_in(terminal, "client watch 'can?seed=1&speed=50&buffer=8'")
        terminal.wait_for(r"LOST [1-9]")
        terminal.press("q")
        self.assertEqual(self.ended(terminal), 3)

    # Keys.

    def test_rows_are_sorted_by_another_column_and_reversed(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("s")
        terminal.wait_for("by count")
        counts = [int(row[4]) for row in self.rows(terminal).values()]
        self.assertEqual(counts, sorted(counts, reverse=True))
        terminal.press("S")
        terminal.wait_for("by count, reversed")
        counts = [int(row[4]) for row in self.rows(terminal).values()]
        self.assertEqual(counts, sorted(counts))

    def test_a_mistaken_filter_is_marked_and_the_old_one_stays(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("/")
        terminal.type("id == 0xa0")
        terminal.press("Enter")
        terminal.wait_for(r"^filter: id == 0xa0 +\d+ of \d+$")
        self.assertEqual({row[2] for row in self.rows(terminal)}, {"a0"})
        terminal.press("/", "C-u")
        terminal.type("bus == can and idd == 1")
        terminal.press("Enter")
        terminal.wait_for(r"idd.*\nfilter: bus == can and idd == 1\n                       \^\^\^$")
        terminal.press("Escape")
        terminal.wait_for(r"^filter: id == 0xa0 +\d+ of \d+$")
        self.assertEqual({row[2] for row in self.rows(terminal)}, {"a0"})
        terminal.press("/", "C-u", "Enter")
        terminal.wait_for(r"^\? help")
        terminal.wait_for(r"^ +1 CAN a1 ")

    def test_a_paused_view_stands_still_while_counting_goes_on(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("Space")
        terminal.wait_for("PAUSED")
        before = self.entries(terminal)
        rows = self.rows(terminal)
        for order in ("count", "rate", "cycle time", "jitter", "newest"):  # each is a new picture
            terminal.press("s")
            terminal.wait_for("by " + order)
        terminal.press("s")
        terminal.wait_without("by newest")
        self.assertEqual(self.entries(terminal), before)
        self.assertEqual(self.rows(terminal), rows)
        terminal.press("Space")
        terminal.wait_without("PAUSED")
        self.wait_for_more(terminal, before)

    def test_a_frozen_message_stands_still_among_the_others(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        row = r" +1 CAN a0 +CAN +[RT]x +(\d+).*$"
        terminal.wait_for("^." + row)  # it is one of the first; others may still come in between
        terminal.press("Home")
        while not re.match(">" + row, selected := terminal.wait_for(r"^>.*")[0]):
            terminal.press("Down")
            terminal.wait_without("^" + re.escape(selected[:20]))
        terminal.press("f", "Escape")
        frozen = terminal.wait_for(r"^\*" + row)[0]
        others = terminal.wait_for(r"^ +1 CAN a1 +CAN +[RT]x +(\d+)")[1]
        self.wait_until(lambda: terminal.wait_for(r"^ +1 CAN a1 +CAN +[RT]x +(\d+)")[1] != others, "counts of another message")
        self.assertEqual(terminal.wait_for(r"^\*" + row)[0], frozen)

    def test_counts_begin_anew(self):
        terminal = self.open("watch", CAN)
        count = lambda: int(terminal.wait_for(r"^ +1 CAN a0 +CAN +[RT]x +(\d+)")[1])
        self.wait_until(lambda: count() > 50, "50 entries of a message")
        terminal.press("c")
        self.wait_until(lambda: count() < 50, "a smaller count")
        self.assertGreater(self.entries(terminal), 50)

    def test_help_names_the_keys_also_where_they_have_to_be_scrolled(self):
        terminal = self.open("watch", CAN, columns=40, lines=12)
        terminal.wait_for(r"^ +Ch Message")
        terminal.press("?")
        terminal.wait_for(r"^q, Ctrl-C +quit")
        for _ in range(10):
            terminal.press("Down")
        terminal.wait_for(r"^\?, h +this page")
        terminal.press("Escape")
        terminal.wait_for(r"^ +Ch Message")

    def test_a_message_has_a_page_with_all_of_its_data(self):
        terminal = self.open("watch", "ethernet?seed=1")
        terminal.wait_for(r"^ +1 Eth \S+ \w\w:\w\w>")
        terminal.press("Enter")
        terminal.wait_for(r"^Ethernet good frame, channel 1, ethernet\?seed=1")
        terminal.wait_for(r"jitter \d")
        terminal.wait_for(r"^  16  ([0-9a-f]{2} ?){16}$")
        terminal.press("Escape")
        terminal.wait_for(r"^> *1 Eth ")

    # Recordings.

    def test_a_recording_has_everything_from_the_key_on(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for(r"^record to: watch-\d{8}-\d{6}\.mf4$")
        pressed = self.entries(terminal)
        self.wait_for_more(terminal, pressed + 500)  # while the name is being typed
        terminal.press("C-u")
        terminal.type("take.bin")
        terminal.press("Enter")
        terminal.wait_for(r"REC take\.bin \d+:\d\d\.\d [1-9]\d* entries")
        self.wait_for_more(terminal, pressed + 1000)
        seen = self.entries(terminal)
        terminal.press("r")
        terminal.wait_for(r"written: .*take\.bin")
        terminal.wait_without("REC")
        self.assertEqual([name for name in self.files() if "watch" in name or "part" in name], [])
        first, last = self.part_of("take.bin", CAN, 60)
        self.assertLessEqual(first, pressed)
        self.assertGreaterEqual(last, seen - 1)

    def test_several_channels_are_recorded_in_order_and_without_a_gap(self):
        terminal = self.open("watch", CAN, "lin?seed=1", "-o", "both.bin")
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for(r"REC both\.bin .* [1-9]\d* entries")
        terminal.press("r")  # the latest second is still held back to be put in order
        terminal.wait_for(r"written: both\.bin")
        for bus, channel in (("can", "1"), ("lin", "2")):
            self.run_client("convert", "both.bin", "-o", f"{bus}.bin", "--filter", f"bus == {bus}")
            self.assertIn(f"channel {channel}", self.run_client("info", f"{bus}.bin")[0].decode().lower())
        self.part_of("can.bin", CAN, 60)
        _, told = self.run_client("list", "both.bin", expect=None)
        self.assertNotIn("OUT OF ORDER", told)

    def test_given_outputs_begin_at_once_and_a_second_take_has_a_name_of_its_own(self):
        terminal = self.open("watch", CAN, "-o", "run.asc", "-o", "run.mf4", "--title", "bench 7")
        for names in (("run.asc", "run.mf4"), ("run-2.asc", "run-2.mf4")):
            terminal.wait_for(CHANNEL)
            terminal.press("r")
            terminal.wait_for(rf"REC {re.escape(names[0])} .* [1-9]\d* entries")
            terminal.press("r")
            terminal.wait_for(rf"written: .*{re.escape(names[1])}")
            self.assertTrue(set(names) <= set(self.files()))
        terminal.press("q")
        out, _ = self.run_client("info", "run-2.mf4")
        self.assertIn("bench 7", out.decode())

    def test_names_that_can_not_be_are_refused_at_the_prompt(self):
        (self.folder / "old.bin").write_text("kept")
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for("^record to: ")
        for name, reason in (("old.bin", "exists"), ("x.foo", "foo"), ("no/such/x.bin", "no/such")):
            terminal.press("C-u")
            terminal.type(name)
            terminal.press("Enter")
            terminal.wait_for(rf"{re.escape(reason)}(.*\n)+record to: {re.escape(name)}$")
        terminal.press("Escape")
        terminal.wait_for(r"^\? help")
        self.assertEqual(self.files(), ["old.bin"])
        self.assertEqual((self.folder / "old.bin").read_text(), "kept")

    def test_quitting_completes_the_recording(self):
        terminal = self.shell()
        self.run_in(terminal, f"client watch '{CAN}' -o take.bin")
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for(r"REC take\.bin .* [1-9]\d* entries")
        terminal.press("q")
        self.assertEqual(self.ended(terminal), 0)
        self.assertRegex(terminal.screen().replace("\n", ""), r"written: .*take\.bin")
        self.part_of("take.bin", CAN, 60)

    # The black box.

    def check_incident(self, name, told, ring, post):
        """Checks that a file has every frame from the ring's time before its trigger to the post time after it, in s."""
        trigger = nanoseconds(re.search(r"key at (\d+\.\d+) s", told)[1])
        first, last = self.part_of(name, CAN, 60)
        whole = read_bin((self.folder / "whole.bin").read_bytes())
        inside = [place for place, frame in enumerate(whole) if -ring * 10**9 <= frame.time - trigger <= post * 10**9]
        self.assertEqual((first, last), (inside[0], inside[-1]))

    def test_a_key_triggers_the_black_box_and_nothing_of_the_past_is_missing(self):
        terminal = self.shell(columns=120)
        self.run_in(terminal, f"client watch '{CAN}' -o i-%n.bin --ring 2s --post 5s")
        terminal.wait_for(r"BOX$")
        terminal.wait_for(r"^\? help .*  t trigger")
        self.wait_for_more(terminal, 3000)
        terminal.press("t")
        terminal.wait_for(r"INCIDENT 1 \d+:\d\d\.\d$")
        terminal.wait_for(r"INCIDENT 1 closes in 0:0\d\.\d$")
        terminal.wait_for(r"^incident 1 written: i-000001\.bin, \d+ entries")
        terminal.wait_for(r"BOX$")
        terminal.press("t")
        terminal.wait_for(r"^triggered")
        self.wait_for_more(terminal, 1)
        terminal.press("q")  # it ends with what it has
        self.assertEqual(self.ended(terminal), 0)
        told = terminal.screen()
        self.assertEqual(self.bins(), ["i-000001.bin", "i-000002.bin"])
        self.assertRegex(told, r"left out: \d+ entries in no incident")
        self.check_incident("i-000001.bin", re.search("incident 1: key at .* s", told)[0], 2, 5)
        self.part_of("i-000002.bin", CAN, 60)

    def test_a_key_in_an_incident_is_told_to_be_of_that(self):
        terminal = self.shell(columns=120)
        self.run_in(terminal, f"client watch '{CAN}' -o i-%n.bin --ring 2s --post 1h")
        terminal.wait_for(r"BOX$")
        self.wait_for_more(terminal, 10)
        terminal.press("t")
        terminal.wait_for(r"INCIDENT 1 ")
        terminal.press("t")
        terminal.wait_for(r"^triggered: incident 1 goes on")
        terminal.press("q")
        self.assertEqual(self.ended(terminal), 0)
        self.assertEqual(self.bins(), ["i-000001.bin"])

    def bins(self):
        return [name for name in self.files() if name.endswith(".bin")]

    def test_an_incident_of_several_channels_has_what_was_shown_when_the_key_was_pressed(self):
        terminal = self.open("watch", CAN, "lin?seed=1", "-o", "i-%n.bin", "--ring", "10m", "--post", "0s")
        terminal.wait_for(CHANNEL)
        shown = self.entries(terminal)  # the latest second of them is still held back to be put in order
        terminal.press("t")
        terminal.wait_for("INCIDENT 1")
        terminal.press("q")
        self.wait_until(lambda: "i-000001.bin" in self.files(), "the incident")
        out, _ = self.run_client("info", "--json", "i-000001.bin")
        self.assertGreaterEqual(json.loads(out)["files"][0]["entries"], shown)

    def test_conditions_and_signals_trigger_while_watching(self):
        terminal = self.open("watch", CAN, "-o", "i-%n.bin", "--ring", "10ms", "--post", "10ms", "--trigger", "kind == event",
                             columns=120)
        terminal.wait_for(r"^incident \d+ written: i-00000\d\.bin, \d+ entries")
        self.assertIn("i-000001.bin", self.files())
        terminal = self.open("watch", CAN, "-o", "s-%n.bin", "--ring", "10ms", "--post", "10ms", columns=120)
        terminal.wait_for(CHANNEL)
        os.kill(terminal.process(), signal.SIGUSR1)
        terminal.wait_for(r"^incident 1 written: s-000001\.bin, \d+ entries")

    def test_without_a_black_box_its_key_says_how_to_get_one(self):
        terminal = self.open("watch", CAN)
        terminal.wait_for(CHANNEL)
        terminal.press("t")
        terminal.wait_for(r"^There is no black box; begin watch with one: -o incident-%n\.mf4 --ring 60s")
        terminal.press("?")
        terminal.wait_for(r"^t +black box: trigger an incident")

    def test_recording_goes_on_beside_the_black_box(self):
        terminal = self.open("watch", CAN, "-o", "i-%n.bin", "--ring", "1s", "--post", "1s")
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for("^record to: watch-")
        terminal.press("C-u")
        terminal.type("take.bin")
        terminal.press("Enter")
        terminal.wait_for(r"BOX REC ")
        terminal.press("t")
        terminal.wait_for(r"INCIDENT 1 .*REC ")
        terminal.press("r")
        terminal.wait_for(r"written: .*take\.bin")
        terminal.press("q")
        self.wait_until(lambda: "i-000001.bin" in self.files(), "the incident")
        self.part_of("take.bin", CAN, 60)
        self.part_of("i-000001.bin", CAN, 60)

    def test_the_end_of_a_file_can_still_be_triggered(self):
        count = self.record()
        whole = read_bin((self.folder / "drive.bin").read_bytes())
        terminal = self.open("watch", "drive.bin", "--speed", "max", "-o", "i-%n.bin", "--ring", "1s")
        terminal.wait_for(rf"  {count} entries .* max END BOX$")
        terminal.press("t")
        terminal.wait_for(r"^incident 1 written: i-000001\.bin")
        last = [frame for frame in whole if frame.time >= whole[-1].time - 10**9]
        self.assertEqual(read_bin((self.folder / "i-000001.bin").read_bytes()), last)
        terminal.press("t")
        terminal.wait_for(r"^The black box is empty")

    def test_an_incident_that_can_not_be_written_is_told_and_the_box_goes_on(self):
        (self.folder / "out").mkdir()
        terminal = self.shell()
        self.run_in(terminal, f"client watch '{CAN}' -o out/i-%n.bin --ring 10ms --post 10ms")
        terminal.wait_for(CHANNEL)
        (self.folder / "out").rename(self.folder / "away")
        terminal.press("t")
        terminal.wait_for(r"^incident 1: not complete, the end of watch says why")
        (self.folder / "out").mkdir()
        terminal.press("t")
        terminal.wait_for(r"^incident 2 written: i-000002\.bin")
        terminal.press("q")
        self.assertEqual(self.ended(terminal), 1)
        self.assertRegex(terminal.screen().replace("\n", ""), r"Incident 1: Cannot .*No such file")

    def test_a_black_box_goes_on_when_the_terminal_goes_away(self):
        terminal = self.open("watch", CAN, "-o", "i-%n.bin", "--ring", "1s", "--post", "1s")
        process = terminal.process()
        terminal.wait_for(CHANNEL)
        terminal.close()
        os.kill(process, signal.SIGUSR1)
        self.wait_until(lambda: "i-000001.bin" in self.files(), "the incident")
        os.kill(process, signal.SIGTERM)
        self.wait_until(lambda: not self.is_running(process), "the end")
        self.part_of("i-000001.bin", CAN, 120)

    def test_mistaken_black_boxes_are_refused_before_the_view(self):
        terminal = self.shell(columns=200)
        for words, sentence in (
                ("--ring 1s", "A black box needs an output for its incidents"),
                ("--ring soon -o i-%n.bin", '"soon" is neither a time nor a size'),
                ("-o i-%n.bin --ring 1s --split-time 1s", "An incident is one file"),
                ("-o i-%n.bin --trigger 'idd == 1'", 'There is no field "idd"'),
                ("-o i-%n.bin --post 1s", "--post and --ring-on-disk are of a black box"),
        ):
            self.run_in(terminal, f"client watch '{CAN}' {words}")
            self.assertEqual(self.ended(terminal), 2)
            self.assertIn(sentence, terminal.screen())
        self.assertEqual(self.files(), [])

    # How it ends.

    def test_a_recording_goes_on_when_the_terminal_goes_away(self):
        terminal = self.open("watch", CAN, "-o", "take.bin")
        process = terminal.process()
        terminal.wait_for(CHANNEL)
        terminal.press("r")
        terminal.wait_for(r"REC take\.bin .* [1-9]\d* entries")
        terminal.close()
        part = self.folder / "take.bin.part"
        size = part.stat().st_size
        self.wait_until(lambda: part.stat().st_size > size + 100_000, "a recording that grows")
        os.kill(process, signal.SIGTERM)
        self.wait_until(lambda: not self.is_running(process), "the end")
        self.assertNotIn("take.bin.part", self.files())
        self.part_of("take.bin", CAN, 120)

    def test_without_a_recording_it_ends_with_its_terminal(self):
        terminal = self.open("watch", CAN)
        process = terminal.process()
        terminal.wait_for(CHANNEL)
        terminal.close()
        self.wait_until(lambda: not self.is_running(process), "the end")

    def assert_restored(self, terminal, shown="^before the view"):
        """The shell's screen is back, and what is typed is seen."""
        terminal.wait_for(shown)
        self.assertNotIn("Message", terminal.screen())
        terminal.type("clear; stty -a; echo shown\n")
        modes = terminal.wait_for(r"(?s)^speed .*^shown")[0]
        for mode in ("icanon", "echo", "isig", "icrnl", "opost"):
            self.assertRegex(modes, rf"(?<!-)\b{mode}\b")

    def test_the_terminal_is_restored_after_each_way_out(self):
        terminal = self.shell()
        ways = {
            "q": lambda: terminal.press("q"),
            "Ctrl-C": lambda: terminal.press("C-c"),
            "SIGTERM": lambda: os.kill(terminal.job(), signal.SIGTERM),
            "SIGHUP": lambda: os.kill(terminal.job(), signal.SIGHUP),
        }
        for name, leave in ways.items():
            with self.subTest(way=name):
                self.run_in(terminal, f"client watch '{CAN}'")
                terminal.wait_for(CHANNEL)
                leave()
                self.assertEqual(self.ended(terminal), 0)
                terminal.wait_for(r"^watched \d+ entries")
                self.assert_restored(terminal)

    def test_ctrl_z_gives_the_terminal_back_and_fg_takes_it_again(self):
        terminal = self.shell()
        self.run_in(terminal, f"client watch '{CAN}'")
        terminal.wait_for(CHANNEL)
        terminal.press("C-z")
        terminal.wait_for(r"Stopped")
        self.assert_restored(terminal)
        terminal.type("fg\n")
        terminal.wait_for(CHANNEL)
        before = self.entries(terminal)
        self.wait_for_more(terminal, before)
        terminal.press("q")
        self.assert_restored(terminal, r"^watched \d+ entries")

    def test_without_a_terminal_it_is_refused_in_a_sentence(self):
        _, told = self.run_client("watch", CAN, expect=2)
        self.assertEqual(told.count("\n"), 1)
        self.assertIn("needs a terminal", told)

    def test_terminals_that_have_no_cursor_are_refused(self):
        terminal = self.shell()
        for kind, reason in (("dumb", "no cursor"), ("no-such-type", "not known")):
            self.run_in(terminal, f"TERM={kind} {arguments.client} watch '{CAN}'")
            self.assertEqual(self.ended(terminal), 2)
            self.assertRegex(terminal.screen(), rf"(?s){kind}.*{reason}")

    def test_arguments_that_need_standard_output_are_refused(self):
        terminal = self.shell()
        for words in ("-o -", "--json", "--as-exported", "--filter 'id == '"):
            self.run_in(terminal, f"client watch '{CAN}' {words}")
            self.assertEqual(self.ended(terminal), 2)

    # Files.

    def record(self, seconds=5):
        self.run_client("record", CAN.replace("?", "?speed=max&"), "-d", f"{seconds}s", "-o", "drive.bin")
        return len(read_bin((self.folder / "drive.bin").read_bytes()))

    def test_a_file_is_shown_to_its_end_and_stays(self):
        count = self.record()
        terminal = self.shell()
        self.run_in(terminal, "client watch drive.bin --speed max")
        terminal.wait_for(rf"  {count} entries .* max END$")
        terminal.press("q")
        terminal.wait_for(rf"^watched {count} entries in 4\.99")
        self.assertEqual(self.ended(terminal), 0)

    def test_a_file_goes_at_its_speed_and_record_by_record(self):
        self.record(100)
        terminal = self.open("watch", "drive.bin", "--speed", "0.1")
        terminal.wait_for(r"  [1-9]\d* entries .* 0\.1x$")
        terminal.press("Space")
        terminal.wait_for("PAUSED")
        before = self.entries(terminal)
        for step in range(1, 4):
            terminal.press("n")
            self.wait_until(lambda: self.entries(terminal) == before + step, "one record more")
        for _ in range(5):
            terminal.press("+")
        terminal.wait_for(r" 3\.2x PAUSED$")
        terminal.press("Space")
        terminal.wait_without("PAUSED")
        self.wait_for_more(terminal, before + 100)

    def test_a_pipe_is_watched_with_keys_from_the_terminal(self):
        count = self.record()
        terminal = self.shell()
        self.run_in(terminal, "cat drive.bin | client watch - --speed max")
        terminal.wait_for(rf"  {count} entries .* max END$")
        terminal.press("s")
        terminal.wait_for("by count")
        terminal.press("q")
        self.assertEqual(self.ended(terminal), 0)

    def test_what_a_damaged_file_holds_is_shown_and_is_a_failure(self):
        self.record()
        with open(self.folder / "drive.bin", "ab") as file:
            file.write(bytes(range(200)) * 20)
        terminal = self.shell()
        self.run_in(terminal, "client watch drive.bin --speed max")
        terminal.wait_for(r" END$")
        terminal.press("q")
        self.assertIn(self.ended(terminal), (1, 3))

    def test_a_condition_begins_and_another_ends_what_is_shown_of_a_file(self):
        (self.folder / "drive.log").write_text("".join(f"({index}.0) can0 {index % 100:03X}#{index:02X}\n" for index in range(200)))
        self.run_client("convert", "drive.log", "-o", "drive.bin")
        terminal = self.shell()
        self.run_in(terminal, "client watch drive.bin --speed max --start-on 'data[0] == 100' --stop-on 'data[0] == 110'")
        terminal.wait_for(r"  11 entries .* max END$")
        terminal.press("q")
        terminal.wait_for(r"^watched 11 entries in 10\.0")
        self.assertEqual(self.ended(terminal), 0)

    def test_sources_are_watched_up_to_a_limit_and_stay_on_the_screen(self):
        terminal = self.shell()
        self.run_in(terminal, f"client watch '{CAN}' --stop-after 50entries")
        terminal.wait_for(r"  50 entries .* END$")
        terminal.press("q")
        terminal.wait_for(r"^watched 50 entries in ")
        self.assertEqual(self.ended(terminal), 0)

    def test_speeds_of_files_have_bounds(self):
        self.record(1)
        terminal = self.shell()
        for speed in ("0", "0.05", "1001", "fast", "-1"):
            self.run_in(terminal, f"client watch drive.bin --speed={speed}")
            self.assertEqual(self.ended(terminal), 2)
            self.assertIn("no speed for a file", terminal.screen())


if __name__ == "__main__":
    main()
