#!/usr/bin/env python3
"""Runs the commands that a page shows, and compares what they print with the page.

A transcript is a block of code whose first line begins with "$ ": in Markdown lines that are indented by
four blanks, in mdoc a literal display. Each line that begins with "$ " is run, and the lines that follow
it are its output, standard error included. The transcripts of a page share one shell and one installation
of velmo-standin, which runs no tasks and also listens. The clock stands still. What differs from run to
run is shown alike: the directory of the installation, its keys and its port as in HOME and SHOWN, and
durations as in MEASURED.

usage: transcripts.py [--update] VELMO STANDIN PAGE...    --update writes the output into the pages
"""

import difflib
import os
import pathlib
import re
import shlex
import signal
import string
import subprocess
import sys
import tempfile

NOW = '2026-11-20 12:14:29'
HOME = '/home/ops/velmo'  # as long as the directories of session_directory(): columns stay aligned
SHOWN = {'SHARED_VELMO_TASKID': '7301', 'SEMAPHORE_VELMO_TASKID': '7302', 'port': '38042'}
MEASURED = (r'\d+\.\d s, \d+ tasks/s', '0.2 s, 10 tasks/s')
END = 'END-OF-OUTPUT-5e1c'


class Markdown:
    """Blocks of lines that are indented by four blanks."""

    @staticmethod
    def is_code(lines, at):
        return lines[at].startswith('    ')

    @staticmethod
    def read(line):
        return line[4:]

    @staticmethod
    def write(line):
        return f'    {line}'.rstrip()


class Mdoc:
    """Literal displays."""

    @staticmethod
    def is_code(lines, at):
        starts = [i for i in range(at) if lines[i].startswith('.Bd -literal')]
        return bool(starts) and not any(line == '.Ed' for line in lines[starts[-1]:at + 1])

    @staticmethod
    def read(line):
        return line.removeprefix('\\&').replace('\\-', '-').replace('\\e', '\\')

    @staticmethod
    def write(line):
        text = line.replace('\\', '\\e').replace('-', '\\-')
        return '\\&' + text if text.startswith(('.', "'")) else text


def blocks(lines, form):
    """The transcripts of a page, each as the index of its first line and of the line after its last."""
    found = []
    at = 0
    while at < len(lines):
        end = at
        while end < len(lines) and form.is_code(lines, end) and (
                not lines[end].startswith('.Bd') or end == at):
            end += 1
        first = at + (1 if end > at and lines[at].startswith('.Bd') else 0)
        if end > first and form.read(lines[first]).startswith('$ '):
            found.append((first, end))
        at = max(end, at + 1)
    return found


def session_directory():
    """A fresh directory whose path has as many characters as HOME."""
    names = tempfile._RandomNameSequence()  # noqa: SLF001, pylint: disable=protected-access
    while True:
        name = (next(names) + next(names))[:len(HOME) - len('/tmp/')]
        path = pathlib.Path('/tmp') / ''.join(c if c in string.ascii_lowercase else 'x' for c in name)
        try:
            path.mkdir(mode=0o700)
            return path
        except FileExistsError:
            continue


class Session:
    """A shell in the environment of a stand-in."""

    def __init__(self, velmo, standin):
        self.home = session_directory()
        environment = {
            'PATH': f'{pathlib.Path(velmo).parent}:/usr/bin:/bin', 'TZ': 'UTC', 'LC_ALL': 'C.UTF-8',
            'LD_PRELOAD': preloaded_clock(), 'FAKETIME': NOW, 'FAKETIME_DONT_FAKE_MONOTONIC': '1',
            'NO_FAKE_STAT': '1'}
        self.standin = subprocess.Popen(
            [standin, '--home', str(self.home), '--no-run', '--port', '0'],
            env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        variables = dict(shlex.split(line)[1].split('=', 1) for line in self.standin.stdout)
        modules = pathlib.Path(variables['VELMO_MODULES_XML']).read_text()
        values = dict(variables, port=re.search('websocket-port="([0-9]+)"', modules)[1])
        self.shown = {str(self.home): HOME}
        for name, text in SHOWN.items():
            self.shown.update({values[name]: text, hexadecimal(values[name]): hexadecimal(text)})
        self.shell = subprocess.Popen(
            ['/bin/sh'], env={**environment, **variables}, cwd=self.home, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def run(self, command):
        for real, text in self.shown.items():
            command = re.sub(rf'(?<!\w){re.escape(text)}(?!\w)', real, command)
        self.shell.stdin.write(f'{{ {command}\n}} </dev/null\n'
                               f'set -- $?; echo; echo {END}; (exit $1)\n')
        self.shell.stdin.flush()
        output = ''
        while not output.endswith(f'\n{END}\n'):
            line = self.shell.stdout.readline()
            if not line:
                sys.exit(f'the shell has ended in: {command}')
            output += line
        output = output.removesuffix(f'\n{END}\n').removesuffix('\n')
        for real, text in self.shown.items():
            output = re.sub(rf'(?<!\w){re.escape(real)}(?!\w)', text, output)
        output = re.sub(*MEASURED, output)
        return output.split('\n') if output else []

    def close(self):
        self.shell.stdin.close()
        self.shell.wait()
        self.standin.send_signal(signal.SIGTERM)
        self.standin.wait()
        subprocess.run(['rm', '-rf', str(self.home)], check=True)


def hexadecimal(number):
    """A key as ipcs(1) prints it."""
    return f'0x{int(number) & 0xffffffff:08x}'


def preloaded_clock():
    """The library of faketime, which holds the clock."""
    shown = subprocess.run(['faketime', NOW, 'printenv', 'LD_PRELOAD'], check=True, text=True,
                           stdout=subprocess.PIPE)
    return shown.stdout.strip()


def repeated(lines, session):
    """A transcript as it is now."""
    result = []
    for line in lines:
        if line.startswith('$ '):
            result += [line, *session.run(line[2:])]
    return result


def page_as_run(page, velmo, standin):
    """The lines of a page, as they are and with its transcripts as they are now."""
    form = Mdoc if page.suffix[1:].isdigit() else Markdown
    lines = page.read_text().split('\n')
    found = blocks(lines, form)
    if not found:
        sys.exit(f'{page}: no transcripts')
    session = Session(velmo, standin)
    try:
        transcripts = [repeated([form.read(line) for line in lines[first:end]], session)
                       for first, end in found]
    finally:
        session.close()
    now = list(lines)
    for (first, end), transcript in reversed(list(zip(found, transcripts))):
        now[first:end] = [form.write(line) for line in transcript]
    return lines, now


def main():
    arguments = sys.argv[1:]
    is_update = arguments[:1] == ['--update']
    velmo, standin, *pages = arguments[1 if is_update else 0:]
    velmo, standin = (str(pathlib.Path(program).resolve()) for program in (velmo, standin))
    is_same = True
    for page in map(pathlib.Path, pages):
        lines, now = page_as_run(page, velmo, standin)
        if is_update:
            page.write_text('\n'.join(now))
        elif lines != now:
            is_same = False
            print('\n'.join(difflib.unified_diff(lines, now, f'{page}', 'as run', lineterm='', n=1)))
    sys.exit(0 if is_same else 1)


if __name__ == '__main__':
    main()
