"""Every pair of formats: what goes from one to another and back is the same recording, up to what one of them can't hold,
and that is told."""

import json
import struct
import tempfile
import unittest
from pathlib import Path

import support
from buses_test import recordings as recordings_of
from every_kind import every_kind
from support import ClientTest, main

FORMATS = ("bin", "asc", "mf4", "pcapng", "log", "bin.zst", "asc.gz", "pcapng.gz", "log.zst")
TABLES = ("ndjson", "csv")  # written, not read
LIMITED = {"asc", "mf4", "pcapng", "log"}  # that don't keep everything
START = "2026-11-21T14:30:00.123Z"  # whole milliseconds, as exact as the head of .asc files can be
MOST = 1500  # records of each real recording


def split(contents):
    place = 0
    while place < len(contents):
        length = struct.unpack_from("<I", contents, place)[0]
        yield contents[place : place + length]
        place += length


def kept_by(*formats):
    """The option that leaves out what these formats can't hold."""
    limited = sorted({form.split(".")[0] for form in formats} & LIMITED)
    return ["--as-kept-by", ",".join(limited)] if limited else []


def moved(record, time, channel):
    """The record at another time, on another channel."""
    out = bytearray(record)
    struct.pack_into("<I", out, 4, channel)
    struct.pack_into("<Q", out, 8, time)
    if record[24] != 1:  # all but LIN have their time twice
        struct.pack_into("<Q", out, 28 if record[24] == 0 else 32, time)
    return bytes(out)


class Pairs(ClientTest):
    """Recordings that have every kind of event, in all formats; one test for each pair of them."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="qor-trace-pairs-")
        cls.addClassCleanup(folder.cleanup)
        cls.bases = Path(folder.name)

    def base(self, source, form):
        """A recording as it lies in a file of that format; made once."""
        path = self.bases / f"{source}.{form}"
        if path.exists():
            return path
        if form != "bin":
            self.convert(self.base(source, "bin"), path)
            return path
        raw = self.folder / "raw.bin"
        raw.write_bytes(b"".join({"kinds": every_kind, "vehicle": self.vehicle, "real": self.recordings}[source]()))
        self.convert(raw, path, "--start-time", START)
        return path

    def vehicle(self):
        self.run_client("record", "vehicle?seed=5", "-d", "3s", "--speed", "max", "-o", "v.bin", expect=None)
        return split((self.folder / "v.bin").read_bytes())

    def recordings(self):
        """The beginnings of all real recordings, side by side."""
        records, channels = [], 0
        for path in real_recordings():
            self.run_client("convert", path, "-o", "r.bin", "--count", MOST, expect=None)
            own = list(split((self.folder / "r.bin").read_bytes()))
            (self.folder / "r.bin").unlink()
            start = min(struct.unpack_from("<Q", record, 8)[0] for record in own)
            for record in own:
                channel, time = struct.unpack_from("<IQ", record, 4)
                records.append((time - start, len(records), channels + channel, record))
            channels = max(entry[2] for entry in records)
        return (moved(record, time, channel) for time, _, channel, record in sorted(records))

    def convert(self, source, output, *more):
        """The summary."""
        out, _ = self.run_client("convert", source, "-o", output, *more, "--json", expect=None)
        return json.loads(out)

    def compare(self, one, other, *options):
        """Equal: else what differs."""
        out, err = self.run_client("compare", one, other, *options, "--json", expect=None)
        report = json.loads(out)
        shown = self.run_client("compare", one, other, *options, expect=None)[0].decode() if report["exit_code"] else ""
        self.assertFalse(report["counts"]["different"] or report["counts"]["only_in_a"] or report["counts"]["only_in_b"],
                         f"{one} and {other} differ:\n{shown}{err}")
        return report

    def check_pair(self, source, one, other):
        base = self.base(source, one)
        between, back = self.folder / f"between.{other}", self.folder / f"back.{one}"
        told = self.convert(base, between)
        self.convert(between, back)
        report = self.compare(base, between, *kept_by(other))
        self.assertGreater(report["counts"]["equal"], 0)
        # What isn't compared is what the conversion said it had to leave out.
        self.assertEqual(report["a"]["not_compared"], sum(told["outputs"][0].get("omitted", {}).values()))
        self.assertEqual(report["b"]["not_compared"], 0)
        self.compare(base, back, *kept_by(one, other))

    def check_table(self, source, one, table):
        told = self.convert(self.base(source, one), self.folder / f"rows.{table}")
        lines = (self.folder / f"rows.{table}").read_text().splitlines()
        if table == "csv":
            kind = lines[0].split(",").index("kind")
            kinds = [line.split(",")[kind] for line in lines[1:]]
        else:
            kinds = [json.loads(line)["kind"] for line in lines]
        self.assertEqual(len([kind for kind in kinds if kind != "loss"]), told["entries"])

    def check_input(self, path, form):
        out = self.folder / f"out.{form}"
        self.convert(path, out)
        self.compare(path, out, *kept_by(form))


def real_recordings():
    return [path for folder, pattern in (("can", "*.log"), ("lin", "*.csv"), ("flexray", "*.csv"), ("ethernet", "*.pcap"))
            for path in recordings_of(folder, pattern)]


def word(form):
    return form.replace(".", "_")


def add_tests():
    """test_asc_to_mf4_and_back and so on."""

    def pair(one, other):
        def test(self):
            for source in ("kinds", "vehicle", "real"):
                with self.subTest(source):
                    if source == "real" and not real_recordings():
                        self.skipTest("no recordings")
                    self.check_pair(source, one, other)

        return test

    def table(one, other):
        return lambda self: self.check_table("kinds", one, other)

    def read_only(folder, pattern, form):
        def test(self):
            found = recordings_of(folder, pattern)
            if not found:
                self.skipTest(f"no recordings in {folder}")
            for path in found:
                with self.subTest(path.name):
                    self.check_input(path, form)

        return test

    for one in FORMATS:
        for other in FORMATS:
            if "." in one and "." in other:
                continue  # compressed ones with those that aren't: the rest is the same code
            setattr(Pairs, f"test_{word(one)}_to_{word(other)}_and_back", pair(one, other))
        for other in TABLES:
            setattr(Pairs, f"test_{word(one)}_to_rows_of_{other}", table(one, other))
    for folder, pattern in (("lin", "*.csv"), ("flexray", "*.csv"), ("ethernet", "*.pcap")):
        for form in LIMITED - {"log"} | {"bin"}:
            setattr(Pairs, f"test_{folder}_{pattern[2:]}_to_{form}", read_only(folder, pattern, form))


add_tests()

if __name__ == "__main__":
    main()
