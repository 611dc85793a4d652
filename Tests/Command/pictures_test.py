#!/usr/bin/env python3
"""Pictures that the command writes, beside those of other programs. Arguments: see support.py."""
import os
import re
import resource
import signal
import struct
import subprocess
from pathlib import Path

from support import SAMPLE, STREAMS, WORK, Case, main, made, run

SAMPLE_FRAMES = 250
FINE = ('-c:v', 'mpeg2video', '-qscale:v', 1, '-f', 'mpeg2video')


def ffmpeg(*arguments, data=None):
    return subprocess.run(['ffmpeg', '-v', 'error', '-y', *map(str, arguments)], input=data, check=True,
                          stdout=subprocess.PIPE, timeout=60).stdout


def pixels(png):
    """Width, height and the bytes R, G, B of each pixel, read by another program."""
    data = ffmpeg('-f', 'png_pipe', '-i', '-', '-f', 'rawvideo', '-pix_fmt', 'rgb24', '-', data=png)
    return *struct.unpack('>II', png[16:24]), data


def pixel(image, x, y):
    width, _, data = image
    return tuple(data[3 * (y * width + x):][:3])


def reds(image, y):
    width, _, data = image
    return data[3 * y * width:3 * (y + 1) * width:3]


def burnt_number(line):
    """The frame number that the row of boxes at the top of the sample's pictures spells, most significant first."""
    return int(''.join('1' if line[int((box + 0.5) * len(line) / 8)] > 128 else '0' for box in range(8)), 2)


def still(name, colour, size, *options):
    """A stream of one colour, with what the encoder is told about its colours."""
    path = WORK / name
    ffmpeg('-f', 'lavfi', '-i', f'color=c={colour}:s={size}:r=25,format=rgb24', '-frames:v', 5, *options, *FINE, path)
    return path


class Frames(Case):
    def test_each_number_names_the_picture_that_shows_it(self):
        out = WORK / 'numbered-%04d.png'
        numbers = [37, 0, 249, 100, 101, 102]
        result = run('frame', SAMPLE, '37,0,249,100-102', '-o', out, '--coded-size')
        names = [str(WORK / f'numbered-{number:04}.png') for number in numbers]
        self.assertEqual((result.stdout.split(), result.stderr, result.returncode), (names, '', 0))
        for number, name in zip(numbers, names):
            self.assertEqual(burnt_number(reds(pixels(Path(name).read_bytes()), 21)), number)
        exported = run('export', SAMPLE, '--range', '36:38', text=False).stdout.split(b'FRAME\n')[1:]
        for number, picture in zip((36, 37, 38), exported, strict=True):
            for line in range(17, 55):  # of both fields
                self.assertEqual(burnt_number(picture[line * 720:][:720]), number)
        out = WORK / 'planes.yuv'
        self.assertEqual(run('frame', SAMPLE, 37, '-o', out, '-q').stdout, '')
        self.assertEqual(exported[1], out.read_bytes())

    def test_colours_follow_the_matrix_and_shapes_the_aspect(self):
        # Red, green and blue in the matrix of the stream, or in the one that its size suggests.
        for name, size, options, viewed, colour in (
                ('sd', '720x576', ('-aspect', '4:3'), (768, 576), (255, 0, 0)),
                ('sd-wide', '720x576', ('-aspect', '16:9'), (1024, 576), (32, 160, 64)),
                ('sd-709', '720x576', ('-colorspace', 'bt709', '-aspect', '4:3'), (768, 576), (48, 80, 192)),
                ('hd', '1440x1080', ('-aspect', '16:9'), (1920, 1080), (32, 160, 64))):
            matrix = 'bt709' if name in ('sd-709', 'hd') else 'bt601'
            path = still(f'{name}.m2v', '0x%02x%02x%02x' % colour, size, '-vf', f'scale=out_color_matrix={matrix}',
                         *options)
            image = pixels(run('frame', path, 2, '-o', '-', text=False).stdout)
            self.assertEqual(image[:2], viewed)
            for place in ((0, 0), (viewed[0] // 2, viewed[1] // 2), (viewed[0] - 1, viewed[1] - 1)):
                for got, wanted in zip(pixel(image, *place), colour):
                    self.assertAlmostEqual(got, wanted, delta=2, msg=name)
        self.assertEqual(pixels(run('frame', path, 0, '-o', '-', '--scale', 'half', text=False).stdout)[:2],
                         (1920, 1080))

    def test_chroma_lies_on_every_other_column_and_between_lines(self):
        # ISO/IEC 13818-2, 6.1.1.8, worked out sample by sample on a line that is full of colours.
        for matrix, red, blue in (('bt601', .299, .114), ('bt709', .2126, .0722)):
            path, planes = WORK / f'{matrix}.m2v', WORK / f'{matrix}.yuv'
            ffmpeg('-f', 'lavfi', '-i', 'testsrc=s=352x288:r=25', '-frames:v', 2, '-vf', 'format=yuv420p',
                   '-colorspace', {'bt601': 'smpte170m'}.get(matrix, matrix), *FINE, path)
            run('frame', path, 1, '-o', planes)
            image = pixels(run('frame', path, 1, '-o', '-', '--coded-size', text=False).stdout)
            samples, y = planes.read_bytes(), 100
            for x in range(2, 348):
                # Even columns have a sample of their own; three quarters of an even line are the one below it.
                cb, cr = ((sum(share * (samples[line + x // 2] + samples[line + (x + 1) // 2])
                               for line, share in ((plane + y // 2 * 176, .375), (plane + (y // 2 - 1) * 176, .125)))
                           - 128) / 224 for plane in (352 * 288, 352 * 288 * 5 // 4))
                luma = (samples[y * 352 + x] - 16) / 219
                colour = [luma + 2 * (1 - red) * cr, 0, luma + 2 * (1 - blue) * cb]
                colour[1] = (luma - red * colour[0] - blue * colour[2]) / (1 - red - blue)
                for got, wanted in zip(pixel(image, x, y), colour):
                    self.assertAlmostEqual(got, min(max(255 * wanted, 0), 255), delta=1, msg=f'{matrix}, column {x}')

    def test_fields_keep_their_colours(self):
        # Lines of two fields far apart in colour: what is mixed between the fields would be neither.
        path = WORK / 'fields.m2v'
        turns = "color=c=red:s=352x288:r=50,drawbox=t=fill:color=blue:enable='mod(n,2)',tinterlace=interleave_top"
        ffmpeg('-f', 'lavfi', '-i', turns, '-frames:v', 3, '-pix_fmt', 'yuv420p', '-flags', '+ildct+ilme', *FINE, path)
        image = pixels(run('frame', path, 1, '-o', '-', text=False).stdout)
        for y, colour in ((100, (254, 0, 0)), (101, (0, 0, 255))):
            for got, wanted in zip(pixel(image, 100, y), colour):
                self.assertAlmostEqual(got, wanted, delta=2)

    def test_what_is_read_is_not_written_over(self):
        stream = (STREAMS / 'ip-64x48.m2v').read_bytes()
        for source, out in (('self.yuv', 'self.yuv'), ('self.png', 'link.png')):
            path = made(source, stream)
            if out == 'link.png':
                os.link(path, WORK / out)
            self.assert_problem(run('frame', path, 3, '-o', WORK / out), 2, 'over the file that is read')
            with path.open('ab') as output:
                self.assertEqual(run('export', path, stdout=output).returncode, 2)
            self.assertEqual(path.read_bytes(), stream)

    def test_nothing_else_is_written_over(self):
        old = made('x.png.part', b'not ours')
        out = WORK / 'x.png'
        mask = os.umask(0o027)
        try:
            self.assertEqual(run('frame', SAMPLE, 0, '-o', out, '-q').returncode, 0)
        finally:
            os.umask(mask)
        self.assertEqual((old.read_bytes(), out.stat().st_mode & 0o777), (b'not ours', 0o640))


class Exports(Case):
    def test_another_program_reads_the_same_pictures(self):
        hashes = dict(line.split(', ') for line in run('hash', SAMPLE, '--range', '20:40').stdout.split('\n')[:-1])
        exported = run('export', SAMPLE, '--range', '20:40', text=False).stdout
        self.assertEqual(exported.split(b'\n', 1)[0], b'YUV4MPEG2 W720 H576 F25:1 It A64:45 C420mpeg2')
        listed = ffmpeg('-f', 'yuv4mpegpipe', '-i', '-', '-f', 'framemd5', '-', data=exported).decode()
        read = [line.split()[-1] for line in listed.splitlines() if not line.startswith('#')]
        self.assertEqual(read, [hashes[str(frame)] for frame in range(20, 41)])

    def test_rates_sizes_and_shapes(self):
        for options, scale, header in (
                (('-r', '30000/1001', '-aspect', '4:3'), 'full', 'W352 H240 F30000:1001 Ip A10:11 C420mpeg2'),
                (('-r', '24', '-aspect', '352:240'), 'full', 'W352 H240 F24:1 Ip A1:1 C420mpeg2'),
                (('-r', '25', '-aspect', '4:3'), 'half', 'W176 H240 F25:1 Ip A20:11 C420mpeg2'),
                (('-r', '25', '-aspect', '16:9', '-flags', '+ildct'), 'quarter',
                 'W176 H120 F25:1 I? A40:33 C420mpeg2')):
            path = still('rates.m2v', 'gray', '352x240', *options)
            exported = run('export', path, '--scale', scale, text=False).stdout
            self.assertEqual(exported.split(b'\n', 1)[0].decode(), f'YUV4MPEG2 {header}')

    def test_sinks_that_fail(self):
        self.assert_problem(run('export', SAMPLE, '-o', '/dev/full'), 1, 'No space left')
        self.assert_problem(run('export', SAMPLE, '-o', WORK / 'nowhere/x.y4m'), 1, 'No such file')

    def test_interrupted_export_leaves_the_old_file(self):
        out = made('kept.y4m', b'old')
        stream = (STREAMS / 'b2-open-352x288.m2v').read_bytes()
        media = made('many.m2v', stream * 40)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # which SIGQUIT would leave
        run('index', media, '-q')
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            self.assert_interrupted(number, ['export', media, '-o', out],
                                    lambda _: list(WORK.glob('.vexmora-*')))
            self.assertEqual(out.read_bytes(), b'old')
            self.assertEqual(list(WORK.glob('.vexmora-*')), [])


class Sheets(Case):
    def test_cells_are_evenly_spaced_frames(self):
        out = WORK / 'sheet.png'
        result = run('sheet', SAMPLE, '-o', out, '--columns', 5, '--rows', 2, '--width', 2000)
        self.assertEqual((result.stdout, result.stderr, result.returncode),
                         (f'{SAMPLE}: 10 of {SAMPLE_FRAMES} frames on {out}\n', '', 0))
        image = pixels(out.read_bytes())
        self.assertAlmostEqual(image[0], 2000, delta=5)
        width = (2000 - 6 * 8) // 5
        height = round(width * 9 / 16)
        for cell in range(10):
            left, top = 8 + cell % 5 * (width + 8), 8 + cell // 5 * ((image[1] - 8) // 2) + round(21 * height / 576)
            self.assertEqual(burnt_number(reds(image, top)[left:left + width]), cell * 25)
        self.assert_problem(run('sheet', SAMPLE, '-o', out, '--columns', 50, '--width', 200), 2, 'do not fit')


class NarrowPictures(Case):
    def test_each_size_has_a_sample_and_none_takes_all_memory(self):
        # What is damaged most easily: horizontal_size, vertical_size and aspect_ratio_information in one row.
        stream = (STREAMS / 'tiny-16x16.m2v').read_bytes()
        head = stream.index(b'\0\0\1\xb3') + 4
        out = WORK / 'narrow.png'
        for width, height, aspect, full, half in ((1, 16, 1, (1, 16), (1, 16)), (16, 1, 1, (16, 1), (8, 1)),
                                                  (1, 4095, 3, (1, 4095), (1, 4095))):
            size = (width << 12 | height).to_bytes(3, 'big') + bytes((aspect << 4 | stream[head + 3] & 15,))
            path = made(f'{width}x{height}.m2v', stream[:head] + size + stream[head + 4:])
            for scale, seen in (('full', full), ('half', half)):
                run('frame', path, 0, '-o', out, '-q', '--coded-size', '--scale', scale)
                self.assertEqual(struct.unpack('>II', out.read_bytes()[16:24]), seen)
            shown = run('export', path, '--scale', 'quarter', text=False).stdout.split(b'\n', 1)[0].split()
            self.assertEqual(shown[1:3], [b'W%d' % half[0], b'H%d' % max(height // 2, 1)])
        self.assert_problem(run('sheet', path, '-o', out), 1, '1 x 4095, would have .* lines')
        self.assertTrue(run('sheet', path, '-o', out, '--rows', 1, '--width', 110).stdout)


class DamagedFrames(Case):
    def test_what_is_written_is_told_to_be_damaged(self):
        stream = bytearray((STREAMS / 'b2-open-352x288.m2v').read_bytes())
        slices = [match.start() for match in re.finditer(b'\0\0\1\x05', stream)]
        place = slices[len(slices) // 2] + 6
        stream[place:place + 40] = bytes(byte ^ 0x5A for byte in stream[place:place + 40])
        damaged = made('damaged.m2v', stream)
        result = run('hash', damaged)
        self.assertRegex(result.stderr, r"\Avexmora: .* damaged or missing.* \('vexmora check' .*\)\n\Z")
        self.assertEqual((result.returncode, len(result.stdout.splitlines()) > 10), (1, True))


if __name__ == '__main__':
    main()
