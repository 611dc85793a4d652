"""What vexmora raises: one tree, each error with what can be done about it."""

from __future__ import annotations

import os
from typing import Dict, Type


class Error(Exception):
    """Something cannot be done.

    >>> error = Error("a.ts", "it is no MPEG-2 video", "name another file")
    >>> str(error)
    'a.ts: it is no MPEG-2 video (name another file)'
    >>> error.advice
    'name another file'
    """

    def __init__(self, path: str | os.PathLike[str], problem: str, advice: str) -> None:
        super().__init__(path, problem, advice)
        #: The file or folder that the problem lies with.
        self.path = path
        self.problem = problem
        #: What the user can do about it.
        self.advice = advice

    def __str__(self) -> str:
        return f"{os.fspath(self.path)}: {self.problem} ({self.advice})"


class FileError(Error):
    """A file or folder cannot be opened, read or written."""


class UnsupportedError(Error):
    """There is no MPEG-2 video in it, or not in a known packaging."""


class Cancelled(Error):
    """The progress callable answered False; nothing is left on disk."""


class NoSuchFrameError(Error, IndexError):
    """The movie has no such frame, or no picture that could stand in for it."""


class BadTimeError(Error, ValueError):
    """A text is no time, or names more than one frame."""


_BY_STATUS: Dict[int, Type[Error]] = {
    -2: UnsupportedError,
    -3: UnsupportedError,
    -4: Cancelled,
    -5: NoSuchFrameError,
}


def from_status(status: int, path: os.PathLike[str], problem: str, advice: str) -> Error:
    """The error of a status of the library."""
    return _BY_STATUS.get(status, FileError)(path, problem, advice)
