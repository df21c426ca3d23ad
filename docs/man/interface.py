#!/usr/bin/env python3
"""Writes section 3 of the manual from the header of the C interface, so that the two can't differ.

Usage: interface.py HEADER FOLDER VERSION DATE

One page for each function, NAME.3, one for the records, and the overview, qor_api_trace.3. Prints the names of the pages.

What it understands is how the header is written: sections begin with a line of dashes around a name, a comment that begins with
two asterisks belongs to the declaration or the macro after it, a blank line parts paragraphs, and lines that are indented further
than the text around them stay as they are.
"""

import re
import sys
from pathlib import Path
from typing import NamedTuple

OVERVIEW = "qor_api_trace"
RECORDS = "Qor_Trace_Entry_t"
SECTION_OF_RECORDS = "Trace entries"


# ---- The header


class Macro(NamedTuple):
    name: str
    value: str
    text: str


class Struct(NamedTuple):
    name: str
    declaration: str  # with its comments, as it stands
    section: str


class Parameter(NamedTuple):
    type: str
    name: str


class Function(NamedTuple):
    name: str
    declaration: str
    parameters: list
    text: str  # of the comment, before the first @
    documented: dict  # parameter -> text
    returned: str


def comment_lines(comment):
    """The text of a comment without its asterisks."""
    body = re.sub(r"^/\*+|\*+/$", "", comment.strip())
    return "\n".join(re.sub(r"^ ?\*? ?", "", line).rstrip() for line in body.split("\n")).strip("\n")


def one_line(text):
    return " ".join(text.split())


def comment_text(body):
    """What stands between /* and */, on one line."""
    return one_line(comment_lines(f"/* {body} */")) if body.strip() else ""


def property_text(row):
    """Of the table of properties: kind, get, set, default if there is one, meaning."""
    kind, get, set_, *default, meaning = re.split(r" {2,}", row.strip())
    access = " and ".join(word for word, has in (("read", get), ("written", set_)) if has == "yes")
    return f"{meaning}. A {kind}, {access}" + (f"; {default[0]} at first." if default else ".")


class Header:
    def __init__(self, text):
        self.text = text
        self.introduction = comment_lines(re.match(r"/\*.*?\*/", text, re.S).group())
        self.sections = {}
        parts = re.split(r"/\* -{4} (.*?) -+ \*/", text)
        for name, body in zip(parts[1::2], parts[2::2]):
            self.sections[name] = body
        self.macros = self.find_macros()
        self.structs = self.find_structs()
        self.functions = self.find_functions()

    def find_macros(self):
        pattern = r"(?:/\*\*((?:(?!\*/).)*?)\*/\n)?#define (QOR_\w+) ([^\s/\\]+)[ ]*(?:/\*(.*?)\*/)?"
        return [
            Macro(name, value, property_text(after) if name.startswith("QOR_TRACE_PROPERTY_") else comment_text(before or after))
            for before, name, value, after in re.findall(pattern, self.text, re.S)
        ]

    def find_structs(self):
        pattern = r"(?m)^typedef (?:struct|enum) \w+ \{.*?^\} (\w+);"
        return [
            Struct(match.group(1), match.group(), section)
            for section, body in self.sections.items()
            for match in re.finditer(pattern, body, re.S)
        ]

    def find_functions(self):
        pattern = r"(/\*\*(?:(?!\*/).)*\*/)\s*QOR_TRACE_API (\w[^;(]*?)(\w+)\(([^;]*?)\);"
        return [self.function(*found) for found in re.findall(pattern, self.text, re.S)]

    @staticmethod
    def function(comment, result, name, parameters):
        text, *tags = re.split(r"(?m)^@", comment_lines(comment))
        documented, returned = {}, ""
        for tag in tags:
            kind, rest = tag.split(None, 1)
            if kind == "return":
                returned = rest
            else:
                documented.update([(rest.split(None, 1) + [""])[:2]])
        each = [re.match(r"(.*?)(\w+)$", one_line(one), re.S).groups() for one in parameters.split(",")]
        each = [Parameter(kind.strip(), one) for kind, one in each]
        declaration = f"{one_line(result)} {name}({', '.join(one_line(one) for one in parameters.split(','))});"
        return Function(name, declaration, each, text.strip(), documented, returned)

    def named(self, name):
        return next(one for one in self.functions if one.name == name)

    def statuses_in(self, text):
        """UNKNOWN_HANDLE for QOR_TRACE_STATUS_UNKNOWN_HANDLE."""
        prefix = "QOR_TRACE_STATUS_"
        words = set(re.findall(r"[A-Z_]+", text))
        return [one for one in self.macros if one.name.startswith(prefix) and one.name[len(prefix) :] in words]

    def macros_in(self, text):
        """Those that are named, and those that QOR_TRACE_START_* stands for."""
        names = re.findall(r"QOR_TRACE_\w+\*?", text)
        return [
            one
            for one in self.macros
            if not one.name.startswith("QOR_TRACE_STATUS_")
            and any(one.name == name or (name[-1] == "*" and one.name.startswith(name[:-1])) for name in names)
        ]


# ---- A page


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"(?m)^([.'])", r"\\&\1", text)


def first_sentence(text):
    text = re.sub(r" \([^)]*\)", "", one_line(text))
    end = re.search(r"(?<!e\.g)(?<!i\.e)[.:;](?= |$)", text)
    return text[: end.start()] if end else text


class Page:
    """In roff. Text is escaped here; names of functions and macros become bold."""

    def __init__(self, name, version, date):
        self.lines = [f'.TH {escaped(name)} 3 {date} "qor_api_trace {version}" "Library Functions Manual"']

    def head(self, title):
        self.lines.append(f".SH {title}")

    def name(self, name, purpose):
        self.head("NAME")
        purpose = purpose[0].lower() + purpose[1:] if purpose[1:2].islower() or purpose[1:2] == " " else purpose
        self.lines.append(f"{escaped(name)} \\- {escaped(purpose)}")

    def marked(self, text):
        text = re.sub(r"\b(?:Qor_Trace|QOR_TRACE|QOR_API_TRACE)_\w+", r"\\fB\g<0>\\fR", escaped(text))
        return re.sub(r"`(\w+)`", r"\\fI\1\\fR", text)

    def paragraph(self, text):
        self.begin_paragraph()
        self.lines.append(self.marked(one_line(text)))

    def begin_paragraph(self):
        if not self.lines[-1].startswith(".SH"):
            self.lines.append(".PP")

    def verbatim(self, text):
        self.begin_paragraph()
        self.lines += [".nf", ".RS 2"]
        self.lines += [escaped(line) if line else "\\&" for line in text.split("\n")]
        self.lines += [".RE", ".fi"]

    def item(self, head, text):
        self.lines += [".TP", f"\\fB{escaped(head)}\\fR"]
        self.lines.append(self.marked(one_line(text)) if text else "\\&")

    def text(self, text):
        """Paragraphs and numbered steps; what is indented stays as it is."""
        for block in re.split(r"\n(?:[ \t]*\n)+|\n(?= *\d+\. )", text.strip("\n")):
            lines = block.split("\n")
            number = re.match(r" *(\d+\.) ", block)
            if number:
                self.lines += [f".IP {number.group(1)} 4", self.marked(one_line(block[number.end() :]))]
            elif all(line.startswith("  ") for line in lines):
                self.verbatim("\n".join(line[2:] for line in lines))
            else:
                self.paragraph(block)

    def macros(self, macros):
        for macro in macros:
            self.item(f"{macro.name} ({macro.value})", macro.text)

    def see_also(self, names):
        self.head("SEE ALSO")
        self.lines += [f".BR {escaped(name)} (3){',' if name != names[-1] else ''}" for name in names]

    def write(self, folder, name):
        (folder / f"{name}.3").write_text("\n".join(self.lines) + "\n")


# ---- The pages


class Manual:
    def __init__(self, header, version, date):
        self.header = header
        self.version = version
        self.date = date

    def page(self, name):
        return Page(name, self.version, self.date)

    def synopsis(self, page, declaration):
        page.head("SYNOPSIS")
        page.lines += [".nf", "\\fB#include <qor_api_trace.h>\\fR"]
        page.lines += [".PP"] if declaration else []
        page.lines += [f"\\fB{escaped(line)}\\fR" for line in declaration.splitlines()]
        page.lines.append(".fi")
        page.paragraph("Compile and link with $(pkg-config --cflags --libs qor_api_trace).")

    def parameters(self, page, function):
        page.head("PARAMETERS")
        for kind, name in function.parameters:
            page.item(name, function.documented.get(name) or self.known(function, Parameter(kind, name)))

    def known(self, function, parameter):
        """Of a parameter that the function's comment takes for granted: what another function says of it."""
        if parameter == Parameter("unsigned int", "handle"):
            return "The monitor, from Qor_Trace_Allocate."
        for other in self.header.functions:
            if other is not function and parameter in other.parameters and parameter.name in other.documented:
                return f"As for {other.name}: {other.documented[parameter.name]}"
        structure = re.search(r"\w+_t\b", parameter.type)
        return f"A {structure.group()}, below." if structure else "See above."

    def structures(self, page, function):
        used = [one for one in self.header.structs if re.search(rf"\b{one.name}\b", function.declaration)]
        if used:
            page.head("STRUCTURES")
        for one in used:
            page.verbatim(one.declaration)
        text = "\n".join([function.text, *function.documented.values(), *(one.declaration for one in used)])
        macros = self.header.macros_in(text)
        if macros:
            page.head("CONSTANTS")
            page.macros(macros)

    def function(self, function):
        page = self.page(function.name)
        page.name(function.name, first_sentence(function.text))
        self.synopsis(page, self.broken(function.declaration))
        page.head("DESCRIPTION")
        page.text(function.text)
        self.parameters(page, function)
        page.head("RETURN VALUE")
        page.paragraph("0 (QOR_TRACE_STATUS_OK) is success; anything else is a QOR_TRACE_STATUS_* or a code of the hardware library.")
        returned = function.returned or self.returned_alike(function)
        page.paragraph(returned)
        page.head("ERRORS")
        page.macros(self.header.statuses_in(returned))
        self.structures(page, function)
        page.see_also([OVERVIEW, *self.neighbours(function)])
        return page

    def returned_alike(self, function):
        """What the function returns whose results are the same by the text of this one; else the text says it all."""
        other = re.search(r"results as in (Qor_Trace_\w+)", function.text)
        return self.header.named(other.group(1)).returned if other else function.text

    def neighbours(self, function):
        named = re.findall(r"Qor_Trace_\w+", function.text + function.returned)
        return sorted({one.name for one in self.header.functions if one.name in named and one is not function})

    @staticmethod
    def broken(declaration):
        """One parameter to a line, where there are several."""
        return declaration.replace(", ", ",\n    ").replace("(", "(\n    ", 1) if ", " in declaration else declaration

    def records(self):
        page = self.page(RECORDS)
        page.name(RECORDS, "a trace entry: one event of one bus")
        page.head("SYNOPSIS")
        page.lines += [".nf", ".B #include <qor_api_trace.h>", ".fi"]
        page.head("DESCRIPTION")
        body = self.header.sections[SECTION_OF_RECORDS]
        page.text(comment_lines(re.search(r"/\*((?:(?!\*/).)*)\*/\s*typedef struct Qor_Trace_Entry_t ", body, re.S).group(1)))
        page.head("STRUCTURES")
        for one in reversed([one for one in self.header.structs if one.section == SECTION_OF_RECORDS]):
            page.verbatim(one.declaration)
        page.head("CONSTANTS")
        page.macros([one for one in self.header.macros if f"#define {one.name} " in body])
        page.see_also([OVERVIEW, "Qor_Trace_GetItems", "Qor_Trace_GetListItems"])
        return page

    def overview(self):
        page = self.page(OVERVIEW)
        title, _, introduction = self.header.introduction.partition("\n")
        page.name(OVERVIEW, title.partition(" - ")[2])
        self.synopsis(page, "")
        page.head("DESCRIPTION")
        page.text(introduction)
        page.head("FUNCTIONS")
        for function in self.header.functions:
            page.item(f"{function.name}(3)", first_sentence(function.text) + ".")
        for title, prefix in (
            ("STATUSES", "QOR_TRACE_STATUS_"),
            ("PROPERTIES", "QOR_TRACE_PROPERTY_"),
            ("VERSION", "QOR_API_TRACE_VERSION_"),
        ):
            page.head(title)
            page.macros([one for one in self.header.macros if one.name.startswith(prefix)])
        page.see_also([*(one.name for one in self.header.functions), RECORDS])
        return page

    def pages(self):
        return {
            OVERVIEW: self.overview(),
            RECORDS: self.records(),
            **{function.name: self.function(function) for function in self.header.functions},
        }


def main():
    header, folder, version, date = sys.argv[1:]
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    for name, page in Manual(Header(Path(header).read_text()), version, date).pages().items():
        page.write(folder, name)
        print(f"{name}.3")


if __name__ == "__main__":
    main()
