#!/usr/bin/env python3
"""What recording an Ethernet interface keeps up with, beside dumpcap on the same interface at the same time; and what idle ports cost.

Usage: bench/ethernet_rates.py CLIENT [--quick] [--json] [--rates MBIT[,...]] [--seconds S] [--bytes N] [--sources SOURCE[,...]]

CLIENT is the built qor-trace. Frames of N bytes go over a pair of veth interfaces at each rate, in a network namespace of the
script's own. Of the same frames: how many were sent, recorded and lost by the ledger, and captured and dropped by dumpcap's count.
The last column is their sum, to be compared with those sent.

  --rates    Mbit/s (20,40,60,80,100,200)
  --seconds  of sending at each rate (4)
  --bytes    of a frame, 60 to 9014 (1000)
  --sources  what is recorded of veth0 (veth0,veth0?fanout=4)
  --quick    one short round: shows that it runs, measures nothing
  --json     one object per line

Exit code 0; 1 if frames are missing that nobody counted; 77 where the rights, veth interfaces or dumpcap are missing.
"""

import argparse
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "end_to_end"))
import veth  # noqa: E402

SKIPPED = 77
KIND = 0x88B5  # an Ethernet type for experiments
PROBE = KIND + 1
HEADER = bytes.fromhex("020000000002020000000001")  # receiver and sender
DEADLINE = 120  # seconds after which something is waited for in vain
QUIET = 1.5  # seconds without growth after which nothing more comes
PAIRS = 8  # of the idle ports


class Bench:
    def __init__(self, options, folder):
        self.options = options
        self.folder = folder

    def start(self, *command):
        errors = tempfile.TemporaryFile()
        process = subprocess.Popen(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors)
        process.errors = errors
        return process

    def record(self, *sources):
        return self.start(self.options.client, "record", *sources, "-o", "rec.bin")

    @staticmethod
    def end(process):
        """Ends a process cleanly; gives what it said and its processor time, s."""
        process.send_signal(signal.SIGINT)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.errors.seek(0)
        said = process.errors.read().decode()
        if process.returncode not in (0, 3):
            raise RuntimeError(f"{process.args[0]} has failed: {said}")
        return said, usage.ru_utime + usage.ru_stime

    def rate(self, source, rate):
        """One row of the table."""
        ports = int((re.findall(r"fanout=(\d+)", source) or ["1"])[0])
        recording = self.record(source)
        capture = self.start("dumpcap", "-q", "-i", "veth0", "-w", "dumpcap.pcapng")
        wait_until(lambda: listeners("veth0") == ports + 1, "both to listen")
        self.wait_for_recording()
        sent, took = send(rate, self.options.seconds, self.options.bytes)
        wait_until_quiet(self.folder / "rec.bin.part")
        wait_until_quiet(self.folder / "dumpcap.pcapng")
        captured, capture_time = self.end(capture)
        _, record_time = self.end(recording)
        frames = veth.ethernet_records((self.folder / "rec.bin").read_bytes())
        recorded = sum(frame[12:14] == KIND.to_bytes(2, "big") for _, _, _, frame in frames)
        losses = json.loads((self.folder / "rec.bin.json").read_text())["losses"]
        received, dropped = map(int, re.search(r"on interface 'veth0': (\d+)/(\d+)", captured).groups())
        return {"source": source, "mbit_per_s": round(sent * self.options.bytes * 8 / took / 1e6, 1), "sent": sent,
                "recorded": recorded, "lost": sum(loss["count"] or 0 for loss in losses), "cpu_percent": round(100 * record_time / took, 1),
                "dumpcap_captured": received, "dumpcap_dropped": dropped, "dumpcap_cpu_percent": round(100 * capture_time / took, 1)}

    def wait_for_recording(self):
        """A socket that listens isn't recorded yet: sends frames that aren't counted until there is one in the file."""
        part = self.folder / "rec.bin.part"
        with veth.sender("veth1") as out:

            def one_is_there():
                out.send(HEADER + PROBE.to_bytes(2, "big") + bytes(46))
                return part.stat().st_size > 0

            wait_until(one_is_there, "a frame to be recorded")

    def idle(self):
        """Processor time of ports that nothing comes to, as a share of one core."""
        names = [f"idle{number}" for number in range(2 * PAIRS)]
        for first, second in zip(names[::2], names[1::2]):
            veth.add_pair(first, second)
        recording = self.record(*names)
        wait_until(lambda: all(listeners(name) == 1 for name in names), "all to listen")
        began, used = time.monotonic(), processor_time(recording.pid)
        time.sleep(self.options.idle)
        used, took = processor_time(recording.pid) - used, time.monotonic() - began
        self.end(recording)
        for name in names[::2]:
            veth.remove_pair(name)
        return {"idle_ports": len(names), "seconds": round(took, 1), "cpu_percent": round(100 * used / took, 2),
                "cpu_percent_per_port": round(100 * used / took / len(names), 3)}


def wait_until(condition, what):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError("waited in vain for " + what)
        time.sleep(0.01)


def wait_until_quiet(path):
    size, since = -1, time.monotonic()
    while time.monotonic() - since < QUIET:
        now = path.stat().st_size
        if now != size:
            size, since = now, time.monotonic()
        time.sleep(0.05)


def listeners(name):
    """Capture sockets that are bound to an interface and running."""
    number = str(socket.if_nametoindex(name))
    rows = [line.split() for line in pathlib.Path("/proc/net/packet").read_text().splitlines()[1:]]
    return sum(row[4] == number and row[5] == "1" for row in rows)


def processor_time(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def send(rate, seconds, size):
    """Sends frames at a rate in Mbit/s, evenly. Gives their number and the time that it took, s."""
    frame = HEADER + KIND.to_bytes(2, "big") + bytes(size - 14)
    wanted = round(rate * 1e6 * seconds / 8 / size)
    with veth.sender("veth1") as out:
        began = time.monotonic()
        for number in range(wanted):
            due = began + number * seconds / wanted
            ahead = due - time.monotonic()
            if ahead > 0.001:
                time.sleep(ahead)
            out.send(frame)
        return wanted, max(time.monotonic() - began, seconds)


def show(row, as_json):
    if as_json:
        print(json.dumps(row), flush=True)
    elif "idle_ports" in row:
        print(f"{row['idle_ports']} idle ports: {row['cpu_percent']} % of a core in {row['seconds']} s, "
              f"{row['cpu_percent_per_port']} % each", flush=True)
    else:
        print(f"{row['source']:<16} {row['mbit_per_s']:>7} {row['sent']:>8} {row['recorded']:>9} {row['lost']:>8} {row['cpu_percent']:>6} "
              f"{row['dumpcap_captured']:>9} {row['dumpcap_dropped']:>8} {row['dumpcap_cpu_percent']:>6} {row['recorded'] + row['lost']:>9}", flush=True)


def run(options):
    uncounted = 0
    if not options.json:
        print(f"{'source':<16} {'Mbit/s':>7} {'sent':>8} {'recorded':>9} {'lost':>8} {'CPU %':>6} {'dumpcap':>9} {'dropped':>8} {'CPU %':>6} {'sum':>9}")
    with tempfile.TemporaryDirectory(prefix="qor-trace-bench-") as folder:
        bench = Bench(options, pathlib.Path(folder))
        for source in options.sources:
            for rate in options.rates:
                veth.add_pair("veth0", "veth1")
                row = bench.rate(source, rate)
                veth.remove_pair("veth0")
                show(row, options.json)
                uncounted += row["sent"] != row["recorded"] + row["lost"]
        show(bench.idle(), options.json)
    if not options.json:
        print("load average: " + " ".join(f"{load:.2f}" for load in os.getloadavg()))
    return 1 if uncounted else 0


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("client", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--rates", type=lambda text: [float(rate) for rate in text.split(",")], default="20,40,60,80,100,200")
    parser.add_argument("--sources", type=lambda text: text.split(","), default="veth0,veth0?fanout=4")
    parser.add_argument("--seconds", type=float, default=4)
    parser.add_argument("--bytes", type=int, default=1000)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--json", action="store_true")
    options = parser.parse_args()
    options.idle = 20
    if options.quick:
        options.rates, options.seconds, options.idle = [10], 0.3, 1
    try:
        if shutil.which("dumpcap") is None:
            raise veth.Unavailable("there is no dumpcap (package wireshark-common)")
        veth.enter_namespace()
    except veth.Unavailable as reason:
        print(f"skipped: {reason}", file=sys.stderr)
        return SKIPPED
    return run(options)


if __name__ == "__main__":
    sys.exit(main())
