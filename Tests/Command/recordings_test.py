#!/usr/bin/env python3
"""Recordings of other packagings, of parts, and of several programs, rates and sizes. Arguments: see support.py."""
import json
import re
import subprocess

from support import STREAMS, WORK, Case, info, made, main, run

WIDE, SMALL, FILM = STREAMS / 'mp2-720x576.ts', STREAMS / 'b3-100x76.ts', STREAMS / 'pulldown-352x256.m2v'
VIDEO = STREAMS / 'b2-open-352x288.m2v'


def ffmpeg(*arguments):
    return subprocess.run(['ffmpeg', '-v', 'error', '-y', *map(str, arguments)], check=True, timeout=60,
                          stdout=subprocess.PIPE).stdout


def hashes(*arguments):
    return run('hash', *arguments, '--scale', 'quarter').stdout


def frames(*arguments):
    header, *pictures = run('export', *arguments, text=False).stdout.split(b'FRAME\n')
    return header.decode().split(), pictures


class Openings(Case):
    def test_parts_folders_and_programs_show_the_plain_pictures(self):
        data, dvd, parts = WIDE.read_bytes(), WORK / 'dvd/VIDEO_TS', WORK / 'parts'
        dvd.mkdir(parents=True)
        parts.mkdir()
        (dvd / 'VTS_01_1.VOB').write_bytes((STREAMS / 'tiny-64x48.m2v').read_bytes())
        disc = STREAMS.joinpath('dvd-720x576.vob').read_bytes()
        for part, piece in ((0, b'menu'), (1, disc[:500001]), (2, disc[500001:])):
            (dvd / f'vts_02_{part}.vob').write_bytes(piece)
        for part, piece in ((2, data[300000:700001]), (10, data[700001:]), (1, data[:300000])):
            (parts / f'{part}.ts').write_bytes(piece)
        (parts / 'info').write_text('no part')
        two, m2ts = WORK / 'two.ts', WORK / 'x.m2ts'
        ffmpeg('-i', WIDE, '-i', SMALL, '-map', '0', '-map', '1:v', '-program', 'program_num=1:st=0:st=1', '-program',
               'program_num=2:st=2', '-c', 'copy', two)
        ffmpeg('-i', WIDE, '-c', 'copy', '-mpegts_m2ts_mode', 1, m2ts)
        wide, small = hashes(WIDE), hashes(SMALL)
        for arguments, expected in (
                ([parts], wide), ([parts / '1.ts', '--join', parts / '2.ts', parts / '10.ts'], wide),
                ([dvd], hashes(STREAMS / 'dvd-720x576.vob')), ([m2ts], wide), ([two], wide),
                ([dvd.parent, '--title', 1], hashes(STREAMS / 'tiny-64x48.m2v')), ([two, '--program', 2], small),
                ([two, '--pid', '0x102'], small), ([two, '--pid', 258], small)):
            self.assertEqual((hashes(*arguments), arguments), (expected, arguments))
        found = info(two)
        self.assertEqual([(program['number'], program['shown'], stream['id'], stream['kind'], stream['shown'])
                          for program in found['programs'] for stream in program['streams']],
                         [(1, True, 256, 'video', True), (1, True, 257, 'audio', False),
                          (2, False, 258, 'video', False)])
        self.assertEqual((found['packet_size'], info(m2ts)['packet_size'], len(info(parts)['parts'])), (188, 192, 3))
        [sound] = found['audio']  # as the first time stamps of both streams have it
        self.assertEqual((sound['id'], round(sound['offset'], 2)), (257, -0.01))
        self.assertRegex(run('info', two).stdout, r'(?m)^Program +1 \(shown\)\n +PID 0x100: .+\(shown\)$')
        joined = run('check', '--join', parts / '2.ts', parts / '10.ts', '--', parts / '1.ts')
        self.assertIn(f'{parts / "1.ts"}: sound: 50 frames\n', joined.stdout)
        for arguments, status, what in (
                ([parts, '--title', 1], 2, 'no title sets'), ([dvd, '--title', 7], 2, 'no title set 7'),
                ([dvd.parent.parent], 1, 'is a folder with'), ([two, '--pid', '0x104'], 3, 'no stream'),
                ([two, '--pid', '0x1g'], 2, 'not a number'), ([two, '--program', 3], 3, 'no program')):
            self.assert_problem(run('info', *arguments), status, what)
        self.assert_problem(run('export', parts, '-o', parts / '2.ts'), 2, 'over the file that is read')


class Times(Case):
    def test_times_name_frames(self):
        for time, frame in (('00:00:01:05', 30), ('00:00:01.200', 30), ('0:0:1', 25), ('00:00:01.199', 29),
                            ('00:00:00:00', 0)):
            for file in (WIDE, VIDEO):
                self.assertEqual(hashes(file, '--range', f'{time}..{time}'),
                                 hashes(file, '--range', f'{frame}:{frame}'))
        self.assertEqual(hashes(WIDE, '--range', '..00:00:00:03'), hashes(WIDE, '--range', '0,3'))
        twice = made('twice.m2v', VIDEO.read_bytes() * 2)
        for file, time, what in ((WIDE, '00:00:02:00', 'no frame'), (twice, '00:00:01:00', '2 of its frames'),
                                 (WIDE, '1:2:3:4:5', 'does not name'), (WIDE, '00:00:61:00', 'does not name')):
            self.assert_problem(run('frame', file, time), 2, what)

    def test_records_tell_times(self):
        probed = ffmpeg('-i', WIDE, '-map', '0:v', '-c', 'copy', '-copyts', '-f', 'framemd5', '-').decode()
        times = sorted(int(line.split(',')[2]) / 90000 for line in probed.splitlines() if line[0] != '#')
        self.assertEqual([record['presentation_time'] for record in info(WIDE)['records']],
                         [round(time, 6) for time in times])
        codes = [record['time_code'] for record in info(VIDEO)['records']]
        self.assertEqual(codes, [f'00:00:{frame // 25:02}:{frame % 25:02}' for frame in range(100)])


class Exports(Case):
    def test_pulldown_plays_at_its_speed(self):
        self.assertEqual(frames(FILM)[0][3], 'F24000:1001')
        self.assertEqual(frames(FILM, '--rate', 'nominal')[0][3], 'F30000:1001')
        header, shown = frames(FILM, '--fields', 'repeat')
        woven = ffmpeg('-i', FILM, '-vf', 'repeatfields', '-f', 'yuv4mpegpipe', '-').split(b'FRAME\n')[1:]
        self.assertEqual((header[3:5], len(shown)), (['F30000:1001', 'It'], len(woven)))
        for ours, theirs in zip(shown, woven):  # two decoders differ by their rounding
            self.assertLess(max(abs(a - b) for a, b in zip(ours[::7], theirs[::7])), 4)
        self.assert_problem(run('export', FILM, '--fields', 'repeat', '--scale', 'quarter'), 2, 'no fields')

    def test_stops_before_another_size(self):
        both = made('both.m2v', STREAMS.joinpath('b1-100x76.m2v').read_bytes() + VIDEO.read_bytes())
        found = [tuple(span[key] for key in ('first_frame', 'frame_count', 'width', 'field_order'))
                 for file in (both, STREAMS / 'top-720x576.m2v') for span in info(file)['formats']]
        self.assertEqual(found, [(0, 90, 100, 'progressive'), (90, 100, 352, 'progressive'), (0, 50, 720, 'top')])
        self.assert_problem(run('export', both, '-o', WORK / 'both.y4m'), 1, 'at frame 90, from 100 x 76')
        self.assertEqual(frames(both, '--range', '90..')[0], frames(VIDEO)[0])
        self.assertEqual(run('frame', both, 100, '-o', WORK / 'one.png').returncode, 0)
        self.assertEqual(run('frame', VIDEO, 10, '-o', WORK / 'two.png').returncode, 0)
        self.assertEqual((WORK / 'one.png').read_bytes(), (WORK / 'two.png').read_bytes())


class Damage(Case):
    def test_is_concealed_marked_and_counted(self):
        stream = bytearray(VIDEO.read_bytes())
        place = [match.start() for match in re.finditer(b'\0\0\1\x05', stream)][8] + 6
        stream[place:place + 40] = bytes(byte ^ 0x5a for byte in stream[place:place + 40])
        damaged = made('damaged.m2v', stream)
        red, hidden = frames(damaged)[1], frames(damaged, '--conceal')[1]
        changed = [frame for frame, pair in enumerate(zip(red, hidden)) if pair[0] != pair[1]]
        report = json.loads(run('check', '--json', damaged).stdout)
        self.assertEqual(changed[0], report['ranges'][0]['first'])
        self.assertIn('(framed in red)', run('sheet', damaged, '-o', WORK / 'x.png', '--rows', 25).stdout)

    def test_packets_that_nothing_shows(self):
        data, places = bytearray(WIDE.read_bytes()), []
        for at in range(300 * 188, len(data), 188):
            if data[at + 1] & 0x1f == 1 and data[at + 2] == 0 and len(places) < 5:
                places.append(at)
                data[at + 3] |= 0x80
        report = json.loads(run('check', '--json', made('scrambled.ts', data)).stdout)
        [video] = [pid for pid in report['stream']['pids'] if pid['pid'] == 256]
        self.assertEqual((report['sound'], report['stream']['video_packets_not_shown'], video['scrambled']),
                         (False, 5, 5))


if __name__ == '__main__':
    main()
