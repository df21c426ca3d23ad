#!/usr/bin/env python3
"""Recordings of CAN interfaces with real traffic, beside candump's of the same frames, in a virtual machine with Debian's kernel.

Usage: can_test.py CLIENT ODD_FRAMES RECORDINGS CACHE [unittest arguments]
"""

import json
import pathlib
import re
import struct
import sys
import unittest
from typing import NamedTuple

import machine

# One start of the machine has all parts, each with its own names for its files. begin NAME SOURCE... starts a recording and returns once
# a marker sent on vcan0 has come through it; finish NAME ends it when another one has. The markers are frames of the identifier 7FF.
SCRIPT = """
echo 16777216 >/proc/sys/net/core/rmem_max
ip link add vcan0 type vcan
ip link add vxcan0 type vxcan peer name vxcan1
for name in vcan0 vxcan0 vxcan1; do ip link set $name mtu 72 up; done

marks=1000
mark() {
  marks=$((marks + 1))
  cansend vcan0 7FF#$marks
}
alive() { kill -0 $recorder 2>/dev/null; }
begin() {
  name=$1
  shift
  qor-trace record "$@" -o $name.bin -o - --format log >$name.live 2>$name.err &
  recorder=$!
  until grep -q 7FF# $name.live || ! alive; do mark; sleep 0.2; done
}
finish() {
  mark
  until grep -q 7FF#$marks $1.live || ! alive; do sleep 0.2; done
  kill -INT $recorder
  wait $recorder
  echo $? >$1.exit
}

# Every kind of frame, side by side with candump; and from a partner, so that it is received.
candump -r 16000000 -L vcan0,0:0,#FFFFFFFF vxcan1,0:0,#FFFFFFFF >side.log &
dump=$!
begin side vcan0 vxcan1
for options in -m "-e -R" "-f -b -L 15" "-f -E"; do
  cangen vcan0 -g 1 -n 150 $options
  cangen vxcan0 -g 1 -n 150 $options
done
canplayer -I /errors.log vcan0=can0
for file in /recordings/*; do
  canplayer -t -g 1 -I $file vcan0=can0 vcan0=can1 vcan0=can2 || echo "canplayer $file"
done
finish side
sleep 1
kill $dump
wait $dump

# Length codes that can-utils don't send, from a program of this machine and from a partner.
begin lengths vcan0 vxcan1 -o lengths.asc -o lengths.mf4
machine_odd_frames vcan0 lengths
machine_odd_frames vxcan0 lengths
finish lengths
for file in asc mf4; do qor-trace compare lengths.bin lengths.$file --as-kept-by $file || echo "$file differs"; done

# Any bytes that the kernel lets pass, into every kind of file.
begin random vcan0 -o random.asc -o random.pcapng -o random.mf4 -o random.ndjson
machine_odd_frames vcan0 random 3000
finish random
for file in bin asc pcapng mf4; do qor-trace check random.$file --json >random.check.$file; done

# Only what is asked for.
begin filtered 'vcan0?id=100:7F0,7FF,18FEF100:1FFFFF00'
for id in 0FF 100 10F 110 18FEF1AA 18FEF2AA 00000105; do cansend vcan0 $id#0102; done
finish filtered

# An interface that goes down, then away.
begin away vcan0
ip link set vcan0 down
until grep -q 'is down' away.err; do sleep 0.1; done
ip link set vcan0 up
until [ "$(grep -c 'vcan0 is up' away.err)" = 1 ]; do sleep 0.1; done
cansend vcan0 111#
ip link del vcan0
until [ "$(grep -c 'is down\\|is gone' away.err)" = 2 ]; do sleep 0.1; done
ip link add vcan0 type vcan
ip link set vcan0 mtu 72 up
until [ "$(grep -c 'vcan0 is up' away.err)" = 2 ]; do sleep 0.1; done
cansend vcan0 222#
finish away

# One that is down from the start.
ip link set vcan0 down
qor-trace record vcan0 -o late.bin >late.live 2>late.err &
recorder=$!
until grep -q 'is down' late.err; do sleep 0.1; done
ip link set vcan0 up
until grep -q 'vcan0 is up' late.err; do sleep 0.1; done
cansend vcan0 333#
sleep 1
kill -INT $recorder
wait $recorder
echo $? >late.exit

# A controller that leaves the bus.
begin off vcan0
cansend vcan0 20000040#0000000000000000
cansend vcan0 20000100#0000000000000000
finish off

# More than the kernel's buffer takes.
begin flood 'vcan0?socket_buffer=4096'
cangen vcan0 -g 0 -n 20000 -I 321 -L 8 -D i
finish flood

# Simulated buses in between, in UTC.
begin mixed vcan0 'can?seed=3' 'lin?seed=3'
cangen vcan0 -g 5 -n 200
finish mixed

# A user who may not capture, before and after root has run the command that is printed; in a folder that a shell would take apart.
mkdir -p "/own programs" /somebody /var/tmp
cp /bin/qor-trace /bin/qor-trace-capture "/own programs"
chown 1000:1000 /somebody
chmod 1777 /tmp /var/tmp
somebody() { (cd /somebody && /bin/setpriv --reuid=1000 --regid=1000 --clear-groups "/own programs/qor-trace" "$@"); }
sudo() { "$@"; }
ip link add veth0 type veth peer name veth1
for name in veth0 veth1; do ip link set $name up; done
ip address add 192.0.2.1/24 dev veth1
somebody ports --json >before.json 2>before.err
echo $? >before.exit
somebody record veth0 --no-output >barred.out 2>barred.err
echo $? >barred.exit
sed -n 's/.*give it with "\\(sudo .*\\)"\\.$/\\1/p' barred.err >command
eval "$(cat command)"
somebody ports --json >after.json 2>after.err
echo $? >after.exit
somebody record veth0 --count 1 -o captured.pcapng 2>captured.err &
recorder=$!
while alive; do ping -c 1 -W 1 192.0.2.2 >/dev/null; done
wait $recorder
echo $? >captured.exit
cp /somebody/captured.pcapng .
setcap cap_net_raw+ep "/own programs/qor-trace"
somebody --hardware any.so --adapter any.so ports 2>lent.err
echo $? >lent.exit

# Both kinds of interfaces in one recording.
begin both vcan0 veth0 -o both.mf4
for number in 1 2 3; do
  cansend vcan0 30$number#
  ping -c 1 -W 1 192.0.2.1$number >/dev/null  # somebody who is asked for, once
done
finish both
qor-trace info both.mf4 --json >both.info
ip link del veth0

# What there is.
qor-trace ports --json >ports.json
qor-trace ports >ports.text

# Nothing there.
qor-trace record can77 --no-output 2>none.err
echo $? >none.exit
"""

PARTS = ["side", "lengths", "random", "filtered", "away", "late", "off", "flood", "mixed", "none"]
MARKER = 0x7FF
LOST, DONE = 3, 0
LONGEST_REPLAY = 1500  # lines of a recording


class CanFrame(NamedTuple):
    """What either side says of a frame. Times in us; an error frame has its class and data nowhere but in candump's."""

    time: int
    identifier: int = 0
    extended: bool = False
    error: bool = False
    remote: bool = False
    fd: bool = False
    brs: bool = False
    esi: bool = False
    dlc: int = 0
    data: bytes = b""


FD_LENGTHS = [0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64]


def dumped(line):
    """(interface, frame) of a line of candump -L."""
    stamp, interface, text = line.split()[:3]
    seconds, _, fraction = stamp.strip("()").partition(".")
    time = int(seconds) * 10**6 + int(fraction)
    digits, _, rest = text.partition("#")
    identifier, extended = int(digits, 16), len(digits) == 8
    if extended and identifier & 0x20000000:
        return interface, CanFrame(time, error=True)
    if rest.startswith("#"):
        flags, data = int(rest[1], 16), bytes.fromhex(rest[2:])
        dlc = next(code for code, length in enumerate(FD_LENGTHS) if length >= len(data))
        return interface, CanFrame(time, identifier, extended, fd=True, brs=bool(flags & 1), esi=bool(flags & 2), dlc=dlc, data=data)
    rest, _, raw = rest.partition("_")
    if rest.startswith("R"):
        length = int(rest[1:] or "0", 16)
        return interface, CanFrame(time, identifier, extended, remote=length > 0, dlc=int(raw, 16) if raw else length)
    data = bytes.fromhex(rest)
    return interface, CanFrame(time, identifier, extended, dlc=int(raw, 16) if raw else len(data), data=data)


class Recorded(NamedTuple):
    channel: int
    transmitted: bool
    time_ns: int
    frame: CanFrame


def recorded(contents):
    """The CAN frames of a .bin file."""
    frames, offset = [], 0
    while offset < len(contents):
        length, channel, time, _, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if bus == 0:
            _, identifier, flags, _, dlc, size = struct.unpack_from("<QIBBBB", contents, offset + 28)
            error, fd = bool(flags & 0x04), bool(flags & 0x08)
            data = contents[offset + 44 : offset + length]
            assert len(data) == size
            frame = CanFrame(time // 1000, error=True)
            if not error:
                remote = not fd and size == 0 and dlc > 0
                frame = CanFrame(time // 1000, identifier & 0x1FFFFFFF, bool(flags & 1), False, remote, fd, bool(flags & 0x20),
                                 bool(flags & 0x40), dlc, data)
            frames.append(Recorded(channel, bool(flags & 0x02), time, frame))
        offset += length
    return frames


def between_markers(frames):
    """From the last marker before other frames to the first one after them."""
    others = [place for place, frame in enumerate(frames) if frame.identifier != MARKER]
    return frames[others[0] : others[-1] + 1] if others else []


class CanTest(unittest.TestCase):
    results = None
    cache = client = odd_frames = recordings = None

    @classmethod
    def setUpClass(cls):
        kernel = machine.Kernel(cls.cache)
        files = {"errors.log": cls.errors()}
        for path in sorted((cls.recordings / "can").glob("*.log")):
            lines = path.read_text().splitlines()[:LONGEST_REPLAY]
            files[f"recordings/{path.name}"] = "".join(f"{line}\n" for line in lines if " 20000" not in line).encode()
        files.setdefault("recordings/own.log", b"(1.000000) can0 123#1122\n(1.100000) can0 12345678#\n")
        programs = [cls.client, machine.need("ip", "iproute2")]
        programs += [machine.need(name, "can-utils") for name in ("candump", "cangen", "cansend", "canplayer")]
        programs += [cls.odd_frames, cls.client.parent / "qor-trace-capture", machine.need("setcap", "libcap2-bin"),
                     machine.need("setpriv", "util-linux")]
        started = machine.Machine(kernel, SCRIPT, programs, files, [*machine.CAN_MODULES, "veth"])
        cls.output, cls.results = started.output, started.results

    @staticmethod
    def errors():
        """Error frames of all kinds, as a controller would report them."""
        frames = ["20000008#00000400", "20000008#00000200", "20000020#00000000", "20000008#00009000", "20000008#00000800",
                  "20000008#00000008", "20000004#00200000", "20000002#03000000", "20000200#00000000"]
        return "".join(f"({1 + number / 100:.6f}) can0 {frame}00000000\n" for number, frame in enumerate(frames)).encode()

    def text(self, name):
        return self.results[name].decode()

    def exit_of(self, part):
        return int(self.text(f"{part}.exit"))

    def frames(self, part):
        return recorded(self.results[f"{part}.bin"])

    def losses(self, part):
        return json.loads(self.results[f"{part}.bin.json"])["losses"]

    def summary_says(self, part, pattern):
        self.assertRegex(self.text(f"{part}.err"), re.compile(pattern, re.MULTILINE))

    def test_every_frame_is_the_one_that_candump_shows(self):
        self.assertEqual(self.exit_of("side"), DONE, self.text("side.err"))
        shown = [dumped(line) for line in self.text("side.log").splitlines()]
        for channel, interface in ((1, "vcan0"), (2, "vxcan1")):
            # candump shows them as they come, which two programs that send at the same time can turn round.
            expected = sorted(between_markers([frame for name, frame in shown if name == interface]), key=lambda frame: frame.time)
            mine = between_markers([one.frame for one in self.frames("side") if one.channel == channel])
            self.assertGreater(len(expected), 500)
            self.assertEqual(mine, expected)

    def test_all_kinds_of_frames_were_there(self):
        frames = [one.frame for one in self.frames("side")]
        for kind in ("extended", "error", "remote", "fd", "brs", "esi"):
            self.assertTrue(any(getattr(frame, kind) for frame in frames), kind)
        self.assertTrue(any(len(frame.data) == 64 for frame in frames))

    def test_error_frames_have_their_kinds(self):
        kinds = []
        contents, offset = self.results["side.bin"], 0
        while offset < len(contents):
            length, channel = struct.unpack_from("<II", contents, offset)
            if channel == 1 and contents[offset + 40] & 0x04:
                kinds.append(contents[offset + 44])
            offset += length
        self.assertEqual(kinds, [1, 2, 3, 4, 5, 6, 7, 7, 7])

    def test_frames_of_programs_on_this_machine_are_transmitted_and_those_of_a_partner_received(self):
        for one in self.frames("side"):
            self.assertEqual(one.transmitted, one.channel == 1)

    def test_raw_length_codes_are_recorded(self):
        self.assertEqual(self.exit_of("lengths"), DONE, self.text("lengths.err"))
        data, expected = b"odd code", []
        for code in range(16):
            own = {"dlc": max(code, 8), "data": data}
            expected.append(CanFrame(0, 0x600 + code, **own))
            if code > 8:
                expected.append(CanFrame(0, 0x600 + code, extended=True, **own))
                expected.append(CanFrame(0, 0x620 + code, remote=True, dlc=code))
        for channel in (1, 2):
            frames = [one.frame._replace(time=0) for one in self.frames("lengths") if one.channel == channel]
            self.assertEqual([frame for frame in frames if frame.identifier != MARKER], expected)
        self.assertNotIn("differs", self.output)

    def test_frames_of_random_bytes_are_recorded_and_every_file_is_sound(self):
        frames = [one.frame for one in self.frames("random")]
        self.assertEqual(len(frames) - sum(frame.identifier == MARKER and not frame.error for frame in frames), 3000)
        self.assertEqual({loss["cause"] for loss in self.losses("random")} - {"interface_gone", "overrun_mark"}, set())
        for name in ("bin", "asc", "pcapng", "mf4"):
            with self.subTest(name=name):
                checked, = json.loads(self.text(f"random.check.{name}"))["files"]
                self.assertEqual((checked["entries"], checked["error"]), (len(frames), ""))
                # The interface said that it had lost something, and nothing else is wrong.
                losses = r"a mark of the interface after which data were lost|a loss that the recording noted|a CAN frame whose data length"
                for finding in checked["findings"]:
                    self.assertRegex(finding["what"], losses)
        rows = [json.loads(line) for line in self.text("random.ndjson").splitlines()]
        self.assertEqual(sum(row["kind"] != "loss" for row in rows), len(frames))

    def test_command_that_is_printed_gives_a_user_the_right_to_capture(self):
        ports = {when: {port["port"]: port for port in json.loads(self.text(f"{when}.json"))["ports"]} for when in ("before", "after")}
        self.assertEqual((self.exit_of("before"), self.exit_of("barred")), (1, 1))
        command = self.text("command").strip()
        self.assertEqual(command, "sudo setcap cap_net_raw+ep '/own programs/qor-trace-capture'")
        sentence = f'capturing takes a right; give it with "{command}"'
        self.assertEqual(self.text("before.err"), f"qor-trace: Cannot record lo: {sentence}.\n")
        self.assertEqual(self.text("barred.err"), f'qor-trace: Source "veth0": Cannot open veth0: {sentence}.\n')
        self.assertEqual((ports["before"]["veth0"]["recordable"], ports["before"]["veth0"]["why_not"]), (False, sentence))
        self.assertEqual((self.exit_of("after"), self.text("after.err")), (DONE, ""))
        self.assertEqual((ports["after"]["veth0"]["recordable"], ports["after"]["veth0"]["why_not"]), (True, ""))
        self.assertEqual(self.exit_of("captured"), DONE, self.text("captured.err"))
        self.assertGreater(len(self.results["captured.pcapng"]), 0)

    def test_program_with_rights_of_its_own_lends_them_to_no_library(self):
        self.assertEqual(self.exit_of("lent"), 1)
        self.assertEqual(self.text("lent.err"), 'qor-trace: The hardware library "any.so" can\'t be used: this program has rights '
                                                "that its user has not (setuid or setcap).\n")

    def test_filter_of_the_kernel_leaves_out_the_rest(self):
        frames = between_markers([one.frame for one in self.frames("filtered")])
        self.assertEqual([frame.identifier for frame in frames], [0x100, 0x10F, 0x18FEF1AA])

    def test_interface_that_goes_down_and_away_is_waited_for(self):
        self.assertEqual(self.exit_of("away"), LOST)
        identifiers = [one.frame.identifier for one in self.frames("away") if one.frame.identifier != MARKER]
        self.assertEqual(identifiers, [0x111, 0x222])
        losses = self.losses("away")
        self.assertEqual([loss["cause"] for loss in losses], ["interface_gone"] * 2)
        times = {one.frame.identifier: one.time_ns for one in self.frames("away")}
        self.assertLessEqual(losses[0]["first_time_ns"], losses[0]["last_time_ns"])
        self.assertLessEqual(losses[0]["last_time_ns"], times[0x111])
        self.assertLess(times[0x111], losses[1]["first_time_ns"])
        self.assertLessEqual(losses[1]["last_time_ns"], times[0x222])

    def test_interface_that_is_down_at_the_start_is_waited_for(self):
        self.assertEqual(self.exit_of("late"), LOST)
        self.assertEqual([one.frame.identifier for one in self.frames("late")], [0x333])

    def test_controller_off_the_bus_is_told_and_a_loss(self):
        self.assertEqual(self.exit_of("off"), LOST)
        self.summary_says("off", "vcan0 is bus-off: its controller has left the bus$")
        self.summary_says("off", "vcan0 is on the bus again$")
        self.assertEqual([loss["cause"] for loss in self.losses("off")], ["interface_gone"])

    def test_drops_of_the_kernel_are_counted_exactly(self):
        self.assertEqual(self.exit_of("flood"), LOST)
        frames = self.frames("flood")
        kept = [one for one in frames if one.frame.identifier == 0x321]
        losses = self.losses("flood")
        self.assertEqual({loss["cause"] for loss in losses}, {"capture_buffer_full"})
        lost = sum(loss["count"] for loss in losses)
        # A marker may be among them.
        markers = [int(one.frame.data.hex()) for one in frames if one.frame.identifier == MARKER]
        missing_markers = markers[-1] - markers[0] + 1 - len(markers)
        self.assertGreater(lost, 0)
        self.assertEqual(len(kept) + lost - missing_markers, 20000)
        # Frames count: those that are missing lie within the losses.
        for before, after in zip(kept, kept[1:]):
            if int.from_bytes(after.frame.data, "little") != int.from_bytes(before.frame.data, "little") + 1:
                self.assertTrue(any(loss["first_time_ns"] <= after.time_ns and before.time_ns <= loss["last_time_ns"] for loss in losses))

    def test_simulated_buses_beside_it_are_in_order_in_utc(self):
        self.assertEqual(self.exit_of("mixed"), DONE, self.text("mixed.err"))
        contents, offset, times = self.results["mixed.bin"], 0, []
        channels = set()
        while offset < len(contents):
            length, channel, time = struct.unpack_from("<IIQ", contents, offset)
            times.append(time)
            channels.add(channel)
            offset += length
        self.assertEqual(channels, {1, 2, 3})
        self.assertEqual(times, sorted(times))
        description = json.loads(self.results["mixed.bin.json"])
        self.assertEqual(description["clock"]["epoch"], "1970")
        for number in channels:
            own = [struct.unpack_from("<Q", contents, place + 8)[0] for place in offsets(contents) if contents[place + 4] == number]
            self.assertLess(abs(own[0] - times[0]), 3600 * 10**9)  # of one clock
            self.assertLess(abs(own[-1] - times[-1]), 3600 * 10**9)  # of one clock

    def test_can_and_ethernet_are_one_trace_in_order(self):
        self.assertEqual(self.exit_of("both"), DONE, self.text("both.err"))
        contents, order, times = self.results["both.bin"], "", []
        for place in offsets(contents):
            _, channel, time = struct.unpack_from("<IIQ", contents, place)
            times.append(time)
            if channel == 2:
                order += "e"
            elif (identifier := struct.unpack_from("<I", contents, place + 36)[0]) != MARKER:
                order += str(identifier & 0xF)
        self.assertEqual(times, sorted(times))
        self.assertRegex(order, "^e*1e+2e+3e+$")
        described, = json.loads(self.text("both.info"))["files"]
        self.assertEqual(described["entries"], len(times))
        self.assertEqual([(channel["bus"], channel["name"]) for channel in described["channels"]], [("CAN", "vcan0"), ("Ethernet", "veth0")])

    def test_ports_are_listed(self):
        ports = {port["port"]: port for port in json.loads(self.text("ports.json"))["ports"]}
        self.assertEqual(set(ports), {"lo", "vcan0", "vxcan0", "vxcan1"})
        self.assertEqual(ports["vcan0"], {"port": "vcan0", "bus": "CAN", "state": "up", "bit_rate": 0, "data_bit_rate": 0,
                                          "driver": "vcan", "recordable": True, "why_not": ""})
        self.assertEqual(ports["lo"]["bus"], "Ethernet")
        self.assertRegex(self.text("ports.text"), r"(?m)^vxcan1 +CAN +up +vxcan +yes$")

    def test_interface_that_is_not_there_is_named(self):
        self.assertEqual(int(self.text("none.exit")), 2)
        self.assertIn('no interface "can77"', self.text("none.err"))


def offsets(contents):
    offset = 0
    while offset < len(contents):
        yield offset
        offset += struct.unpack_from("<I", contents, offset)[0]


if __name__ == "__main__":
    CanTest.client, CanTest.odd_frames, CanTest.recordings, CanTest.cache = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
    try:
        machine.check(CanTest.cache)
    except machine.CannotRun as reason:
        machine.skip(reason)
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
