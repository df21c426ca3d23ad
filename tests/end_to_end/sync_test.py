"""record --sync: outputs are put on the disk while they are written."""

import json

from support import ClientTest, main

OUTPUTS = ["a.bin", "a.asc", "a.mf4", "a.pcapng", "a.csv", "a.log.gz"]


class Sync(ClientTest):
    def record(self, *args):
        outputs = [text for name in OUTPUTS for text in ("-o", name)]
        out, _ = self.run_client("record", "can?seed=5", "--duration", "1s", *outputs, "--json", *args)
        return json.loads(out)

    def test_summary_says_how_often_and_how_long_it_took(self):
        summary = self.record("--sync", "100ms")
        self.assertEqual(summary["sync"]["interval_ns"], 10**8)
        self.assertGreater(summary["sync"]["rounds"], 0)
        self.assertGreater(summary["sync"]["longest_wait_ns"], 0)
        self.assertTrue(all(output["complete"] for output in summary["outputs"]))
        self.assertIsNone(self.record("--speed", "max")["sync"])

    def test_files_hold_what_they_hold_without_it(self):
        self.record("--sync", "100ms")
        self.run_client("record", "can?seed=5", "--duration", "1s", "--speed", "max", "-o", "b.bin")
        self.run_client("compare", "a.bin", "b.bin", "--times", "relative")
        for name in OUTPUTS[1:4]:
            with self.subTest(name=name):
                self.run_client("compare", "a.bin", name, "--as-kept-by", name.partition(".")[2])

    def test_times_that_cannot_be_kept_are_wrong_usage(self):
        for typed in ("0s", "99ms", "1", "soon", "-1s"):
            with self.subTest(typed=typed):
                _, err = self.run_client("record", "can", "-o", "a.bin", f"--sync={typed}", expect=2)
                self.assertIn(f'"{typed}" is none', err)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_outputs_that_are_no_files_are_wrong_usage(self):
        _, err = self.run_client("record", "can", "-o", "-", "--format", "log", "--sync", "1s", expect=2)
        self.assertIn("--sync is for outputs that are files", err)
        _, err = self.run_client("record", "can", "--no-output", "--sync", "1s", expect=2)
        self.assertIn("--sync is for outputs that are files", err)


if __name__ == "__main__":
    main()
