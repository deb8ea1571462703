"""Links of a page that lead nowhere: to files that are not there, to headings that no page has."""
import os
import re

LINK = re.compile(r'\[[^\]]*\]\(([^)\s]+)\)')
CODE = re.compile(r'`[^`]*`')
HEADING = re.compile(r'^#{1,6}\s+(.*?)\s*#*\s*$')
FENCE = re.compile(r'^\s*(```|~~~)')


def text_lines(lines):
    """Line numbers and lines outside blocks of code."""
    inside = False
    for number, line in enumerate(lines, 1):
        if FENCE.match(line):
            inside = not inside
        elif not inside:
            yield number, line


def anchors(lines):
    """The names under which a page's headings can be reached."""
    seen = {}
    names = set()
    for _, line in text_lines(lines):
        heading = HEADING.match(line)
        if heading:
            plain = LINK.sub(lambda match: match[0][1:match[0].index(']')], heading[1])
            name = re.sub(r'[^\w\- ]', '', plain.lower()).replace(' ', '-')
            names.add(f'{name}-{seen[name]}' if name in seen else name)
            seen[name] = seen.get(name, 0) + 1
        names.update(re.findall(r'<a (?:id|name)="([^"]+)"', line))
    return names


def broken_links(path, lines):
    """Pairs of a line number and a link."""
    found = []
    for number, line in text_lines(lines):
        for target in LINK.findall(CODE.sub('', line)):
            if re.match(r'[a-z][a-z0-9+.-]*:', target):
                continue  # elsewhere
            file, _, anchor = target.partition('#')
            there = os.path.join(os.path.dirname(path), file) if file else path
            if not os.path.exists(there):
                found.append((number, target))
            elif anchor and there.endswith('.md'):
                with open(there, encoding='utf-8') as other:
                    if anchor not in anchors(other.read().split('\n')):
                        found.append((number, target))
    return found
