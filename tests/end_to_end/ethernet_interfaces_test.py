"""Recordings of Ethernet interfaces with real traffic: pairs of veth interfaces in a network namespace of the test's own."""

import json
import os
import pathlib
import random
import struct
import subprocess
import sys

import support
import veth
from support import DEADLINE, SKIPPED, ClientTest, losses_in, main
from veth import ethernet_records, ip

LOST = 3
KIND, MARKER = 0x88B5, b"marker"  # an Ethernet type for experiments
AT_ONCE = 500  # frames that any capture buffer has room for


def captured_frames(path):
    """The frames of a pcap file, whole as they were on the wire. Raises ValueError for another file."""
    contents = path.read_bytes()
    order = {b"\xd4\xc3\xb2\xa1": "<", b"\xa1\xb2\xc3\xd4": ">", b"\x4d\x3c\xb2\xa1": "<", b"\xa1\xb2\x3c\x4d": ">"}.get(contents[:4])
    if order is None or struct.unpack_from(order + "I", contents, 20)[0] != 1:
        raise ValueError(f"{path} is no capture of Ethernet")
    offset = 24
    while offset < len(contents):
        kept, size = struct.unpack_from(order + "8xII", contents, offset)
        if kept == size:
            yield contents[offset + 16 : offset + 16 + kept]
        offset += 16 + kept


def tagged(frame, *tags):
    """With VLAN tags, the outer one first."""
    return frame[:12] + b"".join(struct.pack(">HH", protocol, tag) for protocol, tag in tags) + frame[12:]


class EthernetInterfaces(ClientTest):
    def setUp(self):
        super().setUp()
        veth.add_pair("veth0", "veth1")
        self.addCleanup(veth.remove_pair, "veth0")
        self.senders = {name: self.sender(name) for name in ("veth0", "veth1")}

    def sender(self, name):
        opened = veth.sender(name)
        self.addCleanup(opened.close)
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

    def test_frames_of_random_bytes_are_recorded_and_every_file_is_sound(self):
        chance = random.Random(17)
        outputs = ["rec.asc", "rec.pcapng", "rec.mf4", "rec.csv"]
        process = self.record("veth0", *(text for name in outputs for text in ("-o", name)))
        sent = []
        # Headers of all kinds with nothing sensible behind them; a tag that is cut off doesn't come through the kernel.
        kinds = [None, b"\x81\x00", b"\x88\xa8", b"\x08\x00", b"\x86\xdd", b"\x08\x06", b"\x22\xf0", b"\x00\x05"]
        for number in range(AT_ONCE):
            kind = kinds[number % len(kinds)]
            frame = chance.randbytes(chance.randint(14 if kind is None else 22, 1500))
            frame = frame[:12] + (kind or frame[12:14]) + frame[14:]
            self.send("veth1", frame)
            sent.append(frame)
        self.end_recording(process)
        self.assertEqual([frame for _, _, _, frame in self.records()], sent)
        self.run_client("check", "rec.bin", *outputs[:3])
        for name in outputs[1:3]:
            self.run_client("compare", "rec.bin", name, "--as-kept-by", name.partition(".")[2])

    def replay(self, path, *tags):
        """What of a capture was sent over the interface, and what was recorded of it."""
        sent = [tagged(frame, *tags) for frame in captured_frames(path)]
        process = self.record("veth0")
        for place in range(0, len(sent), AT_ONCE):
            for frame in sent[place : place + AT_ONCE]:
                self.send("veth1", frame)
            self.send("veth1", self.frame(b"marker %d end" % place))
            self.wait_until(lambda: self.has_come(b"marker %d end" % place), "the frames so far")
        self.end_recording(process)
        return sent, [frame for _, _, transmitted, frame in self.records() if not transmitted]

    def test_real_captures_are_recorded_frame_by_frame(self):
        captures = sorted((pathlib.Path(support.arguments.recordings) / "ethernet").glob("*.pcap"))
        if not captures:
            self.skipTest(f"there are no captures in {support.arguments.recordings}")
        for path in captures:
            for tags in ((), ((0x8100, 0x6123),), ((0x88A8, 0x0FFE), (0x8100, 0x0001))):
                with self.subTest(capture=path.name, tags=len(tags)):
                    sent, recorded = self.replay(path, *tags)
                    self.assertGreater(len(sent), 0)
                    self.assertEqual(recorded, sent)

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

    def test_interface_is_promiscuous_while_it_is_recorded_unless_that_is_not_wanted(self):
        for source, expected in (("veth0", 1), ("veth0?promisc=off", 0)):
            with self.subTest(source=source):
                process = self.record(source)
                self.assertEqual(self.promiscuity(), expected)
                self.end_recording(process)
                self.assertEqual(self.promiscuity(), 0)

    @staticmethod
    def promiscuity():
        shown = subprocess.run(["ip", "-details", "-json", "link", "show", "veth0"], check=True, stdout=subprocess.PIPE).stdout
        return json.loads(shown)[0]["promiscuity"]

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
        self.wait_until(lambda: len(losses_in(self.folder / "rec.bin.json.part")) >= count, "a loss")

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
        veth.enter_namespace()
    except veth.Unavailable as reason:
        print(f"skipped: {reason}", file=sys.stderr)
        sys.exit(SKIPPED)
    main()
