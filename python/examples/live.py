"""Prints the entries of a source as they come, until none has come for a second or until Ctrl-C.

Usage: live.py SOURCE
"""

import sys

import qor_trace

# A small limit and dropping of what was read long ago: it can run for days.
with qor_trace.Trace(sys.argv[1], memory_limit=100_000) as trace:
    trace.start(discard_oldest=True)
    try:
        for entry in trace.follow(timeout=1):
            print(entry)
    except KeyboardInterrupt:
        pass
