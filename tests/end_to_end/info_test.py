"""qor-trace info: what recordings hold, for people and programs."""

import json
import subprocess

from support import ClientTest, main


class Info(ClientTest):
    def info(self, *files, expect=0):
        out, _ = self.run_client("info", *files, "--json", expect=expect)
        return json.loads(out)["files"]

    def test_it_says_what_the_summary_of_the_recording_said(self):
        summary = self.summary("vehicle?duration=2s", "--speed", "max", "-o", "a.bin", "--title", "wet road", expect=None)
        info, = self.info("a.bin")
        self.assertEqual(info["entries"], summary["entries"])
        self.assertEqual((info["first_time_ns"], info["last_time_ns"]), (summary["first_time_ns"], summary["last_time_ns"]))
        self.assertEqual(info["start"], summary["start"])
        self.assertEqual(info["title"], "wet road")
        self.assertEqual([channel["bus"] for channel in info["channels"]], ["CAN", "LIN", "FlexRay", "Ethernet"])
        self.assertEqual([channel["entries"] for channel in info["channels"]],
                         [channel["entries"] for channel in summary["channels"]])
        for channel in info["channels"]:
            self.assertEqual(sum(channel["kinds"].values()), channel["entries"])

    def test_messages_are_counted_once(self):
        self.write_candump(["(1.0) can0 123#00", "(1.1) can0 123#01", "(1.2) can0 00000123#01", "(1.3) can0 124##001"], "m.log")
        self.run_client("record", "m.log", "--speed", "max", "-o", "a.bin")
        info, = self.info("a.bin")
        self.assertEqual(info["channels"][0]["messages"], 3)
        self.assertEqual(info["channels"][0]["kinds"], {"classic_frames": 3, "fd_frames": 1})
        out, _ = self.run_client("info", "a.bin")
        self.assertIn("4 entries of 3 messages: 3 classic frames, 1 FD frame", out.decode())
        self.assertIn(", complete", out.decode())

    def test_it_says_what_a_file_is(self):
        names = {"a.bin": "bin", "a.asc": "asc", "a.pcapng": "pcapng", "a.mf4": "mf4", "a.log": "log"}
        outputs = [word for name in names for word in ("-o", name)]
        self.run_client("record", "can?duration=1s", "--speed", "max", *outputs, "-o", "p.asc.gz", "-o", "p.bin.zst")
        infos = self.info(*names)
        self.assertEqual([(info["format"], info["compression"]) for info in infos], [(word, None) for word in names.values()])
        packed = self.info("p.asc.gz", "p.bin.zst")
        self.assertEqual([(info["format"], info["compression"]) for info in packed], [("asc", "gzip"), ("bin", "zstd")])
        (self.folder / "unnamed").write_bytes((self.folder / "a.mf4").read_bytes())
        out, _ = self.run_client("info", "unnamed", "p.asc.gz", "a.bin")
        for text in ("format: measurement file (MDF)\n", "format: ASC log, compressed by gzip\n", "format: raw records\n"):
            self.assertIn("  " + text, out.decode())

    def test_what_a_pipe_holds_is_said(self):
        self.run_client("record", "can?duration=1s", "--speed", "max", "-o", "a.pcapng")
        with open(self.folder / "a.pcapng", "rb") as file:
            process = self.start("info", "-", "--json", stdin=subprocess.PIPE)
            out, _ = process.communicate(file.read(), timeout=60)
        self.assertEqual(json.loads(out)["files"][0]["format"], "pcapng")

    def test_one_file_that_cannot_be_read_hides_no_other(self):
        self.run_client("record", "can?duration=1s", "--speed", "max", "-o", "a.bin")
        one, other, third = self.info("a.bin", "missing.bin", "a.bin", expect=1)
        self.assertIn("missing.bin", other["error"])
        self.assertEqual(one, third)
        self.assertEqual((one["format"], other["format"]), ("bin", None))


if __name__ == "__main__":
    main()
