"""qor-trace extcap: what Wireshark asks of it, what it captures, and tshark on top of it."""

import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import unittest

from capture_test import can_frames, read_capture
from support import ClientTest, arguments, main

VEHICLE = ["CAN-1", "LIN-2", "FR-3", "ETH-4"]
LINK = "qor-trace-extcap"


class ExtcapTest(ClientTest):
    """Has a home folder of its own."""

    def setUp(self):
        super().setUp()
        self.home = self.folder / "home"
        self.home.mkdir()
        self.environment = {**os.environ, "HOME": str(self.home), "XDG_CONFIG_HOME": str(self.home / ".config")}
        self.links = [self.home / place / "wireshark" / "extcap" / LINK for place in (".local/lib", ".config")]

    def extcap(self, *args, **kwargs):
        """Standard output, of what has nothing to say beside it."""
        out, err = self.run_client("extcap", *args, env=self.environment, **kwargs)
        self.assertEqual(err, "")
        return out.decode()

    def install(self, *more, **kwargs):
        out, _ = self.run_client("extcap", "--install", *more, env=self.environment, **kwargs)
        return out.decode()


class Links(ExtcapTest):
    def test_installing_says_where_and_the_link_answers(self):
        out = self.install()
        program = str(pathlib.Path(arguments.client).resolve())
        self.assertEqual(out, "".join(f"installed: {link} -> {program}\n" for link in self.links))
        for link in self.links:
            listed = subprocess.run([link, "--extcap-interfaces", "--extcap-version=4.0"], capture_output=True, text=True)
            self.assertEqual(listed.stderr, "")
            self.assertEqual(listed.stdout, self.extcap("--extcap-interfaces"))

    def test_another_folder(self):
        self.install("--folder", "else/where")
        self.assertEqual(os.listdir(self.folder / "else" / "where"), [LINK])
        self.assertEqual(os.listdir(self.home), [])

    def test_something_else_of_that_name_stays(self):
        self.links[0].parent.mkdir(parents=True)
        self.links[0].write_text("mine")
        _, err = self.run_client("extcap", "--install", env=self.environment, expect=1)
        self.assertIn(f'"{self.links[0]}" is there already', err)
        self.assertEqual(self.links[0].read_text(), "mine")
        self.extcap("--uninstall")
        self.assertEqual(self.links[0].read_text(), "mine")

    def test_uninstalling_removes_what_was_installed(self):
        self.install()
        out = self.extcap("--uninstall")
        self.assertEqual(out, "".join(f"removed: {link}\n" for link in self.links))
        self.assertFalse(any(os.path.lexists(link) for link in self.links))
        self.assertIn("not there", self.extcap("--uninstall"))

    def test_both_at_once_are_wrong_usage(self):
        self.run_client("extcap", "--install", "--uninstall", env=self.environment, expect=2)
        self.assertEqual(os.listdir(self.home), [])


class Protocol(ExtcapTest):
    def test_every_port_is_offered_and_what_needs_none(self):
        process = self.start("ports", "--json")
        ports = [port["port"] for port in json.loads(process.communicate()[0])["ports"]]
        offered = re.findall(r"(?m)^interface \{value=([^}]*)\}\{display=[^}]+\}$", self.extcap("--extcap-interfaces"))
        fixed = ["qor-" + name for name in ("sources", "replay", "vehicle", "can", "lin", "flexray", "ethernet")]
        self.assertEqual(offered, [f"qor-{port}" for port in ports] + fixed)

    def test_link_types_and_configuration_in_one_answer_or_in_two(self):
        types = self.extcap("--extcap-interface", "qor-lin", "--extcap-dlts")
        self.assertEqual(types, "dlt {number=212}{name=LIN}{display=LIN}\n")
        settings = self.extcap("--extcap-interface=qor-lin", "--extcap-config")
        self.assertEqual(re.findall(r"\{call=--(\w+)\}", settings), ["source", "speed", "filter", "duration"])
        self.assertEqual(self.extcap("--extcap-interface", "qor-lin", "--extcap-dlts", "--extcap-config"), types + settings)

    def test_a_capture_filter_is_checked_by_what_is_said_on_standard_output(self):
        check = lambda expression: self.extcap("--extcap-interface", "qor-can", "--extcap-capture-filter", expression)
        self.assertEqual(check("bus == can and id == 0x123"), "")
        self.assertEqual(check(""), "")
        self.assertRegex(check("idd == 3"), r'^.*"idd".*\n$')

    def test_questions_of_versions_to_come_are_none_of_its_business(self):
        self.assertEqual(self.extcap("--extcap-interface", "qor-can", "--extcap-cleanup-postkill"), "")
        self.assertIn("interface {", self.extcap("--extcap-interfaces", "--extcap-something", "else"))
        self.run_client("extcap", "--extcap-interfaces", "--fliter", "id == 1", expect=2)

    def test_what_cannot_be_answered_is_wrong_usage(self):
        for wrong, said in (
            ([], "--install"),
            (["--extcap-interface", "qor-nothing", "--extcap-dlts"], 'no interface "qor-nothing"'),
            (["--extcap-dlts"], "--extcap-interface"),
            (["--capture", "--extcap-interface", "qor-can"], "--fifo"),
        ):
            out, err = self.run_client("extcap", *wrong, expect=2)
            self.assertEqual(out, b"")
            self.assertIn(said, err)


class Captures(ExtcapTest):
    """Reads the named pipe itself."""

    def begin(self, interface, *args):
        self.fifo = self.folder / "fifo"
        with contextlib.suppress(FileExistsError):
            os.mkfifo(self.fifo)
        return self.start("extcap", "--capture", "--extcap-interface", interface, "--fifo", self.fifo, *args)

    def capture(self, interface, *args, expect=0, said=""):
        """The whole capture."""
        process = self.begin(interface, *args)
        contents = self.fifo.read_bytes()
        _, err = process.communicate()
        self.assertEqual(process.returncode, expect, err)
        self.assertRegex(err.decode(), said or "^$")
        return read_capture(contents)

    def quiet_bus(self):
        """A bus with a frame now, and the next one in an hour."""
        return self.write_candump(["(0.0) can0 123#0102", "(3600.0) can0 124#"], "quiet.log")

    def read_frame(self, pipe):
        """Reads until the first packet has come."""
        contents = b""
        while b"\x00\x00\x01\x23\x02\x00\x00\x00\x01\x02" not in contents:
            part = os.read(pipe.fileno(), 65536)
            self.assertTrue(part, "the capture has ended")
            contents += part
        return contents

    def ends_quietly(self, process):
        _, err = process.communicate()
        self.assertEqual((process.returncode, err), (0, b""))

    def test_all_buses_are_in_one_capture_with_interfaces_of_their_own(self):
        capture = self.capture("qor-vehicle", "--duration", "1s", "--speed", "max")
        self.assertEqual(capture.interfaces, list(zip((227, 212, 210, 1), VEHICLE)))
        self.assertEqual({packet[0] for packet in capture.packets}, {0, 1, 2, 3})
        self.assertEqual({lost for _, lost in capture.statistics.values()}, {0})

    def test_a_frame_is_seen_while_the_bus_is_silent_after_it(self):
        process = self.begin("qor-sources", "--source", self.quiet_bus())
        with open(self.fifo, "rb") as pipe:
            contents = self.read_frame(pipe)
            self.assertIsNone(process.poll())
            process.send_signal(signal.SIGTERM)
            capture = read_capture(contents + pipe.read())
        self.assertEqual(capture.statistics, {0: (1, 0)})
        self.ends_quietly(process)

    def test_a_reader_that_goes_while_the_bus_is_silent_ends_it_quietly(self):
        for interface, source in (("qor-sources", "--source"), ("qor-replay", "--file")):
            process = self.begin(interface, source, self.quiet_bus())
            with open(self.fifo, "rb") as pipe:
                self.read_frame(pipe)
            self.ends_quietly(process)

    def test_a_reader_that_goes_while_frames_come_ends_it_quietly(self):
        process = self.begin("qor-vehicle")
        with open(self.fifo, "rb") as pipe:
            pipe.read(100000)
        self.ends_quietly(process)

    def test_signals_end_it_quietly_and_with_a_whole_capture(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for interface, *more in (["qor-vehicle"], ["qor-replay", "--file", self.quiet_bus()]):
                process = self.begin(interface, *more)
                with open(self.fifo, "rb") as pipe:
                    contents = pipe.read(100)
                    process.send_signal(number)
                    contents += pipe.read()
                self.assertGreater(len(read_capture(contents).statistics), 0)
                self.ends_quietly(process)

    def test_a_signal_ends_it_before_anybody_reads(self):
        process = self.begin("qor-can")
        blocked = lambda: int(re.search(r"SigBlk:\s*(\w+)", pathlib.Path(f"/proc/{process.pid}/status").read_text())[1], 16)
        # A sanitizer blocks all signals for a moment as it starts.
        one = lambda mask, number: mask >> number - 1 & 1
        self.wait_until(lambda: (mask := blocked()) and one(mask, signal.SIGTERM) and not one(mask, signal.SIGALRM), "it takes signals")
        process.send_signal(signal.SIGTERM)
        self.ends_quietly(process)

    def test_both_filters_choose(self):
        source = self.write_candump([f"(0.{index:03}) can0 {index % 16:03X}#{index:02X}" for index in range(256)])
        args = ["--source", f"{source}?speed=max", "--extcap-capture-filter", "id in 3..9", "--filter", "data[0] > 0x80"]
        frames = can_frames(self.capture("qor-sources", *args))
        wanted = [index for index in range(256) if 3 <= index % 16 <= 9 and index > 0x80]
        self.assertEqual([frame.data[0] for frame in frames], wanted)

    def test_empty_settings_are_none(self):
        empty = [word for name in ("source", "filter", "extcap-capture-filter", "file") for word in (f"--{name}", "")]
        capture = self.capture("qor-can", *empty, "--duration", "100ms", "--speed", "1")
        self.assertGreater(len(capture.packets), 0)

    def test_recordings_of_any_format_are_replayed_with_their_times(self):
        outputs = [word for end in ("bin", "asc", "mf4", "pcapng") for word in ("-o", f"a.{end}")]
        self.run_client("record", "vehicle?seed=3", "-d", "1s", "--speed", "max", *outputs)
        whole = read_capture((self.folder / "a.pcapng").read_bytes())
        for name in ("a.bin", "a.pcapng"):
            capture = self.capture("qor-replay", "--file", self.folder / name, "--speed", "max")
            self.assertEqual(capture.packets, whole.packets)
        for name in ("a.asc", "a.mf4"):
            capture = self.capture("qor-replay", "--file", self.folder / name, "--speed", "1000")
            self.assertGreater(len(capture.packets), 0.9 * len(whole.packets))

    def test_a_replay_ends_after_its_duration(self):
        source = self.write_candump(["(1.0) can0 001#", "(1.4) can0 002#", "(3.0) can0 003#"])
        frames = can_frames(self.capture("qor-replay", "--file", source, "--speed", "max", "--duration", "1s"))
        self.assertEqual([frame.identifier for frame in frames], [1, 2])

    def test_what_cannot_start_says_why_after_an_empty_capture(self):
        bad = self.folder / "bad.mf4"
        bad.write_bytes(b"MDF     4.10    " + bytes(100))
        for code, args, said in (
            (2, ["qor-sources"], "There is no source"),
            (2, ["qor-sources", "--source", "no-such-if"], 'no interface "no-such-if"'),
            (2, ["qor-can", "--filter", "idd == 1"], r"(?s)idd.*\^\^\^"),
            (2, ["qor-can", "--extcap-capture-filter", "id =="], r"\^"),
            (2, ["qor-can", "--duration", "soon"], "no duration"),
            (2, ["qor-can", "--speed", "fast"], "speed"),
            (2, ["qor-replay"], "no recording"),
            (2, ["qor-replay", "--file", bad, "--speed", "fast"], "no speed"),
            (1, ["qor-replay", "--file", "missing.bin"], "missing.bin"),
            (1, ["qor-replay", "--file", bad], "bad.mf4"),
        ):
            with self.subTest(args=args):
                capture = self.capture(*args, expect=code, said=said)
                self.assertEqual(capture.packets, [])

    def test_what_is_missing_is_told_at_the_end(self):
        source = "can?duration=60s&speed=200&buffer=10"
        said = r"^channel 1, .*: LOST: \d+ items found the capture buffer full"
        capture = self.capture("qor-can", "--source", source, expect=3, said=said)
        self.assertGreater(capture.statistics[0][1], 0)

    def test_lines_that_cannot_be_read_are_told_at_the_end(self):
        source = self.write_candump(["(0.1) can0 123#01", "nonsense", "(0.2) can0 123#02"])
        for args in (["qor-sources", "--source", source], ["qor-replay", "--file", source]):
            capture = self.capture(*args, "--speed", "max", expect=3, said="LOST")
            self.assertEqual(len(capture.packets), 2)

    def test_what_another_recording_has_left_is_no_error_of_a_capture(self):
        left = pathlib.Path(os.environ["TMPDIR"]) / ".qor-trace-swap-abcdef"
        left.mkdir(mode=0o700)
        self.addCleanup(shutil.rmtree, left)
        (left / "Qor_Trace_x.bin").write_bytes(bytes(100))
        self.capture("qor-can", "--source", "can?speed=max", "--duration", "1s")
        self.assertTrue((left / "Qor_Trace_x.bin").exists())

    def test_only_a_named_pipe_is_written_to(self):
        (self.folder / "a.pcapng").write_text("mine")
        for name, said in (("a.pcapng", "no named pipe"), ("missing", "No such file")):
            args = ["--capture", "--extcap-interface", "qor-can", "--fifo", name]
            _, err = self.run_client("extcap", *args, expect=1)
            self.assertIn(said, err)
        self.assertEqual((self.folder / "a.pcapng").read_text(), "mine")
        self.assertEqual(self.files(), ["a.pcapng", "home"])


FIELDS = (
    "frame.interface_name",
    "frame.interface_description",
    "frame.protocols",
    "frame.packet_flags_direction",
    "can.id",
    "can.flags.xtd",
    "canfd.flags.brs",
    "lin.frame_id",
    "flexray.fid",
    "flexray.cc",
    "eth.src",
    "data.data",
)


@unittest.skipIf(shutil.which("tshark") is None, "tshark is not installed")
class Tshark(ExtcapTest):
    def setUp(self):
        super().setUp()
        self.install()
        if self.tshark("-D").returncode != 0:
            self.skipTest("tshark may not capture here")

    def tshark(self, *args):
        return subprocess.run(["tshark", *map(str, args)], capture_output=True, text=True, env=self.environment)

    def rows(self, *args):
        """What tshark dissects, until it ends."""
        fields = [word for field in FIELDS for word in ("-e", field)]
        done = self.tshark(*args, "-T", "fields", *fields)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertNotIn("rror", done.stderr)
        return [dict(zip(FIELDS, line.split("\t"))) for line in done.stdout.splitlines()]

    def captures(self):
        """Processes that capture for it."""
        running = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                words = (process / "cmdline").read_bytes().split(b"\0")
                if str(self.home).encode() in words[0] and b"--capture" in words:
                    running.append(process.name)
        return running

    def test_it_lists_what_is_offered(self):
        listed = self.tshark("-D").stdout
        for name in ("qor-vehicle", "qor-sources", "qor-replay", "qor-lo"):
            self.assertRegex(listed, rf"(?m)^\d+\. {name} \(.+\)$")

    def test_link_types(self):
        listed = self.tshark("-i", "qor-vehicle", "-L")
        for name in ("CAN_SOCKETCAN", "LIN", "FLEXRAY", "EN10MB"):
            self.assertIn(name, listed.stdout + listed.stderr)

    def test_a_count_of_frames_again_and_again(self):
        for _ in range(3):
            rows = self.rows("-i", "qor-vehicle", "-c", "200")
            self.assertEqual(len(rows), 200)
            self.assertEqual(sorted({row["frame.interface_name"] for row in rows}), sorted(VEHICLE))
            self.wait_until(lambda: not self.captures(), "the capture has ended")

    def test_frames_are_dissected_as_those_of_a_recording(self):
        settings = {"source": "vehicle?seed=7", "duration": "1s", "speed": "max"}
        options = [word for key, value in settings.items() for word in ("-o", f"extcap.qor_vehicle.{key}:{value}")]
        live = self.rows("-i", "qor-vehicle", *options)
        self.run_client("record", "vehicle?seed=7", "-d", "1s", "--speed", "max", "-o", "a.pcapng")
        read = self.rows("-r", self.folder / "a.pcapng")
        order = lambda row: tuple(row.values())
        self.assertEqual(sorted(live, key=order), sorted(read, key=order))
        for field in FIELDS:
            self.assertTrue(any(row[field] for row in live), field)

    def test_the_capture_filter_chooses(self):
        rows = self.rows("-i", "qor-vehicle", "-c", "20", "-f", "bus == can and id == 0xa0")
        self.assertEqual({(row["frame.interface_name"], row["can.id"]) for row in rows}, {("CAN-1", str(0xA0))})

    def test_a_wrong_capture_filter_is_said(self):
        done = self.tshark("-i", "qor-can", "-c", "1", "-f", "idd == 1")
        self.assertIn("idd == 1\n  ^^^", done.stderr)
        self.assertNotIn("No such device", done.stderr)
        self.assertEqual(done.stdout, "")

    def test_a_recording_is_replayed(self):
        self.run_client("record", "vehicle?seed=3", "-d", "1s", "--speed", "max", "-o", "a.mf4", "-o", "a.bin")
        settings = ["-o", f"extcap.qor_replay.file:{self.folder}/a.bin", "-o", "extcap.qor_replay.speed:max"]
        rows = self.rows("-i", "qor-replay", *settings)
        self.assertEqual({row["frame.interface_name"] for row in rows}, set(VEHICLE))
        self.assertGreater(len(rows), 1000)

    def test_a_recording_goes_through_a_pipe_as_well(self):
        record = self.start("record", "vehicle", "-o", "-", "--format", "pcapng", "-o", "a.bin")
        read = ["tshark", "-i", "-", "-c", "200", "-T", "fields", "-e", "frame.interface_name"]
        tshark = subprocess.run(read, stdin=record.stdout, capture_output=True, text=True, env=self.environment)
        record.stdout.close()
        self.assertEqual(tshark.returncode, 0, tshark.stderr)
        self.assertEqual(set(tshark.stdout.split()), set(VEHICLE))
        err = record.stderr.read().decode()
        self.assertEqual(record.wait(), 0, err)
        self.assertTrue((self.folder / "a.bin").exists())

    def test_stopping_tshark_stops_the_capture(self):
        process = subprocess.Popen(
            ["tshark", "-l", "-i", "qor-vehicle"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=self.environment
        )
        self.addCleanup(self.end, process)
        self.assertTrue(process.stdout.readline())
        self.assertEqual(len(self.captures()), 1)
        process.send_signal(signal.SIGINT)
        process.stdout.read()
        self.assertEqual(process.wait(), 0)
        self.wait_until(lambda: not self.captures(), "the capture has ended")


if __name__ == "__main__":
    main()
