"""What the shells offer while a command line is typed."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import unittest

from support import DEADLINE, ClientTest, arguments, main
from terminal import Terminal

COMPLETIONS = pathlib.Path(__file__).resolve().parents[2] / "tools" / "qor-trace" / "completion"
BASH_COMPLETION = pathlib.Path("/usr/share/bash-completion/bash_completion")


class Offers(ClientTest):
    """What the shells are told."""

    def offered(self, *words):
        """The directives, and the candidates with what they are."""
        out, _ = self.run_client("complete", "--", *words)
        first, *lines = out.decode().splitlines()
        return first.split(), dict(line.split("\t", 1) for line in lines)

    def words(self, *words):
        return list(self.offered(*words)[1])

    def help(self, *command):
        return self.run_client(*command, "--help")[0].decode()

    def commands(self):
        return re.findall(r"(?m)^  ([a-z]+)  ", self.help().partition("Subcommands:")[2])

    def test_every_command_of_the_help_is_offered_and_nothing_else(self):
        self.assertEqual(self.words(""), [*self.commands(), "help"])
        self.assertNotIn("complete", self.commands())

    def test_every_option_of_the_help_is_offered_and_nothing_else(self):
        for command in self.commands():
            listed = re.findall(r"(?m)^  (?:-\w,)?(--[a-z][a-z-]*)(?: [A-Z. ]+)?(?:  |$)", self.help(command))
            with self.subTest(command=command):
                self.assertEqual(sorted(self.words(command, "--")), sorted(listed))
                self.assertTrue(all(self.offered(command, "--")[1].values()), "without what they are")

    def test_every_value_that_is_offered_is_taken(self):
        self.run_client("record", "can", "--duration", "1s", "--speed", "max", "-o", "drive.bin", "-o", "drive.mf4")
        usual = {
            "record": ["can?speed=max&duration=1ms"],
            "convert": ["drive.bin", "--count", "1"],
            "compare": ["drive.mf4", "drive.bin"],
        }
        outputs = {  # where the usual one has no place for the option
            "--asc-decimals": ["-o", "other.asc"],
            "--format": ["-o", "-"],
            "--split-clock": ["-o", "other.bin", "--split-time", "1h"],
        }
        taken = set()
        for command, arguments_ in usual.items():
            for option in self.words(command, "--"):
                directives, values = self.offered(command, option, "")
                if directives:  # files and expressions
                    continue
                output = [] if command == "compare" else outputs.get(option, ["-o", "other.mf4"])
                for value in values:
                    with self.subTest(command=command, option=option, value=value):
                        self.run_client(command, *arguments_, *output, option, value, expect=None)
                        taken.add(option)
        self.assertGreaterEqual(taken, {*outputs, "--time-format", "--speed", "--bitrate", "--ignore", "--as-kept-by"})

    def test_options_of_sources_are_those_of_the_manual(self):
        docs = COMPLETIONS.parents[2] / "docs"
        rows = re.findall(r"(?m)^\| `([a-z_]+)` \| ([a-z, ]+) \| [^|]+ \|", (docs / "simulator.md").read_text())
        every = {"can", "lin", "flexray", "ethernet", "vehicle", "candump", "pcap", "csv"}
        for kind in sorted(every):
            manual = {
                name for name, kinds in rows if kind in ((every) if kinds.startswith("all but") else kinds.split(", "))
            }
            source = kind if kind in ("can", "lin", "flexray", "ethernet", "vehicle") else f"{kind}:some"
            with self.subTest(kind=kind):
                self.assertIn("speed", manual)
                self.assertEqual({word[len(source) + 1 : -1] for word in self.words("record", f"{source}?")}, manual)
        rows = (docs / "real-interfaces.md").read_text()
        manual = set(re.findall(r"(?m)^\| `([a-z_]+)=[^`]+` \|", rows))
        self.assertEqual({word[len("can0?") : -1] for word in self.words("record", "can0?")}, manual)

    def test_interfaces_of_this_machine_are_sources(self):
        process = self.start("ports", "--json")
        listed = set(re.findall(r'"port":\s*"([^"]+)"', process.communicate(timeout=DEADLINE)[0].decode()))
        self.assertLessEqual(listed, set(self.words("record", "")))


class Shell(ClientTest):
    """A shell on a terminal, in a folder with a recording, told nothing but where the completion is."""

    program = None
    start_line = None
    setup = []

    def setUp(self):
        super().setUp()
        for tool in ("tmux", self.program):
            if not tool or not shutil.which(tool):
                self.skipTest(f"there is no {tool}")
        (self.folder / "some recording.mf4").touch()
        (self.folder / "some").mkdir()
        (self.folder / "some" / "drive.bin").touch()
        path = f"{pathlib.Path(arguments.client).resolve().parent}:{os.environ['PATH']}"
        # What a shell still writes at its end belongs to the folder.
        self.shell = 0
        self.addCleanup(self.wait_until, lambda: not pathlib.Path(f"/proc/{self.shell}").exists(), "the shell's end")
        # tmux starts its first shell with a PATH of its own.
        start_line = f"env PATH={shlex.quote(path)} {self.start_line}"
        self.terminal = Terminal(self, 100, 30, start_line, {"HOME": str(self.folder), "SHELL": "/bin/sh"})
        self.shell = self.terminal.process()
        for line in self.setup:
            self.enter(line)

    def enter(self, line):
        self.terminal.type(f" {line}; echo d''one")
        self.terminal.press("Enter")
        self.wait_until(lambda: re.search(r"(?m)^done", self.terminal.screen()), line)
        self.terminal.press("C-l")
        self.wait_until(lambda: "done" not in self.terminal.screen(), "a clear screen")

    def completes(self, typed, completed):
        """A tab makes this of it. What the line ends with besides is looked at with a mark typed after it."""
        with self.subTest(typed=typed):
            self.terminal.type(typed)
            self.wait_until(lambda: typed in self.terminal.screen(), f"{typed} typed")
            self.terminal.press("Tab")
            self.wait_until(lambda: completed.rstrip() in self.terminal.screen(), f"{typed} -> {completed}")
            self.terminal.type("@")
            self.wait_until(lambda: f"{completed}@" in self.terminal.screen(), f"{completed}@")
            self.terminal.press("C-u")
            self.wait_until(lambda: "qor-trace" not in self.terminal.screen().splitlines()[0], "an empty line")
            self.terminal.press("C-l")

    def check_what_all_shells_do(self):
        self.completes("qor-trace repo", "qor-trace report ")
        self.completes("qor-trace record vehicle --dur", "qor-trace record vehicle --duration ")
        self.completes("qor-trace list x --time-format ep", "qor-trace list x --time-format epoch ")
        self.completes("qor-trace list x --time-format=ep", "qor-trace list x --time-format=epoch ")
        self.completes("qor-trace record --speed max ve", "qor-trace record --speed max vehicle ")
        self.completes("qor-trace compare a b --ignore time,di", "qor-trace compare a b --ignore time,dir ")
        self.completes("qor-trace info some/dr", "qor-trace info some/drive.bin ")
        self.completes("qor-trace info some\\ r", "qor-trace info some\\ recording.mf4 ")

    def shows(self, typed, *shown):
        """All that there is, at the second tab."""
        self.terminal.type(typed)
        self.wait_until(lambda: typed in self.terminal.screen(), f"{typed} typed")
        self.terminal.press("Tab")
        self.terminal.press("Tab")
        for text in shown:
            self.wait_until(lambda: text in self.terminal.screen(), f"{text} shown")


class Bash(Shell):
    program = "bash"
    start_line = "bash --norc --noprofile -i"
    setup = ["PS1='$ '", f"source {shlex.quote(str(COMPLETIONS / 'qor-trace.bash'))}"]

    def check(self):
        self.check_what_all_shells_do()
        self.completes("qor-trace record can?see", "qor-trace record can?seed=")
        # bash closes what was quoted.
        self.completes("qor-trace record 'can?seed=7&lo", "qor-trace record 'can?seed=7&load='")
        self.completes('qor-trace list x --filter "bus == fle', 'qor-trace list x --filter "bus == flexray"')
        self.shows("qor-trace re", "record", "recover", "report")

    def test_completes_with_nothing_else_installed(self):
        self.check()

    def test_completes_together_with_bash_completion(self):
        if not BASH_COMPLETION.exists():
            self.skipTest(f"there is no {BASH_COMPLETION}")
        self.enter(f"source {BASH_COMPLETION}")
        self.check()


class Zsh(Shell):
    program = "zsh"
    start_line = "zsh -f -i"
    setup = [
        "PS1='$ '; setopt no_beep",
        f"fpath=({shlex.quote(str(COMPLETIONS))} $fpath); autoload -U compinit; compinit -u -D",
    ]

    def test_completes(self):
        self.check_what_all_shells_do()
        self.completes("qor-trace record can\\?see", "qor-trace record can\\?seed=")
        self.completes('qor-trace list x --filter "bus == fle', 'qor-trace list x --filter "bus == flexray')
        self.shows("qor-trace re", "report", "Write complete files")


class Fish(Shell):
    program = "fish"
    start_line = "fish --no-config -i"
    setup = ["function fish_prompt; echo '$ '; end", f"source {shlex.quote(str(COMPLETIONS / 'qor-trace.fish'))}"]

    def test_completes(self):
        self.check_what_all_shells_do()
        self.shows("qor-trace re", "report", "recover")


class Scripts(unittest.TestCase):
    def test_bash_script_is_sound(self):
        if not shutil.which("shellcheck"):
            self.skipTest("there is no shellcheck")
        told = subprocess.run(
            ["shellcheck", "--shell=bash", COMPLETIONS / "qor-trace.bash"], capture_output=True, text=True, check=False
        )
        self.assertEqual((told.returncode, told.stdout), (0, ""))


if __name__ == "__main__":
    main()
