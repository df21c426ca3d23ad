"""The manners of the client: what it prints where, how it ends, what it leaves behind."""

import json
import fcntl
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import termios
import time

from support import DEADLINE, ClientTest, Frame, arguments, main, read_bin

THREE_FRAMES = ["(10.000000) can0 123#0102", "(10.100000) can0 18FE0102#", "(10.200000) can0 7FF#FF"]


class HelpAndVersion(ClientTest):
    def test_help_is_a_result(self):
        for args in (["--help"], ["record", "--help"], ["list", "--help"]):
            out, err = self.run_client(*args)
            self.assertIn(b"Usage: qor-trace", out)
            self.assertEqual(err, "")
        for word in (b"--duration", b"--asc-split", b"candump:PATH", b"Examples:", b"Exit codes:"):
            self.assertIn(word, self.run_client("record", "--help")[0])

    def test_version_is_a_result(self):
        for args in (["--version"], ["record", "--version"], ["list", "--version"]):
            out, err = self.run_client(*args)
            self.assertRegex(out, rb"^qor-trace \d+\.\d+\.\d+\n$")
            self.assertEqual(err, "")


    def test_help_of_a_command_has_two_spellings(self):
        self.assertEqual(self.run_client("help", "convert")[0], self.run_client("convert", "--help")[0])
        self.assertEqual(self.run_client("help")[0], self.run_client("--help")[0])

    def test_help_fits_the_terminal(self):
        for columns in (40, 80):
            for args in (["--help"], ["help", "record"], ["help", "convert"], ["help", "list"]):
                text = self.on_a_terminal(columns, *args)
                for line in text.split("\r\n"):
                    words = line.split()
                    if len(words) > 1:
                        self.assertLessEqual(len(line), columns)
        for line in self.run_client("help", "record")[0].decode().splitlines():
            self.assertLessEqual(len(line), 80)


class WrongUsage(ClientTest):
    def refused(self, *args, expect=2):
        """Refused before anything was begun, in one or two lines on standard error."""
        before = self.files()
        out, err = self.run_client(*args, expect=expect)
        self.assertEqual(out, b"")
        self.assertNotEqual(err, "")
        self.assertLessEqual(err.count("\n"), 2, err)
        self.assertEqual(self.files(), before)
        return err

    def test_arguments_that_make_no_sense(self):
        self.refused("frobnicate")
        self.refused("help", "frobnicate")
        self.refused("record", "can")
        self.assertIn("--output is missing", self.refused("convert", "x.bin"))
        self.refused("record", "can", "-o", "x.bin", "--no-output")
        self.refused("record", "can", "-d", "", "-o", "x.bin")
        self.refused("record", "can", "--swap-folder", "", "-o", "x.bin")
        self.refused("record")
        self.refused("record", "can", "--no-such-option")
        self.refused("record", "can", "--duration", "5", "-o", "x.bin")
        self.refused("record", "can", "--memory-limit", "0", "-o", "x.bin")
        self.refused("record", "can", "--memory-limit", "many", "-o", "x.bin")
        self.refused("record", "can", "-o", "x.asc", "--asc-split", "511")
        self.refused("record", "can", "-o", "x.asc", "--asc-split", "5GB")
        self.refused("record", "can", "--asc-live", "-o", "x.bin")
        self.refused("record", "can", "-o", "x.asc", "--min-free", "much")
        self.refused("list")
        self.refused("list", "a.bin", "can")
        self.refused("list", "a.bin", "--speed", "max")
        self.refused("list", "a.bin", "--memory-limit", "5")

    def test_every_error_is_one_sentence_that_says_what_to_do(self):
        for args, sentence in (
            (["recrod", "can"], 'There is no command "recrod"; did you mean record?'),
            (["frobnicate"], 'There is no command "frobnicate"; see \'qor-trace --help\'.'),
            (["record", "can", "--durration", "5s"], "There is no option --durration; did you mean --duration?"),
            (["record", "can", "--frobnicate"], "There is no option --frobnicate; see 'qor-trace record --help'."),
            (["record"], "SOURCE is missing; see 'qor-trace record --help'."),
            (["record", "can", "-d", "", "-o", "x.bin"],
             "--duration: its value is empty; see 'qor-trace record --help'."),
            (["record", "can"], "There is no output; name one, as in -o drive.bin, or only count with --no-output."),
            (["record", "can", "-o", "a.asc,b.bin"],
             'Output "a.asc,b.bin" is several names in one; write -o a.asc -o b.bin.'),
        ):
            self.assertEqual(self.refused(*args), f"qor-trace: {sentence}\n")

    def test_kind_of_source_that_is_for_tests_is_not_offered(self):
        self.assertNotIn("script", self.refused("record", "usb", "-o", "x.bin"))

    def test_file_without_a_known_extension_is_told_how_to_be_read(self):
        self.write_candump(THREE_FRAMES, "some.txt")
        self.assertIn("candump:PATH", self.refused("record", "some.txt", "-o", "x.bin"))

    def test_outputs_that_make_no_sense(self):
        self.assertIn("x.txt", self.refused("record", "can", "-o", "x.txt", "-o", "x.bin"))
        self.assertIn("twice", self.refused("record", "can", "-o", "x.bin", "-o", "./x.bin"))
        self.refused("record", "can", "-o", "-", "--json")

    def test_sources_that_make_no_sense(self):
        log = self.write_candump(THREE_FRAMES)
        self.assertIn("nonsense", self.refused("record", "nonsense", "-o", "x.bin"))
        self.refused("record", "can?seed=x", "-o", "x.bin")
        self.refused("record", "can?no-such-option=1", "-o", "x.bin")
        self.refused("record", f"candump:{log}?speed=fast", "-o", "x.asc")
        self.refused("record", "can", "--speed", "0", "-o", "x.bin")

    def test_binary_is_not_written_to_a_terminal(self):
        leader, follower = pty.openpty()
        self.addCleanup(os.close, leader)
        self.addCleanup(os.close, follower)
        _, err = self.run_client("record", "can", "-o", "-", expect=2, stdout=follower)
        self.assertIn("terminal", err)

    def test_missing_files_are_named(self):
        for source in ("missing.log", "candump:missing.log"):
            err = self.refused("record", source, "-o", "x.bin", expect=1)
            self.assertIn("missing.log", err)
            self.assertIn("No such file", err)
        self.assertIn("missing.bin", self.refused("list", "missing.bin", expect=1))

    def test_missing_and_empty_and_folder_inputs_end_alike(self):
        for extension in ("log", "csv", "pcap", "bin"):
            (self.folder / f"empty.{extension}").write_bytes(b"")
            (self.folder / f"folder.{extension}").mkdir()
            for name in ("missing", "empty", "folder"):
                source = f"{name}.{extension}"
                commands = [["list", source], ["convert", source, "-o", "x.pcapng"]]
                if extension != "bin":
                    commands = [["list", source], ["record", source, "-o", "x.bin"]]
                for args in commands:
                    self.assertIn(source, self.refused(*args, expect=1))
        (self.folder / "x.asc").write_text("precious")
        self.assertIn("/dev/null", self.refused("convert", "/dev/null", "-o", "x.asc", expect=1))
        self.assertEqual((self.folder / "x.asc").read_text(), "precious")
        (self.folder / "null.bin").symlink_to("/dev/null")
        self.assertIn("null.bin", self.refused("list", "null.bin", expect=1))
        (self.folder / "blank.log").write_text("\n\n")
        self.assertIn("holds no frames", self.refused("record", "blank.log", "-o", "x.bin", expect=1))

    def test_outputs_that_cannot_be_written_are_named(self):
        self.assertIn("nowhere", self.refused("record", "can", "-o", "nowhere/x.bin", "-o", "y.asc", expect=1))
        self.assertIn("nowhere", self.refused("record", "can", "-o", "y.bin", "-o", "nowhere/x.asc", expect=1))
        (self.folder / "folder.asc").mkdir()
        self.assertIn("directory", self.refused("record", "can", "-o", "folder.asc", expect=1))
        self.assertIn("nowhere", self.refused("record", "can", "--swap-folder", "nowhere", "-o", "x.bin", expect=1))


class Recording(ClientTest):
    def test_several_outputs_at_once(self):
        log = self.write_candump(THREE_FRAMES)
        out, _ = self.run_client("record", log, "-o", "a.bin", "-o", "a.asc", "-o", "b.bin", "-o", "b.asc", "-o", "-")
        self.assertEqual(self.files(), ["a.asc", "a.bin", "a.bin.json", "b.asc", "b.bin", "b.bin.json", "some.log"])
        a = (self.folder / "a.bin").read_bytes()
        self.assertEqual(a, (self.folder / "b.bin").read_bytes())
        self.assertEqual(a, out)
        self.assertEqual(
            read_bin(a),
            [
                Frame(0, 1, 0x123, data=b"\x01\x02"),
                Frame(100000000, 1, 0x18FE0102, extended=True),
                Frame(200000000, 1, 0x7FF, data=b"\xff"),
            ],
        )

    def test_asc_lines_are_those_of_the_frames(self):
        log = self.write_candump(THREE_FRAMES)
        self.run_client("record", log, "-o", "a.asc")
        lines = (self.folder / "a.asc").read_text().splitlines()
        self.assertEqual(
            lines[1:4] + lines[5:],
            [
                "base hex  timestamps absolute",
                "internal events logged",
                "// version 8.1.0",
                "0.000000 1  123        Rx d 2 01 02",
                "0.100000 1  18fe0102x  Rx d 0",
                "0.200000 1  7ff        Rx d 1 ff",
                "End TriggerBlock",
            ],
        )

    def test_standard_output_takes_text_too(self):
        log = self.write_candump(THREE_FRAMES)
        self.run_client("record", log, "-o", "a.asc")
        out, _ = self.run_client("record", log, "-o", "-", "--format", "asc")
        theirs = [line for line in out.decode().splitlines() if not line.startswith(("date ", "Begin "))]
        ours = (self.folder / "a.asc").read_text().splitlines()
        self.assertEqual(theirs, [line for line in ours if not line.startswith(("date ", "Begin "))])

    def test_asc_is_brought_up_to_date_while_recording(self):
        for live in ([], ["--asc-live"]):
            process = self.start("record", "can", "-o", "a.asc", *live)
            part = self.folder / "a.asc.part"
            self.wait_until(lambda: part.exists() and part.read_text().count("\n") > 6, "lines are in the file")
            self.assertIsNone(process.poll())
            self.assertNotIn("End TriggerBlock", part.read_text())
            process.send_signal(signal.SIGINT)
            process.communicate(timeout=60)
            self.assertEqual(self.files(), ["a.asc"])
            (self.folder / "a.asc").unlink()

    def test_asc_options_show_in_the_header(self):
        log = self.write_candump(THREE_FRAMES)
        self.run_client("record", log, "-o", "a.asc", "--asc-dec", "--asc-relative")
        lines = (self.folder / "a.asc").read_text().splitlines()
        self.assertEqual(lines[1], "base dec  timestamps relative")
        self.assertEqual(lines[5:8], ["0.000000 1  291        Rx d 2 001 002", "0.100000 1  419299586x Rx d 0",
                                      "0.100000 1  2047       Rx d 1 255"])
        self.run_client("record", log, "-o", "a.asc", "--asc-decimals", "9")
        self.assertIn("\n0.100000000 1  18fe0102x  Rx d 0\n", (self.folder / "a.asc").read_text())

    def test_live_asc_has_the_same_lines_as_an_export(self):
        source = "can?seed=3&duration=20s&speed=max"
        self.run_client("record", source, "-o", "live.asc", "--asc-live")
        self.run_client("record", source, "-o", "export.asc")
        live, export = ((self.folder / name).read_text().splitlines() for name in ("live.asc", "export.asc"))
        self.assertGreater(len(live), 10000)
        self.assertEqual(live[5:], export[5:])

    def test_split_files_hold_together_what_one_file_holds(self):
        source = "can?seed=3&duration=20s&speed=max"
        self.run_client("record", source, "-o", "whole.asc")
        whole = (self.folder / "whole.asc").read_text().splitlines()[5:-1]
        for live in ([], ["--asc-live"]):
            self.run_client("record", source, "-o", "part.asc", "--asc-split", "300K", *live)
            parts = ["part.asc"]
            while (self.folder / f"part_{len(parts)}.asc").exists():
                parts.append(f"part_{len(parts)}.asc")
            self.assertGreater(len(parts), 2)
            lines = []
            for name in parts:
                text = (self.folder / name).read_text().splitlines()
                self.assertEqual(text[-1], "End TriggerBlock")
                lines += text[6 if name != "part.asc" else 5 : -1]
                (self.folder / name).unlink()
            self.assertEqual(lines, whole)

    def test_two_buses_are_merged_in_time_order(self):
        self.run_client("record", "can?seed=1", "can?seed=2", "--speed", "5", "-d", "10s", "-o", "a.bin")
        frames = read_bin((self.folder / "a.bin").read_bytes())
        times = [frame.time for frame in frames]
        self.assertEqual(times, sorted(times))
        self.assertEqual({frame.channel for frame in frames}, {1, 2})
        for channel, seed in ((1, 1), (2, 2)):
            self.run_client("record", f"can?seed={seed}&duration=10s&speed=max", "-o", "one.bin")
            one = read_bin((self.folder / "one.bin").read_bytes())
            self.assertEqual([f._replace(channel=1) for f in frames if f.channel == channel], one)

    def test_entries_less_than_a_second_late_are_put_in_order(self):
        # The slower channel's times fall behind as it plays, to 0.6 s in the end.
        sources = ("can?seed=1&duration=2s", "can?seed=2&speed=0.7&duration=1400ms")
        summary = self.summary(*sources, "-o", "a.bin")
        times = [frame.time for frame in read_bin((self.folder / "a.bin").read_bytes())]
        self.assertEqual(times, sorted(times))
        self.assertEqual([channel["late"]["count"] for channel in summary["channels"]], [0, 0])

    def test_entries_later_than_that_are_kept_and_counted(self):
        sources = ("can?seed=1&duration=4s", "can?seed=2&speed=0.4&duration=1600ms")  # 2.4 s in the end
        summary = self.summary(*sources, "-o", "a.bin", expect=3)
        one, two = summary["channels"]
        self.assertEqual(one["late"]["count"], 0)
        self.assertGreater(two["late"]["count"], 0)
        self.assertEqual(two["late"]["last_time_ns"], two["last_time_ns"])
        frames = read_bin((self.folder / "a.bin").read_bytes())
        self.assertEqual(len(frames), summary["entries"])
        newest, late = 0, []
        for frame in frames:
            if frame.time < newest:
                late.append(frame.time)
            newest = max(newest, frame.time)
        self.assertEqual(len(late), two["late"]["count"])
        self.assertEqual(min(late), two["late"]["first_time_ns"])
        _, err = self.run_client("list", *sources, expect=3)
        self.assertRegex(err, r"OUT OF ORDER: \d+ entries came too late to be put in order, ")

    def test_swap_file_is_gone_afterwards(self):
        self.run_client("record", "can?duration=5s&speed=max", "--memory-limit", "10", "-o", "a.bin", "-o", "a.asc")
        self.assertEqual(self.files(), ["a.asc", "a.bin", "a.bin.json"])

    def test_existing_output_is_replaced(self):
        log = self.write_candump(THREE_FRAMES)
        for name in ("a.bin", "a.asc"):
            (self.folder / name).write_text("something else\n" * 1000)
        self.run_client("record", log, "-o", "a.bin", "-o", "a.asc")
        self.assertEqual(len(read_bin((self.folder / "a.bin").read_bytes())), 3)
        self.assertNotIn("something", (self.folder / "a.asc").read_text())

    def test_duration_counts_on_a_silent_bus_too(self):
        log = self.write_candump(["(0.000000) can0 001#", "(100000.000000) can0 002#"])
        summary = self.summary(log, "--duration", "0.2s")
        self.assertEqual((summary["ended_by"], summary["entries"]), ("duration", 1))

    def test_duration_ends_an_endless_source_in_its_own_time(self):
        summary = self.summary("can?speed=max", "--duration", "1m")
        self.assertEqual(summary["ended_by"], "sources_ended")
        self.assertLessEqual(summary["last_time_ns"], 60 * 10**9)
        self.assertGreater(summary["last_time_ns"], 59 * 10**9)

    def test_duration_ends_a_replay_after_it_was_reached(self):
        log = self.write_candump([f"({second}.000000) can0 001#" for second in range(200000)])
        summary = self.summary(log, "--speed", "max", "--duration", "10s")
        self.assertEqual(summary["ended_by"], "duration")
        self.assertGreaterEqual(summary["last_time_ns"], 10 * 10**9)
        self.assertLess(summary["entries"], 200000)


class Summaries(ClientTest):
    def test_results_and_talk_go_apart(self):
        log = self.write_candump(THREE_FRAMES)
        out, err = self.run_client("record", log, "--no-output")
        self.assertEqual(out, b"")
        self.assertIn("3 frames received, 0 transmitted, 0 error frames, load 0.2 %, 0.000000000 s to 0.200000000 s", err)
        self.assertIn("3 entries in 0.200000000 s", err)
        self.assertNotIn("\r", err)
        out, err = self.run_client("record", log, "--no-output", "--json")
        self.assertEqual(json.loads(out)["entries"], 3)
        self.assertIn("3 entries", err)

    def test_json_says_what_was_recorded(self):
        self.write_candump(["(5.5) can0 001#00", "(5.75) can1 002#", "(6.5) can0 20000080#0000000000000000"])
        summary = self.summary("some.log", "-o", "a.bin")
        self.assertEqual(summary["ended_by"], "sources_ended")
        self.assertEqual((summary["first_time_ns"], summary["last_time_ns"]), (0, 1000000000))
        self.assertEqual(summary["exit_code"], 0)
        self.assertEqual(summary["errors"], [])
        self.assertEqual(summary["outputs"], [{"format": "bin", "path": str(self.folder / "a.bin"), "complete": True}])
        one, two = summary["channels"]
        self.assertEqual((one["channel"], one["source"]), (1, "some.log (can0)"))
        self.assertEqual((one["received"], one["counts"]["error_frames"], one["last_time_ns"]), (1, 1, 1000000000))
        self.assertEqual((two["source"], two["received"], two["first_time_ns"]), ("some.log (can1)", 1, 250000000))

    def test_json_of_nothing_has_no_times(self):
        summary = self.summary("can", "--duration", "1ns")
        self.assertEqual(summary["entries"], 0)
        self.assertIsNone(summary["first_time_ns"])

    def test_every_loss_is_counted_and_placed(self):
        everything = self.summary("can?duration=60s&speed=max")["entries"]
        summary = self.summary("can?duration=60s&speed=200&buffer=10", expect=3)
        (channel,) = summary["channels"]
        lost = channel["lost"]
        self.assertGreater(lost["count"], 0)
        self.assertEqual(summary["entries"] + lost["count"], everything)
        self.assertLessEqual(0, lost["first_time_ns"])
        self.assertLess(lost["first_time_ns"], lost["last_time_ns"])
        self.assertLessEqual(lost["last_time_ns"], 60 * 10**9)
        self.assertEqual(summary["exit_code"], 3)
        _, err = self.run_client("record", "can?duration=60s&speed=200&buffer=10", "--no-output", expect=3)
        self.assertRegex(err, r"LOST: \d+ items found the capture buffer full, \d+\.\d{9} s to \d+\.\d{9} s\n")

    def test_live_line_is_for_terminals(self):
        text = self.on_a_terminal(80, "record", "can", "-d", "1s", "--no-output")
        self.assertRegex(text, r"\r\d+:\d\d\.\d  \d+ entries  \d+/s  0 lost")
        self.assertIn("channel 1: can (CAN)\r\n", text)

    def test_talk_fits_the_terminal(self):
        for columns in (40, 80):
            text = self.on_a_terminal(columns, "record", "vehicle", "-d", "1s", "--no-output")
            self.assertIn("\033[K", text)
            for line in re.split(r"\r\n|\r|\033\[K", text):
                self.assertLessEqual(len(line), columns)

    def test_progress_is_told_without_a_terminal_to_those_who_ask(self):
        process = self.start("record", "can", "--no-output", "--progress")
        line = process.stderr.readline()
        self.assertRegex(line, rb"^\d+:\d\d\.\d  \d+ entries  \d+/s  0 lost\n$")
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, 0)

    def test_unreadable_lines_are_left_out_counted_and_named(self):
        lines = list(THREE_FRAMES)
        lines[1:1] = ["rubbish", "(10.05) can0 1#"]
        log = self.write_candump(lines)
        summary = self.summary(log, "-o", "a.bin", expect=3)
        self.assertEqual(summary["entries"], 3)
        self.assertEqual(
            summary["unread_lines"],
            [
                {
                    "file": str(log),
                    "count": 2,
                    "first": [
                        {"line": 2, "reason": "the line does not begin with a time in parentheses"},
                        {"line": 3, "reason": "an identifier has three hexadecimal digits, or eight if extended"},
                    ],
                }
            ],
        )
        _, err = self.run_client("list", "some.log", expect=3)
        self.assertIn("some.log: LOST: 2 lines that can't be read\n  some.log:2: the line does not begin", err)

    def test_unreadable_line_refuses_the_file_if_strict(self):
        log = self.write_candump(["rubbish", *THREE_FRAMES])
        for args in (["record", log, "--strict", "-o", "a.bin"], ["list", log, "--strict"]):
            _, err = self.run_client(*args, expect=1)
            self.assertIn("line 1: the line does not begin with a time", err)
        self.assertEqual(self.files(), ["some.log"])

    def test_what_a_format_has_no_place_for_is_a_loss_only_if_strict(self):
        args = ["can?duration=5s&speed=max", "-o", "a.pcapng"]
        _, err = self.run_client("record", *args)
        self.assertRegex(err, r"a.pcapng: NOT IN IT, as no packet can hold them: \d+ CAN log-trigger events")
        self.run_client("record", *args, "--strict", expect=3)

    def test_capture_without_the_wanted_ethernet_is_told(self):
        log = self.write_candump(THREE_FRAMES)
        _, err = self.run_client("record", log, "-o", "a.pcapng", "--ethernet-only")
        self.assertIn("--ethernet-only: there is no Ethernet in this trace", err)
        _, err = self.run_client("record", "ethernet?duration=1s&speed=max", "-o", "a.pcapng", "--ethernet-only")
        self.assertNotIn("there is no Ethernet", err)

    def test_extensions_and_sizes_are_understood_as_people_write_them(self):
        self.write_candump(THREE_FRAMES, "SOME.LOG")
        self.run_client("record", "SOME.LOG", "-o", "A.ASC", "-o", "A.BIN", "-o", "A.PCAPNG", "--asc-split", "500MB")
        self.assertEqual(self.files(), ["A.ASC", "A.BIN", "A.BIN.json", "A.PCAPNG", "SOME.LOG"])
        self.run_client("convert", "A.BIN", "-o", "b.asc", "--asc-split", "1MiB")
        self.assertEqual(self.run_client("list", "A.BIN")[0].count(b"\n"), 4)


class Ending(ClientTest):
    def recording(self, *args, **kwargs):
        """An endless recording that has written something."""
        process = self.start("record", "can", "-o", "a.bin", "-o", "a.asc", *args, **kwargs)
        part = self.folder / "a.bin.part"
        self.wait_until(lambda: part.exists() and part.stat().st_size > 0, "something is recorded")
        return process

    def test_ctrl_c_ends_with_all_outputs_complete(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = self.recording("--json")
            process.send_signal(number)
            out, err = process.communicate(timeout=60)
            self.assertEqual(process.returncode, 0, err)
            self.assertEqual(json.loads(out)["ended_by"], "interrupted")
            self.assertEqual(self.files(), ["a.asc", "a.bin", "a.bin.json"])
            frames = read_bin((self.folder / "a.bin").read_bytes())
            self.assertEqual(len(frames), json.loads(out)["entries"])
            lines = (self.folder / "a.asc").read_text().splitlines()
            self.assertEqual(len(lines), 5 + len(frames) + 1)
            self.assertEqual(lines[-1], "End TriggerBlock")

    def test_signals_of_one_moment_are_one(self):
        for first, second in ((signal.SIGTERM, signal.SIGTERM), (signal.SIGINT, signal.SIGHUP)):
            process = self.recording()
            process.send_signal(first)
            process.send_signal(second)
            _, err = process.communicate(timeout=60)
            self.assertEqual(process.returncode, 0, err)
            self.assertEqual(self.files(), ["a.asc", "a.bin", "a.bin.json"])

    def test_later_signal_ends_at_once(self):
        # Nobody reads its output, so that the recording can't end by itself.
        process = self.start("record", "can?speed=max", "-o", "-", "-o", "a.bin", "--memory-limit", "9000000")
        self.assertTrue(process.stdout.read(1))
        process.send_signal(signal.SIGINT)
        time.sleep(1.2)
        process.send_signal(signal.SIGTERM)
        process.wait(timeout=60)
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertEqual(self.files(), ["a.bin.json.part", "a.bin.part"])

    def test_later_signal_leaves_swapped_entries_where_they_are(self):
        process = self.start("record", "can?speed=max", "-o", "-", "-o", "a.bin", "--memory-limit", "10")
        self.assertTrue(process.stdout.read(1))
        self.wait_until(lambda: list(self.folder.glob(".qor-trace-swap-*/*.bin")), "something is swapped")
        process.send_signal(signal.SIGINT)
        time.sleep(1.2)
        process.send_signal(signal.SIGINT)
        _, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, -signal.SIGINT)
        (swap,) = self.folder.glob(".qor-trace-swap-*")
        self.assertIn(f'entries that are not may be in "{swap}"', err.decode())
        (file,) = swap.glob("*.bin")
        self.assertGreater(file.stat().st_size, 0)

    def test_hangup_that_is_ignored_stays_ignored(self):
        process = subprocess.Popen(["nohup", arguments.client, "record", "can", "--no-output"], cwd=self.folder,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.end, process)
        status = pathlib.Path(f"/proc/{process.pid}/status")
        mask = lambda name: int(re.search(rf"{name}:\s*(\w+)", status.read_text())[1], 16)
        bit = lambda number: 1 << (number - 1)
        # While the C library starts a thread, it blocks every signal for a moment; that passes.
        self.wait_until(lambda: mask("SigBlk") & (bit(signal.SIGINT) | bit(signal.SIGHUP)) == bit(signal.SIGINT),
                        "interrupts are taken and hangups left alone")
        self.assertTrue(mask("SigIgn") & bit(signal.SIGHUP))

    def test_reader_that_goes_ends_the_recording_quietly(self):
        process = self.start("record", "can?speed=max", "-o", "-", "-o", "a.bin")
        self.assertTrue(process.stdout.read(1000))
        process.stdout.close()
        err = process.stderr.read().decode()
        process.wait(timeout=60)
        self.assertEqual(process.returncode, 0, err)
        self.assertNotIn("qor-trace:", err)
        self.assertEqual(self.files(), ["a.bin", "a.bin.json"])

    def test_list_ends_quietly_when_its_reader_goes(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        process = self.start("list", "can?duration=1s&speed=max", stdout=write_end)
        os.close(write_end)
        _, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, err), (0, b""))


    def test_ctrl_c_ends_reading_a_pipe_with_what_came(self):
        records, _ = self.run_client("record", "can?duration=5s&speed=max", "-o", "-")
        whole = len(read_bin(records))
        for args in (["convert", "-", "-o", "b.bin"], ["list", "-", "--json"]):
            process = self.start(*args, stdin=-1)
            process.stdin.write(records + records[:10])
            process.stdin.flush()  # and the pipe stays open
            pending = lambda: struct.unpack("i", fcntl.ioctl(process.stdin, termios.FIONREAD, b"\0" * 4))[0]
            self.wait_until(lambda: pending() == 0, "everything was read")
            process.send_signal(signal.SIGINT)
            out, err = process.stdout.read(), process.stderr.read()
            process.wait(timeout=DEADLINE)
            self.assertEqual(process.returncode, 0, err)
            if args[0] == "list":
                self.assertEqual(sum(row["count"] for row in json.loads(out)), whole)
            else:
                self.assertEqual((self.folder / "b.bin").read_bytes(), records)


class FullDisk(ClientTest):
    SOURCE = "can?duration=60s&speed=max"

    def test_bin_keeps_its_whole_records_under_the_temporary_name(self):
        _, err = self.run_client("record", self.SOURCE, "-o", "a.bin", expect=1, file_limit=1000000)
        self.assertIn("a.bin", err)
        self.assertIn("File too large", err)
        self.assertEqual(self.files(), ["a.bin.json.part", "a.bin.part"])
        contents = (self.folder / "a.bin.part").read_bytes()
        self.assertGreater(len(contents), 990000)
        self.assertIn(f"The {len(read_bin(contents))} entries before that", err)

    def test_one_output_that_fails_leaves_the_others_complete(self):
        entries = self.summary(self.SOURCE)["entries"]
        summary = self.summary(self.SOURCE, "-o", "a.asc", "-o", "a.bin", expect=1, file_limit=5500000)
        self.assertEqual(summary["ended_by"], "sources_ended")
        self.assertEqual(summary["entries"], entries)
        (error,) = [error for error in summary["errors"] if "swap folder" not in error]
        self.assertRegex(error, r'^Cannot write ".*a\.asc": File too large\. The \d+ lines before that are in ".*a\.asc\.part"')
        self.assertEqual([output["complete"] for output in summary["outputs"]], [False, True])
        self.assertEqual(len(read_bin((self.folder / "a.bin").read_bytes())), entries)
        self.assertEqual(self.files(), ["a.asc.part", "a.bin", "a.bin.json"])
        self.assertTrue((self.folder / "a.asc.part").read_text().endswith("\n"))

    def test_failure_says_where_the_output_ended_and_that_others_go_on(self):
        _, err = self.run_client("record", self.SOURCE, "-o", "a.bin", "-o", "b.pcapng", "--ethernet-only", expect=1,
                                 file_limit=1000000)
        self.assertRegex(err, r'a\.bin\.part"\. It ended at entry \d+ of the trace, \d+\.\d{9} s; the other outputs go on')
        self.assertRegex(err, r"entries in \S+ s; written: .*b\.pcapng\n")
        self.assertEqual(self.files(), ["a.bin.json.part", "a.bin.part", "b.pcapng"])

    def test_live_asc_that_fails_leaves_the_others_complete(self):
        summary = self.summary("can?speed=max&duration=5s", "-o", "a.asc", "--asc-live", "-o", "b.pcapng", "--ethernet-only",
                               expect=1, file_limit=100000)
        self.assertEqual(summary["ended_by"], "sources_ended")
        self.assertEqual(self.files(), ["a.asc.part", "b.pcapng"])

    def test_swap_file_without_room_leaves_the_recording_complete(self):
        for sources in (["can?speed=max&duration=2s"], ["can?duration=2s", "can?duration=2s&seed=2"]):
            expected = self.summary(*sources)["entries"]
            summary = self.summary(*sources, "-o", "a.pcapng", "--ethernet-only", "--memory-limit", "10", expect=1,
                                   file_limit=10000)
            self.assertEqual((summary["entries"], summary["ended_by"]), (expected, "sources_ended"))
            (error,) = summary["errors"]
            self.assertIn("entries stay in memory", error)
            self.assertEqual(self.files(), ["a.pcapng"])

    def test_standard_output_that_is_full_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            for args in (["record", self.SOURCE, "-o", "-"], ["list", self.SOURCE], ["record", self.SOURCE, "--no-output", "--json"]):
                _, err = self.run_client(*args, expect=1, stdout=full)
                self.assertIn("No space left", err)


class Listing(ClientTest):
    LOG = [
        "(1.000000) can0 123#0102",
        "(1.010500) can0 00000123#",
        "(1.020000) can0 123#03",
        "(1.030000) can0 123##1AABBCCDDEEFF001122334455",
    ]

    def test_one_row_a_message(self):
        self.write_candump(self.LOG)
        out, err = self.run_client("list", "some.log")
        self.assertEqual(
            out.decode().splitlines(),
            [
                "Ch  Bus         Id  Kind  Dir      Count    Cycle (ms)       Last (s)  DLC  Last data",
                " 1  CAN        123  CAN   Rx           2        20.000    0.020000000    1  03",
                " 1  CAN        123  FD    Rx           1             -    0.030000000    9  aa bb cc dd ee ff 00 11 22 33 44 55",
                " 1  CAN       123x  CAN   Rx           1             -    0.010500000    0",
            ],
        )
        self.assertEqual(err, "")

    def test_bin_file_is_listed_like_its_source(self):
        source = "can?duration=60s&speed=max"
        listed = self.run_client("list", source)[0]
        records, _ = self.run_client("record", source, "-o", "-")
        (self.folder / "a.bin").write_bytes(records)
        self.assertEqual(self.run_client("list", "a.bin")[0], listed)
        with open(self.folder / "a.bin", "rb") as stdin:
            self.assertEqual(self.run_client("list", "-", stdin=stdin)[0], listed)
        rows = json.loads(self.run_client("list", source, "--json")[0])
        for row in rows:
            self.assertGreater(row["last_utc_ns"], 10**18)
            row["last_utc_ns"] = None  # of a file without a description it isn't known
        self.assertEqual(rows, json.loads(self.run_client("list", "a.bin", "--json")[0]))
        self.assertEqual(len(rows), len(listed.splitlines()) - 1)
        self.assertEqual(sum(row["count"] for row in rows), len(read_bin(records)))

    def test_duration_ends_the_list_of_a_file(self):
        self.write_candump(self.LOG)
        self.run_client("record", "some.log", "--speed", "max", "-o", "a.bin")
        rows = json.loads(self.run_client("list", "a.bin", "-d", "20ms", "--json")[0])
        self.assertEqual(sum(row["count"] for row in rows), 3)

    def test_rows_are_cut_to_the_width_of_a_terminal(self):
        self.write_candump(self.LOG)
        self.run_client("record", "some.log", "--speed", "max", "-o", "a.bin")
        for columns in (40, 80):
            text = self.on_a_terminal(columns, "list", "a.bin")
            lines = text[text.index("Ch  Bus") :].split("\r\n")
            self.assertEqual(len(lines), 5)
            self.assertEqual(max(map(len, lines)), columns)
            self.assertTrue(lines[2].endswith("..."))

    def test_file_that_is_no_bin_file_is_refused(self):
        (self.folder / "a.bin").write_bytes(b"something else")
        out, err = self.run_client("list", "a.bin", expect=1)
        self.assertEqual(out, b"")
        self.assertIn("byte 0", err)

    def test_loss_shows(self):
        out, err = self.run_client("list", "can?duration=60s&speed=200&buffer=10", expect=3)
        self.assertIn("LOST", err)
        self.assertIn(b"Last data", out)


if __name__ == "__main__":
    main()
