"""Frame-accurate random access to MPEG-2 video.

>>> import vexmora
>>> movie = vexmora.open(SAMPLE)
>>> len(movie), movie.info["width"], movie.info["frame_rate"]
(250, 720, Fraction(25, 1))
>>> frame = movie[-1]
>>> frame.number, frame.type, frame.damaged, frame.time_code
(249, 'P', False, '00:00:09:24')
>>> frame.y.shape, frame.u.shape, frame.rgb().shape
((576, 720), (288, 360), (576, 720, 3))
>>> movie["00:00:01:00"].number
25
>>> [f.type for f in movie[25:30]]
['B', 'B', 'P', 'B', 'B']
>>> max(float(f.y.mean()) for f in movie.frames("00:00:02:00", 60, scale="quarter")) < 255
True
>>> movie.records["size"].max()
55862
>>> movie[250]
Traceback (most recent call last):
    ...
vexmora.errors.NoSuchFrameError: ...: it has no frame 250 (its frames are 0 to 249)

A movie may be used by several threads; one of them decodes at a time. Movies and rows of their frames travel
to other processes by path and options. Start those processes afresh (`multiprocessing.get_context("spawn")`), or
fork while no frames are being decoded.
"""

from vexmora._vexmora import Frame
from vexmora.errors import BadTimeError, Cancelled, Error, FileError, NoSuchFrameError, UnsupportedError
from vexmora.movie import Frames, Movie, open

__all__ = [
    "BadTimeError",
    "Cancelled",
    "Error",
    "FileError",
    "Frame",
    "Frames",
    "Movie",
    "NoSuchFrameError",
    "UnsupportedError",
    "open",
]
