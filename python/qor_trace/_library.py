"""The two shared libraries: where they are, and their calls.

A process has one trace library and one hardware library. They are loaded by :func:`load`, or at the first use as ``load()``
without arguments would.
"""

from __future__ import annotations

import ctypes
import os
import sysconfig
import threading
from ctypes import POINTER, byref, c_char, c_char_p, c_ubyte, c_uint, c_ulong, c_ushort, c_void_p
from pathlib import Path
from typing import Any, Iterator, List, Optional, Tuple, Union

from ._errors import LoadError, error_for

TRACE_LIBRARY = "libqor_api_trace.so.2"
HARDWARE_LIBRARY = "libqor_api.so.2"
SIMULATOR = "simulator"

PathText = Union[str, "os.PathLike[str]"]


class AddChannelRequest(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("Reserved", c_uint), ("PortHandle", c_uint), ("ChannelId", c_uint)]


class AddChannelResponse(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("Reserved1", c_uint), ("ChannelId", c_uint), ("Reserved2", c_uint)]


class ExportRequest(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("Flags", c_uint), ("FileName", c_char * 260), ("MaxFileSize", c_ulong), ("Extra", c_uint)]


assert ctypes.sizeof(AddChannelRequest) == 12 and ctypes.sizeof(ExportRequest) == 276


class SimStatus(ctypes.Structure):
    _fields_ = [
        ("Offered", c_ulong),
        ("Delivered", c_ulong),
        ("Lost", c_ulong),
        ("FirstLostTime", c_ulong),
        ("LastLostTime", c_ulong),
        ("Buffered", c_uint),
        ("Finished", c_uint),
        ("Gone", c_uint),
    ]


class SimInterface(ctypes.Structure):
    _fields_ = [
        ("Type", c_uint),
        ("BitRate", c_ulong),
        ("DataBitRate", c_ulong),
        ("Name", c_char * 64),
        ("Hardware", c_char * 64),
    ]


class SimHostInterface(ctypes.Structure):
    _fields_ = [
        ("Name", c_char * 64),
        ("Type", c_uint),
        ("State", c_char * 32),
        ("BitRate", c_ulong),
        ("DataBitRate", c_ulong),
        ("Driver", c_char * 64),
        ("Obstacle", c_uint),
        ("Why", c_char * 300),
    ]


class SimReport(ctypes.Structure):
    _fields_ = [("Level", c_uint), ("Code", c_uint), ("Text", c_char * 500)]


class SimNotice(ctypes.Structure):
    _fields_ = [("Time", c_ulong), ("Kind", c_uint), ("Text", c_char * 300)]


_TRACE_CALLS: List[Tuple[str, List[Any]]] = [
    ("Qor_Trace_Allocate", [c_uint, POINTER(c_uint)]),
    ("Qor_Trace_Delete", [c_uint]),
    ("Qor_Trace_AddChannel", [c_uint, POINTER(AddChannelRequest), POINTER(AddChannelResponse)]),
    ("Qor_Trace_RemoveChannel", [c_uint, c_uint]),
    ("Qor_Trace_ClearChannelList", [c_uint]),
    ("Qor_Trace_Start", [c_uint, c_uint]),
    ("Qor_Trace_Stop", [c_uint]),
    ("Qor_Trace_GetItems", [c_uint, c_uint, c_uint, POINTER(c_uint), POINTER(c_uint), c_void_p]),
    ("Qor_Trace_GetListItems", [c_uint, c_uint, c_uint, POINTER(c_uint), POINTER(c_uint), c_void_p]),
    ("Qor_Trace_Property_GetById", [c_uint, c_uint, c_ushort, POINTER(c_uint), c_char_p]),
    ("Qor_Trace_Property_SetById", [c_uint, c_uint, c_ushort, c_uint, c_char_p]),
    ("Qor_Trace_ExportToASC", [c_uint, POINTER(ExportRequest)]),
    ("Qor_Trace_ExportToPCAP", [c_uint, POINTER(ExportRequest)]),
    ("Qor_Trace_ExportToMDF", [c_uint, POINTER(ExportRequest)]),
]

_SIM_CALLS: List[Tuple[str, List[Any]]] = [
    ("Qor_Sim_OpenPort", [c_char_p, POINTER(c_uint)]),
    ("Qor_Sim_ClosePort", [c_uint]),
    ("Qor_Sim_ExpandSource", [c_char_p, c_char_p, POINTER(c_uint)]),
    ("Qor_Sim_GetStatus", [c_uint, POINTER(SimStatus)]),
    ("Qor_Sim_GetInterface", [c_uint, POINTER(SimInterface)]),
    ("Qor_Sim_ListInterfaces", [POINTER(SimHostInterface), POINTER(c_uint)]),
    ("Qor_Sim_GetReport", [c_uint, POINTER(SimReport)]),
    ("Qor_Sim_GetNotice", [c_uint, c_ulong, POINTER(SimNotice)]),
    ("Qor_Sim_Script_Response", [c_uint, POINTER(c_ubyte), c_uint, c_uint]),
    ("Qor_Sim_Script_Fail", [c_uint, c_uint, c_uint, c_uint]),
]


class Library:
    """The loaded libraries. Attributes: ``trace`` and ``hardware`` (ctypes), and the files that they came from.

    Threads: any. Calls release the interpreter's lock while they run.
    """

    def __init__(self, trace: ctypes.CDLL, hardware: ctypes.CDLL) -> None:
        self.trace = trace
        self.hardware = hardware
        self.path = _mapped_file(TRACE_LIBRARY)
        self.hardware_path = _mapped_file(HARDWARE_LIBRARY)
        for name, arguments in _TRACE_CALLS:
            _declare(trace, name, arguments)
        self.has_sources = hasattr(hardware, "Qor_Sim_OpenPort")
        if self.has_sources:
            for name, arguments in _SIM_CALLS:
                _declare(hardware, name, arguments)
            hardware.Qor_Sim_ErrorText.argtypes = []
            hardware.Qor_Sim_ErrorText.restype = c_char_p
            hardware.Qor_Sim_ReportCount.argtypes = []
            hardware.Qor_Sim_ReportCount.restype = c_uint
            hardware.Qor_Sim_NoticeCount.argtypes = [c_uint]
            hardware.Qor_Sim_NoticeCount.restype = c_ulong

    def __repr__(self) -> str:
        return f"<qor_trace library {self.path}, hardware library {self.hardware_path}>"

    def check(self, status: int, call: str) -> None:
        """Raises what a status stands for, with the library's own text, unless it is 0."""
        if status != 0:
            raise error_for(status, call, self._reported(status))

    def source_error_text(self) -> str:
        """The sentence about this thread's last failed call of the stand-in."""
        return _text(self.hardware.Qor_Sim_ErrorText() or b"")

    def _reported(self, status: int) -> str:
        """The newest report with this code. Each error is reported once, at the moment it happens."""
        if not self.has_sources:
            return ""
        report = SimReport()
        newest = self.hardware.Qor_Sim_ReportCount()
        for index in range(newest - 1, max(newest - 100, 0) - 1, -1):
            if self.hardware.Qor_Sim_GetReport(index, byref(report)) == 0 and report.Code == status:
                return _text(report.Text)
        return ""


_loaded: Optional[Library] = None
_loading = threading.Lock()


def load(library: Optional[PathText] = None, hardware: Optional[PathText] = None) -> Library:
    """Loads the trace library and the hardware library that it needs. Needn't be called where both are installed.

    :param library: the file ``libqor_api_trace.so.2``, or a folder: the one that it is in, or one that it was installed
        under (``/opt/qor``). By default the system's loader looks for it.
    :param hardware: the file ``libqor_api.so.2``; or ``"simulator"`` for the stand-in that comes with the trace library, with
        simulated buses and this machine's own interfaces. By default the maker's library if the loader finds one, else the
        stand-in.
    :raises LoadError: one of them isn't there, or others are loaded already: a process can't change them.
    """
    global _loaded
    with _loading:
        if _loaded is None:
            _loaded = _load(_library_file(library), hardware)
        else:
            _refuse_another(_loaded, _library_file(library), hardware)
        return _loaded


def library() -> Library:
    """The loaded libraries; loads them at the first use."""
    return _loaded if _loaded is not None else load()


def _load(file: Optional[Path], hardware: Optional[PathText]) -> Library:
    if hardware is not None:
        _open_hardware(file, hardware)
    wanted = str(file) if file is not None else TRACE_LIBRARY
    try:
        return _with_hardware(ctypes.CDLL(wanted))
    except OSError as problem:
        reason = str(problem)
    if hardware is None and reason.startswith(HARDWARE_LIBRARY):
        stand_in = _find_simulator(file)
        if stand_in is None:
            raise LoadError(_no_hardware())
        _open_hardware(file, stand_in)
        try:
            return _with_hardware(ctypes.CDLL(wanted))
        except OSError as problem:
            reason = str(problem)
    if reason.startswith(TRACE_LIBRARY):
        raise LoadError(
            f"{TRACE_LIBRARY} isn't installed where the system's loader looks. Install it, or say where it is: "
            'qor_trace.load("/opt/qor")'
        )
    raise LoadError(f"{wanted} can't be loaded: {reason}")


def _with_hardware(trace: ctypes.CDLL) -> Library:
    # It is in the process already, as the trace library needs it; the loader knows it by this name, wherever it was.
    return Library(trace, ctypes.CDLL(HARDWARE_LIBRARY))


def _open_hardware(library_file: Optional[Path], hardware: PathText) -> None:
    file: Optional[Path] = Path(hardware)
    if str(hardware) == SIMULATOR:
        file = _find_simulator(library_file)
        if file is None:
            raise LoadError(
                f"The stand-in hardware library (qor-sim/{HARDWARE_LIBRARY}) isn't installed beside the trace library. "
                'Say where it is: qor_trace.load(hardware="/opt/qor/lib/qor-sim/libqor_api.so.2")'
            )
    assert file is not None
    if file.is_dir():
        file = file / HARDWARE_LIBRARY
    try:
        ctypes.CDLL(str(file.absolute()), mode=ctypes.RTLD_GLOBAL)
    except OSError as problem:
        raise LoadError(f"The hardware library can't be loaded: {problem}") from None


def _no_hardware() -> str:
    return (
        f"The trace library needs the hardware library, {HARDWARE_LIBRARY}, and there is none: install the maker's, or the "
        "stand-in that comes with the trace library, or say where one is: "
        'qor_trace.load(hardware="/opt/qor/lib/qor-sim/libqor_api.so.2")'
    )


def _library_file(place: Optional[PathText]) -> Optional[Path]:
    if place is None:
        return None
    path = Path(place)
    if not path.is_dir():
        return path.absolute()
    for folder in _library_folders(path):
        if (folder / TRACE_LIBRARY).exists():
            return (folder / TRACE_LIBRARY).absolute()
    raise LoadError(f"There is no {TRACE_LIBRARY} in {path} or its lib folders")


def _library_folders(prefix: Path) -> List[Path]:
    multiarch = sysconfig.get_config_var("MULTIARCH")
    return [prefix, prefix / "lib"] + ([prefix / "lib" / multiarch] if multiarch else []) + [prefix / "lib64"]


def _find_simulator(library_file: Optional[Path]) -> Optional[Path]:
    """The stand-in is installed in a folder of its own, where no loader finds it by accident."""
    folders = [library_file.parent] if library_file is not None else []
    if library_file is None:
        for prefix in (Path("/usr/local"), Path("/usr")):
            folders += _library_folders(prefix)
    for folder in folders:
        file = folder / "qor-sim" / HARDWARE_LIBRARY
        if file.exists():
            return file
    return None


def _refuse_another(loaded: Library, file: Optional[Path], hardware: Optional[PathText]) -> None:
    if file is not None and loaded.path is not None and not _same_file(file, loaded.path):
        raise LoadError(f"{loaded.path} is loaded already, and a process has one trace library; {file} can't be loaded as well")
    if hardware is None:
        return
    if str(hardware) == SIMULATOR:
        if not loaded.has_sources:
            raise LoadError(
                f'{loaded.hardware_path} is loaded already, and a process has one hardware library: call load(hardware="simulator") '
                "before anything else"
            )
    elif loaded.hardware_path is not None and not _same_file(_hardware_file(hardware), loaded.hardware_path):
        raise LoadError(f"{loaded.hardware_path} is loaded already, and a process has one hardware library")


def _hardware_file(hardware: PathText) -> Path:
    path = Path(hardware)
    return path / HARDWARE_LIBRARY if path.is_dir() else path


def _same_file(one: PathText, other: PathText) -> bool:
    try:
        return os.path.samefile(one, other)
    except OSError:
        return False


def _declare(library: ctypes.CDLL, name: str, arguments: List[Any]) -> None:
    try:
        call = getattr(library, name)
    except AttributeError:
        raise LoadError(f"{library._name} has no {name}: it isn't the library that this package is for") from None
    call.argtypes = arguments
    call.restype = c_uint


def _mapped_file(soname: str) -> Optional[str]:
    """The file of a loaded library."""
    for path in _mapped_files():
        name = os.path.basename(path)
        if name == soname or name.startswith(soname + "."):
            return path
    return None


def _mapped_files() -> Iterator[str]:
    with open("/proc/self/maps", encoding="utf-8", errors="surrogateescape") as maps:
        for line in maps:
            place = line.find("/")
            if place >= 0:
                yield line[place:].rstrip("\n")


def _text(raw: bytes) -> str:
    return raw.decode("utf-8", "replace")
