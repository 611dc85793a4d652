#!/usr/bin/env python3
"""Uses the built vexmora command as a user would: indexing, its reports and failures. Arguments: see support.py."""
import csv
import io
import json
import os
import pty
import re
import shutil
import signal
import time
from pathlib import Path

from support import SAMPLE, STREAMS, WORK, Case, info, made, main, run

KEYS = ('file kind width height display_width display_height pixel_aspect_ratio frame_rate '
        'effective_frame_rate frame_count first_frame last_frame progressive field_order max_picture_size '
        'stream_length pictures index_file duration first_time last_time parts packet_size skipped_bytes '
        'programs audio formats').split()
COLUMNS = ('index,type,temporal_reference,progressive_frame,top_field_first,repeat_first_field,broken_link,'
           'offset,size,past,future,valid,presentation_time,time_code,structure,second_field_type').split(',')
ELEMENTARY, TRANSPORT = 'b2-open-352x288.m2v', 'b3-100x76.ts'


def rest_of(reader):
    """What can still be read from a pipe or terminal; closes it."""
    data = b''
    try:
        while more := os.read(reader, 65536):
            data += more
    except OSError:  # a terminal without another end
        pass
    os.close(reader)
    return data.decode()


class Reports(Case):
    def test_facts(self):
        facts = ('kind', 'width', 'height', 'pixel_aspect_ratio', 'frame_rate', 'effective_frame_rate', 'field_order')
        for name, expected in (
                ('top-720x576.m2v', ('elementary', 720, 576, 1, 25, 25, 'top')),
                ('bottom-720x480.m2v', ('elementary', 720, 480, 1, 29.97, 29.97, 'bottom')),
                ('pulldown-352x256.m2v', ('elementary', 352, 256, 1, 29.97, 23.98, 'mixed')),
                ('small-100x76.mpg', ('program', 100, 76, 1, 29.97, 29.97, 'progressive')),
                (ELEMENTARY, ('elementary', 352, 288, 1.45, 25, 25, 'progressive')),
                ('b3-100x76.ts', ('transport', 100, 76, 1, 25, 25, 'progressive'))):
            found, path = info(STREAMS / name), STREAMS / name
            types = [line[0] for line in Path(f'{path}.pictures').read_text().split()]  # as ffprobe has them
            self.assertEqual(list(found), KEYS + ['records'])
            self.assertEqual(tuple(round(value, 2) if isinstance(value, float) else value
                                   for value in map(found.get, facts)), expected)
            self.assertEqual((found['file'], found['stream_length'], found['frame_count'], found['last_frame']),
                             (str(path), path.stat().st_size, len(types), found['first_frame'] + len(types) - 1))
            self.assertEqual(found['pictures'], {'holes': 0} | {t: types.count(t) for t in 'IPB'})
            self.assertEqual([record['type'] for record in found['records']], types)
            self.assertEqual(found['max_picture_size'], max(record['size'] for record in found['records']))

    def test_records_name_pictures_and_their_references(self):
        data = bytearray((STREAMS / ELEMENTARY).read_bytes())
        data[data.rindex(b'\0\0\1\xb8') + 7] |= 0x20  # broken_link
        path = made('records.m2v', data)
        rows = list(csv.DictReader(io.StringIO(run('info', '--records', path).stdout)))
        records = info(path)['records']
        self.assertEqual(list(rows[0]), COLUMNS)
        self.assertEqual(rows, [{key: '' if value is None else str(int(value) if isinstance(value, bool) else value)
                                 for key, value in record.items()} for record in records])
        anchors = [record['index'] for record in records if record['type'] != 'B']
        for position, record in enumerate(records):
            self.assertEqual((record['index'], record['valid']), (position, True))
            self.assertEqual(data[record['offset']:record['offset'] + 4], b'\0\0\1\0')
            past = max((anchor for anchor in anchors if anchor < position), default=None)
            future = min((anchor for anchor in anchors if anchor > position), default=None)
            self.assertEqual((record['past'], record['future']),
                             {'I': (None, None), 'P': (past, None), 'B': (past, future)}[record['type']])

    def test_text_report_is_aligned_and_whole(self):
        self.assertRegex(run('info', STREAMS / 'pulldown-352x256.m2v').stdout,
                         r'(?m)^Frame rate +29\.97 frames/s, effectively 23\.976; 36 pictures .+pulldown')
        lines = run('info', STREAMS / 'top-720x576.m2v', '--index-dir', 'chosen', cwd=WORK).stdout.splitlines()
        self.assertEqual({line[:18].rstrip() for line in lines},
                         {'File', 'Stream', 'Picture size', 'Pixel aspect', 'Frame rate', 'Field order',
                          'Usable frames', 'Duration', 'Pictures', 'Largest picture', 'Index file'})
        self.assertTrue(all(line[17] == ' ' and line[18] != ' ' for line in lines))
        self.assertIn('Frame rate        25 frames/s', lines)
        self.assertIn('Duration          0:00:02.000', lines)
        [index] = (WORK / 'chosen').glob('*.mpgindex')
        self.assertIn(f'Index file        {index}', lines)

    def test_name_that_is_not_utf8_gives_valid_json(self):
        path = Path(os.fsdecode(os.fsencode(WORK) + b'/caf\xe9.ts'))
        shutil.copy(STREAMS / TRANSPORT, path)
        self.assertIn('\ufffd', json.loads(run('info', '--json', path).stdout)['file'])


class Failures(Case):
    def check(self, path, status, what, **options):
        self.assert_problem(run('info', path, **options), status, what)

    def test_what_cannot_be_read(self):
        os.mkfifo(WORK / 'pipe')
        locked = made('locked', b'x')
        locked.chmod(0)
        self.check(WORK / 'missing', 1, 'No such file')
        self.check('', 1, 'No such file')
        self.check(WORK, 1, 'is a folder')
        self.check(WORK / 'pipe', 1, 'is a pipe')
        self.check('/dev/zero', 1, 'not a regular file')
        # The superuser may read everything, so that privilege is dropped before.
        dropping = ('setpriv', '--bounding-set=-dac_override,-dac_read_search')
        self.check(locked, 1, 'Permission denied', before=dropping if os.geteuid() == 0 else ())

    def test_what_is_no_mpeg2_video(self):
        video = (STREAMS / ELEMENTARY).read_bytes()
        packets = (STREAMS / TRANSPORT).read_bytes()
        split = [packets[at:at + 188] for at in range(0, len(packets), 188)]
        chroma = bytearray(video)
        for extension in re.finditer(rb'\x00\x00\x01\xb5[\x10-\x1f]', video):
            chroma[extension.start() + 5] = chroma[extension.start() + 5] & 0xf9 | 2 << 1  # chroma_format: 4:2:2
        for name, data, what in (
                ('empty', b'', 'is empty'),
                ('short', b'\0\0\1\xb3', 'no MPEG-2 sequence header'),
                ('letter', b'Dear Kate, the film is not in here.', 'is not an MPEG-2'),
                ('noise', bytes(range(256)) * 4096, 'is not an MPEG-2'),
                ('G-noise', b'G' + bytes(range(256)) * 4096, 'is not an MPEG-2'),
                ('headers-only', video[:100].split(b'\0\0\1\0')[0], 'no MPEG-2'),
                ('no-video', b''.join(packet for packet in split if b'\0\0\1\xb3' not in packet),
                 'no MPEG-2 sequence header'),
                ('4-2-2', chroma, '4:2:2')):
            with self.subTest(name):
                file = made(name, data)
                self.check(file, 3, what)
                self.check(file, 3, f'{what}|cannot be indexed')
        self.check(STREAMS / 'refused-mpeg1.m2v', 3, 'MPEG-1 video')

    def test_message_stays_one_line(self):
        result = run('info', WORK / 'two\nlines\x1b[31m')
        self.assertEqual((result.stderr.count('\n'), result.returncode), (1, 1))
        self.assertNotIn('\x1b', result.stderr)

    def test_failing_standard_output(self):
        video, out = STREAMS / ELEMENTARY, ('-o', '-')
        for arguments in (['info', video], ['info', '--json', video], ['info', '--records', video], ['index', video],
                          ['check', video], ['bench', video], ['export', video], ['--help'], ['--version']):
            with open('/dev/full', 'w') as full:
                self.assert_problem(run(*arguments, stdout=full), 1, 'standard output: No space left on device')
        ours, theirs = pty.openpty()
        for arguments in (['export', video], ['sheet', video, *out], ['frame', video, '0', *out]):
            self.assert_problem(run(*arguments, stdout=theirs), 2, 'standard output: is a terminal')
        os.close(theirs)
        os.close(ours)
        for arguments in (['info', '--records', video], ['export', video]):
            reader, writer = os.pipe()
            os.close(reader)
            with open(writer, 'w') as closed:
                result = run(*arguments, stdout=closed)
            self.assertEqual((result.returncode, result.stderr), (1, ''))

    def test_usage(self):
        before = set(WORK.iterdir())
        for arguments, text in (
                ('', '.'), ('nonsense', '.'), ('info', '.'), ('index', '.'), ('check', '.'), ('info --jsn x', '.'),
                ('info a b', '.'), ('info --force a', '.'), ('index --index-dir= a', '.'), ('bench --frames 0 a', '.'),
                ('bench --scale huge a', '.'), ('frame SAMPLE 250', 'it has no frame 250'),
                ('frame SAMPLE 99999999999999999999', 'it has no frame'), ('frame SAMPLE 1-', 'does not name frames'),
                ('frame SAMPLE 3,,4', 'does not name frames'), ('frame SAMPLE -o x.png 3,4', 'into one file'),
                ('frame SAMPLE 3 -o x.jpg', 'not clear what to write'), ('export SAMPLE --range 5', 'does not name'),
                ('export SAMPLE --range 7:3', 'ends before it begins'), ('export SAMPLE --range 0:250', 'no frame 250'),
                ('hash SAMPLE --order 0', 'not in .forward,reverse,random.'),
                ('hash SAMPLE --seed -1', 'not a whole number'), ('hash SAMPLE --scale big', 'not in .full,half,quarter.'),
                ('sheet SAMPLE -o x.jpg', 'its name in .png')):
            self.assert_problem(run(*arguments.replace('SAMPLE', str(SAMPLE)).split(), cwd=WORK), 2, text)
        self.assertEqual(set(WORK.iterdir()) - before - {WORK / 'caches'}, set())
        for arguments in (['--help'], ['info', '--help'], ['index', '--help']):
            result = run(*arguments)
            self.assertEqual((result.stderr, result.returncode), ('', 0))
            self.assertRegex(result.stdout, r'Exit status: 0 done; 1 failed .+; 2 wrong usage;\s+3 data not')
        self.assertRegex(run('--version').stdout, r'\Avexmora \d+\.\d+\.\d+\n\Z')


class Indexing(Case):
    def test_one_bad_file_does_not_stop_the_others(self):
        good = [STREAMS / TRANSPORT, STREAMS / ELEMENTARY]
        bad = {1: WORK / 'absent', 3: made('nothing', b'')}
        for files, status in (([good[0], bad[1], good[1]], 1), ([bad[3], bad[1], *good], 3), (good, 0)):
            result = run('index', *files)
            self.assertEqual(result.returncode, status)
            lines = result.stdout.splitlines()
            self.assertEqual([line.split(':')[0] for line in lines],
                             [str(file) for file in files if file in good])
            for line in lines:
                self.assertRegex(line, r': ((transport|elementary) stream, 100 pictures, [\d.]+ KiB '
                                       r'in [\d.]+ s \([\d.]+ .iB/s\)|already indexed, 100 pictures), '
                                       r'index in /.+\.mpgindex\Z')
            self.assertEqual(result.stderr.count('\n'), len(files) - len(lines))
        quiet = run('index', '-q', *good)
        self.assertEqual((quiet.stdout, quiet.stderr, quiet.returncode), ('', '', 0))
        self.assertIn('transport stream', run('index', '--force', good[0]).stdout)
        self.assertEqual(len(self.kept()), 2)

    def test_option_like_name_after_two_dashes(self):
        shutil.copy(STREAMS / TRANSPORT, WORK / '-q')
        self.assertTrue(run('index', '--', '-q', cwd=WORK).stdout.startswith('-q: transport stream'))

    def interrupted(self, *arguments):
        """What the command writes on a terminal about a file without end until it is ended by a signal."""
        file = made('long.ts', (STREAMS / TRANSPORT).read_bytes())
        self.addCleanup(file.unlink, missing_ok=True)  # a copy of the build folder would fill the hole
        os.truncate(file, 200 << 30)
        ours, theirs = pty.openpty()
        end = time.monotonic() + 1.2
        self.assert_interrupted(signal.SIGTERM, [*arguments, file], lambda process: time.monotonic() > end,
                                stderr=theirs)
        os.close(theirs)
        self.assertEqual(self.kept(), [])
        return rest_of(ours)

    def test_progress_on_a_terminal_unless_quiet(self):
        *drawings, last = self.interrupted('info').split('\r\x1b[K')
        drawings = drawings[1:]
        self.assertTrue(2 <= len(drawings) <= 40, drawings)
        for drawing in drawings:
            self.assertRegex(drawing, r'\A\[[#.]+\] +\d+ % +[\d.]+ (.iB|bytes) of 200\.0 GiB')
            self.assertLess(len(drawing), 80)
        self.assertRegex(drawings[-1], r'iB/s  [\d:]+ left\Z')
        for text in (last, self.interrupted('index', '-q')):
            self.assertRegex(text, r'\Avexmora: .+long\.ts: interrupted \(.+\)\r\n\Z')

    def test_terminal_is_left_clean(self):
        for drawn in (r'(\r\x1b\[K\[[#.]+\] +\d+ % [^\r]+)+\r\x1b\[K', ''):  # nothing once it is indexed
            ours, theirs = pty.openpty()
            result = run('index', STREAMS / TRANSPORT, stderr=theirs)
            os.close(theirs)
            self.assertEqual(result.returncode, 0)
            self.assertRegex(rest_of(ours), rf'\A{drawn}\Z')

    def test_place_of_the_index_files(self):
        file = STREAMS / TRANSPORT
        home = {key: value for key, value in os.environ.items() if key != 'XDG_CACHE_HOME'} | {'HOME': str(WORK)}
        self.assertIn(f'index in {WORK}/.cache/vexmora/', run('index', file, env=home).stdout)
        del home['HOME']
        for command in ('info', 'index'):
            self.assert_problem(run(command, file, env=home), 1, '~/.cache/vexmora: cannot be')
            self.assert_problem(run(command, '--index-dir', '/dev/null/x', file), 1, '/dev/null/x: cannot be')


if __name__ == '__main__':
    main()
