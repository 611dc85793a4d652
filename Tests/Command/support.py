"""What the tests of the command share: where everything is, and running it.

Arguments of every test script: COMMAND STREAMS WORK. STREAMS holds the streams of make_streams.sh; WORK is a folder for
the files that the tests make and is emptied first.
"""
import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

COMMAND, STREAMS, WORK = (Path(argument).resolve() for argument in sys.argv[1:4])
SAMPLE = Path(__file__).resolve().parents[2] / 'Samples/frame-numbers.ts'


def run(*arguments, before=(), **options):
    """The command's run; before names a program that runs it in turn."""
    options = {'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, 'timeout': 60, 'text': True} | options
    return subprocess.run([*before, COMMAND, *map(str, arguments)], **options)


def info(file):
    return json.loads(run('info', '--json', '--records', file).stdout)


def made(name, data):
    """A file of the test's own."""
    path = WORK / name
    path.write_bytes(data)
    return path


class Case(unittest.TestCase):
    """Each test has index files of its own."""
    def setUp(self):
        cache = WORK / 'caches' / self.id()
        os.environ['XDG_CACHE_HOME'] = str(cache)
        self.store = cache / 'vexmora'

    def kept(self):
        """The index files in the folder; nothing half-written may lie beside them."""
        self.assertEqual(list((self.store / 'writing').iterdir()), [])
        return list(self.store.glob('*.mpgindex'))

    def assert_problem(self, result, status, text='.'):
        """One line on standard error that says what is wrong and what to do, and nothing else."""
        self.assertRegex(result.stderr, rf'\Avexmora: [^\n]*({text})[^\n]* \([^\n]+\)\n\Z')
        self.assertEqual((result.stdout or '', result.returncode), ('', status))

    def assert_interrupted(self, number, arguments, is_time, **options):
        """The command, sent this signal when is_time(process) says so, tells of it and ends by it."""
        with subprocess.Popen([COMMAND, *arguments], stdout=subprocess.PIPE, text=True,
                              **{'stderr': subprocess.PIPE} | options) as process:
            while not is_time(process):
                self.assertIsNone(process.poll())
            process.send_signal(number)
            output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, output), (-number, ''))
        if errors is not None:
            self.assertRegex(errors, r'\Avexmora: .+: interrupted \(.+\)\n\Z')


def bytes_read(process):
    return int(re.search(r'rchar: (\d+)', Path(f'/proc/{process.pid}/io').read_text())[1])


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    unittest.main(argv=sys.argv[:1])
