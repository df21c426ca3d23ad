#!/usr/bin/env python3
"""One version, wherever it is written; the header's is what the others are compared with.

versions_test.py BUILD_FOLDER"""
import pathlib
import re
import subprocess
import sys
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop(1))


def only(pattern, path):
    """The one place of a file that the pattern's group matches."""
    found = re.findall(pattern, path.read_text(encoding="utf-8"), re.MULTILINE)
    if not found:
        raise AssertionError(f"{path} has no {pattern}")
    return found[0]


def of_header():
    header = TREE / "include" / "qor_api_trace.h"
    return ".".join(only(rf"^#define QOR_API_TRACE_VERSION_{part} (\d+)$", header) for part in ("MAJOR", "MINOR", "PATCH"))


class Versions(unittest.TestCase):
    def test_the_sources_agree(self):
        for name, pattern in [
            ("CMakeLists.txt", r"^project\(qor_api_trace VERSION (\S+)"),
            ("python/qor_trace/_version.py", r'^__version__ = "(.*)"$'),
            ("debian/changelog", r"^qor-api-trace \(([^)]*)\)"),
            ("CHANGELOG.md", r"^## (?:\[Unreleased\], to be |\[)(\d[\d.]*)"),
        ]:
            with self.subTest(name):
                self.assertEqual(only(pattern, TREE / name), of_header())

    def test_what_is_built_agrees(self):
        for name, pattern in [
            ("qor_api_trace.pc", r"^Version: (.*)$"),
            ("qor_sim.pc", r"^Version: (.*)$"),
            ("qor_api_traceConfigVersion.cmake", r'^set\(PACKAGE_VERSION "(.*)"\)$'),
        ]:
            with self.subTest(name):
                self.assertEqual(only(pattern, BUILD / name), of_header())

    def test_the_client_says_it(self):
        client = BUILD / "tools" / "qor-trace" / "qor-trace"
        said = subprocess.run([client, "--version"], capture_output=True, text=True, check=True).stdout
        self.assertIn(f" {of_header()}\n", said)

    def test_the_loaders_name_is_the_major_version(self):
        real = (BUILD / "src" / "libqor_api_trace.so").resolve().name
        self.assertEqual(real, f"libqor_api_trace.so.{of_header()}")
        dynamic = subprocess.run(["readelf", "-dW", BUILD / "src" / real], capture_output=True, text=True, check=True).stdout
        self.assertIn(f"[libqor_api_trace.so.{of_header().split('.')[0]}]", dynamic)


if __name__ == "__main__":
    unittest.main()
