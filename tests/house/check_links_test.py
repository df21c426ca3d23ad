#!/usr/bin/env python3
"""What script/check-links lets through and what it refuses."""
import importlib.machinery
import importlib.util
import pathlib
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "script" / "check-links"
loader = importlib.machinery.SourceFileLoader("check_links", str(SCRIPT))
check_links = importlib.util.module_from_spec(importlib.util.spec_from_loader("check_links", loader))
loader.exec_module(check_links)


class Tree(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name).resolve()
        check_links.TOP = self.top
        (self.top / "docs").mkdir()
        self.write("README.md", "# Start\n")
        self.write("docs/other.md", "## CAN: `can:NAME`, or [just](x.md) `NAME`\n\n## Twice\n\n## Twice\n\n```\n# no heading\n```\n")

    def write(self, name, text):
        (self.top / name).write_text(text)

    def wrong(self, text, name="docs/page.md"):
        self.write(name, text)
        return list(check_links.check_page(self.top / name))


class Pages(Tree):
    def test_links_to_files_headings_and_other_machines_are_let_through(self):
        for link in ("other.md", "other.md#twice-1", "other.md#can-canname-or-just-name", "#here", "https://a.b/c.md"):
            with self.subTest(link=link):
                self.assertEqual(self.wrong(f"# Here\n[x]({link})\n"), [])

    def test_links_that_lead_nowhere_are_found(self):
        for link in ("nothing.md", "other.md#three-times", "other.md#no-heading", "#there", "other.md#twice-2"):
            with self.subTest(link=link):
                self.assertEqual(len(self.wrong(f"# Here\n[x]({link})\n")), 1)

    def test_pages_of_docs_link_to_docs_only(self):
        self.assertEqual(self.wrong("[x](../README.md)\n"), ["../README.md: leaves docs/"])
        self.assertEqual(self.wrong("[x](docs/other.md)\n", "CONTRIBUTING.md"), [])

    def test_code_has_no_links(self):
        self.assertEqual(self.wrong("`f[0](nothing.md)`\n```\na[1](nothing.md)\n```\n"), [])


class Site(Tree):
    def wrong_in_site(self, text):
        self.write("docs/index.html", text)
        return [what for _, what in check_links.check_site(self.top / "docs")]

    def test_links_between_pages_and_to_names_are_followed(self):
        self.write("docs/other.html", '<h1 id="top">Top</h1>')
        self.assertEqual(self.wrong_in_site('<a href="other.html#top">x</a><a href="https://a.b">y</a>'), [])
        self.assertEqual(len(self.wrong_in_site('<a href="other.html#bottom">x</a><a href="none.html">y</a>')), 2)

    def test_nothing_is_fetched_from_elsewhere(self):
        self.assertEqual(len(self.wrong_in_site('<script src="https://a.b/c.js"></script>')), 1)


if __name__ == "__main__":
    unittest.main()
