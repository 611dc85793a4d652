"""What is installed, called from a language that knows C: every frame of a run, of a recording in two parts.

Usage: ctypes_test.py LIBRARY COMMAND RECORDING FOLDER
"""

import ctypes
import hashlib
import pathlib
import subprocess
import sys
from ctypes import byref, c_char_p, c_int, c_size_t, c_uint32, c_uint64, c_void_p

PROGRESS = ctypes.CFUNCTYPE(c_int, c_void_p, c_uint64, c_uint64)


class Options(ctypes.Structure):
    _fields_ = [("struct_size", c_size_t), ("index_dir", c_char_p), ("progress", PROGRESS), ("user", c_void_p)]
    _fields_ += [(name, c_uint32) for name in ("force_reindex", "conceal_errors", "program", "pid")]


class Plane(ctypes.Structure):
    _fields_ = [("samples", c_void_p), ("stride", c_size_t), ("width", c_uint32), ("height", c_uint32)]


class Picture(ctypes.Structure):
    _fields_ = [("struct_size", c_size_t), ("planes", Plane * 3), ("inherited", c_uint64)]
    _fields_ += [(name, c_uint32) for name in "damaged macroblocks damage flags frame record type scale".split()]


def samples(plane):
    lines = (plane.samples + line * plane.stride for line in range(plane.height))
    return b"".join(ctypes.string_at(line, plane.width) for line in lines)


library, command, recording, folder = ctypes.CDLL(sys.argv[1]), *map(pathlib.Path, sys.argv[2:])
content = recording.read_bytes()
cut = len(content) // 2 + 77  # within a packet
parts = [folder / "part-1", folder / "part-2"]
parts[0].write_bytes(content[:cut])
parts[1].write_bytes(content[cut:])
paths = (c_char_p * 2)(*[str(part).encode() for part in parts])

told = []
go_on = PROGRESS(lambda user, done, total: told.append((done, total)) or 0)
options = Options(ctypes.sizeof(Options), str(folder / "index").encode(), go_on)
movie, run, frame = c_void_p(), c_void_p(), c_void_p()
assert library.vexmora_movie_open_files(paths, c_size_t(2), byref(options), byref(movie)) == 0
assert told[-1] == (len(content), len(content)), told

lines = subprocess.check_output([command, "hash", "-q", recording, "--range", "0:30"], text=True).splitlines()
assert library.vexmora_run_open(movie, 0, len(lines), 0, 0, byref(run)) == 0
for line in lines:
    assert library.vexmora_run_next(run, byref(frame)) == 0
    picture = Picture(ctypes.sizeof(Picture))
    assert library.vexmora_frame_describe(frame, byref(picture)) == 0
    digest = hashlib.md5(b"".join(map(samples, picture.planes))).hexdigest()
    assert f"{picture.frame}, {digest}" == line, line
    assert library.vexmora_frame_release(frame) == 0
    assert library.vexmora_frame_release(frame) == -101
assert library.vexmora_run_next(run, byref(frame)) == 1
# What is still open when the process ends does no harm.
