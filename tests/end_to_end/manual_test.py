"""The manual pages beside the program that they describe."""

import re
import shutil
import subprocess
from pathlib import Path

from support import ClientTest, arguments, main


def manual():
    """The folder of the pages: of the build that the program is of."""
    return Path(arguments.client).resolve().parents[2] / "docs" / "man"


def page(name):
    return (manual() / name).read_text()


def options_of(text):
    """--name, as help texts have it."""
    return set(re.findall(r"(?<![\w-])--([a-z][a-z-]*[a-z])", text))


class Manual(ClientTest):
    def help(self, *command):
        out, _ = self.run_client(*command, "--help")
        return out.decode()

    def commands(self):
        return re.findall(r"(?m)^  ([a-z]+)  ", self.help().partition("Subcommands:")[2])

    def help_options(self, command):
        return options_of("\n".join(re.findall(r"(?m)^  (-\S+)", self.help(command))))

    def test_every_command_has_a_page_that_the_overview_names(self):
        commands = self.commands()
        self.assertIn("record", commands)
        for command in commands:
            self.assertIn(f"qor\\-trace\\-{command} (1)", page("qor-trace.1"))
            self.assertIn(f"qor\\-trace {command}", page(f"qor-trace-{command}.1").replace("qor-trace", "qor\\-trace"))

    def test_pages_have_the_options_of_the_help_and_no_others(self):
        for command in self.commands():
            text = page(f"qor-trace-{command}.1").replace("\\-", "-")
            section = text[text.index(".SH OPTIONS") : text.index(".SH EXIT STATUS")]
            heads = "\n".join(re.findall(r"(?m)^\.TP\n(\..*)$", section))
            with self.subTest(command=command):
                self.assertEqual(options_of(heads), self.help_options(command))

    def test_pages_are_sound_roff_without_unfilled_places(self):
        for path in sorted(manual().iterdir()):
            self.assertNotRegex(path.read_text(), r"@\w+@", path.name)
            self.assertNotIn("\n\n", path.read_text(), path.name)  # a blank line is no paragraph
            if shutil.which("groff"):
                told = subprocess.run(["groff", "-man", "-ww", "-z", path], capture_output=True, text=True, check=True)
                self.assertEqual(told.stderr, "", path.name)

    def test_pages_that_are_referred_to_exist(self):
        for path in sorted(manual().iterdir()):
            for name, section in re.findall(r"(qor[a-z\\-]*) \((\d)\)", path.read_text()):
                self.assertTrue((manual() / f"{name.replace(chr(92), '')}.{section}").exists(), f"{name}({section})")


if __name__ == "__main__":
    main()
