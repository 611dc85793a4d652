"""Movies, and rows of their frames."""

from __future__ import annotations

import operator
import os
from pathlib import Path
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Optional, Sequence, Tuple, Union, overload

from vexmora import _vexmora
from vexmora._vexmora import Frame
from vexmora.errors import BadTimeError, NoSuchFrameError

if TYPE_CHECKING:
    import dask.array
    import numpy

StrPath = Union[str, "os.PathLike[str]"]
#: A frame number, negative ones counted from the end, or a time: "HH:MM:SS:FF" or "HH:MM:SS.mmm".
Place = Union[int, str]


def open(
    path: Union[StrPath, Sequence[StrPath]],
    *,
    index_dir: Optional[StrPath] = None,
    program: Optional[int] = None,
    pid: Optional[int] = None,
    force_reindex: bool = False,
    conceal_errors: bool = False,
    progress: Optional[Callable[[int, int], Optional[bool]]] = None,
) -> Movie:
    """Opens a recording, or the parts of one in their order; indexes it first when its index is not known.

    index_dir: folder of the index files, instead of the user's cache.
    program, pid: which video of the recording, instead of the first that can be shown.
    force_reindex: index it even if its index is known.
    conceal_errors: show references instead of the red of errors.
    progress: called with bytes done and bytes in all while the recording is indexed; answering False raises
        Cancelled. Ctrl-C ends indexing too, and nothing is left on disk.
    """
    paths = [path] if isinstance(path, (str, os.PathLike)) else list(path)
    files = [Path(part).absolute() for part in paths]
    options: Dict[str, Any] = {
        "index_dir": Path(index_dir).absolute() if index_dir else Path(""),
        "conceal_errors": conceal_errors,
        "program": program,
        "pid": pid,
    }
    opened = _vexmora.open(files, force_reindex=force_reindex, progress=progress, **options)
    return Movie(opened, files, options)


def _reopen(paths: List[Path], options: Dict[str, Any]) -> Movie:
    return Movie(_vexmora.open(paths, force_reindex=False, progress=None, **options), paths, options)


class Frames(Sequence[Frame]):
    """Some frames of a movie: a list whose elements are decoded as they are asked for.

    Going through neighbouring ones decodes ahead on all processors.
    """

    def __init__(self, movie: Movie, numbers: range, scale: str = "full", threads: int = 0) -> None:
        self.movie = movie
        self.numbers = numbers
        self.scale = scale
        self.threads = threads
        _scale(scale)

    def __len__(self) -> int:
        return len(self.numbers)

    @overload
    def __getitem__(self, place: int) -> Frame: ...
    @overload
    def __getitem__(self, place: slice) -> Frames: ...
    def __getitem__(self, place: Union[int, slice]) -> Union[Frame, Frames]:
        if isinstance(place, slice):
            return Frames(self.movie, self.numbers[place], self.scale, self.threads)
        return self.movie.frame(self.numbers[place], scale=self.scale)

    def __iter__(self) -> Iterator[Frame]:
        if self.numbers.step != 1:
            return (self.movie.frame(number, scale=self.scale) for number in self.numbers)
        return self.movie._opened.run(
            self.numbers.start if self.numbers else 0, len(self.numbers), _scale(self.scale), self.threads
        )

    def __repr__(self) -> str:
        return f"<vexmora.Frames {self.numbers} of {self.movie}>"


class Movie(Sequence[Frame]):
    """An open recording: a list of its frames, and what the recording tells of them."""

    def __init__(self, opened: _vexmora.OpenMovie, paths: List[Path], options: Dict[str, Any]) -> None:
        """Called by open."""
        self._opened = opened
        self._paths = paths
        self._options = options
        #: Sizes, rates, colours and places by their names.
        self.info: Dict[str, Any] = opened.info()

    @property
    def records(self) -> numpy.ndarray[Any, Any]:
        """Every picture position in display order, as the index has them; frame 0 is at info["first_frame"].

        picture_coding_type is (flags >> 13) & 3, temporal_reference flags & 1023.
        """
        return self._opened.records()

    @property
    def presentation_times(self) -> numpy.ndarray[Any, Any]:
        """Of each frame, 90 kHz; -1 where the stream tells none. Reads the recording when asked for first."""
        return self._opened.presentation_times()

    def __len__(self) -> int:
        return int(self.info["frame_count"])

    @overload
    def __getitem__(self, place: Place) -> Frame: ...
    @overload
    def __getitem__(self, place: slice) -> Frames: ...
    def __getitem__(self, place: Union[Place, slice]) -> Union[Frame, Frames]:
        if isinstance(place, slice):
            return Frames(self, range(len(self))[slice(self._end(place.start), self._end(place.stop), place.step)])
        return self.frame(place)

    def __iter__(self) -> Iterator[Frame]:
        return iter(self.frames())

    def frame(self, place: Place, *, scale: str = "full") -> Frame:
        """The picture of a frame; scale is "full", "half" (as wide) or "quarter" (half as wide and high)."""
        return self._opened.frame(self.number(place), _scale(scale))

    def frames(
        self, first: Optional[Place] = None, behind: Optional[Place] = None, *, scale: str = "full", threads: int = 0
    ) -> Frames:
        """The frames from first on, up to that before behind, on so many threads; 0 for all processors."""
        if not 0 <= threads <= 256:
            raise ValueError("threads: 0 to 256")
        return Frames(self, range(len(self))[slice(self._end(first), self._end(behind))], scale, threads)

    def number(self, place: Place) -> int:
        """The number of a frame, from 0 on."""
        if isinstance(place, str):
            return self._number_at(place)
        number = operator.index(place)
        counted = number + len(self) if number < 0 else number
        if not 0 <= counted < len(self):
            raise NoSuchFrameError(self.path, f"it has no frame {number}", f"its frames are 0 to {len(self) - 1}")
        return counted

    @property
    def path(self) -> Path:
        """Absolute; of several files the first."""
        return self._paths[0]

    def to_dask(self, plane: str = "rgb", *, scale: str = "full", least: int = 1) -> dask.array.Array:
        """All frames as one lazy array, in chunks of whole groups of pictures; see vexmora.lazy."""
        from vexmora.lazy import to_dask

        return to_dask(self, plane, scale=scale, least=least)

    def __reduce__(self) -> Tuple[Any, ...]:
        return _reopen, (self._paths, self._options)

    def __repr__(self) -> str:
        return f"<vexmora.Movie {os.fspath(self.path)!r}: {len(self)} frames>"

    def _end(self, place: Optional[Place]) -> Optional[int]:
        return self._number_at(place) if isinstance(place, str) else place

    def _number_at(self, time: str) -> int:
        found = self._opened.frames_at(time)
        if found is None:
            raise BadTimeError(self.path, f"'{time}' is no time", "write 00:01:02:03 or 00:01:02.120")
        if not found:
            raise NoSuchFrameError(self.path, f"it has no frame at {time}", f"it has {len(self)} frames")
        if len(found) > 1:
            raise BadTimeError(
                self.path,
                f"{len(found)} of its frames have the time code {time}",
                f"name frame {found[0]}, {found[1]} or another by its number",
            )
        return found[0]


def _scale(name: str) -> _vexmora.Scale:
    try:
        return {
            "full": _vexmora.Scale.full,
            "half": _vexmora.Scale.half,
            "quarter": _vexmora.Scale.quarter,
        }[name]
    except KeyError:
        raise ValueError(f"scale: full, half or quarter, not {name!r}") from None
