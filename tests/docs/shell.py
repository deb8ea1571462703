"""One bash that runs a page's commands one after the other, so that directories and variables stay."""
import glob
import os
import re
import secrets
import select
import shutil
import signal
import subprocess
import tempfile
import time


class ShellEnded(Exception):
    """It takes no more commands; the message says why, printed has what came before."""

    def __init__(self, message, printed):
        super().__init__(message)
        self.printed = printed


def environment(prefix, source, home):
    """As after an installation under prefix, and nothing of the caller's but PATH."""
    libraries = sorted({os.path.dirname(path) for path in glob.glob(os.path.join(prefix, 'lib*', '**', 'libisam.*'),
                                                                    recursive=True)}) if prefix else []
    search = {
        'PATH': [os.path.join(prefix, 'bin')] if prefix else [],
        'LD_LIBRARY_PATH': libraries,
        'LIBRARY_PATH': libraries,
        'PKG_CONFIG_PATH': [os.path.join(library, 'pkgconfig') for library in libraries],
        'CMAKE_PREFIX_PATH': [prefix] if prefix else [],
        'MANPATH': [os.path.join(prefix, 'share', 'man'), ''] if prefix else [],  # the empty one: the system's
        'C_INCLUDE_PATH': [os.path.join(prefix, 'include')] if prefix else [],
        'CPLUS_INCLUDE_PATH': [os.path.join(prefix, 'include')] if prefix else [],
    }
    result = {name: ':'.join(paths) for name, paths in search.items() if paths}
    result['PATH'] = ':'.join(search['PATH'] + [os.environ.get('PATH', os.defpath)])
    result.update(LC_ALL='C.UTF-8', TZ='UTC', TERM='dumb', COLUMNS='100', ISAM_SOURCE=source,
                  HOME=os.path.join(home, 'home'), TMPDIR=os.path.join(home, 'tmp'))
    return result


class Shell:
    """bash in an empty directory, self.directory; what it and its children leave is removed at the end."""

    def __init__(self, prefix, source, seconds, keep=False):
        self.seconds, self.keep = seconds, keep
        self.base = tempfile.mkdtemp(prefix='isam-docs-')
        for name in ('page', 'home', 'tmp'):
            os.mkdir(os.path.join(self.base, name))
        self.directory = os.path.join(self.base, 'page')
        self.script = os.path.join(self.base, 'command')
        self.token = secrets.token_hex(16)
        self.process = subprocess.Popen(
            ['bash', '--noprofile', '--norc'], cwd=self.directory, env=environment(prefix, source, self.base),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True, umask=0o022)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        self.process.stdin.close()
        self.process.stdout.close()
        if not self.keep:
            shutil.rmtree(self.base, ignore_errors=True)

    def stop(self):
        """Ends bash and all that it started and did not wait for."""
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()

    def run(self, text):
        """Runs a command. Returns its status and the lines that it printed."""
        with open(self.script, 'w', encoding='utf-8') as file:
            file.write(text + '\n')
        # In a file, so that a command that is cut short cannot swallow what follows; nothing to read for its children.
        try:
            self.process.stdin.write(
                f". '{self.script}' </dev/null; printf '\\n%s %d\\n' {self.token} $?\n".encode())
            self.process.stdin.flush()
        except BrokenPipeError:
            raise ShellEnded('the shell has ended before', []) from None
        printed, status = self.read_to(re.compile(rb'\n%s (\d+)\n' % self.token.encode()))
        return status, self.lines(printed)

    def read_to(self, end):
        printed = b''
        until = time.monotonic() + self.seconds
        while True:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, until - time.monotonic()))
            if not ready:
                self.stop()
                raise ShellEnded(f'no end after {self.seconds} seconds', self.lines(printed))
            got = os.read(self.process.stdout.fileno(), 1 << 16)
            if not got:
                raise ShellEnded(f'the command ended the shell, with status {self.process.wait()}', self.lines(printed))
            printed += got
            found = end.search(printed)
            if found:
                return printed[:found.start()], int(found[1])

    @staticmethod
    def lines(printed):
        text = printed.decode('utf-8', 'replace')
        return text.split('\n') if text else []
