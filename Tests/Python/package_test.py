"""The Python package: the same frames as the command's, in numpy's terms.

Run by pytest, with the package on its path and VEXMORA_COMMAND and VEXMORA_STREAMS in its environment.
"""

import doctest
import json
import multiprocessing
import os
import pickle
import random
import signal
import subprocess
import sys
from hashlib import md5
from pathlib import Path

import numpy
import pytest

import vexmora

STREAMS = Path(os.environ["VEXMORA_STREAMS"])
SAMPLE = Path(__file__).resolve().parents[2] / "Samples/frame-numbers.ts"


def command(*arguments):
    """What the command writes to standard output."""
    run = [os.environ["VEXMORA_COMMAND"], *map(str, arguments)]
    return subprocess.run(run, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False).stdout


@pytest.fixture(autouse=True, scope="session")
def index_dir(tmp_path_factory):
    folder = tmp_path_factory.mktemp("cache")
    os.environ["XDG_CACHE_HOME"] = str(folder)
    return folder / "vexmora"


@pytest.fixture(scope="session")
def movie(index_dir):
    return vexmora.open(SAMPLE)


def hashes(frames):
    return [(frame.number, md5(b"".join(map(bytes, (frame.y, frame.u, frame.v)))).hexdigest()) for frame in frames]


@pytest.mark.parametrize("name", ["odd-up-352x240.m2v", "tiny-100x76.mpg", "silent-64x48.ts"])
@pytest.mark.parametrize("scale", ["full", "half", "quarter"])
def test_frames_are_the_command_s(name, scale):
    lines = command("hash", "--scale", scale, STREAMS / name).decode().split("\n")[:-1]
    expected = [(int(number), digest) for number, digest in (line.split(", ") for line in lines)]
    film = vexmora.open(STREAMS / name)
    numbers = random.Random(1).sample(range(len(film)), len(film))
    assert hashes(film.frames(scale=scale)) == expected
    assert hashes(film.frame(number, scale=scale) for number in numbers) == [expected[number] for number in numbers]


@pytest.mark.parametrize("name", ["hd-1920x1080.m2v", "top-720x576.m2v", "tiny-odd-96x80.m2v"])
@pytest.mark.parametrize("square", [False, True])
def test_colours_are_the_command_s(name, square, tmp_path):
    picture = tmp_path / "frame.png"
    command("frame", "-q", *([] if square else ["--coded-size"]), STREAMS / name, 2, "-o", picture)
    decoding = ["ffmpeg", "-v", "error", "-i", picture, "-f", "rawvideo", "-pix_fmt", "rgb24", "-"]
    rgb = vexmora.open(STREAMS / name)[2].rgb(square=square)
    assert rgb.tobytes() == subprocess.run(decoding, stdout=subprocess.PIPE, check=True).stdout


def test_places(movie):
    def numbers(frames):
        return [frame.number for frame in frames]

    assert [movie[place].number for place in (0, -1, -250, numpy.int64(7), "00:00:01:05", "00:00:01.2")] == [
        0, 249, 0, 7, 30, 30,
    ]  # fmt: skip
    assert numbers(movie[-3:]) == numbers(movie.frames(-3)) == numbers(movie[::-1][:3][::-1]) == [247, 248, 249]
    assert numbers(movie[10:40:10][1:]) == [20, 30] and len(movie[5:1]) == 0 and list(movie[5:1]) == []
    assert numbers(movie["00:00:01:05":33]) == numbers(movie.frames("00:00:01:05", 33)) == [30, 31, 32]


def test_arrays_are_the_picture(movie):
    y, again = movie[3].y, movie[3].y
    assert y.ctypes.data == again.ctypes.data and y.shape == (576, 720) and movie[3].v.shape == (288, 360)
    with pytest.raises(ValueError):
        y.flags.writeable = True
    other = vexmora.open(SAMPLE)
    kept, records = next(iter(other)), other.records
    plane, expected, offsets = kept.u, kept.u.copy(), records["offset"].copy()
    del other, kept
    assert (plane == expected).all() and (records["offset"] == offsets).all() and not records.flags.writeable


def test_facts(movie):
    told = json.loads(command("info", "--json", "--records", SAMPLE))
    records = movie.records
    rows = zip(*(records[name].tolist() for name in ("offset", "size", "past_ref_delta", "future_ref_delta")))
    assert len(told["records"]) == len(records) == movie.info["record_count"]
    assert [(row["offset"], row["size"]) for row in told["records"]] == [row[:2] for row in rows]
    assert ["?IPB"[kind] for kind in (records["flags"] >> 13 & 3)] == [frame.type for frame in movie]
    frame = movie[26]
    assert (frame.presentation_time - movie[0].presentation_time, frame.time_code) == (26 * 3600, "00:00:01:01")
    assert (numpy.diff(movie.presentation_times) == 3600).all()
    assert frame.top_field_first and not frame.progressive and not frame.broken_link


def test_damage_is_the_check_s(tmp_path):
    content = bytearray(SAMPLE.read_bytes())
    content[400008:400150] = bytes(142)
    path = tmp_path / "damaged.ts"
    path.write_bytes(content)
    told = json.loads(command("check", "-q", "--json", path))
    frames = [frame for frame in vexmora.open(path) if frame.damaged]
    spans = [number for span in told["ranges"] for number in range(span["first"], span["last"] + 1)]
    assert [frame.number for frame in frames] == spans and spans
    assert any(frame.damaged_macroblocks for frame in frames)


@pytest.mark.parametrize(
    "make, kind, words",
    [
        (lambda movie: vexmora.open("/nowhere.ts"), vexmora.FileError, "check the path"),
        (lambda movie: vexmora.open(__file__), vexmora.UnsupportedError, "check the file"),
        (lambda movie: vexmora.open([]), vexmora.FileError, ""),
        (lambda movie: vexmora.open(SAMPLE, pid=77), vexmora.UnsupportedError, ""),
        (lambda movie: movie[250], IndexError, "its frames are 0 to 249"),
        (lambda movie: movie["00:00:59:00"], vexmora.NoSuchFrameError, "250 frames"),
        (lambda movie: movie["noon"], ValueError, "write 00:01:02:03"),
    ],
)
def test_errors_advise(movie, make, kind, words):
    with pytest.raises(kind) as raised:
        make(movie)
    error = raised.value
    assert isinstance(error, vexmora.Error) and error.advice in str(error) and words in error.advice
    assert str(pickle.loads(pickle.dumps(error))) == str(error)


@pytest.mark.parametrize(
    "progress, raised",
    [
        (lambda done, total: False, vexmora.Cancelled),
        (lambda done, total: 1 / 0, ZeroDivisionError),
        (lambda done, total: signal.raise_signal(signal.SIGINT), KeyboardInterrupt),
    ],
)
def test_indexing_is_cancelled(progress, raised, tmp_path):
    with pytest.raises(raised):
        vexmora.open(SAMPLE, index_dir=tmp_path / "index", progress=progress)
    assert not list(tmp_path.rglob("*.mpgindex"))


def luma_of(frames):
    return [int(frame.y.sum()) for frame in frames]


def test_movies_travel(movie):
    parts = [movie[:9], movie[100:109]]
    with multiprocessing.get_context("spawn").Pool(2) as pool:
        assert pool.map(luma_of, parts) == [luma_of(part) for part in parts]


def test_lazy_array(movie):
    array = movie.to_dask("y", scale="quarter", least=20)
    starts = numpy.flatnonzero(movie.records["flags"] >> 13 == 1)
    cuts = numpy.cumsum((0, *array.chunks[0]))
    assert array.shape == (250, 288, 360) and set(cuts[:-1]) <= set(starts) and min(array.chunks[0][:-1]) >= 20
    assert (array[120:123].compute() == [frame.y for frame in movie.frames(120, 123, scale="quarter")]).all()
    assert movie.to_dask()[7].compute().tobytes() == movie[7].rgb().tobytes()


def test_documentation(movie):
    options = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
    for module in (vexmora, vexmora.errors):
        assert doctest.testmod(module, extraglobs={"SAMPLE": SAMPLE}, optionflags=options)[0] == 0


def test_types():
    package = Path(vexmora.__file__).parent
    config = Path(__file__).resolve().parents[2] / "Bindings/python/pyproject.toml"
    subprocess.run([sys.executable, "-m", "mypy", "--config-file", config, package], check=True)
