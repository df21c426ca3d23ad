"""The client records a simulated car for a long time: its memory stays as it is, and nothing is lost on the way.

Run by script/soak: client_soak.py CLIENT MINUTES
"""

import json
import pathlib
import re
import signal
import struct
import subprocess
import sys
import tempfile
import time

BUSES = ["can", "lin", "flexray", "ethernet"]  # channels 1 to 4 of a car
SEED = "?seed=7"
MEMORY_LIMIT = 1000  # entries: the store is swapped several times a second, so that its filling doesn't show
OUTPUTS = ["x.bin", "x.mf4", "x.pcapng", "x.asc"]
MOST_GROWTH = 512  # KiB, from the middle third of the recording to the last; the first one is for settling


def fail(what):
    sys.exit("client_soak: " + what)


def resident_memory(process):
    """KiB, or None when the process has ended."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    match = re.search(r"^VmRSS:\s+(\d+)", status, re.MULTILINE)
    return int(match[1]) if match else None


def record(client, folder, minutes):
    """Records the car; gives the summary, and the resident memory of each second."""
    command = [client, "record", "vehicle" + SEED, "--memory-limit", str(MEMORY_LIMIT), "--duration", f"{minutes}m"]
    for name in OUTPUTS:
        command += ["--output", name]
    command += ["--asc-live", "--json"]
    process = subprocess.Popen(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    memory = []
    try:
        while process.poll() is None:
            memory.append(resident_memory(process))
            time.sleep(1)
    finally:  # also when the soak is broken off
        process.terminate()
    out, err = process.communicate()
    if process.returncode != 3:  # measurement and capture files have no place for all entries
        fail(f"exit code {process.returncode}: {err.decode()}")
    return json.loads(out), [value for value in memory if value is not None]


def entries_alone(client, folder, bus, minutes):
    """How many entries a bus has when nothing else is recorded, as fast as it can be."""
    command = [client, "record", bus + SEED, "--speed", "max", "--duration", f"{minutes}m"]
    command += ["--output", "alone.bin", "--json"]
    done = subprocess.run(command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)
    return json.loads(done.stdout)["entries"]


def check_entries(client, folder, summary, minutes):
    for channel, bus in zip(summary["channels"], BUSES):
        alone = entries_alone(client, folder, bus, minutes)
        if channel["entries"] != alone or channel["lost"]["count"] != 0:
            fail(f"{channel['entries']} of {alone} entries of {channel['source']}")


def records_in(path):
    """The number of records of a .bin file, and of those that lie before the one before them."""
    data = path.read_bytes()
    place = count = late = last = 0
    while place < len(data):
        length, time_ns = struct.unpack_from("<I4xQ", data, place)
        late += time_ns < last
        last = time_ns
        count += 1
        place += length
    return count, late


def check_outputs(folder, summary):
    """Gives the number of entries that are out of order."""
    entries = summary["entries"]
    records, late = records_in(folder / "x.bin")
    mdf = next(output for output in summary["outputs"] if output["format"] == "mf4")
    if records != entries or mdf["records"] + sum(mdf["omitted"].values()) != entries:
        fail(f"{entries} entries, {records} in x.bin, {mdf['records']} in x.mf4 without {mdf['omitted']}")
    return late


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("client_soak: broken off"))
    client, minutes = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="qor-trace-soak-") as name:
        folder = pathlib.Path(name)
        summary, memory = record(client, folder, minutes)
        check_entries(client, folder, summary, minutes)
        late = check_outputs(folder, summary)
    third = len(memory) // 3
    before, after = min(memory[third : 2 * third]), min(memory[2 * third :])
    print(f"client: {summary['entries']} entries, none lost, {late} out of order; {before} KiB resident, then {after} KiB")
    if after - before > MOST_GROWTH:
        fail("memory grew")


main()
