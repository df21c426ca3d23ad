"""Records a source until it ends, or until Ctrl-C, and prints the cycle times of its CAN messages.

Usage: cycle_times.py SOURCE
"""

import sys

import numpy as np

import qor_trace

with qor_trace.Trace(sys.argv[1]) as trace:
    try:
        trace.record()
    except KeyboardInterrupt:
        pass
    rows = trace.to_array(["time_ns", "channel", "id", "bus", "kind"])

frames = rows[np.isin(rows["kind"], (qor_trace.Kind.CAN_FRAME, qor_trace.Kind.CAN_FD_FRAME))]
print(" channel        id    count   median (ms)   longest (ms)")
for channel, identifier in np.unique(frames[["channel", "id"]]):
    times = frames["time_ns"][(frames["channel"] == channel) & (frames["id"] == identifier)]
    gaps = np.diff(times) / 1e6
    if gaps.size:
        print(f"{channel:8}  {identifier:8x} {times.size:8}  {np.median(gaps):12.3f}  {gaps.max():13.3f}")
