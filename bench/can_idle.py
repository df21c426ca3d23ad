#!/usr/bin/env python3
"""What idle CAN ports take of a processor, in a virtual machine with Debian's kernel.

Usage: bench/can_idle.py CLIENT CACHE [--ports N[,...]] [--seconds S] [--json]

CLIENT is the built qor-trace, CACHE the folder that keeps the kernel (build/machine). The machine's clock counts its instructions, 1 ns
each: the figures don't depend on the computer, and are those of a processor that does a thousand million instructions a second.

  --ports    recordings of so many interfaces, one after the other (1,16)
  --seconds  of the machine's time for each (60)
  --json     one object per line

Exit code 77 where there can be no such machine.
"""

import argparse
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "machine"))
import machine  # noqa: E402

# taken: what time it is, and the time that each of the recording's threads has taken so far.
SCRIPT = """
taken() { cat /proc/uptime /proc/$recorder/task/*/schedstat; }
for ports in PORTS; do
  names=
  for number in $(seq $ports); do
    ip link add vcan$number type vcan
    ip link set vcan$number up
    names="$names vcan$number"
  done
  qor-trace record $names -o idle.bin -o - --format log >live &
  recorder=$!
  for number in $(seq $ports); do
    mark=7FF#$(printf %04X $number)
    until grep -q $mark live; do
      cansend vcan$number $mark
      sleep 0.5
    done
  done
  taken >before.$ports
  sleep SECONDS
  taken >after.$ports
  kill -INT $recorder
  wait $recorder
  rm idle.bin* live
  for number in $(seq $ports); do ip link del vcan$number; done
done
"""


def times(text):
    """(time, processor time) that a recording has come to, s."""
    uptime, *threads = (line.split()[0] for line in text.decode().splitlines())
    return float(uptime), sum(int(thread) for thread in threads) / 1e9


def rows(options):
    kernel = machine.Kernel(options.cache)
    script = SCRIPT.replace("PORTS", " ".join(map(str, options.ports))).replace("SECONDS", str(options.seconds))
    programs = [options.client, machine.need("ip", "iproute2"), machine.need("cansend", "can-utils")]
    results = machine.Machine(kernel, script, programs, counted=True).results
    for ports in options.ports:
        before, after = (times(results[f"{when}.{ports}"]) for when in ("before", "after"))
        passed, taken = (last - first for first, last in zip(before, after))
        yield {"idle_ports": ports, "seconds": round(passed, 1), "cpu_percent": round(100 * taken / passed, 2),
               "cpu_percent_per_port": round(100 * taken / passed / ports, 3)}


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("client", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("cache", type=lambda path: pathlib.Path(path).resolve())
    parser.add_argument("--ports", type=lambda text: [int(number) for number in text.split(",")], default="1,16")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--json", action="store_true")
    options = parser.parse_args()
    try:
        machine.check(options.cache)
    except machine.CannotRun as reason:
        machine.skip(reason)
    for row in rows(options):
        print(json.dumps(row) if options.json else f"{row['idle_ports']} idle ports: {row['cpu_percent']} % of a core in {row['seconds']} s, "
              f"{row['cpu_percent_per_port']} % each", flush=True)


if __name__ == "__main__":
    main()
