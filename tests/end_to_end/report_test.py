"""qor-trace report: a page that a browser shows, about recordings in any format."""

import base64
import hashlib
import html.parser
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

from support import DEADLINE, ClientTest, arguments, main, recordings

MOST_BYTES = 3_000_000
VOID = {"meta", "br", "link", "img", "input", "hr"}


def browser():
    return shutil.which("chromium")


class Page(html.parser.HTMLParser):
    """A page as a reader takes it: its elements, each with its attributes and text; what isn't sound is noted."""

    def __init__(self, text):
        super().__init__()
        self.open, self.elements, self.faults = [], [], []
        self.feed(text)
        self.close()
        self.faults += [f"<{name}> isn't closed" for name, _ in self.open]

    def handle_starttag(self, tag, attrs):
        element = {"tag": tag, "attributes": dict(attrs), "text": ""}
        self.elements.append(element)
        if tag not in VOID and not self.get_starttag_text().endswith("/>"):
            self.open.append((tag, element))

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)

    def handle_endtag(self, tag):
        if not self.open or self.open[-1][0] != tag:
            self.faults.append(f"</{tag}> closes nothing")
        else:
            self.open.pop()

    def handle_data(self, data):
        for _, element in self.open:
            element["text"] += data

    def all(self, tag, kind=None):
        return [one for one in self.elements
                if one["tag"] == tag and (kind is None or kind in one["attributes"].get("class", "").split())]

    def tiles(self):
        """ {"entries": "101", ...} """
        tiles, = self.all("ul", "tiles")
        items = re.findall(r"\s*(.+?)\n", tiles["text"])
        words = ("length", "entries", "entry", "channels", "channel", "messages", "errors", "items lost")
        return {word: item.removesuffix(word).replace("\u202f", "") for item in items for word in words if item.endswith(word)}


class Report(ClientTest):
    def report(self, *args, expect=0, **kwargs):
        """The page of a report to page.html."""
        self.run_client("report", *args, "-o", "page.html", expect=expect, **kwargs)
        return self.sound((self.folder / "page.html").read_text())

    def sound(self, text):
        page = Page(text)
        self.assertEqual(page.faults, [])
        self.assertLess(len(text.encode()), MOST_BYTES)
        ids = [one["attributes"]["id"] for one in page.elements if "id" in one["attributes"]]
        self.assertEqual(len(ids), len(set(ids)))
        for link in page.all("a"):
            self.assertIn(link["attributes"]["href"].removeprefix("#"), ids)
        for one in page.elements:  # nothing from elsewhere
            self.assertNotIn("src", one["attributes"])
            self.assertIn(one["attributes"].get("href", "#")[0], "#")
        script, = page.all("script")
        digest = base64.b64encode(hashlib.sha256(script["text"].encode()).digest()).decode()
        self.assertIn(f"script-src 'sha256-{digest}'", text)
        return page

    def vehicle(self, *outputs, duration="5s"):
        self.run_client("record", f"vehicle?seed=3&duration={duration}", "--speed", "max", "--title", "wet road",
                        *[word for name in outputs for word in ("-o", name)], expect=None)

    def test_it_says_what_info_and_list_say(self):
        self.vehicle("a.bin")
        page = self.report("a.bin")
        out, _ = self.run_client("info", "a.bin", "--json")
        info, = json.loads(out)["files"]
        out, _ = self.run_client("list", "a.bin", "--json")
        rows = json.loads(out)
        tiles = page.tiles()
        self.assertEqual(tiles["entries"], str(info["entries"]))
        self.assertEqual(tiles["channels"], "4")
        self.assertEqual(tiles["messages"], str(len(rows)))
        self.assertEqual(page.all("h1")[0]["text"], "wet road")
        self.assertEqual(len(page.all("figure")), 4)
        bodies = page.all("table", "messages")
        self.assertEqual(sum(body["text"].count("\n") for body in bodies), 3 * len(bodies) + len(rows) - len(bodies))
        kinds = [channel["kinds"].get("error_frames", 0) for channel in info["channels"]]
        self.assertIn(f"{kinds[0]} error frame", page.all("ul", "standout")[0]["text"])

    def test_every_format_gives_the_same_messages(self):
        names = ["a.bin", "a.asc", "a.mf4", "a.pcapng", "a.asc.gz"]
        self.vehicle(*names, duration="2s")
        tables = []
        for name in names:
            page = self.report(name, expect=None)
            tables.append([row for table in page.all("table", "messages") for row in
                           re.findall(r"(?m)^\d+(\w+)CAN", table["text"])])
        for name, table in zip(names, tables):
            self.assertEqual(table, tables[0], name)

    def test_the_same_recording_gives_the_same_bytes(self):
        self.vehicle("a.bin")
        self.report("a.bin")
        before = (self.folder / "page.html").read_bytes()
        self.report("a.bin")
        self.assertEqual((self.folder / "page.html").read_bytes(), before)

    def test_a_pipe_is_read_and_standard_output_written(self):
        self.vehicle("a.pcapng")
        with open(self.folder / "a.pcapng", "rb") as file:
            out, err = self.run_client("report", "-", "-o", "-", stdin=file)
        page = self.sound(out.decode())
        self.assertIn("written: standard output", err)
        self.assertIn("standard input", page.all("dl")[0]["text"])

    def test_several_inputs_are_one_recording(self):
        self.vehicle("a.bin")
        for bus, name in (("can", "can.mf4"), ("lin", "lin.mf4")):
            self.run_client("convert", "a.bin", "-o", name, "--filter", f"bus == {bus}")
        page = self.report("can.mf4", "lin.mf4", "--title", "both")
        self.assertEqual(page.tiles()["channels"], "2")
        self.assertEqual(page.all("h1")[0]["text"], "both")

    def test_what_is_selected_is_said_and_counted(self):
        self.vehicle("a.bin")
        selection = ["--filter", "bus == can and not error", "--from", "1s", "--to", "3s", "--stop-after", "1000frames",
                     "--channel", "1=7"]
        page = self.report("a.bin", *selection)
        out, _ = self.run_client("list", "a.bin", *selection, "--json")
        rows = json.loads(out)
        self.assertEqual(page.tiles()["entries"], str(sum(row["count"] for row in rows)))
        self.assertIn("Channel 7, CAN", page.all("figcaption")[0]["text"])
        self.assertIn(" ".join(selection), page.all("dl")[0]["text"])
        self.assertIn("outside --from and --to", page.all("dl")[0]["text"])

    def test_times_are_shown_as_asked_for(self):
        self.vehicle("a.bin")
        page = self.report("a.bin", "--start-time", "2026-11-21T14:30:00Z", "--time-format", "utc")
        self.assertIn("2026-11-21T14:30:0", page.all("dl")[0]["text"])
        self.assertIn("UTC, from 2026-11-21 on", page.all("section")[1]["text"])
        self.assertIn("14:30:01", page.all("div", "x")[0]["text"])

    def test_bit_rates_are_those_of_the_recording_or_as_given(self):
        self.run_client("record", "can?duration=1s", "--speed", "max", "-o", "a.bin", expect=None)
        self.assertIn("500k bit/s, data 2M bit/s", self.report("a.bin").all("table")[0]["text"])
        self.assertIn("250k bit/s, data 1M bit/s", self.report("a.bin", "--bitrate", "250k/1M").all("table")[0]["text"])
        (self.folder / "a.bin.json").unlink()
        self.assertIn("500k bit/s (assumed)", self.report("a.bin").all("table")[0]["text"])

    def test_losses_are_exit_code_3_and_on_the_page(self):
        self.run_client("record", "can?duration=3s&gone=1s", "--speed", "max", "-o", "a.bin", expect=None)
        out, _ = self.run_client("report", "a.bin", "-o", "page.html", "--json", expect=3)
        summary = json.loads(out)
        self.assertEqual(summary["exit_code"], 3)
        self.assertEqual(len(summary["losses"]), 1)
        page = self.sound((self.folder / "page.html").read_text())
        self.assertEqual(page.tiles()["items lost"], "not counted")
        self.assertEqual(len(page.all("rect", "lost")), 2)  # of the legend and of the loss
        self.assertEqual(summary["output"]["bytes"], (self.folder / "page.html").stat().st_size)
        self.assertTrue(summary["output"]["complete"])

    def test_a_damaged_input_is_reported_up_to_the_damage_and_replaces_nothing(self):
        self.vehicle("a.bin")
        data = (self.folder / "a.bin").read_bytes()
        (self.folder / "a.bin").write_bytes(data[: len(data) // 2] + bytes(64) + data[len(data) // 2 :])
        (self.folder / "page.html").write_text("precious")
        _, err = self.run_client("report", "a.bin", "-o", "page.html", expect=1)
        self.assertEqual((self.folder / "page.html").read_text(), "precious")
        self.assertIn("page.html.part", err)
        page = self.sound((self.folder / "page.html.part").read_text())
        self.assertIn("This report ends early", page.all("ul", "standout")[0]["text"])

    def test_interruption_of_a_pipe_leaves_a_page_of_what_came(self):
        self.vehicle("a.bin")
        records = (self.folder / "a.bin").read_bytes()
        process = self.start("report", "-", "-o", "page.html", stdin=subprocess.PIPE)
        process.stdin.write(records)
        process.send_signal(signal.SIGINT)
        with self.assertRaises(BrokenPipeError):  # it stops reading
            while True:
                process.stdin.write(records)
        process.wait(timeout=DEADLINE)
        self.assertEqual(process.returncode, 0)
        self.sound((self.folder / "page.html").read_text())

    def test_interruption_of_a_named_input_is_a_failure_with_a_page(self):
        self.vehicle("a.bin")
        os.mkfifo(self.folder / "b.bin")
        process = self.start("report", "b.bin", "-o", "page.html")
        with open(self.folder / "b.bin", "wb") as pipe:
            pipe.write((self.folder / "a.bin").read_bytes())
            pipe.flush()
            process.send_signal(signal.SIGINT)
            _, err = process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"Interrupted: the report ends after", err)
        page = self.sound((self.folder / "page.html").read_text())
        self.assertIn("This report ends early: Interrupted", page.all("ul", "standout")[0]["text"])

    def test_a_reader_of_standard_output_may_go(self):
        self.vehicle("a.bin")
        process = self.start("report", "a.bin", "-o", "-")
        process.stdout.close()
        process.wait(timeout=DEADLINE)
        self.assertEqual(process.returncode, 0)

    def test_what_cannot_be_read_leaves_nothing(self):
        (self.folder / "empty.bin").write_bytes(b"")
        for name in ("missing.mf4", "empty.bin"):
            self.run_client("report", name, "-o", "page.html", expect=1)
        self.assertEqual(self.files(), ["empty.bin"])

    def test_a_page_that_cannot_be_written_is_a_failure(self):
        self.vehicle("a.bin")
        _, err = self.run_client("report", "a.bin", "-o", "missing/page.html", expect=1)
        self.assertIn("Cannot write", err)
        self.run_client("report", "a.bin", "-o", "page.html", expect=1, file_limit=10000)
        self.assertNotIn("page.html", self.files())
        self.assertNotIn("page.html.part", self.files())

    def test_wrong_usage_is_refused_before_anything_is_read(self):
        for words in (["a.bin"], ["-o", "a.html"], ["a.bin", "-o", "a.mf4"], ["a.bin", "-o", "-", "--json"],
                      ["a.bin", "-o", "a.html", "--bitrate", "fast"], ["a.bin", "-o", "a.html", "--from", "soon"],
                      ["a.bin", "-o", "a.html", "--filter", "idd == 3"], ["a.bin", "-o", "a.html", "--time-format", "x"]):
            self.run_client("report", *words, expect=2)
        self.assertEqual(self.files(), [])

    def test_hostile_texts_are_text(self):
        self.vehicle("a.bin")
        hostile = "</title><script>document.title='owned'</script>\"' onload='x\x1b[31m"
        page = self.report("a.bin", "--title", hostile)
        self.assertEqual(page.all("h1")[0]["text"], hostile.replace("\x1b", "\\x1b"))
        self.assertEqual(len(page.all("script")), 1)

    def test_real_recordings_give_sound_pages(self):
        folder = pathlib.Path(arguments.recordings or "")
        files = [path for kind in ("can/*.log", "lin/*.csv", "flexray/*.csv", "ethernet/*.pcap") for path in sorted(folder.glob(kind))]
        if not files:
            self.skipTest(f"no recordings in {folder}")
        for path in files:
            with self.subTest(recording=path.name):
                page = self.report(path, expect=None)
                self.assertIn(page.all("h1")[0]["text"], path.name)


@unittest.skipUnless(browser(), "chromium isn't installed")
class InABrowser(ClientTest):
    def open(self, *words):
        """Runs the browser on page.html, with a profile of its own."""
        with tempfile.TemporaryDirectory(prefix="qor-trace-test-") as profile:
            process = subprocess.run(
                [browser(), "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                 "--disable-extensions", "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 f"--user-data-dir={profile}", *words, (self.folder / "page.html").as_uri()],
                capture_output=True, timeout=3 * DEADLINE, cwd=self.folder, check=True)  # it is many processes
        return process.stdout.decode()

    def setUp(self):
        super().setUp()
        self.run_client("record", "vehicle?seed=3&duration=5s", "--speed", "max", "-o", "a.bin", expect=None)
        self.run_client("report", "a.bin", "-o", "page.html", "--title", "<script>document.title='owned'</script>")

    def test_its_script_runs_and_no_other(self):
        shown = self.open("--dump-dom")
        self.assertIn('<th scope="col" class="n" data-s="value"><button>Entries</button></th>', shown)
        self.assertNotIn("<title>owned</title>", shown)
        self.assertIn("<h1>&lt;script&gt;document.title='owned'&lt;/script&gt;</h1>", shown)
        self.assertEqual(shown.count("<figure>"), 4)

    def test_without_scripts_it_has_the_same_contents(self):
        page = (self.folder / "page.html").read_text()
        (self.folder / "page.html").write_text(page.replace("script-src", "script-src-elem 'none'; script-src"))
        shown = self.open("--dump-dom")
        self.assertNotIn("<button>", shown)
        self.assertEqual(shown.count("<tr>"), page.count("<tr>"))

    def test_it_can_be_printed(self):
        self.open("--no-pdf-header-footer", "--print-to-pdf=page.pdf")
        self.assertTrue((self.folder / "page.pdf").read_bytes().startswith(b"%PDF"))


if __name__ == "__main__":
    main()
