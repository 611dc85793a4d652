#!/usr/bin/env python3
"""Checking and measuring files. Arguments: see support.py."""
import json
import math
import os
import random
import signal
import tempfile
from pathlib import Path

from support import SAMPLE, STREAMS, WORK, Case, bytes_read, info, main, made, run

VIDEO = STREAMS / 'b2-open-352x288.m2v'


def with_flipped_bits(name, frames, file=VIDEO):
    """In the slices of these pictures: in the middle third of their bytes."""
    data, seeded, records = bytearray(file.read_bytes()), random.Random(1), info(file)['records']
    for record in (records[frame] for frame in frames):
        for at in range(record['offset'] + record['size'] // 3, record['offset'] + record['size'] * 2 // 3):
            data[at] ^= seeded.randrange(1, 256)
    return made(name, data)


def predicted_from(frames, records):
    """The frames that are predicted from any of these, directly or not; index positions are frame numbers."""
    found = set(frames)
    while more := {record['index'] for record in records if {record['past'], record['future']} & found} - found:
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
        files = [file for file in sorted(STREAMS.iterdir())
                 if file.suffix in ('.m2v', '.mpg', '.vob', '.ts') and not file.name.startswith('refused')]
        self.assertGreater(len(files), 20)
        for scale in ('full', 'half', 'quarter'):
            chosen = [SAMPLE, *(file for file in files if scale == 'quarter' or file.name[:2] != 'hd')]
            result = run('check', '--scale', scale, *chosen)
            self.assertEqual((result.returncode, result.stderr), (0, ''))
            verdicts = [line for line in result.stdout.splitlines() if ': sound: ' in line]
            self.assertEqual([line.split(': ')[0] for line in verdicts], list(map(str, chosen)))
            self.assertEqual(verdicts[0], f'{SAMPLE}: sound: 250 frames')
        report = self.report(STREAMS / 'started-open.ts')
        self.assertEqual((report['frames']['sound'], report['index']['pictures_before']), (26, 2))
        self.assertEqual((report['statuses'], report['ranges']), ({'0': 26}, []))

    def test_names_the_frames_whose_bits_were_flipped(self):
        damaged, records = {0, 40, 41, 90}, info(VIDEO)['records']
        copy = with_flipped_bits('flipped.m2v', damaged)
        for scale in ('full', 'half', 'quarter'):
            report = self.report(copy, '--scale', scale)
            self.assertEqual(numbers(report, 'damaged', 'undecodable'), damaged)
            reached = predicted_from(damaged, records)
            self.assertEqual(numbers(report, 'inherited'), reached)
            self.assertEqual(report['frames']['sound'], len(records) - len(damaged | reached))
            counts = [found['macroblocks'] for found in report['ranges'] if found['finding'] == 'damaged']
            self.assertEqual(sum(counts), report['damaged_macroblocks'])
        lines = run('check', copy).stdout.splitlines()
        self.assertRegex(lines[0], rf'\A{copy}: frame 0: [1-9]\d* macroblocks damaged\Z')
        self.assertIn(f'{copy}: frames 91-95: predicted from damaged or missing pictures', lines)
        self.assertEqual(lines[-1], f'{copy}: damaged: of 100 frames 4 damaged, 18 predicted from those')

    def test_pictures_that_are_not_there(self):
        data, lost = VIDEO.read_bytes(), [40, 41, 64]
        for record in sorted((info(VIDEO)['records'][frame] for frame in lost), key=lambda record: -record['offset']):
            data = data[:record['offset']] + data[record['offset'] + record['size']:]
        report = self.report(made('lost.m2v', data))
        self.assertEqual(numbers(report, 'missing'), set(lost))
        self.assertEqual((report['frames']['sound'], report['statuses']), (97, {'0': 97}))
        self.assertEqual((report['index']['holes'], report['index']['gaps']), (3, 2))
        self.assertEqual([found['stands_in'] for found in report['ranges']], [39, 63])

    def test_cut_short(self):
        data, records = VIDEO.read_bytes(), info(VIDEO)['records']
        # An anchor without those to be shown before it is out of reach of frame numbers.
        for cut, damaged, frames, behind in ((41, {41}, 43, 0), (40, {40}, 41, 1), (42, set(), 40, 1)):
            report = self.report(made('cut.m2v', data[:records[cut]['offset'] + records[cut]['size'] // 2]))
            self.assertEqual(numbers(report, 'damaged', 'undecodable'), damaged)
            self.assertEqual((report['frame_count'], report['index']['pictures_behind']), (frames, behind))

    def test_list_is_bounded(self):
        damaged = {*range(1, 100, 3), *range(101, 200, 3)}  # B pictures
        copy = with_flipped_bits('everywhere.m2v', sorted(damaged), made('twice.m2v', 2 * VIDEO.read_bytes()))
        lines = run('check', copy).stdout.splitlines()
        self.assertEqual(sum(': frame ' in line for line in lines), 50)
        self.assertIn(f'{copy}: 16 ranges more (--all lists every one)', lines)
        report = self.report(copy)
        self.assertEqual((len(report['ranges']), report['ranges_left_out']), (50, 16))
        self.assertEqual(numbers(self.report(copy, '--all'), 'damaged', 'undecodable'), damaged)

    def test_what_is_not_supported_does_not_stop_the_others(self):
        bad = [made('headers.m2v', VIDEO.read_bytes().split(b'\0\0\1\0')[0]), made('text', b'no video'),
               STREAMS / 'refused-mpeg1.m2v']
        result = run('check', *bad, SAMPLE)
        self.assertEqual((result.returncode, result.stderr.count('\n')), (3, 3))
        for file in bad:
            self.assertIn(f'vexmora: {file}: ', result.stderr)
        self.assertEqual(result.stdout.splitlines()[-1], f'{SAMPLE}: sound: 250 frames')

    def test_interrupted(self):
        copy = made('long.m2v', (STREAMS / 'top-720x576.m2v').read_bytes() * 50)
        self.addCleanup(copy.unlink)
        run('index', copy)
        self.assert_interrupted(signal.SIGINT, ['check', copy], lambda process: bytes_read(process) > 4 << 20)


class Measuring(Case):
    def test_report(self):
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            env = os.environ | {'TMPDIR': folder}
            result = run('bench', '--json', '--scale', 'quarter', '--frames', 30, '--seed', 7, SAMPLE, env=env)
            text = run('bench', '--frames', 5, SAMPLE, env=env)
            refused = run('bench', made('no-video', b'text'), env=env)
            self.assertEqual(list(Path(folder).iterdir()), [])
        self.assertFalse(self.store.exists())
        report = json.loads(result.stdout)
        self.assertEqual({key: value for key, value in report.items() if not isinstance(value, dict)},
                         {'file': str(SAMPLE), 'stream_length': SAMPLE.stat().st_size, 'width': 720, 'height': 576,
                          'frame_count': 250, 'scale': 'quarter', 'processors': len(os.sched_getaffinity(0)),
                          'frame_cache_bytes': 256 << 20, 'seed': 7})
        times = [report['random'][f'{which}_seconds'] for which in ('median', 'percent_95', 'worst')]
        self.assertEqual(times, sorted(times))
        figures = [times[0], report['indexing']['bytes_per_second'], report['linear']['frames_per_second'],
                   report['reverse']['frames_per_second']]
        self.assertTrue(all(math.isfinite(figure) and figure > 0 for figure in figures), report)
        self.assertEqual((report['linear']['frames'], report['reverse']['frames'], report['random']['jumps']),
                         (30, 30, 30))
        self.assertEqual([line.split('  ')[0] for line in text.stdout.splitlines()],
                         ['File', 'Conditions', 'Indexing', 'Linear', 'Reverse', 'Random access'])
        self.assertEqual((text.returncode, refused.returncode, refused.stdout), (0, 3, ''))


if __name__ == '__main__':
    main()
