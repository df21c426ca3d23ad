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


HEADER = Path(__file__).resolve().parents[2] / "include" / "qor_api_trace.h"


def functions():
    """Name, parameters and comment of what the header declares."""
    for comment, name, parameters in re.findall(
        r"(/\*\*(?:(?!\*/).)*\*/)\s*QOR_TRACE_API [\w ]+?(\w+)\(([^;]*)\);", HEADER.read_text(), re.S
    ):
        yield name, re.findall(r"(\w+)(?:,|$)", parameters), comment


def words_of(text):
    """Of a page or a comment, without what marks them up."""
    text = re.sub(r"\\f[BIR]", "", text.replace("\\-", "-").replace("\\&", "").replace("\\e", "\\"))
    return " ".join(re.sub(r"(?m)^ *(\*/?|/\*\*)( |$)|^\.\w+.*$|`", "", text).split())


def options_of(text):
    """--name, as help texts have it."""
    return set(re.findall(r"(?<![\w-])--([a-z][a-z-]*[a-z])", text))


class Manual(ClientTest):
    def help(self, *command):
        out, _ = self.run_client(*command, "--help")
        return out.decode()

    def commands(self):
        return re.findall(r"(?m)^  ([a-z]+)  ", self.help().partition("Subcommands:")[2])

    def help_options(self, *command):
        return options_of("\n".join(re.findall(r"(?m)^  (-\S+)", self.help(*command))))

    def test_every_command_has_a_page_that_the_overview_names(self):
        commands = self.commands()
        self.assertIn("record", commands)
        for command in commands:
            self.assertIn(f"qor\\-trace\\-{command} (1)", page("qor-trace.1"))
            self.assertIn(f"qor\\-trace {command}", page(f"qor-trace-{command}.1").replace("qor-trace", "qor\\-trace"))

    def test_pages_have_the_options_of_the_help_and_no_others(self):
        pages = {f"qor-trace-{command}.1": [command] for command in self.commands()}
        for name, command in [*pages.items(), ("qor-trace.1", [])]:
            text = page(name).replace("\\-", "-")
            section = text[text.index(".SH OPTIONS") + 1 :]
            heads = "\n".join(re.findall(r"(?m)^\.TP\n(\..*)$", section[: section.index(".SH")]))
            with self.subTest(page=name):
                self.assertEqual(options_of(heads), self.help_options(*command))

    def test_pages_are_sound_roff_without_unfilled_places(self):
        for path in sorted(manual().iterdir()):
            self.assertNotRegex(path.read_text(), r"@\w+@", path.name)
            self.assertNotIn("\n\n", path.read_text(), path.name)  # a blank line is no paragraph
            for tool in (["groff", "-man", "-ww", "-z"], ["mandoc", "-Tlint", "-Wwarning"]):
                if shutil.which(tool[0]):
                    told = subprocess.run([*tool, path], capture_output=True, text=True, check=False)
                    self.assertEqual(told.stdout + told.stderr, "", path.name)

    def test_pages_that_are_referred_to_exist(self):
        for path in sorted(manual().iterdir()):
            for name, section in re.findall(r"(qor[a-z_\\-]*|Qor_\w+) \((\d)\)", path.read_text()):
                self.assertTrue((manual() / f"{name.replace(chr(92), '')}.{section}").exists(), f"{name}({section})")

    def test_every_function_of_the_c_interface_has_a_page_that_the_overview_names(self):
        declared = re.findall(r"(?m)^QOR_TRACE_API .*?(\w+)\(", HEADER.read_text())
        self.assertEqual([name for name, _, _ in functions()], declared)
        overview = page("qor_api_trace.3")
        for name in declared:
            self.assertIn(f".BR {name} (3)", overview)
            self.assertTrue(page(f"{name}.3").startswith(f".TH {name} 3 "))

    def test_pages_of_the_c_interface_say_all_that_the_header_says(self):
        for name, parameters, comment in functions():
            text = page(f"{name}.3")
            described = re.findall(r"(?m)^\.TP\n\\fB(\w+)\\fR$", text[text.index(".SH PARAMETERS") :])
            words = words_of(text)
            with self.subTest(function=name):
                self.assertEqual(described, parameters)
                parts = re.split(r"@param\s+\w+|@return|\n \*\s*(?=\n)|\n \* +\d+\. ", comment)
                for part in parts:
                    self.assertIn(words_of(part), words)

    def test_every_status_and_property_of_the_header_is_on_the_overview(self):
        overview = page("qor_api_trace.3")
        names = re.findall(r"#define (QOR_TRACE_(?:STATUS|PROPERTY)_\w+) (\w+)", HEADER.read_text())
        self.assertGreater(len(names), 20)
        for name, value in names:
            self.assertIn(f"\\fB{name} ({value})\\fR", overview)


if __name__ == "__main__":
    main()
