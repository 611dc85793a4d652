#!/usr/bin/env python3
"""Uses the built vexmora command as a user would.

Indexing, its reports and failures. Arguments: see support.py.
"""
import csv
import io
import json
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import time
from fractions import Fraction
from pathlib import Path

from support import COMMAND, STREAMS, WORK, Case, made, main, run

KINDS = {'.m2v': 'elementary', '.vob': 'program', '.mpg': 'program', '.ts': 'transport'}
KEYS = ('file kind width height display_width display_height pixel_aspect_ratio frame_rate '
        'effective_frame_rate frame_count first_frame last_frame progressive field_order max_picture_size '
        'stream_length pictures index_file').split()
COLUMNS = ('index,type,temporal_reference,progressive_frame,top_field_first,repeat_first_field,broken_link,'
           'offset,size,past,future,valid').split(',')
ELEMENTARY, TRANSPORT = 'b2-open-352x288.m2v', 'b3-100x76.ts'


def long(name, gibibytes):
    """A file that takes long to read: a stream with a hole behind it. To be removed by the test: a copy of
    the build folder would fill the hole."""
    path = made(name, (STREAMS / TRANSPORT).read_bytes())
    os.truncate(path, gibibytes << 30)
    return path


def many_pieces(name):
    """A file that is read in several pieces."""
    stream = (STREAMS / ELEMENTARY).read_bytes()
    return made(name, stream * ((48 << 20) // len(stream)))


def rest_of(reader):
    """What can still be read from a pipe or terminal; closes it."""
    data = b''
    try:
        while more := os.read(reader, 65536):
            data += more
    except OSError:  # a terminal without another end
        pass
    os.close(reader)
    return data


def bytes_read(pid):
    return int(re.search(r'rchar: (\d+)', Path(f'/proc/{pid}/io').read_text())[1])


class Reports(Case):
    def test_facts_agree_with_ffprobe(self):
        for name, rate, order in (('top-720x576.m2v', 25.0, 'top'), ('bottom-720x480.m2v', 29.97, 'bottom'),
                                  ('pulldown-352x256.m2v', 23.976, 'mixed'), ('small-100x76.mpg', 29.97, 'progressive'),
                                  ('b3-100x76.ts', 25.0, 'progressive')):
            path = STREAMS / name
            with self.subTest(path.name):
                facts = dict(line.split('=') for line in Path(f'{path}.facts').read_text().split())
                pictures = Path(f'{path}.pictures').read_text().split()
                types = [line[0] for line in pictures]
                info = json.loads(run('info', '--json', '--records', path).stdout)
                self.assertEqual(list(info), KEYS + ['records'])
                self.assertEqual(info['file'], str(path))
                self.assertEqual(info['kind'], KINDS[path.suffix])
                self.assertEqual((info['width'], info['height']), (int(facts['width']), int(facts['height'])))
                aspect = Fraction(facts['sample_aspect_ratio'].replace(':', '/'))
                self.assertAlmostEqual(info['pixel_aspect_ratio'], float(aspect), delta=0.001)
                # Of streams with pulldown ffprobe tells the fields a second.
                fields = 2 if any(line.endswith(',1') for line in pictures) else 1
                self.assertEqual(info['frame_rate'] * fields, float(Fraction(facts['r_frame_rate'])))
                self.assertEqual((info['effective_frame_rate'], info['field_order']), (rate, order))
                self.assertEqual(info['stream_length'], path.stat().st_size)
                self.assertEqual(info['frame_count'], len(types))
                self.assertEqual(info['last_frame'] - info['first_frame'] + 1, len(types))
                self.assertEqual(info['pictures'], {'holes': 0} | {t: types.count(t) for t in 'IPB'})
                self.assertEqual([record['type'] for record in info['records']], types)
                self.assertEqual(info['max_picture_size'], max(record['size'] for record in info['records']))

        self.assertRegex(run('info', STREAMS / 'pulldown-352x256.m2v').stdout,
                         r'(?m)^Frame rate +29\.97 frames/s, effectively 23\.976; 36 pictures .+pulldown')

    def test_records_name_pictures_and_their_references(self):
        path = STREAMS / ELEMENTARY
        rows = list(csv.DictReader(io.StringIO(run('info', '--records', path).stdout)))
        info = json.loads(run('info', '--json', '--records', path).stdout)
        self.assertEqual(list(rows[0]), COLUMNS)
        self.assertEqual(len(rows), len(info['records']))
        data = path.read_bytes()
        for position, (row, record) in enumerate(zip(rows, info['records'])):
            as_csv = {key: '' if value is None else str(int(value) if isinstance(value, bool) else value)
                      for key, value in record.items()}
            self.assertEqual(row, as_csv)
            self.assertEqual((record['index'], record['valid']), (position, True))
            self.assertEqual(data[record['offset']:record['offset'] + 4], b'\0\0\1\0')
            past, future = record['past'], record['future']
            self.assertEqual((past is None, future is None),
                             {'I': (True, True), 'P': (False, True), 'B': (False, False)}[record['type']])
            for reference in filter(lambda index: index is not None, (past, future)):
                self.assertIn(rows[reference]['type'], 'IP')
            if record['type'] == 'B':
                self.assertTrue(past < position < future)

    def test_text_report_is_aligned_and_whole(self):
        lines = run('info', STREAMS / 'top-720x576.m2v').stdout.splitlines()
        self.assertEqual({line[:18].rstrip() for line in lines},
                         {'File', 'Stream', 'Picture size', 'Pixel aspect', 'Frame rate', 'Field order',
                          'Usable frames', 'Duration', 'Pictures', 'Largest picture', 'Index file'})
        self.assertTrue(all(line[17] == ' ' and line[18] != ' ' for line in lines))
        self.assertIn('Frame rate        25 frames/s', lines)
        self.assertIn('Duration          0:00:02.000', lines)
        self.assertIn(f'Index file        {self.kept()[0]}', lines)

    def test_name_that_is_not_utf8_gives_valid_json(self):
        path = Path(os.fsdecode(os.fsencode(WORK) + b'/caf\xe9.ts'))
        shutil.copy(STREAMS / TRANSPORT, path)
        self.assertIn('\ufffd', json.loads(run('info', '--json', path).stdout)['file'])


class Failures(Case):
    def check(self, path, status, what, **options):
        """One line of the agreed form, nothing on standard output, the right exit status."""
        result = run('info', path, **options)
        name = re.escape(str(path) or "''")
        self.assertRegex(result.stderr, rf'\Avexmora: {name}: [^\n]*\([^\n]+\)\n\Z')
        self.assertIn(what, result.stderr)
        self.assertEqual((result.stdout, result.returncode), ('', status))

    def test_what_cannot_be_read(self):
        os.mkfifo(WORK / 'pipe')
        locked = made('locked', b'x')
        locked.chmod(0)
        self.check(WORK / 'missing', 1, 'No such file')
        self.check('', 1, 'No such file')
        self.check(WORK, 1, 'is a directory')
        self.check(WORK / 'pipe', 1, 'is a pipe')
        self.check('/dev/zero', 1, 'not a regular file')
        # The superuser may read everything, so that privilege is dropped before.
        dropping = ('setpriv', '--bounding-set=-dac_override,-dac_read_search')
        self.check(locked, 1, 'Permission denied', before=dropping if os.geteuid() == 0 else ())

    def test_what_is_no_mpeg2_video(self):
        video = (STREAMS / ELEMENTARY).read_bytes()
        packets = (STREAMS / TRANSPORT).read_bytes()
        split = [packets[at:at + 188] for at in range(0, len(packets), 188)]
        field = bytearray(video)
        extension = re.search(rb'\x00\x00\x01\xb5[\x80-\x8f]', video).start()
        field[extension + 6] = field[extension + 6] & 0xfc | 1  # picture_structure: top field
        chroma = bytearray(video)
        extension = re.search(rb'\x00\x00\x01\xb5[\x10-\x1f]', video).start()
        chroma[extension + 5] = chroma[extension + 5] & 0xf9 | 2 << 1  # chroma_format: 4:2:2
        for name, data, what in (
                ('empty', b'', 'is empty'),
                ('short', b'\0\0\1\xb3', 'no picture'),
                ('letter', b'Dear Kate, the film is not in here.', 'is not an MPEG-2'),
                ('noise', bytes(range(256)) * 4096, 'is not an MPEG-2'),
                ('G-noise', b'G' + bytes(range(256)) * 4096, 'is not an MPEG-2'),
                ('headers-only', video[:100].split(b'\0\0\1\0')[0], 'no picture'),
                ('from-the-middle', video[777:], 'video further on'),
                ('within-a-packet', packets[100:], 'starts within a packet'),
                ('packets-192', b''.join(b'\1\2\3\4' + packet for packet in split), '192 bytes'),
                ('no-video', b''.join(packet for packet in split if b'\0\0\1\xb3' not in packet),
                 'no MPEG-2 video'),
                ('4-2-2', chroma, '4:2:2'),
                ('field-pictures', field, 'in field pictures')):
            with self.subTest(name):
                file = made(name, data)
                self.check(file, 3, what)
                self.check(file, 3, what)  # also when it is remembered
        self.check(STREAMS / 'refused-mpeg1.m2v', 3, 'MPEG-1 video')
        self.check(STREAMS / 'refused-mpeg1.mpg', 3, 'MPEG-1 system stream')

    def test_message_stays_one_line(self):
        result = run('info', WORK / 'two\nlines\x1b[31m')
        self.assertEqual((result.stderr.count('\n'), result.returncode), (1, 1))
        self.assertNotIn('\x1b', result.stderr)

    def test_failing_standard_output(self):
        file = STREAMS / ELEMENTARY
        for arguments in (['info', file], ['info', '--json', file], ['info', '--records', file],
                          ['index', file], ['check', file], ['bench', file], ['--help'], ['--version']):
            with open('/dev/full', 'w') as full:
                result = run(*arguments, stdout=full)
            self.assertRegex(result.stderr, r'\Avexmora: standard output: No space left on device \(.+\)\n\Z')
            self.assertEqual(result.returncode, 1, arguments)
        reader, writer = os.pipe()
        os.close(reader)
        with open(writer, 'w') as closed:
            result = run('info', '--records', file, stdout=closed)
        self.assertEqual((result.returncode, result.stderr), (1, ''))

    def test_usage(self):
        for arguments in ([], ['nonsense'], ['info'], ['index'], ['info', '--jsn', 'x'], ['info', 'a', 'b'],
                          ['info', '--force', 'a'], ['index', '--index-dir', '', 'a'], ['check'],
                          ['bench', '--frames', '0', 'a'], ['bench', '--scale', 'huge', 'a']):
            result = run(*arguments)
            self.assertRegex(result.stderr, r'\Avexmora: [^\n]+\([^\n]+\)\n\Z')
            self.assertEqual((result.stdout, result.returncode), ('', 2), arguments)
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

    def test_option_like_name_after_two_dashes(self):
        shutil.copy(STREAMS / TRANSPORT, WORK / '-q')
        self.assertTrue(run('index', '--', '-q', cwd=WORK).stdout.startswith('-q: transport stream'))

    def interrupted(self, arguments, number, on_terminal):
        """Starts the command on a file without end, ends it by a signal; what it wrote on standard error."""
        if on_terminal:
            ours, theirs = pty.openpty()
        else:
            ours, theirs = os.pipe()
        file = long('long.ts', 200)
        self.addCleanup(file.unlink, missing_ok=True)
        command = [COMMAND, *arguments, file]
        with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=theirs) as process:
            os.close(theirs)
            seen, start = b'', time.monotonic()
            while time.monotonic() < start + 1.5:
                if select.select([ours], [], [], 0.1)[0]:
                    seen += os.read(ours, 65536)
            self.assertIsNone(process.poll(), seen)
            process.send_signal(number)
            seen += rest_of(ours)
            self.assertEqual(process.wait(timeout=20), -number)
        self.assertEqual(self.kept(), [])
        return seen.decode()

    def test_progress_on_a_terminal_and_clean_end_by_signal(self):
        for number, command in ((signal.SIGINT, 'index'), (signal.SIGTERM, 'info')):
            seen = self.interrupted([command], number, on_terminal=True)
            *drawings, last = seen.split('\r\x1b[K')
            drawings = drawings[1:]
            self.assertTrue(2 <= len(drawings) <= 40, seen)
            for drawing in drawings:
                self.assertRegex(drawing, r'\A\[[#.]+\] +\d+ % +[\d.]+ (.iB|bytes) of 200\.0 GiB')
                self.assertLess(len(drawing), 80)
            self.assertRegex(drawings[-1], r'iB/s  [\d:]+ left\Z')
            self.assertRegex(last, r'\Avexmora: .+long\.ts: interrupted \(.+\)\r\n\Z')

    def test_no_progress_when_quiet_or_not_on_a_terminal(self):
        for arguments, on_terminal in ((['index', '-q'], True), (['index'], False)):
            seen = self.interrupted(arguments, signal.SIGTERM, on_terminal)
            self.assertRegex(seen, r'\Avexmora: .+: interrupted \(.+\)\r?\n\Z')

    def test_terminal_is_left_clean(self):
        for drawn in (r'(\r\x1b\[K\[[#.]+\] +\d+ % [^\r]+)+\r\x1b\[K', ''):  # nothing once it is indexed
            ours, theirs = pty.openpty()
            result = run('index', STREAMS / TRANSPORT, stderr=theirs)
            os.close(theirs)
            self.assertEqual(result.returncode, 0)
            self.assertRegex(rest_of(ours).decode(), rf'\A{drawn}\Z')


class KeptIndexes(Case):
    def counted(self, *arguments):
        """What the command wrote, and how many bytes it read."""
        with subprocess.Popen([COMMAND, *arguments], stdout=subprocess.PIPE, text=True) as process:
            output = process.stdout.read()
            os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
            count = bytes_read(process.pid)
        self.assertEqual(process.returncode, 0)
        return output, count

    def test_media_is_scanned_once(self):
        file = many_pieces('once.m2v')
        size, report = file.stat().st_size, ('info', '--json', '--records', file)
        first, count = self.counted(*report)
        self.assertGreater(count, size)
        again, count = self.counted(*report)
        self.assertLess(count, size / 10)
        self.assertEqual(again, first)
        [index] = self.kept()
        self.assertEqual(json.loads(first)['index_file'], str(index))
        summary, count = self.counted('index', file)
        self.assertLess(count, size / 10)
        self.assertRegex(summary, rf'\A{file}: already indexed, [\d,]+ pictures, index in {index}\n\Z')
        summary, count = self.counted('index', '--force', file)
        self.assertGreater(count, size)
        self.assertRegex(summary, rf'\A{file}: elementary stream, .+, index in {index}\n\Z')
        self.assertEqual((run(*report).stdout, self.kept()), (first, [index]))

    def test_place_of_the_index_files(self):
        file, chosen = STREAMS / TRANSPORT, WORK / 'chosen'
        self.assertIn('transport stream', run('index', '--index-dir', 'chosen', file, cwd=WORK).stdout)
        [index] = chosen.glob('*.mpgindex')
        self.assertIn(f'already indexed, 100 pictures, index in {index}',
                      run('index', '--index-dir', chosen, file).stdout)
        self.assertIn(str(index), run('info', '--index-dir', chosen, file).stdout)
        self.assertFalse(self.store.exists())
        home = {key: value for key, value in os.environ.items() if key != 'XDG_CACHE_HOME'} | {'HOME': WORK}
        self.assertIn(f'index in {WORK}/.cache/vexmora/', run('index', file, env=home).stdout)
        del home['HOME']
        for folder, options in (('/dev/null/x', {}), (None, {'env': home})):
            for command in ('info', 'index'):
                chosen = ['--index-dir', folder] if folder else []
                result = run(command, *chosen, file, **options)
                self.assertRegex(result.stderr, rf'\Avexmora: {folder or "~/.cache/vexmora"}: cannot be .+ \(.+\)\n\Z')
                self.assertEqual((result.stdout, result.returncode), ('', 1))


if __name__ == '__main__':
    main()
