"""A Markdown page as the runner sees it: its blocks of code, in order."""
import re
from dataclasses import dataclass, field

FENCE = re.compile(r'^(\s*)(`{3,}|~{3,})\s*(.*?)\s*$')
LIST_ITEM = re.compile(r'^(\s*)([-*+]|\d{1,9}[.)])(\s+)')
RUNS = re.compile(r'^\s*<!--\s*runs:\s*(.*?)\s*-->\s*$')
CODE_INDENT = 4  # blanks that make a line one of code


class PageError(Exception):
    """The page itself cannot be understood."""

    def __init__(self, line, message):
        super().__init__(message)
        self.line = line  # from 1


@dataclass
class Block:
    line: int                # of the fence, or of the first line where there is none; from 1
    language: str            # first word of the info string; 'indented' for a block without fence
    file: str                # second word of the info string, or ''
    runs: str                # what the comment on the line before says, or None
    indent: str = ''         # before each of its lines
    lines: list = field(default_factory=list)  # without the indent
    first: int = 0           # line number of lines[0]


@dataclass
class Command:
    line: int        # of its '$ '
    text: str        # continued lines joined
    output: list     # the lines expected
    first: int       # line number of output[0], or where it would be
    block: Block


def width(line):
    """How far a line is indented."""
    expanded = line.expandtabs(4)
    return len(expanded) - len(expanded.lstrip(' '))


def read_page(path):
    with open(path, encoding='utf-8') as file:
        return file.read().split('\n')


def blocks(lines):
    """All blocks of code of a page, fenced and indented."""
    found = []
    runs = None      # of the comment seen last, while only blank lines follow
    text_indent = 0  # of the list item that the text belongs to
    after_blank = True
    at = 0
    while at < len(lines):
        line = lines[at]
        if not line.strip():
            after_blank = True
            at += 1
            continue
        fence = FENCE.match(line)
        comment = RUNS.match(line)
        item = LIST_ITEM.match(line)
        if fence and '`' not in fence[3]:
            block, at = fenced(lines, at, fence, runs)
            found.append(block)
            runs, after_blank = None, False
            continue
        if after_blank and width(line) < text_indent:
            text_indent = 0
        if after_blank and width(line) >= text_indent + CODE_INDENT:
            block, at = indented(lines, at, text_indent + CODE_INDENT, runs)
            found.append(block)
            runs = None
            continue
        if item:
            text_indent = len(item[0].expandtabs(4))
        if comment:
            runs = comment[1]
            after_blank = True  # a block may begin right behind
        else:
            if line.lstrip().startswith('<!--'):
                at = behind_comment(lines, at) - 1
            runs = None
            after_blank = line.startswith('#')
        at += 1
    return found


def behind_comment(lines, at):
    while at < len(lines) and '-->' not in lines[at]:
        at += 1
    return at + 1


def fenced(lines, at, fence, runs):
    """The block whose fence stands at lines[at], and where the text goes on."""
    indent, mark, info = fence.groups()
    words = info.split()
    block = Block(at + 1, words[0] if words else '', words[1] if len(words) > 1 else '', runs, indent, [], at + 2)
    end = re.compile(r'^\s*' + re.escape(mark[0]) + '{%d,}' % len(mark) + r'\s*$')
    for number in range(at + 1, len(lines)):
        if end.match(lines[number]):
            return block, number + 1
        line = lines[number]
        block.lines.append(line[len(indent):] if line.startswith(indent) else line.lstrip())
    raise PageError(at + 1, 'a fence that is never closed')


def indented(lines, at, least, runs):
    block = Block(at + 1, 'indented', '', runs, ' ' * least, [], at + 1)
    while at < len(lines) and (not lines[at].strip() or width(lines[at]) >= least):
        block.lines.append(lines[at].expandtabs(4)[least:])
        at += 1
    return block, at


def commands(block):
    """The commands of a console block, each with what it is to print."""
    found = []
    for number, line in enumerate(block.lines, block.first):
        if line.startswith('$ '):
            found.append(Command(number, line[2:], [], number + 1, block))
        elif not found:
            if line.strip():
                raise PageError(number, 'a console block begins with a line that is no command')
        elif line.startswith('> ') and not found[-1].output:
            found[-1].text += '\n' + line[2:]
            found[-1].first = number + 1
        elif line == '>' and not found[-1].output:
            found[-1].text += '\n'
            found[-1].first = number + 1
        else:
            found[-1].output.append(line)
    return found
