"""A real terminal for the end-to-end tests: tmux, driven by keys, read as a screen."""

import contextlib
import itertools
import os
import pathlib
import re
import shlex
import shutil
import subprocess

from support import ClientTest, arguments

_numbers = itertools.count()


class Terminal:
    """A tmux server of its own, with one pane. Wait for what the screen shows; never for a time."""

    def __init__(self, test, columns, lines, command, environment=None):
        self.test = test
        self.socket = f"qor-trace-test-{os.getpid()}-{next(_numbers)}"
        kept = {name: os.environ[name] for name in ("LSAN_OPTIONS", "PATH", "TMPDIR") if name in os.environ}
        self.environment = {"LC_ALL": "C.UTF-8", **kept, **(environment or {})}
        test.addCleanup(self.close)
        setting = [f"-e{name}={value}" for name, value in self.environment.items()]
        self.tmux("new-session", "-d", "-x", columns, "-y", lines, "-c", test.folder, *setting, command)

    def tmux(self, *words, check=True):
        told = subprocess.run(
            ["tmux", "-u", "-L", self.socket, "-f", "/dev/null", *map(str, words)],
            env={"LC_ALL": "C.UTF-8", "PATH": os.environ["PATH"]},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
        )
        if check:
            self.test.assertEqual(told.returncode, 0, told.stderr)
        return told.stdout

    def close(self):
        """The terminal goes away, as a window that is closed or a connection that breaks."""
        self.tmux("kill-server", check=False)

    def press(self, *keys):
        """Named as tmux names them: Enter, Escape, C-z."""
        self.tmux("send-keys", *keys)

    def type(self, text):
        self.tmux("send-keys", "-l", text)

    def screen(self, attributes=False):
        return self.tmux("capture-pane", "-p", *(["-e"] if attributes else []), check=False)

    def resize(self, columns, lines):
        self.tmux("resize-window", "-x", columns, "-y", lines)

    def process(self):
        """That the terminal was opened with."""
        return int(self.tmux("display-message", "-p", "#{pane_pid}"))

    def job(self):
        """What a shell is running."""
        shell = self.process()
        return int(pathlib.Path(f"/proc/{shell}/task/{shell}/children").read_text().split()[-1])

    def wait_for(self, pattern, attributes=False):
        """Gives the match of a regular expression in what the screen shows once it is there."""
        found = None

        def look():
            nonlocal found
            found = re.search(pattern, self.screen(attributes), re.MULTILINE)
            return found

        try:
            self.test.wait_until(look, pattern)
        except AssertionError as error:
            raise AssertionError(f"{error}\n{self.screen()}") from None
        return found

    def wait_without(self, pattern):
        self.test.wait_until(lambda: not re.search(pattern, self.screen(), re.MULTILINE), "no " + pattern)


class TerminalTest(ClientTest):
    """Tests of what a person sees. Counted as skipped without tmux."""

    def setUp(self):
        if not shutil.which("tmux"):
            self.skipTest("tmux is missing")
        super().setUp()

    def open(self, *args, columns=80, lines=24, environment=None):
        """A terminal in which the client runs, in place of a shell."""
        command = shlex.join([str(pathlib.Path(arguments.client).resolve()), *map(str, args)])
        return Terminal(self, columns, lines, "exec " + command, environment)

    def shell(self, columns=80, lines=24):
        """A terminal with a shell that knows the client as `client`."""
        terminal = Terminal(self, columns, lines, "exec bash --noprofile --norc -i")
        terminal.type("PS1='ready '; clear\n")
        terminal.wait_for("^ready")
        terminal.type(f"alias client={shlex.quote(str(pathlib.Path(arguments.client).resolve()))}\n")
        return terminal

    def run_in(self, terminal, command):
        """Types a command into a shell; `ended` waits for its end."""
        terminal.commands = getattr(terminal, "commands", 0) + 1
        terminal.type(f"clear; echo before the view; {command}; echo end-{terminal.commands}=$?\n")

    def ended(self, terminal):
        """Gives the exit code of the command that was typed last."""
        return int(terminal.wait_for(rf"^end-{terminal.commands}=(\d+)$")[1])

    def is_running(self, process):
        with contextlib.suppress(ProcessLookupError):
            os.kill(process, 0)
            status = pathlib.Path(f"/proc/{process}/stat").read_text()
            return status.rpartition(")")[2].split()[0] != "Z"
        return False
