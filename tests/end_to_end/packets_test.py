"""Captures of network tools, and of the client itself, as inputs."""

import json
import pathlib
import shutil
import struct
import subprocess
import unittest

import support
from support import ClientTest, main


def captures():
    """The Ethernet recordings, or none."""
    folder = pathlib.Path(support.arguments.recordings or "") / "ethernet"
    return sorted(folder.glob("*.pcap"))


def packets(capture):
    """Type and bytes of each packet and interface block of a little-endian PCAPNG file."""
    found, place = [], 0
    while place < len(capture):
        kind, length = struct.unpack_from("<II", capture, place)
        if kind in (1, 6):
            found.append(capture[place : place + length])
        place += length
    return found


def swapped(capture):
    """A little-endian pcap file with its numbers the other way round."""
    out = struct.pack(">IHHiIII", *struct.unpack_from("<IHHiIII", capture))
    place = 24
    while place < len(capture):
        fields = struct.unpack_from("<IIII", capture, place)
        out += struct.pack(">IIII", *fields) + capture[place + 16 : place + 16 + fields[2]]
        place += 16 + fields[2]
    return out


def in_parts(capture, count):
    """A capture as that many files, as tools write that begin a new one every so often: each has all the interfaces."""
    blocks, place = [], 0
    while place < len(capture):
        (length,) = struct.unpack_from("<I", capture, place + 4)
        blocks.append(capture[place : place + length])
        place += length
    kind = lambda block: struct.unpack_from("<I", block)[0]
    head = b"".join(block for block in blocks if kind(block) not in (5, 6))
    frames = [block for block in blocks if kind(block) == 6]
    size = -(-len(frames) // count)
    return [head + b"".join(frames[first : first + size]) for first in range(0, len(frames), size)]


class Packets(ClientTest):
    def convert(self, name, *outputs, **kwargs):
        arguments = [argument for output in outputs for argument in ("-o", output)]
        return self.run_client("convert", name, *arguments, **kwargs)

    def bytes_of(self, name):
        return (self.folder / name).read_bytes()

    def tool(self, *args):
        if shutil.which(args[0]) is None:
            self.skipTest(f"{args[0]} is not installed")
        return subprocess.run(args, cwd=self.folder, check=True, capture_output=True).stdout

    def each_capture(self):
        if not captures():
            self.skipTest("no recordings")
        for path in captures():
            with self.subTest(path.name):
                yield path

    def test_packets_of_all_buses_come_back(self):
        self.run_client("record", "vehicle?seed=5", "-d", "5s", "--speed", "max", "-o", "a.pcapng", "--title", "drive")
        _, err = self.convert("a.pcapng", "b.pcapng", "b.bin")
        self.assertIn("channel 3: vehicle?seed=5 (flexray) (FlexRay)\n", err)
        self.assertEqual(packets(self.bytes_of("b.pcapng")), packets(self.bytes_of("a.pcapng")))
        self.assertGreater(len(packets(self.bytes_of("a.pcapng"))), 20000)
        description = json.loads(self.bytes_of("b.bin.json"))
        self.assertEqual(description["title"], "drive")
        self.assertTrue(description["complete"])
        self.assertEqual([channel["bus"] for channel in description["channels"]], ["CAN", "LIN", "FlexRay", "Ethernet"])
        self.convert("b.bin", "c.pcapng")
        self.assertEqual(packets(self.bytes_of("c.pcapng")), packets(self.bytes_of("a.pcapng")))

    def test_losses_stay_where_they_were(self):
        self.run_client("record", "can?duration=60s&speed=200&buffer=10", "-o", "a.bin", "-o", "a.pcapng", expect=3)
        self.convert("a.pcapng", "b.bin", expect=3)
        before, after = (json.loads(self.bytes_of(name)) for name in ("a.bin.json", "b.bin.json"))
        self.assertGreater(len(before["losses"]), 0)
        start = before["clock"]["start"]
        shift = start["utc_ns"] - start["entry_time_ns"]
        inside = [loss for loss in after["losses"]]
        self.assertEqual(sum(loss["count"] for loss in inside), sum(loss["count"] for loss in before["losses"]))
        for one, other in zip(before["losses"], inside[: len(before["losses"])]):
            self.assertLess(abs(one["first_time_ns"] + shift - other["first_time_ns"]), 1000)

    def test_what_was_left_of_a_killed_recording_is_incomplete(self):
        process = self.start("record", "can", "-o", "a.pcapng")
        part = self.folder / "a.pcapng.part"
        self.wait_until(lambda: part.exists() and part.stat().st_size > 10000, "packets on the disk")
        process.kill()
        process.wait()
        self.run_client("convert", part, "-o", "b.bin", expect=None)
        self.assertFalse(json.loads(self.bytes_of("b.bin.json"))["complete"])

    def test_export_of_the_library_is_read(self):
        self.run_client("record", "ethernet?seed=3", "-d", "2s", "--speed", "max", "--as-exported", "-o", "a.pcapng", "-o", "a.bin")
        _, err = self.convert("a.pcapng", "b.bin")
        self.assertIn("an interface description that declares four bytes more than it has", err)
        self.assertEqual(self.bytes_of("b.bin"), self.bytes_of("a.bin"))

    def test_standard_input_is_known_by_its_content(self):
        self.run_client("record", "vehicle", "-d", "1s", "--speed", "max", "-o", "a.pcapng")
        self.convert("a.pcapng", "b.bin")
        with open(self.folder / "a.pcapng", "rb") as stdin:
            out, _ = self.run_client("convert", "-", "-o", "-", stdin=stdin)
        self.assertEqual(out, self.bytes_of("b.bin"))

    def test_real_captures_are_the_same_packets_to_others(self):
        for path in self.each_capture():
            self.convert(path, "a.pcapng")
            fields = ("frame.time_epoch", "frame.len", "frame.cap_len", "frame.protocols", "eth.fcs", "ip.src")
            seen = [
                self.tool("tshark", "-n", "-r", name, "-T", "fields", *(word for field in fields for word in ("-e", field)))
                for name in (str(path), "a.pcapng")
            ]
            self.assertEqual(seen[0].count(b"\n"), seen[1].count(b"\n"))
            self.assertEqual(seen[0], seen[1])

    def test_every_form_of_a_capture_gives_the_same_records(self):
        for path in self.each_capture():
            self.convert(path, "a.bin")
            (self.folder / "swapped.pcap").write_bytes(swapped(path.read_bytes()))
            self.convert("swapped.pcap", "b.bin")
            self.assertEqual(self.bytes_of("a.bin"), self.bytes_of("b.bin"))
            for form in ("pcapng", "nsecpcap", "pcap"):
                self.tool("editcap", "-F", form, str(path), "form")
                self.convert("form", "b.bin")
                self.assertEqual(self.bytes_of("a.bin"), self.bytes_of("b.bin"))

    def test_packets_that_a_snap_length_cut_are_kept_and_told(self):
        for path in self.each_capture():
            self.tool("editcap", "-s", "40", str(path), "cut.pcapng")
            _, err = self.convert("cut.pcapng", "b.pcapng")
            self.assertIn("cut.pcapng: odd: a packet that was not captured whole", err)
            lengths = [self.tool("tshark", "-r", name, "-T", "fields", "-e", "frame.len") for name in (str(path), "b.pcapng")]
            self.assertEqual(*lengths)

    def test_parts_of_a_capture_are_one_recording_when_all_are_named(self):
        self.run_client("record", "vehicle?duration=2s&speed=max", "-o", "whole.pcapng", expect=None)
        names = []
        for number, part in enumerate(in_parts(self.bytes_of("whole.pcapng"), 3), 1):
            names.append(f"drive_{number:05}_202611211200{number:02}.pcapng")
            (self.folder / names[-1]).write_bytes(part)
        self.run_client("convert", "whole.pcapng", "-o", "whole.bin")
        _, err = self.run_client("convert", *names, "--same-channels", "-o", "parts.bin", expect=None)
        self.assertNotIn("becomes", err)
        self.assertEqual(self.bytes_of("parts.bin"), self.bytes_of("whole.bin"))
        # One of them is itself alone: the next one in the folder may be of another capture.
        out, _ = self.run_client("info", names[0], "--json", expect=None)
        self.assertLess(json.loads(out)["files"][0]["entries"], json.loads(self.bytes_of("whole.bin.json"))["records"]["count"])

    def test_merged_captures_keep_their_channels(self):
        if not captures():
            self.skipTest("no recordings")
        self.run_client("record", "vehicle", "-d", "1s", "--speed", "max", "-o", "a.pcapng")
        self.tool("mergecap", "-w", "m.pcapng", "a.pcapng", str(captures()[0]))
        _, err = self.convert("m.pcapng", "m.bin")
        for channel in ("channel 1: vehicle (can) (CAN)", "channel 4: vehicle (ethernet) (Ethernet)", "channel 5"):
            self.assertIn(channel, err)


if __name__ == "__main__":
    main()
