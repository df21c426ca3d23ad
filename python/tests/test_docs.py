"""docs/python.md and the examples: what stands there works."""

import pathlib
import re
import subprocess
import sys

import pytest

TREE = pathlib.Path(__file__).resolve().parent.parent.parent
PAGES = (TREE / "docs" / "python.md", TREE / "python" / "README.md")
EXAMPLES = sorted((TREE / "python" / "examples").glob("*.py"))
BLOCK = re.compile(r"^```python\n(.*?)^```(?:\n\n```text\n(.*?)^```)?", re.MULTILINE | re.DOTALL)


def blocks(page):
    """The code blocks of a page, each with its line and the output that the page shows for it."""
    text = page.read_text(encoding="utf-8")
    for found in BLOCK.finditer(text):
        yield text[: found.start()].count("\n") + 2, found.group(1), found.group(2)


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_every_code_block_runs_and_prints_what_the_page_shows(page, request, tmp_path, capsys, monkeypatch):
    """One after the other, as a reader would type them."""
    pytest.importorskip("pandas", reason="python3-pandas isn't installed")
    pytest.importorskip("can", reason="python3-can isn't installed")
    tools = tmp_path / "tools"
    tools.mkdir()
    (tools / "qor-trace").symlink_to(request.config.getoption("--program"))
    monkeypatch.setenv("PATH", str(tools), prepend=":")
    names = {"__name__": "__main__"}
    register_with_python_can(monkeypatch)
    count = 0
    for line, code, shown in blocks(page):
        exec(compile("\n" * (line - 1) + code, str(page), "exec"), names)
        printed = capsys.readouterr().out
        if shown is not None:
            assert printed == shown, f"{page}:{line}"
        count += 1
    assert count > 0


def register_with_python_can(monkeypatch):
    """As the entry point of the installed package does it."""
    import can

    monkeypatch.setitem(can.interfaces.BACKENDS, "qor", ("qor_trace.python_can", "QorBus"))
    monkeypatch.setattr(can.interfaces, "VALID_INTERFACES", frozenset({*can.interfaces.VALID_INTERFACES, "qor"}))
    monkeypatch.setattr(can.util, "VALID_INTERFACES", can.interfaces.VALID_INTERFACES)


@pytest.mark.parametrize("example", EXAMPLES, ids=lambda path: path.name)
def test_examples_run(example, request, tmp_path):
    options = [request.config.getoption(name) for name in ("--library", "--hardware")]
    program = f"""
import runpy, sys
sys.path.insert(0, {str(TREE / "python")!r})
import qor_trace
qor_trace.load(*{options!r})
sys.argv = ["example", "can?duration=2s&speed=max"]
runpy.run_path({str(example)!r}, run_name="__main__")
"""
    done = subprocess.run([sys.executable, "-B", "-c", program], cwd=tmp_path, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert done.stdout.strip()
