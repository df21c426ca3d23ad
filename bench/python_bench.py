"""Entries in Python: arrays of NumPy beside iterating, from a trace in memory and from a recording.

Usage: python_bench.py [--quick] [--library FILE --hardware FILE]

Prints the time of each in ns an entry, real and of the processor, medians of the rounds; and how many times as fast as iterating
over the same entries it is. Without --library the build in build/release is measured.
"""

import argparse
import pathlib
import statistics
import sys
import tempfile
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TREE / "python"))
SKIPPED = 77

try:
    import numpy as np
except ImportError:
    print("skipped: python3-numpy isn't installed")
    sys.exit(SKIPPED)

import qor_trace  # noqa: E402
from qor_trace._boundaries import find_boundaries  # noqa: E402

ENTRIES, ROUNDS = 5_000_000, 5
QUICK_ENTRIES, QUICK_ROUNDS = 20_000, 1
SIMULATED_RATE = 1171  # entries of the simulated bus in a second


def cost(work):
    """Real and processor time of a piece of work."""
    real, busy = time.perf_counter(), time.process_time()
    work()
    return time.perf_counter() - real, time.process_time() - busy


def iterate(entries):
    for _ in entries:
        pass


def measure(name, rounds, count, work, iterating):
    figures = [cost(work) for _ in range(rounds)]
    real, busy = (statistics.median(each) / count * 1e9 for each in zip(*figures))
    ratio = f"{iterating / real:7.1f}" if iterating else "       "
    print(f"{name:48} {real:9.1f} {busy:9.1f} {ratio} {real * count / 1e9:9.3f} s", flush=True)
    return real


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--library", default=str(TREE / "build/release/src/libqor_api_trace.so.2"))
    parser.add_argument("--hardware", default=str(TREE / "build/release/hardware/simulator/libqor_api.so.2"))
    arguments = parser.parse_args()
    qor_trace.load(arguments.library, arguments.hardware)
    wanted, rounds = (QUICK_ENTRIES, QUICK_ROUNDS) if arguments.quick else (ENTRIES, ROUNDS)

    with tempfile.TemporaryDirectory(prefix="qor-python-bench-") as folder:
        file = pathlib.Path(folder) / "drive.bin"
        with qor_trace.Trace(f"can?speed=max&duration={wanted // SIMULATED_RATE + 1}s") as trace:
            trace.record()
            count = len(trace)
            print(f"{count} entries of CAN and CAN FD{'':24}  ns/entry  processor  times   in all")
            step = max(count // 500_000, 1)  # iterating takes the same for each
            sample = trace.entries()[:: step]
            iterating = measure("iterating over a trace", rounds, len(sample), lambda: iterate(sample), None)
            measure("copying the same bytes (bound)", rounds, count, trace.entries().raw.copy, iterating)
            measure("trace: all fields, 64 data bytes", rounds, count, trace.to_array, iterating)
            measure("trace: all fields, 8 data bytes", rounds, count, lambda: trace.to_array(data_bytes=8), iterating)
            measure("trace: time, id and 8 data bytes", rounds, count, lambda: trace.to_array(["time_ns", "id", "data"], 8), iterating)
            measure("trace: where the records are", rounds, count, trace.entries, iterating)
            measure("trace: a table without data", rounds, count, lambda: trace.to_dataframe(data=False), iterating)
            trace.save(file)
        raw = np.fromfile(file, np.uint8)
        measure("recording: where the records are", rounds, count, lambda: find_boundaries(raw, 1), iterating)
        measure("recording: all fields, 64 data bytes", rounds, count, lambda: qor_trace.Recording(file).to_array(), iterating)
        measure("recording: a table with data", rounds, count, lambda: qor_trace.Recording(file).to_dataframe(), iterating)


main()
