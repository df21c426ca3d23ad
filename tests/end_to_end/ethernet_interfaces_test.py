"""Recordings of Ethernet interfaces with real traffic: pairs of veth interfaces in a network namespace of the test's own."""

import ctypes
import json
import os
import pathlib
import socket
import struct
import subprocess
import sys
import unittest

import support
from support import DEADLINE, SKIPPED, ClientTest, main

CLONE_NEWNET, CLONE_NEWUSER = 0x40000000, 0x10000000
LOST = 3
KIND, MARKER = 0x88B5, b"marker"  # an Ethernet type for experiments


def enter_namespace():
    """A network namespace for this process and its children; a user of its own where only that allows one."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNET) == 0:
        return
    user, group = os.getuid(), os.getgid()
    if libc.unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "no network namespace can be made")
    pathlib.Path("/proc/self/setgroups").write_text("deny")
    pathlib.Path("/proc/self/uid_map").write_text(f"0 {user} 1")
    pathlib.Path("/proc/self/gid_map").write_text(f"0 {group} 1")


def ip(*args):
    subprocess.run(["ip", *args], check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def ethernet_records(contents):
    """(channel, time, transmitted, frame) of each record of a .bin file."""
    offset = 0
    while offset < len(contents):
        length, channel, time, _, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if bus != 3:
            raise ValueError(f"no Ethernet record at {offset}")
        _, kind, item_time, flags, _, size = struct.unpack_from("<HHQBBH", contents, offset + 28)
        if kind != 1 or item_time != time or size != length - 44:
            raise ValueError(f"odd record at {offset}")
        yield channel, time, bool(flags & 1), contents[offset + 44 : offset + length]
        offset += length


class EthernetInterfaces(ClientTest):
    def setUp(self):
        super().setUp()
        ip("link", "add", "veth0", "type", "veth", "peer", "name", "veth1")
        self.addCleanup(subprocess.run, ["ip", "link", "del", "veth0"], stderr=subprocess.DEVNULL, check=False)
        for name in ("veth0", "veth1"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6").write_text("1")
            ip("link", "set", name, "mtu", "9000", "up")
        self.senders = {name: self.sender(name) for name in ("veth0", "veth1")}

    def sender(self, name):
        opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
        self.addCleanup(opened.close)
        opened.bind((name, 0))
        return opened

    def record(self, *sources, output="rec.bin"):
        """Starts a recording; returns once a frame has come through it."""
        with (self.folder / "live").open("wb") as live:
            process = self.start("record", *sources, "-o", output, "-o", "-", "--format", "ndjson", stdout=live)
        self.wait_until(lambda: self.send("veth1", self.frame(MARKER)) and self.has_come(MARKER) or process.poll() is not None, "the first frame")
        self.assertIsNone(process.poll(), process.stderr.read() if process.poll() is not None else "")
        return process

    def has_come(self, data):
        return data.hex() in (self.folder / "live").read_text().lower().replace(" ", "")

    def end_recording(self, process, expect=0):
        last = b"last marker"
        self.last_markers = 0

        def send_marker():
            self.last_markers += 1
            return self.send("veth1", self.frame(last))

        self.wait_until(lambda: send_marker() and self.has_come(last), "the last frame")
        self.assertIsNone(process.poll())
        process.send_signal(2)
        _, err = process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, expect, err.decode())
        return err.decode()

    def records(self, output="rec.bin"):
        """What was recorded, markers left out."""
        return [record for record in ethernet_records((self.folder / output).read_bytes()) if b"marker" not in record[3]]

    def frame(self, data, tags=()):
        head = bytes.fromhex("020000000002020000000001")
        for protocol, tag in tags:
            head += struct.pack(">HH", protocol, tag)
        return (head + struct.pack(">H", KIND) + data).ljust(60, b"\0")

    def send(self, name, frame):
        return self.senders[name].send(frame) == len(frame)

    def test_frames_of_all_sizes_in_both_directions_with_and_without_tags_are_those_that_were_sent(self):
        process = self.record("veth0")
        sent = []
        tags = [(), ((0x8100, 0x2064),), ((0x88A8, 0x0064), (0x8100, 0x00C8))]
        for number, size in enumerate([*range(1, 200, 7), 1000, 1486, 1500, 5000, 8900]):
            for name in ("veth0", "veth1"):
                frame = self.frame(bytes((number + place) & 0xFF for place in range(size)), tags[number % len(tags)])
                self.send(name, frame)
                sent.append((name == "veth0", frame))
        self.end_recording(process)
        self.assertEqual([(transmitted, frame) for _, _, transmitted, frame in self.records()], sent)
        times = [time for _, time, _, _ in self.records()]
        self.assertEqual(times, sorted(times))
        self.assertGreater(len({time % 1000 for time in times}), 1, "times in ns")

    def test_description_names_the_interface(self):
        self.end_recording(self.record("veth0"))
        description = json.loads((self.folder / "rec.bin.json").read_text())
        self.assertEqual(description["clock"]["epoch"], "1970")
        channel, = description["channels"]
        self.assertEqual((channel["bus"], channel["name"], channel["hardware"]), ("Ethernet", "veth0", "veth"))
        self.assertEqual(channel["bit_rate"], 10**10)

    def test_filter_chooses_whole_frames(self):
        process = self.record("veth0?filter=ether proto 0x88b5 and less 120 or (vlan 100 and greater 200)")
        for size, tag in ((300, 100), (300, 200), (100, 100), (150, None), (10, None)):
            self.send("veth1", self.frame(bytes([size & 0xFF]) * size, [(0x8100, tag)] if tag else ()))
        self.end_recording(process)
        self.assertEqual([len(frame) for _, _, _, frame in self.records()], [318, 60])

    def test_filter_that_cannot_be_read_is_explained(self):
        _, err = self.run_client("record", "veth0?filter=nonsense of mine", "--no-output", expect=2)
        self.assertIn('The option filter can\'t be "nonsense of mine": ', err)

    def test_packets_that_found_the_ring_full_are_counted_exactly(self):
        process = self.record("veth0?ring=1048576")
        data = bytes(8000)
        # 16 MB at once are more than a ring of 1 MiB holds until the next poll, or several.
        for number in range(2000):
            self.send("veth1", self.frame(struct.pack(">I", number) + data))
        self.end_recording(process, expect=LOST)
        losses = json.loads((self.folder / "rec.bin.json").read_text())["losses"]
        self.assertEqual({loss["cause"] for loss in losses}, {"capture_buffer_full"})
        contents = (self.folder / "rec.bin").read_bytes()
        kept = [record for record in self.records() if len(record[3]) > 8000]
        self.assertGreater(len(kept), 50)
        # A marker at the end may be among the lost ones, or not have come any more.
        markers = sum(b"last marker" in record[3] for record in ethernet_records(contents))
        lost = sum(loss["count"] for loss in losses)
        self.assertGreaterEqual(len(kept) + lost, 2000)
        self.assertLessEqual(len(kept) + lost, 2000 + self.last_markers - markers)

    def test_a_fanout_deals_the_frames_out(self):
        process = self.record("veth0?fanout=2")
        sent = [self.frame(struct.pack(">I", number)) for number in range(500)]
        for frame in sent:
            self.send("veth1", frame)
        self.end_recording(process)
        records = self.records()
        self.assertEqual(sorted(frame for _, _, _, frame in records), sent)
        self.assertEqual({channel for channel, _, _, _ in records}, {1, 2})
        sources = [channel["source"] for channel in json.loads((self.folder / "rec.bin.json").read_text())["channels"]]
        self.assertEqual(sources, ["veth0?fanout=2 (1)", "veth0?fanout=2 (2)"])

    def test_interface_that_goes_down_and_away_is_waited_for(self):
        process = self.record("veth0")
        ip("link", "set", "veth0", "down")
        self.wait_for_loss(1)
        ip("link", "set", "veth0", "up")
        self.wait_for_frame(b"after down")
        ip("link", "del", "veth0")
        self.wait_for_loss(2)
        ip("link", "add", "veth0", "type", "veth", "peer", "name", "veth1")
        for name in ("veth0", "veth1"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6").write_text("1")
            ip("link", "set", name, "up")
        self.senders = {name: self.sender(name) for name in ("veth0", "veth1")}
        self.wait_for_frame(b"after away")
        err = self.end_recording(process, expect=LOST)
        self.assertEqual(err.count("veth0 is down; it is recorded as soon as it is up\n"), 2, err)
        self.assertEqual(err.count("veth0 is up\n"), 2, err)

    def wait_for_loss(self, count):
        description = self.folder / "rec.bin.json.part"
        self.wait_until(lambda: len(json.loads(description.read_text() or '{"losses": []}')["losses"]) >= count, "a loss")

    def wait_for_frame(self, data):
        self.wait_until(lambda: self.try_to_send("veth1", self.frame(data)) and self.has_come(data), data.decode())

    def try_to_send(self, name, frame):
        try:
            return self.send(name, frame)
        except OSError:  # it is not up yet
            return False

    def test_ports_tell_that_it_can_be_recorded(self):
        out, _ = self.run_client("ports", "--json")
        ports = {port["port"]: port for port in json.loads(out)["ports"]}
        self.assertEqual(ports["veth0"]["bus"], "Ethernet")
        self.assertTrue(ports["veth0"]["recordable"])
        self.assertEqual((ports["veth0"]["driver"], ports["veth0"]["bit_rate"], ports["veth0"]["state"]), ("veth", 10**10, "up"))

    def test_without_the_right_the_command_that_gives_it_is_named(self):
        if os.geteuid() != 0:
            self.skipTest("only root can give rights away")
        helper = pathlib.Path(support.arguments.client).resolve().parent / "qor-trace-capture"
        sentence = f'capturing takes a right; give it with "sudo setcap cap_net_raw+ep {helper}"'
        for args, code in ((("record", "veth0", "--no-output"), 1), (("ports",), 1)):
            ended = subprocess.run(["setpriv", "--bounding-set=-net_raw", "--inh-caps=-net_raw", support.arguments.client, *args],
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
            self.assertEqual(ended.returncode, code, ended.stderr)
            self.assertIn(sentence, ended.stderr.decode())


if __name__ == "__main__":
    try:
        enter_namespace()
        subprocess.run(["ip", "link", "add", "veth0", "type", "veth", "peer", "name", "veth1"], check=True, stderr=subprocess.PIPE)
        subprocess.run(["ip", "link", "del", "veth0"], check=True)
    except (OSError, subprocess.SubprocessError) as reason:
        print(f"skipped: {reason} {getattr(reason, 'stderr', b'') or b''}", file=sys.stderr)
        sys.exit(SKIPPED)
    main()
