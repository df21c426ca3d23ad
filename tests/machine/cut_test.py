#!/usr/bin/env python3
"""Power cuts: recordings in a virtual machine that is killed, so that what was not on its disk by then is gone.

Usage: cut_test.py CLIENT HEARTBEAT CACHE [CUTS [SEED]] [--without-sync] [--seconds S]

  --without-sync  records without --sync, which promises nothing: what is on the disk must be sound, and how much it is is shown
  --seconds       that a recording has taken when the power is cut (a random time)

The promise of docs/what-it-survives.md is kept by the machine's own clock, which doesn't know how busy the computer is, but for its disks. How
long those take is known from a program in the machine that does what --sync does, on a disk of its own (heartbeat.cpp): the promise is
given that much more room.
"""

import argparse
import json
import pathlib
import random
import re
import struct
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple

import machine

SYNC = 1.0  # s
ORDERING = 1.0  # s for which entries of several channels are held back
WAY = 0.3  # s from an interface to the outputs, and between two looks at the clock
LONGEST = 15.0  # s until a cut, unless the computer is slow
BUSES = ["can", "lin", "flexray", "ethernet"]  # channels 1 to 4
COUNTING = 5  # vcan0
SOURCE = "vehicle?seed=7"
REFERENCE = "2m"  # as long as the machine can have recorded
FORMATS = {"bin": "cut.bin.part", "asc": "cut.asc.part", "pcapng": "cut.pcapng.part", "mf4": "cut.part.mf4"}

SCRIPT = """
ip link add vcan0 type vcan
ip link set vcan0 mtu 72 up
mkdir /disk
mount -t ext4 /dev/vda /disk || exit 1
cd /disk

# The age of what was written counts, as where there is more memory than a recording fills.
echo 90 >/proc/sys/vm/dirty_ratio
echo 80 >/proc/sys/vm/dirty_background_ratio

# One that is complete.
qor-trace record 'can?seed=3' --duration 2s --speed max -o early.bin -o early.asc -o early.pcapng -o early.mf4 --sync 1s || exit 1
echo "early is complete"

qor-trace record 'vehicle?seed=7' vcan0 -o cut.bin -o cut.asc -o cut.pcapng -o cut.mf4 SYNC &
cangen vcan0 -g 5 -I 321 -L 8 -D i &
until [ -s cut.bin.part ]; do sleep 0.1; done
machine_heartbeat DEVICE
poweroff -f
"""


class Entry(NamedTuple):
    time: float  # s
    contents: bytes  # without times and channel


ITEM_TIMES = {0: 28, 2: 32, 3: 32}  # where the records of a bus have their time again


def without_time(record):
    place = ITEM_TIMES.get(record[24])
    return record[24:] if place is None else record[24:place] + record[place + 8 :]


def entries_by_channel(path):
    """Of a .bin file."""
    contents, offset, channels, latest = path.read_bytes(), 0, {}, 0
    while offset < len(contents):
        length, channel, time_ns = struct.unpack_from("<IIQ", contents, offset)
        if time_ns < latest:
            raise AssertionError(f"{path.name}: an entry lies before the one before it")
        latest = time_ns
        channels.setdefault(channel, []).append(Entry(time_ns / 1e9, without_time(contents[offset : offset + length])))
        offset += length
    return channels


def is_in_order_in(some, entries):
    """Whether each is among the entries, after the one before it."""
    rest = iter(entries)
    return all(entry in rest for entry in some)


class Reference:
    """What the recording must hold, as each format keeps it."""

    def __init__(self, client, folder):
        self.client, self.folder = client, folder
        names = [f"reference.{name}" for name in FORMATS]
        outputs = [text for name in names for text in ("-o", name)]
        self.run("record", SOURCE, "--duration", REFERENCE, "--speed", "max", *outputs)
        for name in names[1:]:
            self.run("convert", name, "-o", f"{name}.bin")
        self.entries = {name: entries_by_channel(folder / (f"reference.{name}.bin" if name != "bin" else "reference.bin"))
                        for name in FORMATS}
        self.run("record", "can?seed=3", "--duration", "2s", "--speed", "max", "-o", "early.bin")

    def run(self, *args, expect=(0,)):
        done = subprocess.run([self.client, *args], cwd=self.folder, capture_output=True, text=True, check=False)
        if done.returncode not in expect:
            raise AssertionError(f"{args}: {done.returncode}\n{done.stderr}")
        return done.stdout


class Beats(NamedTuple):
    """What the machine's clock said: s since 1970."""

    first: float
    last: float
    longest: float  # between two of them

    @property
    def margin(self):
        """What may be missing in front of the last one, and not be a broken promise."""
        return SYNC + ORDERING + WAY + 3 * self.longest


def beats_in(shown):
    """None before there are two."""
    beats = [int(text) / 1e9 for text in re.findall(r"beat (\d+)\r?\n", shown)]
    if len(beats) < 2:
        return None
    return Beats(beats[0], beats[-1], max(after - before for before, after in zip(beats, beats[1:])))


def cut_power(kernel, folder, programs, synced, length, pause):
    """Records, cuts the power after so many s of the machine's, and gives its beats. The disk is in the folder."""
    # Of two disks, the system writes one that is seldom written to at once: the other one is left alone where that is to be seen.
    script = SCRIPT.replace("SYNC", f"--sync {SYNC:g}s" if synced else "").replace("DEVICE", "/dev/vdb" if synced else "")
    for name, size in (("disk.ext4", 512 << 20), ("other", 1 << 20)):
        with open(folder / name, "wb") as drive:
            drive.truncate(size)
    machine.run(machine.need("mkfs.ext4", "e2fsprogs"), "-q", folder / "disk.ext4")

    def long_enough(shown):
        beats = beats_in(shown)
        return beats if beats and beats.last - beats.first > max(length, 2 * beats.margin) else None

    drives = (folder / "disk.ext4", folder / "other")
    with machine.DoomedMachine(kernel, folder, script, programs, drives=drives) as doomed:
        doomed.wait_for(long_enough)
        time.sleep(pause)  # so that it isn't always the moment of a beat
        doomed.cut()
    return beats_in(machine.console_of(folder))


def files_of(folder):
    """The files on the disk, after the file system was put in order, as at the next start."""
    fsck = subprocess.run([machine.need("e2fsck", "e2fsprogs"), "-f", "-p", folder / "disk.ext4"], capture_output=True, text=True, check=False)
    if fsck.returncode not in (0, 1):
        raise AssertionError(f"the file system is broken: {fsck.stdout}{fsck.stderr}")
    left = folder / "left"
    left.mkdir()
    machine.run(machine.need("debugfs", "e2fsprogs"), "-R", f"rdump / {left}", folder / "disk.ext4")
    return left


def check_early(reference, left):
    """The recording that was complete is whole."""
    for name in FORMATS:
        reference.run("check", str(left / f"early.{name}"))
    if (left / "early.bin").read_bytes() != (reference.folder / "early.bin").read_bytes():
        raise AssertionError("early.bin isn't what was recorded")


def check_bus(entries, expected, until, what):
    """Everything up to a time is there, and after it nothing that wasn't sent, in order."""
    if not entries or entries[0].contents != expected[0].contents:
        raise AssertionError(f"{what} has lost its beginning")
    start = entries[0].time - expected[0].time
    due = sum(start + entry.time <= until for entry in expected)
    contents = [entry.contents for entry in entries]
    all_expected = [entry.contents for entry in expected]
    if contents[:due] != all_expected[:due]:
        same = next((place for place, (one, other) in enumerate(zip(contents, all_expected)) if one != other), len(contents))
        raise AssertionError(f"{what} has {same} of {due} entries that are older than what may be missing, and {len(contents)} in all")
    if not is_in_order_in(contents[due:], all_expected[due:]):
        raise AssertionError(f"{what} has entries that were not sent, or not in this order")


def check_counting(entries, until, what):
    """Frames that count have no gap, and go on up to a time."""
    numbers = [int.from_bytes(entry.contents[-8:], "little") for entry in entries]
    if numbers != list(range(numbers[0], numbers[0] + len(numbers))):
        raise AssertionError(f"{what} has a gap")
    if entries[-1].time < until:
        raise AssertionError(f"{what} ends {until - entries[-1].time} s too early")


def check_file(reference, left, name, beats):
    """Gives how much in front of the cut is missing, s."""
    path = left / FORMATS[name]
    recovered = left / f"{name}.recovered.bin"
    told = json.loads(reference.run("recover", str(path), "-o", str(recovered), "--json", expect=(3,)))
    if any(finding["kind"] == "unread" for finding in told["found"]):
        raise AssertionError(f"{path.name} is told to be damaged: {told['found']}")
    reference.run("check", str(path), expect=(3,))
    start = json.loads(pathlib.Path(f"{recovered}.json").read_text())["clock"]["start"]
    zero = (start["utc_ns"] - start["entry_time_ns"]) / 1e9  # s since 1970
    channels = entries_by_channel(recovered)
    until = beats.last - beats.margin - zero
    for number, bus in enumerate(BUSES, 1):
        check_bus(channels.get(number, []), reference.entries[name][number], until, f"{path.name}: {bus}")
    check_counting(channels.get(COUNTING, []), until, f"{path.name}: vcan0")
    return beats.last - zero - max(entries[-1].time for entries in channels.values())


def kept_of(reference, left, name):
    """How much of a recording without --sync is there, s. It is sound as far as it goes."""
    path = left / FORMATS[name]
    recovered = left / f"{name}.recovered.bin"
    if not path.exists() or path.stat().st_size == 0:
        return 0.0
    reference.run("recover", str(path), "-o", str(recovered), expect=(0, 1, 3))
    channels = entries_by_channel(recovered) if recovered.exists() else {}
    for number, bus in enumerate(BUSES, 1):
        expected = [entry.contents for entry in reference.entries[name][number]]
        if not is_in_order_in([entry.contents for entry in channels.get(number, [])], expected):
            raise AssertionError(f"{path.name}: {bus} has entries that were not sent, or not in this order")
    times = [entry.time for entries in channels.values() for entry in entries]
    return max(times) - min(times) if times else 0.0


def arguments_of(command_line):
    parser = argparse.ArgumentParser(usage=__doc__)
    for name in ("client", "heartbeat", "cache"):
        parser.add_argument(name, type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("cuts", type=int, nargs="?", default=2)
    parser.add_argument("seed", type=int, nargs="?", default=random.SystemRandom().randrange(10**6))
    parser.add_argument("--without-sync", action="store_true")
    parser.add_argument("--seconds", type=float)
    return parser.parse_args(command_line)


def one_cut(arguments, kernel, programs, chance, reference, folder):
    """Gives what there is to say about it."""
    length = arguments.seconds or chance.uniform(2, LONGEST)
    beats = cut_power(kernel, folder, programs, not arguments.without_sync, length, chance.uniform(0, 0.3))
    left = files_of(folder)
    check_early(reference, left)
    recorded = f"{beats.last - beats.first:.1f} s recorded"
    if arguments.without_sync:
        kept = {name: kept_of(reference, left, name) for name in FORMATS}
        return f"{recorded}; on the disk are " + ", ".join(f"{seconds:.1f} s in .{name}" for name, seconds in kept.items())
    missing = {name: check_file(reference, left, name, beats) for name in FORMATS}
    return f"{recorded}, up to {beats.margin:.1f} s may be missing; missing are " + ", ".join(
        f"{seconds:.2f} s in .{name}" for name, seconds in missing.items())


def main():
    arguments = arguments_of(sys.argv[1:])
    client, cache = arguments.client, arguments.cache
    try:
        machine.check(cache)
        programs = [client, arguments.heartbeat, machine.need("ip", "iproute2"), machine.need("cangen", "can-utils")]
        for program in ("mkfs.ext4", "e2fsck", "debugfs"):
            machine.need(program, "e2fsprogs")
    except machine.CannotRun as reason:
        machine.skip(reason)
    kernel, chance = machine.Kernel(cache), random.Random(arguments.seed)
    print(f"{arguments.cuts} power cuts, seed {arguments.seed}", flush=True)
    with tempfile.TemporaryDirectory(prefix="qor-trace-cut-") as name:
        reference = Reference(client, pathlib.Path(name))
        for number in range(1, arguments.cuts + 1):
            with tempfile.TemporaryDirectory(prefix="qor-trace-cut-") as folder:
                print(f"cut {number}: " + one_cut(arguments, kernel, programs, chance, reference, pathlib.Path(folder)), flush=True)


if __name__ == "__main__":
    main()
