"""What a page says that a command prints, and what it did print."""
import re

ANY_LINES = '...'  # alone in a line: any number of lines
ANY_TEXT = '…'     # within a line: any text


def tidy(lines):
    """Blanks at the ends of lines, and empty lines at the end, do not count."""
    lines = [line.rstrip() for line in lines]
    while lines and not lines[-1]:
        lines.pop()
    return lines


def fits(pattern, line):
    if ANY_TEXT not in pattern:
        return pattern == line
    return re.fullmatch('.*'.join(re.escape(part) for part in pattern.split(ANY_TEXT)), line) is not None


def align(page, printed):
    """Lays what was printed beside the page with as few differences as possible.

    Returns a list of pairs (index in page, index in printed), in order; None for a line that the other one has not.
    A '...' stands with each line that it covers, and at the end with None.
    """
    rows, columns = len(page), len(printed)
    best = [[0] * (columns + 1) for _ in range(rows + 1)]  # differences of page[i:] and printed[j:]
    for i in range(rows, -1, -1):
        for j in range(columns, -1, -1):
            if i == rows:
                best[i][j] = columns - j
            elif page[i] == ANY_LINES:
                best[i][j] = min(best[i + 1][j:j + 1] + best[i][j + 1:j + 2])
            elif j == columns:
                best[i][j] = best[i + 1][j] + 1
            else:
                best[i][j] = min(best[i + 1][j + 1] + (not fits(page[i], printed[j])),
                                 best[i + 1][j] + 1, best[i][j + 1] + 1)

    pairs = []
    i = j = 0
    while i < rows or j < columns:
        here = best[i][j]
        if i < rows and page[i] == ANY_LINES:
            if best[i + 1][j] == here:
                pairs.append((i, None))
                i += 1
            else:
                pairs.append((i, j))
                j += 1
        elif i < rows and j < columns and best[i + 1][j + 1] + (not fits(page[i], printed[j])) == here:
            pairs.append((i, j))
            i, j = i + 1, j + 1
        elif i < rows and best[i + 1][j] + 1 == here:
            pairs.append((i, None))
            i += 1
        else:
            pairs.append((None, j))
            j += 1
    return pairs


def first_difference(page, printed):
    """None where all is as the page says; else the index in the page, and the two lines, None for one that is not."""
    page, printed = tidy(page), tidy(printed)
    if page == printed:
        return None
    behind = 0  # lines of the page that come before
    for i, j in align(page, printed):
        if i is None:
            return behind, None, printed[j]
        if page[i] != ANY_LINES and (j is None or not fits(page[i], printed[j])):
            return i, page[i], None if j is None else printed[j]
        behind = i + 1
    return None


def renewed(page, printed):
    """The page's lines as they have to be; those with '...' and '…' stay where they fit."""
    page, printed = tidy(page), tidy(printed)
    lines = []
    for i, j in align(page, printed):
        if i is not None and page[i] == ANY_LINES:
            if j is None:
                lines.append(ANY_LINES)
        elif j is not None:
            lines.append(page[i] if i is not None and fits(page[i], printed[j]) else printed[j])
    return lines
