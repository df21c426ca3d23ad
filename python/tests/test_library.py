"""The shared libraries: found, or missed with one clear message."""

import ctypes
import pathlib
import shutil

import pytest

import qor_trace
from qor_trace import LoadError, _library, _program


@pytest.fixture
def nothing_loaded(monkeypatch):
    monkeypatch.setattr(_library, "_loaded", None)


def test_the_loaded_library_knows_its_files(request):
    library = qor_trace.load()
    assert pathlib.Path(library.path).samefile(request.config.getoption("--library"))
    assert pathlib.Path(library.hardware_path).samefile(request.config.getoption("--hardware"))
    assert "libqor_api_trace.so.2" in repr(library) and library.has_sources


def test_a_process_has_one_library_of_each_kind(request, tmp_path):
    library = request.config.getoption("--library")
    assert qor_trace.load(library) is qor_trace.load(hardware="simulator")
    other = shutil.copy(library, tmp_path / "libqor_api_trace.so.2")
    for arguments in ({"library": other}, {"library": tmp_path}, {"hardware": other}):
        with pytest.raises(LoadError, match="loaded already"):
            qor_trace.load(**arguments)


def test_a_library_that_isnt_there_is_named(nothing_loaded, tmp_path):
    with pytest.raises(LoadError, match="There is no libqor_api_trace.so.2 in"):
        qor_trace.load(tmp_path)
    with pytest.raises(LoadError, match="missing.so can't be loaded"):
        qor_trace.load(tmp_path / "missing.so")
    with pytest.raises(LoadError, match="hardware library can't be loaded"):
        qor_trace.load(hardware=tmp_path / "missing.so")


def test_a_file_that_is_another_library_is_refused(nothing_loaded):
    with pytest.raises(LoadError, match="has no Qor_Trace_Allocate: it isn't the library"):
        qor_trace.load("/lib/x86_64-linux-gnu/libz.so.1" if pathlib.Path("/lib/x86_64-linux-gnu/libz.so.1").exists() else "libc.so.6")


def refuse(name):
    """A loader that doesn't find a library."""

    def load(path, *_, **__):
        raise OSError(f"{name}: cannot open shared object file: No such file or directory")

    return load


def test_without_the_trace_library_one_message_says_what_to_do(nothing_loaded, monkeypatch):
    monkeypatch.setattr(ctypes, "CDLL", refuse("libqor_api_trace.so.2"))
    with pytest.raises(LoadError, match=r'isn\'t installed where the system\'s loader looks.*qor_trace.load\("/opt/qor"\)'):
        qor_trace.Trace()


def test_without_a_hardware_library_one_message_says_what_to_do(nothing_loaded, monkeypatch):
    monkeypatch.setattr(ctypes, "CDLL", refuse("libqor_api.so.2"))
    monkeypatch.setattr(_library, "_library_folders", lambda prefix: [])
    with pytest.raises(LoadError, match="needs the hardware library, libqor_api.so.2, and there is none: install the maker's"):
        qor_trace.Trace()
    with pytest.raises(LoadError, match="stand-in hardware library .* isn't installed beside"):
        qor_trace.load(hardware="simulator")


def test_the_makers_library_has_no_sources(monkeypatch):
    """It is the same library without the calls of the stand-in."""
    library = qor_trace.load()
    monkeypatch.setattr(library, "has_sources", False)
    monkeypatch.setattr(library, "hardware_path", "/usr/lib/libqor_api.so.2")
    for call in (lambda: qor_trace.Port("can"), lambda: qor_trace.expand_source("vehicle"), qor_trace.interfaces):
        with pytest.raises(LoadError, match="/usr/lib/libqor_api.so.2 is the maker's hardware library, .*open the port with it"):
            call()
    with pytest.raises(LoadError, match="one hardware library"):
        qor_trace.load(hardware="simulator")
    with qor_trace.Trace() as trace, pytest.raises(qor_trace.NoChannelError) as failed:
        trace.start()
    assert failed.value.text == "", "whose reports can't be read"


def test_the_stand_in_is_found_beside_the_library(tmp_path):
    (tmp_path / "lib" / "qor-sim").mkdir(parents=True)
    for place in ("libqor_api_trace.so.2", "qor-sim/libqor_api.so.2"):
        (tmp_path / "lib" / place).touch()
    library = _library._library_file(tmp_path)
    assert library == tmp_path / "lib" / "libqor_api_trace.so.2"
    assert _library._find_simulator(library) == tmp_path / "lib" / "qor-sim" / "libqor_api.so.2"


def test_the_program_is_looked_for_on_the_path_and_beside_the_library(monkeypatch, tmp_path):
    monkeypatch.setattr(shutil, "which", lambda _: None)
    monkeypatch.setattr(qor_trace.load(), "path", str(tmp_path / "lib" / "libqor_api_trace.so.2"))
    with pytest.raises(LoadError, match='The program qor-trace isn\'t installed.*program="/opt/qor/bin/qor-trace"'):
        _program.find_program()
    (tmp_path / "bin").mkdir()
    (tmp_path / "bin" / "qor-trace").touch()
    assert _program.find_program() == str(tmp_path / "bin" / "qor-trace")
    monkeypatch.setattr(shutil, "which", lambda _: "/usr/bin/qor-trace")
    assert _program.find_program() == "/usr/bin/qor-trace"
    assert _program.find_program("/x") == "/x"


def test_the_structures_have_the_interfaces_sizes():
    """sizeof() of the C structures, as qor_api_trace.h and qor_sim.h give them on x86-64 and aarch64."""
    expected = {
        "AddChannelRequest": 12, "AddChannelResponse": 12, "ExportRequest": 276, "SimStatus": 56, "SimInterface": 152,
        "SimHostInterface": 488, "SimReport": 508, "SimNotice": 312,
    }  # fmt: skip
    assert {name: ctypes.sizeof(getattr(_library, name)) for name in expected} == expected
