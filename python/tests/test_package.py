"""The package as it is installed: a wheel, made by setuptools without a network."""

import pathlib
import shutil
import subprocess
import sys
import zipfile

import pytest

PACKAGE = pathlib.Path(__file__).resolve().parent.parent


@pytest.fixture
def installed(tmp_path):
    """The folder that the wheel was installed into."""
    for module, package in (("setuptools", "python3-setuptools"), ("wheel", "python3-wheel"), ("pip", "python3-pip")):
        pytest.importorskip(module, reason=f"{package} isn't installed")
    source = tmp_path / "source"
    shutil.copytree(PACKAGE, source, ignore=shutil.ignore_patterns("tests", "__pycache__"))
    done = subprocess.run(
        [sys.executable, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", "--no-index", "--wheel-dir", str(tmp_path), str(source)],
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stdout + done.stderr
    (wheel,) = tmp_path.glob("qor_trace-*.whl")
    assert wheel.name.endswith("-py3-none-any.whl"), "nothing is compiled"
    zipfile.ZipFile(wheel).extractall(tmp_path / "site")
    return tmp_path / "site"


def test_it_is_found_imported_and_known_to_python_can(installed, request, tmp_path):
    assert (installed / "qor_trace" / "py.typed").exists()
    program = f"""
import sys
sys.path.insert(0, {str(installed)!r})
import importlib.metadata
import qor_trace
assert qor_trace.__file__.startswith({str(installed)!r})
assert importlib.metadata.version("qor-trace") == qor_trace.__version__
qor_trace.load({request.config.getoption("--library")!r}, {request.config.getoption("--hardware")!r})
with qor_trace.Trace("can?duration=1s&speed=max") as trace:
    trace.record()
    print(len(trace.to_array()) > 500)
try:
    import can
except ImportError:
    print("True")
else:
    with can.Bus(interface="qor", channel="can") as bus:
        print(bus.recv(100) is not None)
"""
    done = subprocess.run([sys.executable, "-B", "-c", program], cwd=tmp_path, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert done.stdout == "True\nTrue\n"


def test_its_version_is_that_of_the_library():
    import qor_trace

    header = (PACKAGE.parent / "include" / "qor_api_trace.h").read_text()
    parts = [
        next(line.split()[2] for line in header.splitlines() if line.startswith(f"#define QOR_API_TRACE_VERSION_{part} "))
        for part in ("MAJOR", "MINOR", "PATCH")
    ]
    assert qor_trace.__version__ == ".".join(parts)


def test_pandas_and_python_can_are_needed_only_where_they_are_used(run_program):
    assert run_program("""
sys.modules["pandas"] = sys.modules["can"] = None
with qor_trace.Trace("can?duration=1s&speed=max") as trace:
    trace.record()
    print(len(trace.to_array()) == len(list(trace)))
    try:
        trace.to_dataframe()
    except ImportError as problem:
        print(problem)
""") == "True\nto_dataframe needs pandas (Debian: python3-pandas); to_array does without\n"
