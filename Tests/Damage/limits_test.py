#!/usr/bin/env python3
"""Files and pictures as large as they may be, and time stamps that wrap around. Arguments: see support.py.

VEXMORA_LARGE=1: also a file of 6 GB, which is a hole for the most part.
"""
import json
import os
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / 'Command'))
from media import PACKET, SYNC  # noqa: E402
from support import STREAMS, WORK, Case, info, main, made, run  # noqa: E402

PID = 0x100
MIB = 1 << 20
LARGEST_PICTURE = 16 * MIB
SEQUENCE_END = b'\0\0\1\xb7'


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
        """A day of video has 2 160 000, ten in each repeat."""
        stream = STREAMS / 'tiny-16x16.m2v'
        repeats = int(os.environ.get('VEXMORA_REPEATS', 216_000))
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
            self.assertEqual(hashes(over), expected)  # cut where no picture is that large


class TimeStamps(Case):
    def test_wrapping_ones_change_nothing(self):
        """PTS, DTS, PCR and SCR count 90 kHz ticks in 33 bits: here they wrap around on the way."""
        for name in ('b3-100x76.ts', 'ac3-closed-352x240.ts', 'small-100x76.mpg', 'ac3-352x288.vob'):
            kind, begin = ('mpegts', 95441.8) if name.endswith('.ts') else ('vob', 95443.2)
            found = []
            for seconds in (1000, begin):
                path = WORK / f'{seconds}-{name}'
                subprocess.run(['ffmpeg', '-v', 'quiet', '-y', '-i', STREAMS / name, '-map', '0', '-c', 'copy', '-f', kind,
                                '-output_ts_offset', str(seconds), path], check=True, timeout=60)
                found.append((hashes(path), {key: value for key, value in info(path).items()
                                             if key not in ('file', 'parts', 'index_file', 'first_time', 'last_time', 'records')}))
            self.assertNotEqual(path.read_bytes(), (WORK / f'1000-{name}').read_bytes())
            self.assertEqual(found[0], found[1])


if __name__ == '__main__':
    main()
