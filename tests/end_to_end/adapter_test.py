"""Interfaces of another hardware library: a tiny one, with an adapter, both made by the test."""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

import support
from support import ClientTest, Frame, main, read_bin

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parents[1]
LOST = 3
FRAMES = [Frame(1_000_000_000 + 250_000 * number, 1, 0x100 + number, data=bytes([0xF0, 0x0D, 0, number])) for number in range(9)]
COMPILER = [sys.argv.pop(3), "-std=gnu99", "-shared", "-fPIC", "-fvisibility=hidden", "-Wall", "-Wextra", "-Werror"]

made = pathlib.Path()  # the folder of the libraries, one for all tests


def compile_library(source, name, *options):
    """Compiles a library once; gives its path."""
    path = made / name
    if not path.exists():
        folders = [f"-I{TREE / 'include'}", f"-I{HERE / 'hardware_library'}"]
        subprocess.run([*COMPILER, *folders, HERE / "hardware_library" / source, "-o", path, *options], check=True)
    return path


def hardware(name="tiny.so", soname="libqor_api.so.2", *options):
    return compile_library("tiny_hardware.c", name, *([f"-Wl,-soname,{soname}"] if soname else []), *options)


def adapter(*faults):
    name = "_".join(["adapter", *faults]) + ".so"
    return compile_library("tiny_adapter.c", name, *(f"-D{fault}" for fault in faults), hardware())


def setUpModule():
    global made
    folder = tempfile.TemporaryDirectory(prefix="qor-trace-hardware-")
    unittest.addModuleCleanup(folder.cleanup)
    made = pathlib.Path(folder.name)


class Adapter(ClientTest):
    def run_tiny(self, *args, library=None, with_adapter=None, expect=0):
        library, with_adapter = library or hardware(), with_adapter or adapter()
        return self.run_client("--hardware", library, "--adapter", with_adapter, *args, expect=expect)

    def sentence(self, *args, expect=1, **kwargs):
        """What is said on standard error, which is one sentence."""
        out, err = self.run_tiny(*args, expect=expect, **kwargs)
        self.assertEqual(out, b"")
        self.assertEqual((err.count("\n"), err.startswith("qor-trace: ")), (1, True), err)
        return err.removeprefix("qor-trace: ").strip()

    def test_an_interface_is_recorded_frame_by_frame(self):
        _, err = self.run_tiny("record", "Tiny 1", "-o", "drive.bin", "-o", "drive.mf4", "--count", "9")
        self.assertEqual(read_bin((self.folder / "drive.bin").read_bytes()), FRAMES)
        self.assertIn("9 frames received", err)
        self.assertNotIn("close", err)
        self.assertNotIn("left open", err)

    def test_the_recording_describes_the_interface(self):
        self.run_tiny("record", "Tiny 1?bitrate=250000", "-o", "drive.bin", "-o", "drive.mf4", "--count", "9")
        out, _ = self.run_client("info", "drive.mf4", "--json")
        self.assertEqual(json.loads(out)["files"][0]["entries"], len(FRAMES))
        channel, = json.loads((self.folder / "drive.bin.json").read_text())["channels"]
        described = {key: channel[key] for key in ("source", "name", "hardware", "bit_rate", "data_bit_rate")}
        self.assertEqual(described, {"source": "Tiny 1?bitrate=250000", "name": "Tiny 1", "hardware": "Tiny CAN, port 40",
                                     "bit_rate": 250000, "data_bit_rate": 2000000})

    def test_ports_lists_what_the_adapter_lists(self):
        out, _ = self.run_tiny("ports", "--json")
        ports = json.loads(out)["ports"]
        self.assertEqual([port["port"] for port in ports], ["Tiny 1", "can", "Tiny 3", "Tiny 4"])
        self.assertEqual(ports[0], {"port": "Tiny 1", "bus": "CAN", "state": "connected", "bit_rate": 500000, "data_bit_rate": 2000000,
                                    "driver": "Tiny CAN\x1b[31m", "recordable": True, "why_not": ""})
        self.assertEqual((ports[3]["bus"], ports[3]["recordable"], ports[3]["why_not"]), (None, False, "nobody knows its bus"))

    def test_table_of_ports_shows_control_characters_of_the_adapter(self):
        out, _ = self.run_tiny("ports")
        lines = out.decode().splitlines()
        self.assertEqual(lines[1].split(), ["Tiny", "1", "CAN", "connected", "500k/2M", "Tiny", "CAN\\x1b[31m", "yes"])
        self.assertTrue(lines[4].endswith("no: nobody knows its bus"), lines[4])

    def test_wireshark_captures_from_it_once_that_is_installed(self):
        self.run_tiny("extcap", "--install", "--folder", "extcap")
        program = self.folder / "extcap" / "qor-trace-extcap"
        listed = subprocess.run([program, "--extcap-interfaces"], capture_output=True, text=True, check=True, cwd="/")
        names = re.findall(r"\{value=([^}]*)\}", listed.stdout)
        self.assertEqual(names, ["qor-Tiny_1", "qor-can", "qor-Tiny_3", "qor-Tiny_4", "qor-sources", "qor-replay"])
        fifo = self.folder / "fifo"
        os.mkfifo(fifo)
        capture = [program, "--capture", "--extcap-interface", "qor-Tiny_1", "--fifo", fifo, "--source", ""]
        process = subprocess.Popen(capture, stderr=subprocess.PIPE)
        self.addCleanup(self.end, process)
        contents = b""
        with open(fifo, "rb") as pipe:
            while bytes(FRAMES[-1].data) not in contents:
                part = pipe.read1()
                self.assertTrue(part, "the capture has ended")
                contents += part
        _, err = process.communicate()
        self.assertEqual((process.returncode, err), (0, b""))
        self.assertIn(b"Tiny 1", contents)

    def test_an_interface_that_no_longer_answers_is_a_loss_and_ends_the_recording(self):
        _, err = self.run_tiny("record", "can", "-o", "drive.bin", expect=LOST)
        self.assertEqual(read_bin((self.folder / "drive.bin").read_bytes()), FRAMES)
        self.assertIn('The interface of channel 1, "can", no longer answers', err)
        self.assertNotIn("left open", err)
        losses = json.loads((self.folder / "drive.bin.json").read_text())["losses"]
        self.assertEqual([loss["cause"] for loss in losses], ["interface_gone"])

    def test_others_go_on_when_an_interface_no_longer_answers(self):
        telling = hardware("telling_empty.so", "libqor_api.so.2", "-DTINY_SAYS_EMPTY")
        process = self.start("--hardware", telling, "--adapter", adapter(), "record", "Tiny 1", "can", "-o", "drive.bin")
        said = sorted(process.stderr.readline().decode() for _ in range(2))
        self.assertEqual(said[0], "empty\n")
        self.assertIn('The interface of channel 2, "can", no longer answers', said[1])
        process.send_signal(2)
        _, err = process.communicate(timeout=support.DEADLINE)
        self.assertEqual(process.returncode, LOST, err)
        frames = read_bin((self.folder / "drive.bin").read_bytes())
        for channel in (1, 2):
            self.assertEqual([frame._replace(channel=1) for frame in frames if frame.channel == channel], FRAMES)

    def test_what_the_hardware_library_refuses_is_told_with_its_code(self):
        self.assertEqual(self.sentence("record", "Tiny 3", "--no-output"),
                         "Cannot add a channel: the hardware library refused (0x00000042).")

    def test_an_interface_of_an_unknown_type_is_refused_in_the_words_of_the_trace_library(self):
        self.assertRegex(self.sentence("record", "Tiny 4", "--no-output"), r"^Cannot add a channel: .*\(0x0214\w{4}\)\.$")

    def test_an_interface_that_cannot_be_opened_is_told_in_the_words_of_the_adapter(self):
        self.assertEqual(self.sentence("record", "Tiny 9", "--no-output"),
                         'Source "Tiny 9": there is no interface of this name.')
        self.assertEqual(self.sentence("record", "Tiny 1?speed=9", "--no-output"),
                         'Source "Tiny 1?speed=9": the only option is bitrate=N.')
        self.assertEqual(self.sentence("record", "mute", "--no-output"),
                         'Source "mute": the adapter gives no reason (error 9).')

    def test_the_first_port_is_closed_when_the_second_cannot_be_opened(self):
        self.assertEqual(self.sentence("record", "Tiny 1", "Tiny 1", "--no-output"), 'Source "Tiny 1": it is in use.')

    def test_sources_that_only_the_stand_in_has_are_refused(self):
        for source in ("vehicle", "lin?seed=2", "socketcan:can0", "drive.log"):
            self.assertIn(f'Source "{source}" is none of the adapter\'s interfaces', self.sentence("record", source, "--no-output", expect=2))

    def test_a_speed_is_refused(self):
        self.assertIn("--speed is for what is simulated", self.sentence("record", "Tiny 1", "--speed", "2", "--no-output", expect=2))

    def test_an_adapter_that_cannot_be_used_is_told_in_a_sentence(self):
        size = struct.calcsize("IIPPPPP")
        for fault, why in (
            ("TINY_VERSION=2", "it is of version 2 of qor_adapter.h, and not 1"),
            ("TINY_SIZE=16", f"its Size is 16 bytes, and not {size}"),
            ("TINY_SERVES_NOBODY", "it doesn't serve version 1 of qor_adapter.h"),
            ("TINY_WITHOUT_ENTRY", "it doesn't export Qor_Adapter_Get"),
            ("TINY_WITHOUT_CLOSE", "one of its functions is missing"),
            ("TINY_CALLS_NOBODY", "undefined symbol: Tiny_Nowhere"),
            ("TINY_LISTS_NO_NAME", "it lists an interface without a name"),
        ):
            path = adapter(fault)
            with self.subTest(fault):
                self.assertEqual(self.sentence("ports", with_adapter=path), f'The adapter "{path}" can\'t be used: {why}.')

    def test_a_list_that_fails_is_told_in_the_words_of_the_adapter(self):
        self.assertEqual(self.sentence("ports", with_adapter=adapter("TINY_LIST_FAILS")),
                         "Cannot list the interfaces: the driver is not loaded.")

    def test_files_that_are_no_libraries_are_told_in_a_sentence(self):
        missing, text, other = made / "missing.so", made / "text.so", made / "other_machine.so"
        text.write_text("not a library\n" * 100)
        head = bytearray(hardware().read_bytes())
        head[18:20] = struct.pack("<H", 183 if head[18] != 183 else 62)  # e_machine of the ELF header
        other.write_bytes(head)
        for path, why in ((missing, "cannot open shared object file: No such file or directory"), (text, "invalid ELF header")):
            self.assertEqual(self.sentence("ports", library=path), f'The hardware library "{path}" can\'t be used: {why}.')
            self.assertEqual(self.sentence("ports", with_adapter=path), f'The adapter "{path}" can\'t be used: {why}.')
        self.assertRegex(self.sentence("ports", library=other), 'The hardware library ".*" can\'t be used: .*cannot open shared object file')

    def test_a_hardware_library_that_the_trace_library_cannot_use_is_told_in_a_sentence(self):
        lacking = hardware("lacking.so", "libqor_api.so.2", "-DTINY_LACKS_CLOSE")
        for path, why in ((lacking, "it lacks Qor_CloseInterface, which recording calls"),
                          (hardware("named.so", "libtiny.so.1"), "it doesn't call itself libqor_api.so.2 (its SONAME)"),
                          (hardware("nameless.so", None), "it doesn't call itself libqor_api.so.2 (its SONAME)")):
            self.assertEqual(self.sentence("ports", library=path), f'The hardware library "{path}" can\'t be used: {why}.')

    def test_paths_are_of_the_current_folder(self):
        shutil.copy(hardware(), self.folder / "maker.so")
        shutil.copy(adapter(), self.folder / "own.so")
        out, _ = self.run_client("--hardware=maker.so", "--adapter=own.so", "ports", "--json")
        self.assertEqual(json.loads(out)["ports"][0]["port"], "Tiny 1")

    def test_commands_on_files_need_neither_library(self):
        self.run_client("record", "can?seed=1&duration=1s", "--speed", "max", "-o", "drive.bin")
        self.run_client("--hardware", "missing.so", "--adapter", "missing.so", "convert", "drive.bin", "-o", "drive.asc")
        self.run_client("--hardware", hardware(), "--adapter", "missing.so", "convert", "drive.bin", "-o", "drive.mf4")
        self.assertEqual(self.run_client("convert", "drive.mf4", "-o", "back.asc")[0], b"")
        self.assertEqual(len((self.folder / "back.asc").read_text().splitlines()), len((self.folder / "drive.asc").read_text().splitlines()))

    def test_commands_on_files_leave_the_hardware_library_alone(self):
        telling = hardware("telling.so", "libqor_api.so.2", "-DTINY_SAYS_HELLO")
        _, err = self.run_tiny("record", "Tiny 1", "-o", "drive.bin", "--count", "9", library=telling)
        self.assertIn("hello", err)
        for command in (("convert", "drive.bin", "-o", "drive.asc"), ("info", "drive.bin"), ("check", "drive.bin"), ("help", "record"), ("--help",)):
            _, err = self.run_tiny(*command, library=telling)
            self.assertNotIn("hello", err, command)

    def test_messages_of_an_interface_are_listed(self):
        out, _ = self.run_tiny("list", "Tiny 1", "--count", "9")
        self.assertEqual([line.split()[2] for line in out.decode().splitlines()[1:]], [f"{frame.identifier:x}" for frame in FRAMES])

    def test_one_of_the_two_options_alone_is_wrong_usage(self):
        _, err = self.run_client("--hardware", hardware(), "ports", expect=2)
        self.assertEqual(err, "qor-trace: --hardware needs --adapter as well.\n")
        _, err = self.run_client("--adapter", adapter(), "ports", expect=2)
        self.assertEqual(err, "qor-trace: --adapter needs --hardware as well.\n")

    def test_a_mistyped_command_after_them_is_told(self):
        self.assertEqual(self.sentence("recrod", "Tiny 1", expect=2), 'There is no command "recrod"; did you mean record?')

    def test_options_after_the_command_are_told_their_place(self):
        _, err = self.run_client("ports", "--hardware", hardware(), expect=2)
        self.assertEqual(err, "qor-trace: --hardware goes before the command: qor-trace --hardware LIBRARY --adapter ADAPTER ports ...\n")

    def test_the_example_adapter_records_the_stand_in(self):
        built = pathlib.Path(support.arguments.client).resolve().parents[2]
        library, example = built / "hardware/simulator/libqor_api.so.2", built / "examples/libexample_adapter.so"
        _, err = self.run_tiny("record", "CAN 1", "LIN 1", "-o", "drive.bin", "--count", "50", library=library, with_adapter=example)
        self.assertIn("50 entries", err)
        self.assertIn("LIN 1 (LIN)", err)

    def test_interrupt_ends_a_recording_with_its_outputs_complete(self):
        process = self.start("--hardware", hardware(), "--adapter", adapter(), "record", "Tiny 1", "-o", "drive.bin", "-o", "-", "--format", "ndjson")
        for _ in FRAMES:
            self.assertTrue(process.stdout.readline())
        process.send_signal(2)
        _, err = process.communicate(timeout=support.DEADLINE)
        self.assertEqual(process.returncode, 0, err)
        self.assertEqual(read_bin((self.folder / "drive.bin").read_bytes()), FRAMES)


if __name__ == "__main__":
    main()
