"""What the type hints promise."""

import pathlib
import shutil
import subprocess

import pytest

PACKAGE = pathlib.Path(__file__).resolve().parent.parent

USE = """\
import qor_trace

with qor_trace.Trace("can0", 7, memory_limit=1000) as trace:
    trace.start(asc="x.asc")
    for entry in trace.follow(timeout=1.0):
        number: int = entry.time_ns
        kind: qor_trace.Kind = entry.kind
        data: bytes = entry.data
    reveal_type(trace.entries()[0])
    reveal_type(trace.entries()[1:])
    trace.start(ASC=1)
"""


@pytest.fixture(scope="module")
def mypy(tmp_path_factory):
    program = shutil.which("mypy", path="/usr/bin") or shutil.which("mypy")
    if program is None:
        pytest.skip("mypy isn't installed")

    cache = str(tmp_path_factory.mktemp("cache"))  # of NumPy's and pandas' types, above all

    def run(*arguments):
        done = subprocess.run([program, "--cache-dir", cache, *arguments], cwd=PACKAGE, capture_output=True, text=True)
        return done.stdout

    return run


def test_the_package_is_clean_under_strict(mypy):
    pytest.importorskip("can", reason="python-can isn't installed, whose types the plug-in leans on")
    assert "Success: no issues found" in mypy("--strict", "qor_trace")


def test_users_see_the_types(mypy, tmp_path):
    program = tmp_path / "use.py"
    program.write_text(USE)
    out = mypy("--strict", str(program))
    assert 'Revealed type is "Tuple' in out or 'Revealed type is "tuple' in out
    assert 'Revealed type is "qor_trace._entries.Entries"' in out
    assert 'Unexpected keyword argument "ASC"' in out
    assert "Found 1 error" in out
