#!/usr/bin/env python3
"""Files and pictures as large as they may be, and time stamps that wrap around. Arguments: see support.py.

VEXMORA_LARGE=1: also a file of 6 GB, which is a hole for the most part.
"""
import json
import os
import sys
import unittest
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / 'Command'))
from media import PACK, PACKET, SYNC, Media  # noqa: E402
from support import STREAMS, Case, main, made, run  # noqa: E402

PID = 0x100
MIB = 1 << 20
LARGEST_PICTURE = 16 * MIB
SEQUENCE_END = b'\0\0\1\xb7'
WRAP = 1 << 33
TICKS_AN_HOUR = 3600 * 90000


def info(file):
    return json.loads(run('info', '--json', '--records', file).stdout)


def hashes(file, first=None, last=None):
    """Of the frames, in order."""
    options = () if first is None else ('--range', f'{first}:{last}')
    result = run('hash', *options, file)
    assert result.returncode == 0, result.stderr
    return [line.split(', ')[1] for line in result.stdout.splitlines()]


def video_packet(payload):
    stuffing = PACKET - 5 - len(payload)
    return (bytes((SYNC, PID >> 8, PID & 255, 0x30, stuffing)) + bytes(stuffing > 0) + b'\xff' * (stuffing - 1)
            + payload)


class Limits(Case):
    def made(self, name, data):
        path = made(name, data)
        self.addCleanup(path.unlink)
        return path

    @unittest.skipUnless(os.environ.get('VEXMORA_LARGE'), 'takes long: set VEXMORA_LARGE=1')
    def test_positions_beyond_4_gib(self):
        """Pictures all along a file of 6 GB that is one hole between them; none may be further away than 16 MiB."""
        stream = STREAMS / 'tiny-64x48.ts'
        piece = stream.read_bytes() + video_packet(SEQUENCE_END)
        step, size = 15 * MIB, 6_000_000_000
        path = self.made('sparse.ts', b'')
        places = range(0, size - len(piece), step)
        with path.open('wb') as file:
            for place in places:
                file.seek(place)
                file.write(piece)
            file.truncate(size)
        whole = info(path)
        expected = hashes(stream)
        one = [record['offset'] for record in info(stream)['records']]
        self.assertEqual((whole['stream_length'], whole['frame_count']), (size, len(one) * len(places)))
        self.assertEqual([record['offset'] for record in whole['records']],
                         [place + offset for place in places for offset in one])
        for place in (0, 4 * 1024 // 15, len(places) - 2):
            first = place * len(one)
            self.assertEqual(hashes(path, first, first + 2 * len(one) - 1), 2 * expected)

    def test_two_million_pictures(self):
        """A day of video has 2 160 000."""
        stream = STREAMS / 'tiny-16x16.m2v'
        repeats = 216_000
        path = self.made('day.m2v', stream.read_bytes() * repeats)
        expected = hashes(stream)
        count = repeats * len(expected)
        self.assertEqual(run('index', path).returncode, 0)
        self.assertEqual(max(index.stat().st_size for index in self.kept()), 88 + 18 * count)
        for first in (0, count // 2, count - 20):
            self.assertEqual(hashes(path, first, first + 19), 2 * expected)
        self.assertEqual(json.loads(run('info', '--json', path).stdout)['frame_count'], count)

    def test_largest_picture(self):
        """As many zeros as that before the next start code belong to the picture."""
        stream = STREAMS / 'ip-64x48.m2v'
        data = stream.read_bytes()
        expected = hashes(stream)
        for frame in (0, 42):
            record = info(stream)['records'][frame]
            end = record['offset'] + record['size']
            padding = LARGEST_PICTURE - record['size']
            largest = self.made(f'largest-{frame}.m2v', data[:end] + bytes(padding) + data[end:])
            self.assertEqual(info(largest)['max_picture_size'], LARGEST_PICTURE)
            self.assertEqual(hashes(largest), expected)
            over = self.made(f'over-{frame}.m2v', data[:end] + bytes(padding + 1) + data[end:])
            self.assert_problem(run('hash', over), 3, 'cannot be indexed')


class TimeStamps(Case):
    """PTS, DTS, PCR and SCR count 90 kHz ticks in 33 bits and wrap around every 26.5 hours."""

    def test_wrapping_ones_change_nothing(self):
        for name in ('b3-100x76.ts', 'ac3-closed-352x240.ts', 'small-100x76.mpg', 'ac3-352x288.vob'):
            stream = STREAMS / name
            expected, pictures = info(stream), hashes(stream)
            for hours in (0, 24, 120):
                rewritten, wraps = with_stamps_until(hours, stream.read_bytes())
                self.assertEqual(wraps, 1 + int(hours * TICKS_AN_HOUR / WRAP))
                path = made(f'wrapping-{name}', rewritten)
                found = info(path)
                for key in found.keys() - {'file', 'index_file'}:
                    self.assertEqual(found[key], expected[key], key)
                self.assertEqual(hashes(path), pictures)


def with_stamps_until(hours, data):
    """The stream with other time stamps, and how often they wrap around: the first ones come half a second before the
    end of the count, and the last ones so many hours later (0: as long as they took before)."""
    places = [place for packet in packets_of(data) for place in stamps_in(data, *packet)]
    ticks = [read(data, at) for at, read, _ in places]
    span = max(ticks) - min(ticks)
    pace = max(hours * TICKS_AN_HOUR / span, 1)
    rewritten = bytearray(data)
    wraps = 0
    for (at, _, write), old in zip(places, ticks):
        new = WRAP - 45000 + int((old - min(ticks)) * pace)
        write(rewritten, at, new % WRAP)
        wraps = max(wraps, new // WRAP)
    return rewritten, wraps


def packets_of(data):
    return ((packet.begin, packet.end) for packet in Media(data).packets)


def stamps_in(data, begin, end):
    """Where a packet has a time stamp, and how it is read and written."""
    pes = begin
    if data[begin] == SYNC:
        pes += 4
        if data[begin + 3] & 0x20:
            pes += 1 + data[begin + 4]
            if data[begin + 4] >= 7 and data[begin + 5] & 0x10:
                yield begin + 6, read_pcr, write_pcr
        if not data[begin + 1] & 0x40:
            return
    elif data[begin + 3] == PACK:
        yield begin + 4, read_scr, write_scr
        return
    if pes + 19 <= end and data[pes:pes + 3] == b'\0\0\1' and data[pes + 6] & 0xc0 == 0x80:
        for number in range(data[pes + 7] >> 6 & 1 if data[pes + 7] & 0x80 else -1, -1, -1):
            yield pes + 9 + 5 * number, read_pts, write_pts


def read_pcr(data, at):
    return int.from_bytes(data[at:at + 5], 'big') >> 7


def write_pcr(data, at, ticks):
    data[at:at + 5] = (ticks << 7 | data[at + 4] & 0x7f).to_bytes(5, 'big')


def read_pts(data, at):
    middle, low = data[at + 1] << 7 | data[at + 2] >> 1, data[at + 3] << 7 | data[at + 4] >> 1
    return (data[at] >> 1 & 7) << 30 | middle << 15 | low


def write_pts(data, at, ticks):
    middle, low = ticks >> 15 & 0x7fff, ticks & 0x7fff
    data[at:at + 5] = bytes((data[at] & 0xf0 | ticks >> 29 & 14 | 1, middle >> 7, middle << 1 & 0xff | 1,
                             low >> 7, low << 1 & 0xff | 1))


# Bits of the ticks lie on both sides of the marker bits.
SCR_PIECES = ((30, 3, 43), (15, 15, 27), (0, 15, 11))  # lowest bit of the ticks, bits, lowest bit in the field


def read_scr(data, at):
    field = int.from_bytes(data[at:at + 6], 'big')
    return sum((field >> place & (1 << bits) - 1) << lowest for lowest, bits, place in SCR_PIECES)


def write_scr(data, at, ticks):
    field = int.from_bytes(data[at:at + 6], 'big')
    for lowest, bits, place in SCR_PIECES:
        mask = (1 << bits) - 1
        field = field & ~(mask << place) | (ticks >> lowest & mask) << place
    data[at:at + 6] = field.to_bytes(6, 'big')


if __name__ == '__main__':
    main()
