"""A trace and the process that it is in: its end, Ctrl-C, children."""

import os

import pytest

RECORDING = """
import time
trace = qor_trace.Trace("vehicle", memory_limit=100)
trace.start()
while len(trace) < 500:
    time.sleep(0.01)
"""


def swap_files():
    return [name for name in os.listdir() if name.endswith(".bin")]


def test_a_program_may_end_while_it_records(run_program):
    run_program(RECORDING)
    assert swap_files() == [], "the trace is closed at the end, and takes its swap file along"


def test_a_program_may_end_by_an_exception_while_it_records_and_reads_in_a_thread(start_program):
    program = start_program(RECORDING + """
import threading
def read():
    for _ in trace.follow():
        pass
threading.Thread(target=read, daemon=True).start()
raise SystemExit(7)
""")
    program.end(expect=7)
    assert swap_files() == []


@pytest.mark.parametrize("waiting", ("for entry in trace.follow(): pass", "trace.wait()", "while True: trace.to_array()"))
def test_ctrl_c_ends_waiting_and_leaves_a_trace_that_works(start_program, waiting):
    program = start_program(RECORDING + f"""
try:
    print("waiting", flush=True)
    {waiting}
except KeyboardInterrupt:
    trace.stop()
    print(len(trace) == len(trace.to_array()) == sum(1 for _ in trace))
    trace.close()
""")
    program.wait_for("waiting")
    program.interrupt()
    assert program.end()[0] == "True\n"


def test_ctrl_c_stops_a_recording_and_is_passed_on(start_program):
    program = start_program("""
import threading, time
trace = qor_trace.Trace("can")
def announce():
    while len(trace) == 0:
        time.sleep(0.01)
    print("recording", flush=True)
threading.Thread(target=announce).start()
try:
    trace.record()
except KeyboardInterrupt:
    count = len(trace)
    print(count > 0, len(trace.to_array()) == count)
""")
    program.wait_for("recording")
    program.interrupt()
    assert program.end()[0] == "True True\n"


def test_ctrl_c_during_an_export_takes_effect_when_the_file_is_complete(start_program, tmp_path):
    os.mkfifo(tmp_path / "pipe")
    program = start_program("""
with qor_trace.Trace("can?duration=60s&speed=max") as trace:
    trace.record()
    try:
        print("exporting", flush=True)
        trace.export_asc("pipe")
        print("not interrupted")
    except KeyboardInterrupt:
        print(f"interrupted, {len(trace) == len(trace.to_array())}")
""")
    program.wait_for("exporting")
    with open(tmp_path / "pipe", "rb") as pipe:
        start = pipe.read(1000)  # the export is at work: a pipe holds a fraction of it
        program.interrupt()
        text = start + pipe.read()
    assert text.endswith(b"End Triggerblock\n")
    assert program.end()[0] == "interrupted, True\n"


def test_ctrl_c_ends_a_conversion_as_well(start_program, tmp_path):
    (tmp_path / "slow").write_text("#!/bin/sh\necho $$ > started\nexec sleep 1000\n")
    (tmp_path / "slow").chmod(0o755)
    program = start_program("""
import os, signal, threading, time
def interrupt():
    while not os.path.exists("started") or not os.path.getsize("started"):
        time.sleep(0.01)
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=interrupt).start()
try:
    open("a.mf4", "w").close()
    qor_trace.Recording("a.mf4", program="./slow", temporary=".")
except KeyboardInterrupt:
    print("interrupted", [name for name in os.listdir() if name.startswith("qor-trace-")])
""")
    assert program.end()[0] == "interrupted []\n"
    pid = int((tmp_path / "started").read_text())
    with pytest.raises(ProcessLookupError):
        os.kill(pid, 0)


def test_a_child_by_fork_leaves_the_trace_to_its_parent(run_program):
    assert run_program(RECORDING + """
import os, sys
reader = trace.reader()
child = os.fork()
if child == 0:
    try:
        len(trace)
    except qor_trace.Error as problem:
        print(problem, flush=True)
    trace.close()
    del trace
    sys.exit(0)      # with everything that Python does at its end
print(os.waitpid(child, 0)[1], flush=True)
before = len(trace)
while len(trace) == before:
    time.sleep(0.01)
trace.stop()
print(len(list(reader)) == len(trace))
trace.close()
""") == "This trace belongs to the process that made it: a child by fork() can't use it\n0\nTrue\n"


def test_a_pool_of_workers_reads_recordings(run_program):
    assert run_program("""
import multiprocessing
def count(name):
    return len(qor_trace.Recording(name))
if __name__ == "__main__":
    with qor_trace.Trace("can?duration=2s&speed=max") as trace:
        trace.record()
        trace.save("a.bin")
        with multiprocessing.get_context("fork").Pool(2) as pool:
            print(pool.map(count, ["a.bin"] * 4) == [len(trace)] * 4)
""") == "True\n"
