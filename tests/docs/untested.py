"""Commands that stand on a page in a form that nothing runs, and what is said to run them instead."""
import os
import re
import subprocess

SHELL = ('sh', 'bash', 'shell', 'zsh', 'ksh', 'shell-session', 'sh-session', 'session', 'terminal')
PLAIN = ('', 'indented', 'text', 'txt', 'plain', 'none')
# Not those that begin a line of a listing as well: find, head, install, man, sort, tail, time.
COMMANDS = frozenset('''
    apt apt-get awk bash c++ c89 c99 cat cc cd clang clang++ cmake cmp cp cpack ctest curl dd diff dpkg echo env export
    fault_run flip_run fuzz_replay g++ gcc gdb git grep hexdump isam kill kill_run ld ldconfig ldd ln ls make meson mkdir
    mv ninja nm objdump od perl pkg-config printf ps python python3 readelf rm rmdir rpm sed sh sleep strace stress_run
    sudo tar touch truncate umask valgrind wget xargs xxd'''.split())


def is_command(line, source):
    """Does a line look like something to be typed into a shell?"""
    words = line.split()
    if not words:
        return False
    if words[0] in ('$', '%') and len(words) > 1:
        return True
    if words[0].startswith('./') or words[0] in COMMANDS:
        return True
    path = os.path.join(source, words[0])
    return '/' in words[0] and os.path.isfile(path) and os.access(path, os.X_OK)


def untested(block, source):
    """Why a block needs a '<!-- runs: ... -->', or None."""
    if block.language == 'console' or block.file:
        return None
    if block.language in SHELL:
        return f'a block of {block.language}: nothing runs it'
    if block.language in PLAIN:
        for number, line in enumerate(block.lines, block.first):
            if is_command(line, source):
                return f'line {number} looks like a command, and nothing runs it: {line.strip()}'
    return None


class Runners:
    """What a page may name as running a block: tests of a build, steps of ./test, ways of ./prove, programs."""

    def __init__(self, source, build):
        self.source, self.build = source, build
        self.names = set(self.words_of('test') + self.words_of('prove'))
        self.tests = None  # asked for when first needed

    def words_of(self, script):
        """The words that a script of the project takes, by the labels of its 'case'."""
        with open(os.path.join(self.source, script), encoding='utf-8') as file:
            labels = re.findall(r'^ *([a-z0-9]+(?: \| [a-z0-9]+)*)\)', file.read(), re.MULTILINE)
        return [word for label in labels for word in label.split(' | ')]

    def all_tests(self):
        if self.tests is None:
            listing = subprocess.run(['ctest', '--test-dir', self.build, '-N'], capture_output=True, text=True, check=True)
            names = re.findall(r'^ *Test *#\d+: (.*?)$', listing.stdout, re.MULTILINE)
            # With the name of the build before them, or without.
            self.tests = set(names) | {name.split('/', 1)[1] for name in names if '/' in name}
        return self.tests

    def knows(self, name):
        path = os.path.join(self.source, name)
        if name in self.names or os.path.isfile(path) and os.access(path, os.X_OK):
            return True
        if not self.build:
            return '/' in name  # may be a test
        build = name.split('/')[0]
        if '/' in name and build in self.names and not any(test.startswith(build + '/') for test in self.all_tests()):
            return True  # a test of another build
        return name in self.all_tests()


def wrong_exemption(block, runners):
    """What is wrong with a block's '<!-- runs: ... -->', or None."""
    names, dash, reason = block.runs.partition(' - ')
    if not dash or not reason.strip():
        return 'wants the form <!-- runs: NAME - reason -->'
    for name in names.split(','):
        if not runners.knows(name.strip()):
            return f'names {name.strip()}, which is no test, no step of ./test, no way of ./prove and no program'
    return None
