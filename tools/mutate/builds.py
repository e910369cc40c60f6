# SPDX-License-Identifier: Apache-2.0
"""A finished CMake build with Ninja: how one object of a shared library is made again, and its unit tests."""
import json
import os
import re
import resource
import shlex
import shutil
import subprocess
import time
from collections import Counter
from dataclasses import dataclass, field


@dataclass
class Unit:
    """Tests that run in one process: a suite, or a single test that needs a process of its own."""
    program: str
    name: str      # --gtest_filter
    cases: list
    folder: str    # what its source's folder is called
    loads: set     # the program and its libraries: of other mutants it sees nothing
    seconds: float = 0.0
    skipped: int = 0


def run(command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def limit():
    """What a mutant may take of the machine."""
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (2 << 30, 2 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


@dataclass
class Object:
    """How one source of the libraries is compiled, and what it is linked into."""
    source: str
    path: str
    compiler: list
    links: list = field(default_factory=list)  # (library or test program, command)


class Build:
    def __init__(self, source, build):
        self.source = os.path.realpath(source)
        self.build = os.path.realpath(build)
        self.objects = {}
        self.read_commands()
        self.units = []

    def read_commands(self):
        """From Ninja's own list: the compilations whose objects end in a shared library, directly or in an archive.

        Tests of what is in an archive are linked to it themselves: their programs are made again like the libraries.
        """
        archives, compiled, in_tests = {}, {}, []
        for line in run(['ninja', '-C', self.build, '-t', 'commands']).splitlines():
            for command in line.split(' && '):
                words = shlex.split(command)
                if '-c' in words and '-o' in words:
                    out = words[words.index('-o') + 1]
                    compiled[out] = Object(words[words.index('-c') + 1], out, words)
                elif any(word.endswith('.a') for word in words) and 'qc' in words:
                    archives[words[words.index('qc') + 1]] = [word for word in words if word in compiled]
                elif '-shared' in words:
                    library = words[words.index('-o') + 1]
                    for word in words:
                        for part in [word] + archives.get(word, []):
                            if part in compiled:
                                compiled[part].links.append((library, words))
                elif '-o' in words and words[words.index('-o') + 1].startswith('tests/'):
                    in_tests += [(part, words) for word in words for part in archives.get(word, [])]
        for part, words in in_tests:
            if compiled[part].links:
                compiled[part].links.append((words[words.index('-o') + 1], words))
        tests = os.path.join(self.source, 'tests', '')
        for entry in compiled.values():
            if entry.links and entry.source.startswith(self.source) and not entry.source.startswith(tests):
                # What is compiled for several libraries is compiled once: all of them get the same mutant.
                first = self.objects.setdefault(os.path.relpath(entry.source, self.source), entry)
                if first is not entry:
                    first.links += [(library, [first.path if word == entry.path else word for word in words])
                                    for library, words in entry.links]

    def compile(self, entry, text, path):
        """Compiles text in the place of the source; False: it does not compile."""
        words = entry.compiler[1:] if os.path.basename(entry.compiler[0]) == 'ccache' else list(entry.compiler)
        for option, count in (('-MD', 1), ('-MT', 2), ('-MF', 2), ('-o', 2), ('-c', 2)):
            if option in words:
                at = words.index(option)
                del words[at:at + count]
        language = 'c' if entry.source.endswith('.c') else 'c++'
        words = [word for word in words if not word.startswith('-W')]
        words += ['-w', '-g0', '-iquote', os.path.dirname(entry.source), '-x', language, '-c', '-o', path, '-']
        return subprocess.run(words, cwd=self.build, input=f'#line 1 "{entry.source}"\n{text}', text=True,
                              capture_output=True, timeout=300).returncode == 0

    def link(self, entry, path, folder):
        """Links what has the object anew into the folder; gives {library: new file}, {}: it cannot be linked."""
        made = {}
        for library, command in entry.links:
            out = os.path.join(folder, os.path.basename(library))
            words = [path if word == entry.path else out if word == library else word for word in command]
            if path not in words:  # it is in an archive: what is named before that wins
                words.insert(words.index('-o'), path)
            if subprocess.run(words, cwd=self.build, capture_output=True).returncode != 0:
                return {}
            made[os.path.join(self.build, library)] = out
        return made

    def sandbox(self, libraries):
        """Mutants run as whoever calls, so they get no network, no file that they could change, no other process."""
        command = ['bwrap', '--ro-bind', '/', '/', '--dev', '/dev', '--proc', '/proc', '--tmpfs', '/tmp',
                   '--ro-bind', self.source, self.source, '--ro-bind', self.build, self.build,
                   '--unshare-pid', '--unshare-ipc', '--unshare-net', '--die-with-parent', '--new-session']
        for library, new in libraries.items():
            command += ['--ro-bind', new, library]
        return command

    def passes(self, unit, libraries, seconds, report=None):
        """Whether the unit's tests pass with these libraries in the place of the build's, and in time."""
        command = self.sandbox(libraries) + ['--chdir', os.path.dirname(unit.program), unit.program, '--gtest_brief=1',
                                             '--gtest_fail_fast', '--gtest_filter=' + unit.name]
        try:
            done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE if report is not None else
                                  subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=seconds, preexec_fn=limit)
        except subprocess.TimeoutExpired:
            return False
        if report is not None:
            report.append(done.stdout.decode(errors='replace'))
        return done.returncode == 0

    def programs(self):
        """The GoogleTest programs that ctest knows."""
        tests = json.loads(run(['ctest', '--test-dir', self.build, '--show-only=json-v1']))['tests']
        commands = [test.get('command', ['']) for test in tests]
        return sorted({command[0] for command in commands if any(word.startswith('--gtest_filter=') for word in command)})

    def find_units(self, folder):
        """Lists the tests and runs each once; a suite that fails as one process is run test by test."""
        listing = os.path.join(folder, 'tests.json')
        for program in self.programs():
            loads = {program, *re.findall(r'=> (\S+)', run(['ldd', program]))}
            run([program, '--gtest_list_tests', '--gtest_output=json:' + listing])
            with open(listing, encoding='utf-8') as file:
                suites = json.load(file)['testsuites']
            for suite in suites:
                names = [f"{suite['name']}.{case['name']}" for case in suite['testsuite']]
                path = suite['testsuite'][0].get('file', '').split('/')
                place = path[path.index('tests') + 1] if 'tests' in path[:-2] else ''
                if place and os.path.isdir(os.path.join(self.source, 'tools', place)):
                    continue  # a tool's tests; what the libraries do is for their own to say
                together = Unit(program, ':'.join(names), names, place, loads)
                self.units += self.tried(together) or [
                    unit for name in names for unit in self.tried(Unit(program, name, [name], place, loads)) or [Unit(
                        program, name, [], place, loads)]]
        return [unit.name for unit in self.units if not unit.cases]

    def tried(self, unit):
        report, start = [], time.monotonic()
        if not self.passes(unit, {}, 300, report):
            return []
        unit.seconds = time.monotonic() - start
        unit.skipped = sum(int(number) for number in re.findall(r'^\[  SKIPPED \] (\d+) test', report[0], re.M))
        return [unit]


class Worker:
    """Runs mutants one after the other in a folder of its own."""

    def __init__(self, build, folder, caught_by):
        self.build = build
        self.folder = folder
        self.caught_by = caught_by  # shared by all: which unit has caught how many mutants of a file
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)

    def same(self, one, two):
        with open(one, 'rb') as first, open(two, 'rb') as second:
            return first.read() == second.read()

    def examine(self, file, text, original):
        """'caught', 'survived', 'invalid' (it does not build) or 'equal' (the very same machine code)."""
        entry = self.build.objects[file]
        path = os.path.join(self.folder, 'mutant.o')
        if not self.build.compile(entry, text, path):
            return 'invalid'
        if self.same(path, original):
            return 'equal'
        libraries = self.build.link(entry, path, self.folder)
        if not libraries:
            return 'invalid'
        counts = self.caught_by.setdefault(file, Counter())
        place = file.split('/')[0]
        units = [unit for unit in self.build.units if not unit.loads.isdisjoint(libraries)]
        for unit in sorted(units, key=lambda unit: (-counts[unit.name], unit.folder != place, unit.seconds)):
            if not self.build.passes(unit, libraries, 10 + 4 * unit.seconds):
                counts[unit.name] += 1
                return 'caught'
        return 'survived'
