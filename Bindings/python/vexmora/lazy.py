"""A movie as one lazy array: the only part that needs dask."""

from __future__ import annotations

from typing import Any, List

import dask
import dask.array
import numpy

from vexmora.movie import Movie

_KINDS = ("rgb", "y", "u", "v")


def groups(movie: Movie, least: int = 1) -> List[range]:
    """The frames cut before I pictures, into ranges of at least so many."""
    first = movie.info["first_frame"]
    flags = movie.records["flags"][first : first + len(movie)]
    starts = numpy.flatnonzero((flags >> 13 & 3) == 1)
    cuts = [0]
    for start in starts.tolist():
        if start - cuts[-1] >= max(1, least):
            cuts.append(start)
    return [range(*ends) for ends in zip(cuts, [*cuts[1:], len(movie)])]


def to_dask(movie: Movie, plane: str = "rgb", *, scale: str = "full", least: int = 1) -> dask.array.Array:
    """Frames by lines by samples (by colours, of "rgb"); plane is "rgb", "y", "u" or "v".

    Each chunk has whole groups of pictures, at least so many frames, and is decoded where and when it is
    computed: the movie travels there by its path. Pictures of another size than the first raise ValueError.
    """
    if plane not in _KINDS:
        raise ValueError(f"plane: {', '.join(_KINDS)}, not {plane!r}")
    shape = _samples(movie.frame(0, scale=scale), plane).shape
    lazy_movie = dask.delayed(movie, pure=True, traverse=False)
    chunks = [
        dask.array.from_delayed(
            dask.delayed(_decode)(lazy_movie, part.start, part.stop, plane, scale, shape), (len(part), *shape), numpy.uint8
        )
        for part in groups(movie, least)
    ]
    return dask.array.concatenate(chunks)


def _samples(frame: Any, plane: str) -> numpy.ndarray[Any, Any]:
    samples: numpy.ndarray[Any, Any] = frame.rgb() if plane == "rgb" else getattr(frame, plane)
    return samples


def _decode(movie: Movie, first: int, behind: int, plane: str, scale: str, shape: Any) -> numpy.ndarray[Any, Any]:
    out = numpy.empty((behind - first, *shape), numpy.uint8)
    for at, frame in enumerate(movie.frames(first, behind, scale=scale, threads=1)):
        samples = _samples(frame, plane)
        if samples.shape != shape:
            raise ValueError(f"frame {frame.number} of {movie.path} is {samples.shape}, the first {shape}")
        out[at] = samples
    return out
