"""The compiled part."""

from pathlib import Path
from typing import Any, Callable, Dict, Iterator, List, Optional, Sequence

import numpy
from numpy.typing import NDArray

class Scale:
    full: Scale
    half: Scale
    quarter: Scale

class Frame:
    """A decoded picture, with what is known about its soundness.

    Of a frame that the stream does not hold it is the picture that stands in; number is that asked for, what
    else it tells is of the picture shown.
    """

    @property
    def number(self) -> int: ...
    @property
    def record(self) -> int:
        """Where Movie.records has the picture that is shown."""
    @property
    def y(self) -> NDArray[numpy.uint8]:
        """Luma, lines by samples: the decoded memory itself, read-only, kept for as long as the array lives."""
    @property
    def u(self) -> NDArray[numpy.uint8]:
        """Cb, half as wide and half as high."""
    @property
    def v(self) -> NDArray[numpy.uint8]:
        """Cr, likewise."""
    def rgb(self, *, square: bool = False) -> NDArray[numpy.uint8]:
        """Lines by samples by red, green and blue, in the stream's colours; square makes samples as wide as high."""
    @property
    def damaged(self) -> bool:
        """Whether any sample may be another than the stream's maker encoded."""
    @property
    def undecodable(self) -> bool: ...
    @property
    def damaged_macroblocks(self) -> int: ...
    @property
    def inherited_damage(self) -> int:
        """Macroblocks that could not be decoded in the pictures that this one is predicted from."""
    @property
    def stands_in(self) -> bool:
        """It stands in for a frame that the stream does not hold."""
    @property
    def macroblocks(self) -> int: ...
    @property
    def type(self) -> Optional[str]:
        """I, P or B."""
    @property
    def temporal_reference(self) -> int: ...
    @property
    def progressive(self) -> bool: ...
    @property
    def top_field_first(self) -> bool: ...
    @property
    def repeat_first_field(self) -> bool: ...
    @property
    def broken_link(self) -> bool: ...
    @property
    def presentation_time(self) -> Optional[int]:
        """90 kHz. Reads the recording when times are asked for first."""
    @property
    def time_code(self) -> Optional[str]:
        """HH:MM:SS:FF, or ;FF where frames are dropped. Likewise."""

class Run(Iterator[Frame]):
    def __next__(self) -> Frame: ...

class OpenMovie:
    def info(self) -> Dict[str, Any]: ...
    def records(self) -> NDArray[numpy.void]: ...
    def presentation_times(self) -> NDArray[numpy.int64]: ...
    def frames_at(self, time: str) -> Optional[List[int]]: ...
    def frame(self, number: int, scale: Scale) -> Frame: ...
    def run(self, first: int, count: int, scale: Scale, threads: int) -> Run: ...

def open(
    paths: Sequence[Path],
    index_dir: Path,
    force_reindex: bool,
    conceal_errors: bool,
    program: Optional[int],
    pid: Optional[int],
    progress: Optional[Callable[[int, int], Optional[bool]]],
) -> OpenMovie: ...
