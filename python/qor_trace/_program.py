"""The program ``qor-trace``, for the formats that this package doesn't read and write by itself."""

from __future__ import annotations

import os
import shutil
import subprocess
import warnings
from pathlib import Path
from typing import List, Optional

from . import _library
from ._errors import Error, LoadError, RecordingError, RecordingWarning
from ._library import PathText

_NAME = "qor-trace"
_DONE, _WRONG_USAGE, _LOST = 0, 2, 3  # exit codes


def convert(source: PathText, target: PathText, *options: str, program: Optional[PathText] = None) -> None:
    """Converts a recording to the format of the target's name, by ``qor-trace convert``.

    :param options: of that command: ``"--filter", "bus == can"``
    :param program: ``qor-trace``, if it isn't found by itself: on the path of commands, or beside the trace library
    :raises LoadError: the program isn't there
    :raises RecordingError: it fails, with its words. What was there under the target's name is there still.

    Gives a :class:`RecordingWarning` with the program's words when something of the input was lost. Ctrl-C ends the program, too.
    """
    run_program(["convert", os.fspath(source), "-o", os.fspath(target), *options], program)


def run_program(arguments: List[str], program: Optional[PathText] = None) -> None:
    """Runs the program, with its talk kept for errors and warnings."""
    command = [find_program(program), *arguments]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    except OSError as problem:
        raise LoadError(f"{command[0]} can't be run: {problem.strerror}") from None
    words = done.stderr.decode("utf-8", "replace").strip()
    if done.returncode == _LOST:
        warnings.warn(words, RecordingWarning, stacklevel=4)
    elif done.returncode == _WRONG_USAGE:
        raise ValueError(words)
    elif done.returncode != _DONE:
        raise RecordingError(words or f"{_NAME} ended with {done.returncode}")


def find_program(program: Optional[PathText] = None) -> str:
    """:raises LoadError: it isn't there"""
    if program is not None:
        return os.fspath(program)
    found = shutil.which(_NAME) or _beside_library()
    if found is None:
        raise LoadError(
            f"The program {_NAME} isn't installed. Only .bin recordings are read and written without it; install it, or say where "
            'it is: program="/opt/qor/bin/qor-trace"'
        )
    return found


def _beside_library() -> Optional[str]:
    try:
        path = _library.library().path
    except Error:
        return None
    if path is None:
        return None
    for folder in list(Path(path).parents)[1:4]:
        candidate = folder / "bin" / _NAME
        if candidate.exists():
            return str(candidate)
    return None
