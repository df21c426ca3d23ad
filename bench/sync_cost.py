#!/usr/bin/env python3
"""What `record --sync` costs: the client as a whole process, with and without it in turns, on the disk of a folder.

Usage: bench/sync_cost.py CLIENT [--folder FOLDER] [--speeds real,max] [--formats NAME[,...]] [--seconds S] [--entries N] [--rounds N]
                          [--quick] [--json]

CLIENT is the built qor-trace. Four simulated buses are recorded in real time, 18,000 entries a second, and one as fast as it goes,
each into a file of every format, one at a time and all at once. Of each: the processor time and its ratio to the same without
--sync; entries a second; how many rounds there were, and how long anything waited at most until it was on the disk. In a second run
with a pipe as another output, the longest time in which nothing came there: how long the client stood still.

  --folder   where the files are written (the current one): its disk is what is measured
  --speeds   (real,max)
  --formats  (bin,asc,pcapng,mf4,all)
  --seconds  of a recording in real time (20)
  --entries  of a recording as fast as it goes (2000000)
  --rounds   of each; medians are shown, and the longest wait and pause (3)
  --quick    one short round: shows that it runs, measures nothing
  --json     one object per line
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import tempfile
import time

FORMATS = ["bin", "asc", "pcapng", "mf4"]
INTERVALS = [None, "1s", "100ms"]


def outputs_of(folder, formats):
    return [text for name in formats for text in ("-o", str(folder / f"x.{name}"))]


def run(command, folder, read):
    """(what was read from its output, processor time) of a whole process; what it leaves in the folder is removed."""
    with tempfile.TemporaryFile() as said:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=said)
        result = read(process.stdout)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            said.seek(0)
            raise RuntimeError(f"{command}: {process.returncode}\n{said.read().decode()}")
    for path in folder.iterdir():
        path.unlink()
    return result, usage.ru_utime + usage.ru_stime


def record(client, folder, formats, sync, *args):
    """One recording: {entries, wall, cpu, rounds, wait}, times in s."""
    began = time.monotonic()
    text, cpu = run([client, "record", *args, *outputs_of(folder, formats), "--json", *sync], folder, lambda pipe: pipe.read())
    wall = time.monotonic() - began
    summary = json.loads(text)
    synced = summary["sync"] or {"rounds": 0, "longest_wait_ns": 0}
    return {"entries": summary["entries"], "wall": wall, "cpu": cpu, "rounds": synced["rounds"], "wait": synced["longest_wait_ns"] / 1e9}


def pause(client, folder, formats, sync, *args):
    """The longest in which nothing came to a pipe, in s."""
    return run([client, "record", *args, *outputs_of(folder, formats), "-o", "-", "--format", "bin", *sync], folder, longest_pause)[0]


def longest_pause(pipe):
    """Between two arrivals, in s, until its end."""
    longest, last = 0.0, None
    while pipe.read1(1 << 20):
        now = time.monotonic()
        longest = max(longest, now - last) if last else 0.0
        last = now
    return longest


def compare(options, folder, formats, *args):
    """The medians of each interval, in turns, and the longest of the pauses."""
    rounds = {sync: [] for sync in INTERVALS}
    for _ in range(options.rounds):
        for sync, several in rounds.items():
            what = (options.client, folder, formats, ["--sync", sync] if sync else [], *args)
            several.append({**record(*what), "pause": pause(*what)})
    return {sync: {key: (max if key in ("wait", "pause") else statistics.median)(one[key] for one in several) for key in several[0]}
            for sync, several in rounds.items()}


def rows(options, folder):
    recordings = {"real": ("vehicle?speed=4", "--duration", f"{4 * options.seconds}s"),
                  "max": ("can?speed=max", "--count", str(options.entries))}
    for speed in options.speeds:
        for name in options.formats:
            measured = compare(options, folder, FORMATS if name == "all" else [name], *recordings[speed])
            for sync, one in measured.items():
                yield {"speed": speed, "format": name, "sync": sync, "cpu_s": round(one["cpu"], 3),
                       "cpu_percent": round(100 * one["cpu"] / one["wall"], 2), "cpu_ratio": round(one["cpu"] / measured[None]["cpu"], 3),
                       "entries_per_s": round(one["entries"] / one["wall"]), "rounds": one["rounds"],
                       "longest_wait_ms": round(1000 * one["wait"], 1), "longest_pause_ms": round(1000 * one["pause"], 1)}


HEAD = f"{'speed':<5} {'format':<7} {'--sync':<7} {'CPU s':>8} {'CPU %':>7} {'ratio':>6} {'entries/s':>10} {'rounds':>6} {'wait ms':>8} {'pause ms':>8}"


def line(row):
    return (f"{row['speed']:<5} {row['format']:<7} {row['sync'] or '':<7} {row['cpu_s']:>8} {row['cpu_percent']:>7} {row['cpu_ratio']:>6} "
            f"{row['entries_per_s']:>10} {row['rounds']:>6g} {row['longest_wait_ms']:>8} {row['longest_pause_ms']:>8}")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("client", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--folder", default=".")
    parser.add_argument("--speeds", type=lambda text: text.split(","), default="real,max")
    parser.add_argument("--formats", type=lambda text: text.split(","), default="bin,asc,pcapng,mf4,all")
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--entries", type=int, default=2000000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--json", action="store_true")
    options = parser.parse_args()
    if options.quick:
        options.rounds, options.seconds, options.entries, options.formats = 1, 1, 10000, ["all"]
    if not options.json:
        print(HEAD)
    with tempfile.TemporaryDirectory(prefix="qor-trace-bench-", dir=options.folder) as folder:
        for row in rows(options, pathlib.Path(folder)):
            print(json.dumps(row) if options.json else line(row), flush=True)
    if not options.json:
        print("load average: " + " ".join(f"{load:.2f}" for load in os.getloadavg()))


if __name__ == "__main__":
    main()
