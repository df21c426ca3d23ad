"""Rows of .ndjson and .csv outputs, as the programs read them that they are meant for: a folder of files is one table."""

import csv
import json
import pathlib
import shutil
import subprocess
import unittest

from support import ClientTest, main

INTEGERS = {"schema", "utc_ns", "time_ns", "channel", "id", "len", "dlc", "checksum", "slot", "cycle", "state", "vlan",
            "ethertype", "protocol", "src_port", "dst_port", "last_time_ns", "lost"}
TIMES = {"utc_ns", "time_ns", "last_time_ns"}
TEXTS = {"recording", "bus", "kind", "dir", "data", "error_kind", "side", "src", "dst", "src_ip", "dst_ip", "cause"}
DUCKDB = pathlib.Path(__file__).parent / "duckdb"


def typed(name, cell):
    """A cell of a CSV file as the JSON value that it stands for."""
    if name in INTEGERS:
        return int(cell)
    return cell if name in TEXTS else {"true": True, "false": False}[cell]


class Rows(ClientTest):
    def record(self, source, *outputs, expect=None):
        names = [argument for output in outputs for argument in ("-o", output)]
        return self.run_client("record", source, "--speed", "max", *names, expect=expect)

    def rows(self, name):
        with open(self.folder / name, newline="") as file:
            if name.endswith(".csv"):
                return [{name: typed(name, cell) for name, cell in row.items()} for row in csv.DictReader(file)]
            return [json.loads(line) for line in file]

    def assert_same(self, rows, others):
        """As assertEqual, which takes long to show that thousands of rows differ."""
        self.assertEqual(len(rows), len(others))
        for row, other in zip(rows, others):
            self.assertEqual(row, other)

    def test_both_formats_say_the_same_of_every_bus(self):
        self.record("vehicle?duration=3s", "a.ndjson", "a.csv", "a.bin")
        rows = self.rows("a.ndjson")
        self.assert_same(rows, self.rows("a.csv"))
        out, _ = self.run_client("convert", "a.bin", "-o", "b.ndjson", "--json")
        summary = json.loads(out)
        self.assert_same(rows, self.rows("b.ndjson"))
        self.assertEqual(summary["entries"] + summary["outputs"][0]["loss_rows"], len(rows))
        self.assertEqual({row["bus"] for row in rows}, {"can", "lin", "flexray", "ethernet"})
        description = json.loads((self.folder / "a.bin.json").read_text())
        self.assertEqual({row["recording"] for row in rows}, {description["id"]})
        start = description["clock"]["start"]
        for row in rows:
            self.assertEqual(row["utc_ns"] - start["utc_ns"], row["time_ns"] - start["entry_time_ns"])

    def test_a_filter_of_the_client_is_a_condition_on_columns(self):
        self.record("vehicle?duration=3s", "a.bin")
        self.run_client("convert", "a.bin", "-o", "a.ndjson")
        rows = self.rows("a.ndjson")
        conditions = {
            "kind == fd": lambda row: row["kind"] == "fd",
            "error": lambda row: row["error"],
            "frame and dir == tx": lambda row: row["frame"] and row["dir"] == "tx",
            "bus == can and id in 0x100..0x1FF": lambda row: row["bus"] == "can" and 0x100 <= row["id"] <= 0x1FF,
            "extended and len >= 8": lambda row: row["extended"] and row["len"] >= 8,
            "data[0] == 0x10": lambda row: row["data"].startswith("x10"),
            "bus == lin and id < 8": lambda row: row["bus"] == "lin" and 0 <= row["id"] < 8,
            "side == b and cycle & 1 == 1": lambda row: row["side"] == "b" and row["cycle"] >= 0 and row["cycle"] & 1 == 1,
            "null": lambda row: row["null_frame"],
            "vlan == 20 and src_port == 42000": lambda row: row["vlan"] == 20 and row["src_port"] == 42000,
            "src == 02:00:00:00:00:15": lambda row: row["src"] == "02:00:00:00:00:15",
            "ip == 192.168.20.10": lambda row: "192.168.20.10" in (row["src_ip"], row["dst_ip"]),
        }
        for expression, condition in conditions.items():
            with self.subTest(expression):
                self.run_client("convert", "a.bin", "-o", "b.ndjson", "--filter", expression)
                wanted = [row for row in rows if row["kind"] != "loss" and condition(row)]
                self.assert_same([row for row in self.rows("b.ndjson") if row["kind"] != "loss"], wanted)
                self.assertGreater(len(wanted), 0)
                (self.folder / "b.ndjson").unlink()

    def test_overrun_marks_are_rows(self):
        table = ["timestamp_ns,channel,kind,flags,id,cycle,crc,data", "0,1,wakeup,,,,,", "1000,1,wakeup,overrun,,,,",
                 "2000,1,wakeup,,,,,"]
        (self.folder / "lin.csv").write_text("".join(line + "\n" for line in table))
        self.record("lin.csv", "a.bin", "a.csv", expect=3)
        rows = self.rows("a.csv")
        self.assertEqual([row["kind"] for row in rows], ["wakeup", "wakeup", "loss", "wakeup"])
        self.assertEqual([row["cause"] for row in rows], ["", "", "overrun_mark", ""])

    def test_recording_without_a_description_has_an_id_and_no_utc(self):
        self.record("can?duration=1s", "a.bin")
        (self.folder / "a.bin.json").unlink()
        _, err = self.run_client("convert", "a.bin", "-o", "a.ndjson")
        self.assertIn("utc_ns is 0", err)
        self.run_client("convert", "a.bin", "-o", "b.ndjson")
        rows = self.rows("a.ndjson")
        self.assertEqual(rows, self.rows("b.ndjson"))
        self.assertEqual({row["utc_ns"] for row in rows}, {0})
        self.assertEqual(len({row["recording"] for row in rows}), 1)
        self.run_client("convert", "a.bin", "-o", "b.ndjson", "--start-time", "2026-11-21T12:00:00Z")
        self.assertEqual(self.rows("b.ndjson")[0]["utc_ns"], 1795262400 * 10**9)

    def test_standard_output(self):
        self.record("can?duration=1s", "a.bin", "a.ndjson", "a.csv", "a.log")
        for name in ("ndjson", "csv", "log"):
            out, _ = self.run_client("convert", "a.bin", "-o", "-", "--format", name)
            self.assertEqual(out, (self.folder / ("a." + name)).read_bytes())
        _, err = self.run_client("convert", "a.bin", "-o", "-", "--format", "mf4", expect=2)
        self.assertIn("bin, asc, pcapng, ndjson, csv or log", err)
        shown = self.on_a_terminal(80, "convert", "a.bin", "-o", "-", "--format", "csv", "--count", "1")
        self.assertIn("schema,utc_ns", shown)

    def write_folder(self):
        """Recordings of different buses, the first ones with nothing of what only the others have."""
        self.record("can?duration=60s", "a.ndjson", "a.csv")
        self.record("lin?duration=20s", "b.ndjson", "b.csv", "b.bin")
        (self.folder / "b.bin.json").unlink()
        self.run_client("convert", "b.bin", "-o", "b.ndjson", "-o", "b.csv")
        self.record("flexray?duration=5s", "c.ndjson", "c.csv")
        self.record("vehicle?duration=2s", "d.ndjson", "d.csv")
        return [row for name in "abcd" for row in self.rows(name + ".ndjson")]

    def query(self, *statements):
        process = subprocess.run(["node", DUCKDB / "query.mjs", *statements], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(process.returncode, 0, process.stderr)
        return json.loads(process.stdout)

    def test_duckdb_reads_a_folder_as_one_table(self):
        if shutil.which("node") is None:
            self.skipTest("there is no node")
        if not (DUCKDB / "node_modules/@duckdb/node-api").exists():
            self.skipTest("DuckDB's node package isn't there: npm install in tests/end_to_end/duckdb")
        rows = self.write_folder()
        self.assertGreater(len(self.rows("a.csv")), 40000)  # more than DuckDB looks at to find out the types
        for table in ("*.ndjson", "*.csv", "a.ndjson", "a.csv", "b.ndjson", "b.csv"):
            with self.subTest(table):
                types, = self.query(f"select column_name, column_type from (describe select * from '{table}')")
                for name, kind in types:
                    if name in TIMES:
                        self.assertEqual(kind, "BIGINT", name)
                    elif name in INTEGERS:  # JSON numbers of either sign become wide ones
                        self.assertIn(kind, ("BIGINT", "HUGEINT") if "ndjson" in table else ("BIGINT",), name)
                    elif name in TEXTS:
                        self.assertIn(kind, ("UUID", "VARCHAR") if name == "recording" else ("VARCHAR",), name)
                    else:
                        self.assertEqual(kind, "BOOLEAN", name)
                self.assertEqual(len(types), len(rows[0]))
        for table in ("*.ndjson", "*.csv"):
            with self.subTest(table):
                count, slots, ids, data, recordings = self.query(
                    f"select count(*) from '{table}'",
                    f"select count(*) from '{table}' where slot = 17",
                    f"select count(*), max(utc_ns) from '{table}' where bus = 'can' and id between 256 and 511 and not extended",
                    f"select sum(octet_length(unhex(data[2:]))) from '{table}' where data <> ''",
                    f"select recording::varchar, count(*) from '{table}' group by all order by all")
                self.assertEqual(int(count[0][0]), len(rows))
                self.assertEqual(int(slots[0][0]), sum(row["slot"] == 17 for row in rows))
                wanted = [row for row in rows if row["bus"] == "can" and 256 <= row["id"] <= 511 and not row["extended"]]
                self.assertEqual(int(ids[0][0]), len(wanted))
                self.assertEqual(int(ids[0][1]), max(row["utc_ns"] for row in wanted))
                self.assertEqual(int(data[0][0]), sum(len(row["data"]) // 2 for row in rows if row["data"]))
                self.assertEqual(len(recordings), 4)

    def test_pandas_keeps_the_types(self):
        try:
            import pandas
        except ImportError:
            self.skipTest("python3-pandas isn't installed")
        rows = self.write_folder()
        for read in (lambda name: pandas.read_csv(self.folder / (name + ".csv"), keep_default_na=False),
                     lambda name: pandas.read_json(self.folder / (name + ".ndjson"), lines=True, convert_dates=False)):
            table = pandas.concat([read(name) for name in "abcd"], ignore_index=True)
            self.assertEqual({str(table[name].dtype) for name in INTEGERS}, {"int64"})
            self.assertEqual({str(table[name].dtype) for name in table.columns if name not in INTEGERS | TEXTS}, {"bool"})
            self.assertEqual(list(table["utc_ns"]), [row["utc_ns"] for row in rows])
            self.assertEqual(list(table["data"]), [row["data"] for row in rows])


if __name__ == "__main__":
    main()
