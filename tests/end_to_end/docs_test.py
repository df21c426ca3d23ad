"""The command lines of the documentation, run as they stand, page by page, each in an empty folder; and what they are said to print. Likewise
those that the client itself shows.

The commands of a page's ```sh and ```console blocks are run one after the other. In a console block lines after a `$ ` are what the command prints;
`...` stands for any lines. Times of the clock, the host, and where the folder and the program are may differ.
"""

import math
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import unittest

from support import DEADLINE, ClientTest, arguments, main, records_of

TREE = pathlib.Path(__file__).resolve().parents[2]

# Commands that aren't run, by how they begin, and why.
NOT_RUN = {
    "script/": "they build and run all this",
    "cmake -": "house.install.* builds and installs",
    "xargs ": "house.install.* installs",
    "cc ": "house.install.* compiles against the installation",
    "apt install": "script/package --test installs the packages",
    "LD_LIBRARY_PATH=": "script/package --test runs programs with the simulator of a package",
    "cp /usr/share/doc/qor_api_trace/": "house.install.* builds the installed example",
    "SIM=": "house.install.* uses the installed example",
    "qor-trace --hardware": "end_to_end.adapter records through adapters",
    "alias qt=": "it stands for a maker's library",
    "python3 -m pip": "house.install.python installs the package",
    "export PATH=": "the program is found already",
    "sudo ": "it changes the machine",
    "qor-trace record can0": "there is no CAN interface; end_to_end.buses and machine.* record such",
    "qor-trace watch can0": "there is no CAN interface; end_to_end.watch keeps a black box",
    "qor-trace record vcan0": "there is no CAN interface",
    "kill -USR1": "end_to_end.black_box sends signals",
    "ssh ": "there is no other machine",
    "tshark -i": "end_to_end.extcap captures with tshark",
}
# What is added to a command that goes on for long, or would never end.
SHORTER = {
    "qor-trace record can lin -d 1h": "--speed max --count 1000",
    "qor-trace record can -o incident-%n.mf4": "--speed max --duration 2s",
}
# Exit codes other than 0.
EXIT_CODES = {
    "qor-trace compare drive.bin cut.bin": 3,
    'qor-trace list drive.bin --filter "bus == can and idd': 2,
    "qor-trace recover": 3,
    "qor-trace ports": (0, 1),  # 1: it takes rights to record one of them
}
# What is printed depends on the machine.
OUTPUT_VARIES = ("qor-trace ports", "tshark -D")


def of(table, command):
    return next((value for beginning, value in table.items() if command.startswith(beginning)), None)


class Shown:
    """A command of a page and the lines that it is shown to print; none: nothing is said of that."""

    def __init__(self, command):
        self.command = command
        self.lines = []


def commands_of(page):
    for kind, body in re.findall(r"(?ms)^```(sh|console)\n(.*?)^```", (TREE / page).read_text()):
        if kind == "sh":
            yield from (Shown(line) for line in joined(body.splitlines()) if line.strip())
        else:
            yield from console_commands(body)


def joined(lines):
    """Lines that end in a backslash, an operator or a pipe go on in the next."""
    whole = ""
    for line in lines:
        whole += line
        if re.search(r"(\\|\||&&)$", line):
            whole = whole.removesuffix("\\") + ("" if line.endswith("\\") else " ")
            continue
        yield whole
        whole = ""


def console_commands(body):
    shown = None
    goes_on = False
    for line in body.splitlines():
        if goes_on:
            shown.command = shown.command.removesuffix("\\") + line
        elif line.startswith("$ "):
            if shown:
                yield shown
            shown = Shown(line[2:])
        else:
            shown.lines.append(line)
        goes_on = shown is not None and shown.command.endswith("\\")
    if shown:
        yield shown


NUMBER = re.compile(r"\d+(?:\.\d+)?")


def alike(line, wanted):
    """Whether they are the same but for how much came by the end of a recording, which the machine's speed has a share in."""
    if "".join(NUMBER.sub("#", line).split()) != "".join(NUMBER.sub("#", wanted).split()):
        return False
    numbers = zip(map(float, NUMBER.findall(line)), map(float, NUMBER.findall(wanted)))
    return all(math.isclose(number, other, rel_tol=0.05, abs_tol=20) for number, other in numbers)


def matches(printed, wanted):
    """Whether lines are those that are wanted, of which `...` are any."""
    parts = [[]]
    for line in wanted:
        if line == "...":
            parts.append([])
        else:
            parts[-1].append(line)
    place = 0
    for number, part in enumerate(parts):
        first, last = number == 0, number == len(parts) - 1
        places = range(place, len(printed) - len(part) + 1)
        if first:
            places = places[:1]
        if last:
            places = [at for at in places if not part or at == len(printed) - len(part)]
        found = next((at for at in places if all(map(alike, printed[at : at + len(part)], part))), None)
        if found is None or (first and last and len(printed) != len(part)):
            return False
        place = found + len(part)
    return True


def cut_and_change(whole, cut):
    """What the page of compare compares: eleven records are missing, and one has another byte."""
    records = [bytearray(record) for record in records_of(whole.read_bytes())]
    records[4901][44 + 2] -= 1
    cut.write_bytes(b"".join(records[:1800] + records[1811:]))


def killed(output, until):
    """A recording that is killed once that holds."""
    wait = f"until {until}; do kill -0 $! || exit; sleep 0.05; done"
    return f"qor-trace record vehicle -o {output} & {wait}; kill -9 $!; wait; true"


def shift(recording, later, seconds):
    """A recording of CAN whose clock was wrong."""
    records = [bytearray(record) for record in records_of(recording.read_bytes())]
    for record in records:
        for place in (8, 28):
            struct.pack_into("<Q", record, place, struct.unpack_from("<Q", record, place)[0] + seconds * 10**9)
    later.write_bytes(b"".join(records))


class Docs(ClientTest):
    def setUp(self):
        super().setUp()
        if not shutil.which("bash"):
            self.skipTest("there is no bash")
        self.client = pathlib.Path(arguments.client).resolve()
        self.environment = {**os.environ, "PATH": f"{self.client.parent}:{os.environ['PATH']}", "HOME": str(self.folder)}
        self.environment.update(LC_ALL="C.UTF-8", TZ="UTC")
        self.environment.pop("XDG_CONFIG_HOME", None)

    def same_everywhere(self, text):
        text = text.replace(str(self.folder), "/home/me").replace("/data/", "/home/me/")
        text = text.replace(str(self.client), "/usr/bin/qor-trace").replace(socket.gethostname(), "HOST")
        text = re.sub(r"\d{4}-\d\d-\d\d[T ]\d\d:\d\d:\d\d(\.\d+)?Z?", "DATE", text)
        text = re.sub(r"(\.html), [\d.]+K$", r"\1, SIZE", text, flags=re.M)  # names and dates are in the page
        text = re.sub(r"(?m)^Running as user .*\n", "", text)  # of tshark
        return re.sub(r"(?<=recorded by )(qor-trace \S+) on \S+", r"\1 on HOST", text)

    def run_shell(self, command):
        return subprocess.run(
            ["bash", "-c", command], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=DEADLINE, check=False,
        )

    def check(self, shown):
        command = re.sub(r"\s+# .*$", "", shown.command)
        if of(NOT_RUN, command) is not None or " wireshark " in command:
            return False
        for program in re.findall(r"(?:^|\| )([\w-]+)", command):
            if not shutil.which(program, path=self.environment["PATH"]):
                print(f"not run, as there is no {program}: {command}")
                return False
        ran = self.run_shell(f"{command} {of(SHORTER, command) or ''}")
        expected = of(EXIT_CODES, command) or 0
        self.assertIn(ran.returncode, expected if isinstance(expected, tuple) else (expected,), ran.stdout)
        if shown.lines and not command.startswith(OUTPUT_VARIES):
            wanted = self.same_everywhere("\n".join(shown.lines).strip("\n") + "\n")
            printed = self.same_everywhere(ran.stdout)
            if not matches(*([line.rstrip() for line in text.splitlines()] for text in (printed, wanted))):
                self.assertEqual(printed, wanted)
        return True

    def check_page(self, page, before=()):
        for command in before:
            ran = self.run_shell(command)
            self.assertEqual(ran.returncode, 0, ran.stdout)
        ran = 0
        for shown in commands_of(page):
            with self.subTest(command=shown.command):
                ran += self.check(shown)
        self.assertGreater(ran, 0, "no command was run")

    DRIVE = 'qor-trace record "can?seed=7" --duration 10s --speed max -o drive.asc -o drive.bin'

    def test_readme(self):
        self.check_page("README.md")

    def test_home(self):
        self.check_page("docs/index.md")

    def test_tutorial(self):
        self.check_page("docs/tutorial.md")

    def test_analysis(self):
        self.check_page("docs/analysis.md", [self.DRIVE])

    def test_black_box(self):
        self.check_page("docs/black-box.md", ["qor-trace record vehicle -d 10s --speed max -o night.mf4"])

    def test_compare(self):
        self.run_shell(self.DRIVE)
        cut_and_change(self.folder / "drive.bin", self.folder / "cut.bin")
        shutil.copy(self.folder / "drive.bin.json", self.folder / "cut.bin.json")
        shift(self.folder / "drive.bin", self.folder / "right.bin", 3)
        self.check_page("docs/compare.md", ["cp drive.bin left.bin"])

    def test_filter(self):
        self.check_page("docs/filter.md", [self.DRIVE])

    def test_real_interfaces(self):
        self.check_page("docs/real-interfaces.md")

    def test_recover(self):
        self.check_page(
            "docs/recover.md",
            [
                killed("drive.mf4", until="find . -name drive.part.mf4 -size +90k | grep -q ."),
                killed("drive.bin --memory-limit 1000", until="[ -s drive.bin.part ] && [ -s .qor-trace-swap-*/* ]"),
            ],
        )

    def test_report(self):
        self.check_page(
            "docs/report.md",
            [
                'qor-trace record "can?load=1" -d 11m --speed max -o drive.mf4',
                "qor-trace record can -d 1s --speed max -o can.asc",
                "qor-trace record ethernet -d 1s --speed max -o ethernet.pcapng",
            ],
        )

    def test_series(self):
        self.check_page(
            "docs/series.md",
            ["qor-trace record can -d 45s --speed max -o drive.bin --split-time 1s"],
        )

    def test_wireshark(self):
        self.check_page("docs/wireshark.md", ["qor-trace record can -d 1s --speed max -o drive.mf4"])


class FirstSteps(ClientTest):
    def test_five_that_work_are_shown_without_a_command(self):
        out, err = self.run_client(expect=2)
        self.assertEqual(out, b"")  # it is no data
        steps = [re.split(r"\s{2,}", line) for line in err.splitlines()]
        self.assertEqual(len(steps), 5)
        for command, what in steps:
            with self.subTest(command=command):
                program, *arguments = command.split()
                self.assertEqual(program, "qor-trace")
                self.assertTrue(what)
                process = self.start(*arguments)
                _, err = process.communicate(timeout=DEADLINE)
                # An interface that takes rights to record is an error of `ports`, on some machines.
                allowed = (0, 1) if arguments == ["ports"] else (0,)
                self.assertIn(process.returncode, allowed, err)
        self.assertEqual(self.files(), ["drive.mf4", "drive.pcapng"])


class Tables(unittest.TestCase):
    def pages(self):
        return ["README.md", *(f"docs/{path.name}" for path in sorted((TREE / "docs").glob("*.md")))]

    def test_every_page_with_commands_that_can_be_run_has_a_test(self):
        tested = set(re.findall(r'check_page\(\s*"([^"]+)"', pathlib.Path(__file__).read_text()))
        runnable = {
            page
            for page in self.pages()
            for shown in commands_of(page)
            if of(NOT_RUN, shown.command) is None and " wireshark " not in shown.command
        }
        self.assertEqual(tested, runnable)

    def test_tables_name_commands_that_the_pages_have(self):
        commands = [shown.command for page in self.pages() for shown in commands_of(page)]
        for beginning in [*NOT_RUN, *SHORTER, *EXIT_CODES, *OUTPUT_VARIES]:
            self.assertTrue(any(command.startswith(beginning) for command in commands), beginning)


if __name__ == "__main__":
    main()
