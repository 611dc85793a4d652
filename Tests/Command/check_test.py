#!/usr/bin/env python3
"""Checking and measuring files, and the sample held against its README. Arguments: see support.py."""
import json
import math
import os
import random
import re
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from support import COMMAND, SAMPLE, STREAMS, WORK, Case, main, made, run

PACKET = 188


def records(file):
    return json.loads(run('info', '--json', '--records', file).stdout)['records']


def packets_of(data, record):
    """Positions of the video packets of a picture in a transport stream, its first one left out."""
    first = record['offset']
    pid = int.from_bytes(data[first + 1:first + 3], 'big') & 0x1fff
    return [at for at in range(first + PACKET, min(first + record['size'], len(data)), PACKET)
            if int.from_bytes(data[at + 1:at + 3], 'big') & 0x5fff == pid]  # none in which another picture begins


def coded_bytes(data, record):
    """Positions of bytes in the slices of a picture: the middle third."""
    if data[record['offset']] != 0x47:
        places = range(record['offset'], record['offset'] + record['size'])
    else:
        places = [at for packet in packets_of(data, record) if not data[packet + 3] & 0x20
                  for at in range(packet + 4, packet + PACKET)]
    return places[len(places) // 3:2 * len(places) // 3]


def with_flipped_bits(name, file, frames):
    data, seeded = bytearray(file.read_bytes()), random.Random(1)
    for record in (records(file)[frame] for frame in frames):
        for at in coded_bytes(data, record):
            data[at] ^= seeded.randrange(1, 256)
    return made(name, data)


def predicted_from(frames, all_records):
    """The frames that are predicted from any of these, directly or not; index positions are frame numbers."""
    found = set(frames)
    while more := {record['index'] for record in all_records
                   if {record['past'], record['future']} & found} - found:
        found |= more
    return found - set(frames)


def numbers(report, *findings):
    return {frame for found in report['ranges'] if found['finding'] in findings
            for frame in range(found['first'], found['last'] + 1)}


class Checking(Case):
    def report(self, file, *options):
        result = run('check', '--json', *options, file)
        report = json.loads(result.stdout)
        self.assertEqual((result.returncode, result.stderr), (0 if report['sound'] else 1, ''))
        self.assertEqual(sum(report['frames'].values()), report['frame_count'])
        return report

    def test_sound_files(self):
        files = [SAMPLE, STREAMS / 'b3-closed-352x240.m2v', STREAMS / 'dvd-720x576.vob',
                 STREAMS / 'started-open.ts']
        for scale in ('full', 'half', 'quarter'):
            result = run('check', '--scale', scale, *files)
            self.assertEqual((result.returncode, result.stderr), (0, ''))
            verdicts = [line for line in result.stdout.splitlines() if ': sound: ' in line]
            self.assertEqual([line.split(': ')[0] for line in verdicts], [str(file) for file in files])
            self.assertEqual(verdicts[0], f'{SAMPLE}: sound: 250 frames')
        report = self.report(STREAMS / 'started-open.ts')
        self.assertEqual((report['frames']['sound'], report['index']['pictures_before']), (26, 2))
        self.assertEqual((report['statuses'], report['ranges']), ({'0': 26}, []))

    def test_names_the_frames_whose_bits_were_flipped(self):
        for file, damaged in ((SAMPLE, {37, 100, 102}),
                              (STREAMS / 'b2-open-352x288.m2v', {0, 40, 41, 90})):
            all_records = records(file)
            copy = with_flipped_bits(f'flipped{file.suffix}', file, damaged)
            for scale in ('full', 'half', 'quarter'):
                report = self.report(copy, '--scale', scale)
                self.assertEqual(numbers(report, 'damaged', 'undecodable'), damaged)
                self.assertEqual(numbers(report, 'inherited'), predicted_from(damaged, all_records))
                self.assertEqual(report['frames']['sound'], len(all_records) - len(numbers(
                    report, 'damaged', 'undecodable', 'inherited')))
                self.assertGreaterEqual(report['damaged_macroblocks'], len(damaged))
        copy = WORK / 'flipped.ts'
        lines = run('check', copy).stdout.splitlines()
        self.assertRegex(lines[0], rf'\A{copy}: frame 37: [1-9]\d* macroblocks damaged\Z')
        self.assertIn(f'{copy}: frames 103-104: predicted from damaged or missing pictures', lines)
        self.assertEqual(lines[-1], f'{copy}: damaged: of 250 frames 3 damaged, 3 predicted from those')

    def test_pictures_that_are_not_there(self):
        data = SAMPLE.read_bytes()
        lost = [record for record in records(SAMPLE) if record['index'] in (64, 65, 200)]
        self.assertEqual({record['type'] for record in lost}, {'B'})
        dropped = {at for record in lost for at in packets_of(data, record) + [record['offset']]}
        rest = b''.join(data[at:at + PACKET] for at in range(0, len(data), PACKET) if at not in dropped)
        report = self.report(made('lost.ts', rest))
        self.assertEqual(numbers(report, 'missing'), {64, 65, 200})
        self.assertEqual((report['frames']['sound'], report['statuses']), (247, {'0': 247}))
        self.assertEqual((report['index']['holes'], report['index']['gaps']), (3, 2))
        self.assertEqual([found['stands_in'] for found in report['ranges']], [63, 199])

    def test_cut_short(self):
        data = SAMPLE.read_bytes()
        all_records = records(SAMPLE)
        # The I picture, without those to be shown before it, is out of reach of frame numbers.
        for cut, damaged, frames, behind in ((101, {101}, 103, 0), (104, {104}, 106, 0), (105, set(), 103, 1)):
            record = all_records[cut]
            report = self.report(made('cut.ts', data[:record['offset'] + record['size'] // 2]))
            self.assertEqual(numbers(report, 'damaged', 'undecodable'), damaged)
            self.assertEqual((report['frame_count'], report['index']['pictures_behind']), (frames, behind))

    def test_list_is_bounded(self):
        copy = with_flipped_bits('everywhere.ts', SAMPLE, range(1, 250, 3))
        lines = run('check', copy).stdout.splitlines()
        self.assertEqual(sum(': frame ' in line for line in lines), 50)
        self.assertIn(f'{copy}: 33 ranges more (--all lists every one)', lines)
        report = self.report(copy)
        self.assertEqual((len(report['ranges']), report['ranges_left_out']), (50, 33))
        self.assertEqual(numbers(self.report(copy, '--all'), 'damaged', 'undecodable'), set(range(1, 250, 3)))

    def test_what_is_not_supported_does_not_stop_the_others(self):
        video = (STREAMS / 'b2-open-352x288.m2v').read_bytes()
        bad = [made('headers.m2v', video[:video.index(b'\0\0\1\0')]), made('text', b'no video'),
               STREAMS / 'refused-mpeg1.m2v']
        result = run('check', *bad, SAMPLE)
        self.assertEqual((result.returncode, result.stderr.count('\n')), (3, 3))
        for file in bad:
            self.assertIn(f'vexmora: {file}: ', result.stderr)
        self.assertEqual(result.stdout.splitlines()[-1], f'{SAMPLE}: sound: 250 frames')

    def test_interrupted(self):
        copy = made('long.m2v', (STREAMS / 'top-720x576.m2v').read_bytes() * 100)
        self.addCleanup(copy.unlink)
        run('index', copy)
        with subprocess.Popen([COMMAND, 'check', copy], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as process:
            while int(re.search(r'rchar: (\d+)', Path(f'/proc/{process.pid}/io').read_text())[1]) < 16 << 20:
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=20)
        self.assertEqual((process.returncode, output), (-signal.SIGINT, ''))
        self.assertRegex(errors, rf'\Avexmora: {copy}: interrupted \(.+\)\n\Z')


class Measuring(Case):
    def test_report(self):
        for scale in ('full', 'quarter'):
            result = run('bench', '--json', '--scale', scale, '--frames', 30, '--seed', 7, SAMPLE)
            self.assertEqual((result.returncode, result.stderr), (0, ''))
            report = json.loads(result.stdout)
            self.assertEqual({key: value for key, value in report.items() if not isinstance(value, dict)},
                             {'file': str(SAMPLE), 'stream_length': SAMPLE.stat().st_size, 'width': 720,
                              'height': 576, 'frame_count': 250, 'scale': scale,
                              'processors': len(os.sched_getaffinity(0)), 'frame_cache_bytes': 256 << 20,
                              'seed': 7})
            figures = [report['indexing']['bytes_per_second'], report['linear']['frames_per_second'],
                       report['reverse']['frames_per_second'],
                       *(report['random'][f'{which}_seconds'] for which in ('median', 'percent_95', 'worst'))]
            self.assertTrue(all(math.isfinite(figure) and figure > 0 for figure in figures), report)
            self.assertEqual(figures[3:], sorted(figures[3:]))
            self.assertEqual((report['linear']['frames'], report['reverse']['frames'],
                              report['random']['jumps']), (30, 30, 30))
        self.assertFalse(self.store.exists())

    def test_leaves_no_folder_behind(self):
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            text = run('bench', '--frames', 5, SAMPLE, env=os.environ | {'TMPDIR': folder})
            refused = run('bench', made('no-video', b'text'), env=os.environ | {'TMPDIR': folder})
            self.assertEqual(list(Path(folder).iterdir()), [])
        self.assertEqual([line.split('  ')[0] for line in text.stdout.splitlines()],
                         ['File', 'Conditions', 'Indexing', 'Linear', 'Reverse', 'Random access'])
        self.assertEqual((text.returncode, refused.returncode, refused.stdout), (0, 3, ''))


class Sample(Case):
    def test_is_coded_as_its_readme_says(self):
        info = json.loads(run('info', '--json', '--records', SAMPLE).stdout)
        self.assertLess(SAMPLE.stat().st_size, 1_500_000)
        self.assertEqual((info['kind'], info['width'], info['height'], info['frame_count']),
                         ('transport', 720, 576, 250))
        self.assertEqual((info['frame_rate'], info['field_order'], info['progressive']), (25, 'top', False))
        self.assertAlmostEqual(info['pixel_aspect_ratio'], 64 / 45, places=4)
        self.assertEqual(info['pictures'], {'I': 17, 'P': 67, 'B': 166, 'holes': 0})
        types = {record['index']: record for record in info['records']}
        open_groups = 0
        for frame in (record['index'] for record in info['records'] if record['type'] == 'I'):
            # Two pictures in display order before the I picture, coded behind it, predicted from both sides.
            leading = [types[frame + step] for step in (-2, -1) if frame > 0]
            open_groups += all(record['future'] == frame and record['past'] == frame - 3
                               and record['offset'] > types[frame]['offset'] for record in leading) > 0 < frame
        self.assertEqual(open_groups, 16)
        self.assertEqual(types[0]['type'], 'I')

    def test_frame_n_is_frame_n(self):
        """Both fields carry the number, in every order of access; what moves differs between the fields."""
        width, height = 720, 576
        result = run('export', SAMPLE, '-o', '-', '--range', '30:60', text=False)
        pictures = dict(zip(range(30, 61), result.stdout.split(b'FRAME\n', 31)[1:], strict=True))
        for frame, picture in pictures.items():
            self.assertEqual(len(picture), width * height * 3 // 2)
            for line in range(17, 55):
                squares = picture[line * width + 45:(line + 1) * width:90]
                self.assertEqual(int(''.join('1' if luma > 128 else '0' for luma in squares), 2), frame)
        for frame in (60, 37):
            file = WORK / 'one.yuv'
            self.assertEqual(run('frame', SAMPLE, frame, '-o', file).returncode, 0)
            self.assertEqual(file.read_bytes(), pictures[frame])
        combed = [sum(abs(picture[at + width] - (picture[at] + picture[at + 2 * width]) / 2) > 40
                      for line in range(516, 540, 2)
                      for at in range(line * width, (line + 1) * width)) for picture in (pictures[30], pictures[50])]
        self.assertGreater(min(combed), 300)


if __name__ == '__main__':
    main()
