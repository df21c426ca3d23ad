#!/usr/bin/env python3
"""What script/check-includes lets through and what it refuses, in a tree of one file each."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "script" / "check-includes"


def verdict(name, text):
    """Exit code and output for a tree that holds this one file."""
    with tempfile.TemporaryDirectory() as top:
        path = pathlib.Path(top) / name
        path.parent.mkdir(parents=True)
        path.write_text(text, encoding="utf-8")
        run = subprocess.run([sys.executable, SCRIPT, top], capture_output=True, text=True, check=False)
        return run.returncode, run.stdout


class Floors(unittest.TestCase):
    def test_a_room_includes_from_the_floors_below_and_from_itself(self):
        for name, included in [
            ("src/internal/qor_internal.cpp", "internal/qor_internal.h"),
            ("src/record/Qor_Trace_Entry.cpp", "qor_api.h"),
            ("src/mdf/Bus.h", "record/Qor_Trace_Entry.h"),
            ("src/export/Qor_Trace_Export_ASC.cpp", "internal/Qor_Trace_Exception.h"),
            ("src/channel/Qor_Trace_Channel.h", "record/Qor_Trace_Entry.h"),
            ("src/monitor/Qor_Trace.cpp", "export/Qor_Trace_Export_ASC.h"),
            ("src/api/qor_api_trace.cpp", "monitor/Qor_Trace.h"),
            ("hardware/simulator/Port.cpp", "qor_api.h"),
            ("tools/qor-trace/Record.cpp", "mdf/File.h"),
            ("tests/end_to_end/first_trace_test.cpp", "qor_sim.h"),
        ]:
            with self.subTest(name=name, included=included):
                self.assertEqual(verdict(name, f'#include "{included}"\n')[0], 0)

    def test_a_room_does_not_reach_up_or_across(self):
        for name, included in [
            ("src/internal/qor_internal.cpp", "record/Qor_Trace_Entry.h"),
            ("src/record/Qor_Trace_Entry.h", "channel/Qor_Trace_Channel.h"),
            ("src/record/Qor_Trace_EntryStore.h", "channel/Qor_Trace_Channel.h"),
            ("src/channel/Qor_Trace_Channel.h", "monitor/Qor_Trace.h"),
            ("src/export/Qor_Trace_Export_ASC.cpp", "mdf/File.h"),
            ("src/monitor/Qor_Trace.cpp", "api/qor_api_trace.h"),
            ("src/monitor/Qor_Trace.cpp", "qor_sim.h"),
            ("hardware/simulator/Port.cpp", "qor_api_trace.h"),
            ("hardware/simulator/Port.cpp", "internal/Mutex.h"),
            ("tools/qor-trace/Record.cpp", "internal/Mutex.h"),
            ("examples/record.c", "qor_api.h"),
            ("tests/end_to_end/first_trace_test.cpp", "monitor/Qor_Trace.h"),
        ]:
            with self.subTest(name=name, included=included):
                code, output = verdict(name, f'\n#include "{included}"\n')
                self.assertEqual(code, 1)
                self.assertIn(f"{name}:2: ", output)
                self.assertIn(f"may not include {included}", output)

    def test_parents_in_an_include_line_are_no_way_around(self):
        self.assertEqual(verdict("hardware/simulator/Port.cpp", '#include "../../src/internal/Mutex.h"\n')[0], 1)

    def test_other_libraries_are_nobodys_business_here(self):
        code, output = verdict("src/mdf/Data.cpp", '#include "mdf/Data.h"\n#include <zlib.h>\n#include <vector>\n')
        self.assertEqual(code, 0)
        self.assertIn("1 include lines checked", output)

    def test_a_tree_without_a_single_include_line_is_an_error(self):
        self.assertEqual(verdict("src/mdf/Data.cpp", "int x;\n")[0], 1)

    def test_a_long_source_is_pointed_at_but_let_through(self):
        code, output = verdict("src/mdf/Data.cpp", '#include "mdf/Data.h"\n' + "\n" * 500)
        self.assertEqual(code, 0)
        self.assertIn("src/mdf/Data.cpp: warning: 501 lines", output)


if __name__ == "__main__":
    unittest.main()
