#!/usr/bin/env python3
"""Runs the contestants against one another, and prints what each took as tables in Markdown.

Each contestant is a process of its own (contestant.h has what it is told). Before a row is measured, what they made is
compared with what the engine made; one that made something else, or does not make the row at all, gets a dash, and the
reason stands below the table. Then they take turns in rounds. What counts is processor time, of all threads of the
process; a figure is the median of the rounds, a ratio the median of the ratios of neighbouring rounds."""

import argparse
import os
import platform
import re
import selectors
import statistics
import subprocess
import sys
import tempfile

PATIENCE = 600  # Seconds that a contestant may take for an answer.

# Memory that is freed stays with the process. Otherwise the C library gives the driver's back and fetches it anew in
# every frame, or does not, depending on what else lies on the heap: chance would decide between contestants.
KEEP_FREED_MEMORY = {'MALLOC_TRIM_THRESHOLD_': str(256 << 20), 'MALLOC_MMAP_THRESHOLD_': str(32 << 20)}


class Unable(Exception):
    """A contestant cannot do what it was told to, and says why."""


class Contestant:
    """A running program, and what is noted of it in one row."""

    def __init__(self, path, arguments):
        if not os.path.exists(path):
            raise Unable('not built: packages are missing')
        self.process = subprocess.Popen([path] + arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, bufsize=0, env={**os.environ, **KEEP_FREED_MEMORY})
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)
        self.us = []  # Of one frame or block, a round.
        self.count = 1  # Frames or blocks that a round makes.

    def ask(self, command):
        try:
            self.process.stdin.write(f'{command}\n'.encode())
        except BrokenPipeError:
            raise Unable('it has ended') from None
        if not self.selector.select(PATIENCE):
            raise Unable(f'no answer within {PATIENCE} s')
        answer = self.process.stdout.readline().decode().strip()
        if not answer:
            raise Unable('it has ended')
        if answer.startswith('no '):
            raise Unable(answer[3:])
        return answer

    def end(self):
        self.process.kill()
        self.process.wait()
        self.selector.close()
        self.process.stdin.close()
        self.process.stdout.close()


class Race:
    """Rows of one kind, and their table. The first of the contestants is the bare one."""

    def __init__(self, folder, rounds, contestants):
        self.folder = folder
        self.rounds = rounds
        self.contestants = contestants  # Name: program and arguments.
        self.rows = []
        self.dashes = {}  # Name and reason: rows.
        self.apart = {}  # Name: the largest, and the largest mean difference.
        self.differs = False

    def start(self, scene):
        running = {}
        for name, (program, *arguments) in self.contestants.items():
            try:
                running[name] = Contestant(os.path.join(self.folder, program), arguments)
                running[name].ask(scene)
            except Unable as reason:
                self.drop(running, name, scene, str(reason))
        return running

    def drop(self, running, name, scene, reason):
        if name in running:
            running.pop(name).end()
        if name == 'Quarn':
            raise Unable(f'Quarn, {scene}: {reason}')
        self.dashes.setdefault((name, reason), []).append(self.label(scene))

    def every(self, running, scene, command_of):
        """Gives each its command. Returns their answers; one that fails is dropped."""
        answers = {}
        for name in list(running):
            try:
                answers[name] = running[name].ask(command_of(name))
            except Unable as reason:
                self.drop(running, name, scene, str(reason))
        return answers

    def difference(self, kind, split, one, other):
        """Returns the largest and the mean difference of two files, each the worse one of their parts."""
        result = subprocess.run([os.path.join(self.folder, 'contestant-difference'), kind, str(split), one, other],
                                capture_output=True, text=True)
        if result.returncode != 0:
            return float('inf'), float('inf')
        parts = [[float(word) for word in line.split()] for line in result.stdout.splitlines()]
        return max(part[0] for part in parts), max(part[1] for part in parts)

    def compare(self, running, scene):
        """Drops those that make something else than the engine."""
        with tempfile.TemporaryDirectory() as folder:
            before = None
            for step in (1, 1, 18):
                self.every(running, scene, lambda _, step=step: f'make {step}')
                files = {name: os.path.join(folder, name.replace(' ', '-')) for name in running}
                self.every(running, scene, lambda name: f'write {files[name]}')
                for name in [name for name in running if name != 'Quarn']:
                    apart = self.difference(*self.measure_of(name, scene), files['Quarn'], files[name])
                    largest, mean = self.tolerance(name)
                    if apart[0] > largest or apart[1] > mean:
                        self.differs = True
                        self.drop(running, name, scene, f'differs by {apart[0]:g} at most, {apart[1]:.2g} in the mean')
                    else:
                        noted = self.apart.get(name, (0, 0))
                        self.apart[name] = max(noted[0], apart[0]), max(noted[1], apart[1])
                with open(files['Quarn'], 'rb') as file:
                    now = file.read()
                if now == before or not any(now):
                    raise Unable(f'Quarn, {scene}: nothing moves')
                before = now

    def run(self, scene):
        print(f'{self.label(scene)} ...', file=sys.stderr, flush=True)
        running = self.start(scene)
        try:
            self.compare(running, scene)
            self.warm_up(running, scene)
            for _ in range(self.rounds):
                made = self.every(running, scene, lambda name: f'make {running[name].count}')
                for name, us in made.items():
                    running[name].us.append(int(us) / running[name].count)
            self.rows.append((scene, {name: one.us for name, one in running.items()}))
        finally:
            for one in running.values():
                one.end()

    def table(self):
        """Returns the table's lines, and those of the notes below it."""
        bare = next(iter(self.contestants))
        peers = [name for name in self.contestants if name not in (bare, 'Quarn')]
        lines = [[self.heading, bare] + peers + ['Quarn', f'Quarn/{bare}']]
        for scene, us in self.rows:
            cells = [self.label(scene)]
            for name in [bare] + peers + ['Quarn']:
                cells.append(figure(statistics.median(us[name]) / self.unit) if us.get(name) else '-')
            ratios = [ours / theirs for ours, theirs in zip(us['Quarn'], us.get(bare, []))]
            cells.append(f'{statistics.median(ratios):.2f}' if ratios else '-')
            lines.append(cells)
        widths = [max(len(line[i]) for line in lines) for i in range(len(lines[0]))]
        rows = ['| ' + ' | '.join(cell.rjust(width) if i else cell.ljust(width)
                                  for i, (cell, width) in enumerate(zip(line, widths))) + ' |' for line in lines]
        rows.insert(1, '|' + '|'.join('-' * (width + 2) for width in widths) + '|')
        notes = [f'- {name}: no {", ".join(labels)}: {reason}.' for (name, reason), labels in self.dashes.items()]
        for name, (largest, mean) in self.apart.items():
            notes.append(f'- {name} differs from Quarn by {largest:g} {self.steps} at most, and by {mean:.2g} in the mean '
                         'of a row.')
        return rows, notes


class PictureRace(Race):
    heading = 'picture'
    steps = 'levels'
    unit = 1000  # Milliseconds a frame.
    round_us = 300_000

    def label(self, scene):
        _, width, height, kind, layers = scene.split()
        return f'{width}x{height} {kind}, {layers} layers'

    def measure_of(self, name, scene):
        _, width, height, kind, _ = scene.split()
        # Alpha of the canvas: these two do not blend it as colours are blended.
        if kind == 'rgba':
            return 'rgb' if name in ('GStreamer CPU', 'FFmpeg overlay') else 'byte', int(width) * int(height) * 4
        return 'byte', int(width) * int(height)

    def tolerance(self, name):
        # Rounding: of blending in YUV or RGB, of conversion before or after it. The bare loop makes the same bytes.
        return (0, 0) if name == 'bare' else (4, 1)

    def warm_up(self, running, scene):
        self.every(running, scene, lambda _: 'make 5')
        for name, us in self.every(running, scene, lambda _: 'make 5').items():
            running[name].count = max(2, round(self.round_us / (int(us) / 5)))


class SoundRace(Race):
    heading = 'sound'
    steps = '32768ths'
    unit = 1  # Microseconds a block.
    blocks = 40  # A round. The engine's mixer keeps the clock's time: that is two seconds.

    def label(self, scene):
        _, kind, channels, sources = scene.split()
        return f'{sources} x {channels} channels, {kind}'

    def measure_of(self, _, scene):
        return scene.split()[1], 1 << 62

    def tolerance(self, _):
        return 0, 0

    def warm_up(self, running, scene):
        # Ten seconds, so that every part of every buffer has been used.
        self.every(running, scene, lambda _: 'make 200')
        for one in running.values():
            one.count = self.blocks


PICTURES = ['picture 1920 1080 rgba 8', 'picture 1920 1080 nv12 8', 'picture 1920 1080 i420 8',
            'picture 1280 720 nv12 8', 'picture 3840 2160 nv12 8', 'picture 160 90 nv12 8', 'picture 160 90 nv12 64']
PICTURE_CONTESTANTS = {
    'bare': ['contestant-bare-pictures'],
    'Quarn': ['contestant-quarn-pictures'],
    'GStreamer GL': ['contestant-gstreamer-pictures', 'gl'],
    'GStreamer CPU': ['contestant-gstreamer-pictures', 'cpu'],
    'FFmpeg overlay': ['contestant-ffmpeg-pictures'],
}
SOUNDS = [f'sound {kind} {channels} {sources}' for kind in ('float', 'short') for channels in (2, 8)
          for sources in (16, 64, 256)]
SOUND_CONTESTANTS = {
    'plain': ['contestant-plain-sound'],
    'Quarn': ['contestant-quarn-sound'],
    'GStreamer': ['contestant-gstreamer-sound'],
    'FFmpeg': ['contestant-ffmpeg-sound'],
    'SDL': ['contestant-sdl-sound'],
}


def figure(value):
    """Three digits."""
    return f'{value:.0f}' if value >= 99.95 else f'{value:.1f}' if value >= 9.995 else f'{value:.2f}'


def output_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True).stdout.strip()
    except OSError:
        return ''


def machine():
    """One line about what this ran on."""
    with open('/proc/cpuinfo', encoding='utf-8') as file:
        model = re.search(r'model name\s*: (.*)', file.read())
    words = [f'{model[1] if model else platform.machine()}, {os.cpu_count()} cores']
    system = output_of('sh', '-c', '. /etc/os-release && echo "$PRETTY_NAME"')
    mesa = output_of('dpkg-query', '-W', '-f', '${Version}', 'libgl1-mesa-dri')
    versions = [('Mesa', mesa.split('-')[0])]
    for name, package in (('GStreamer', 'gstreamer-1.0'), ('libavfilter', 'libavfilter'), ('SDL', 'sdl2')):
        versions.append((name, output_of('pkg-config', '--modversion', package)))
    words += [system] + [f'{name} {version}' for name, version in versions if version]
    return ', '.join(words) + f'; load average {os.getloadavg()[0]:.1f} at the end'


def replace_table(path, rows):
    """Puts the table in the place of the one in the file whose heading begins with the same word."""
    with open(path, encoding='utf-8') as file:
        lines = file.read().split('\n')
    word = rows[0].split()[1]
    begin = next((i for i, line in enumerate(lines) if re.match(rf'\| {word} +\|', line)), None)
    if begin is None:
        return
    end = begin
    while lines[end].startswith('|'):
        end += 1
    with open(path, 'w', encoding='utf-8') as file:
        file.write('\n'.join(lines[:begin] + rows + lines[end:]))


def main():
    parser = argparse.ArgumentParser(description='Compares the engine with its peers.')
    parser.add_argument('folder', help='where the contestants are')
    parser.add_argument('--rounds', type=int, default=11, help='rounds a row (default: 11)')
    parser.add_argument('--only', default='', metavar='TEXT', help='rows whose names have this, such as "nv12" or "short"')
    parser.add_argument('--into', action='append', default=[], metavar='FILE',
                        help='also replace the tables in this file; may be given several times')
    arguments = parser.parse_args()
    races = [(PictureRace(arguments.folder, arguments.rounds, PICTURE_CONTESTANTS), PICTURES),
             (SoundRace(arguments.folder, arguments.rounds, SOUND_CONTESTANTS), SOUNDS)]
    tables = []
    try:
        for race, scenes in races:
            for scene in scenes:
                if arguments.only in race.label(scene):
                    race.run(scene)
            if race.rows:
                tables.append(race.table())
    except Unable as reason:
        print(f'compare.py: {reason}', file=sys.stderr)
        return 1
    print(machine() + '\n')
    for rows, notes in tables:
        print('\n'.join(rows) + '\n\n' + '\n'.join(notes) + '\n')
        for path in arguments.into:
            replace_table(path, rows)
    return 1 if any(race.differs for race, _ in races) else 0


if __name__ == '__main__':
    sys.exit(main())
