"""Plots as SVG: bars of a group of workloads, lines of cost against size.

Drawn on white, so that they can be read on dark pages as well. Both scales of cost are logarithmic: engines differ by
factors of a thousand.
"""
import math
from html import escape

FONT = 'font-family="Helvetica, Arial, sans-serif"'
INK = "#222222"
GREY = "#dddddd"
# Ours in blue, the floor in grey, each other engine in a colour of its own.
COLOURS = {
    "floor": "#888888",
    "isam": "#0b4f9c",
    "isam-mapped": "#2f86d6",
    "isam-excl": "#8cbcec",
    "lmdb": "#2e7d32",
    "bdb": "#e07b00",
    "sqlite-wal": "#8e24aa",
    "sqlite-journal": "#c58bd3",
    "tdb": "#c62828",
    "gdbm": "#ef9a9a",
    "leveldb": "#6d4c41",
    "tcb": "#a89a00",
}


def colour(subject):
    return COLOURS.get(subject["name"], "#000000")


def text(x, y, string, size=11, anchor="start", weight="normal", fill=INK):
    return (
        f'<text x="{x:.1f}" y="{y:.1f}" {FONT} font-size="{size}" text-anchor="{anchor}" '
        f'font-weight="{weight}" fill="{fill}">{escape(string)}</text>'
    )


def document(width, height, title, parts):
    return "\n".join(
        [
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height:.0f}" '
            f'viewBox="0 0 {width} {height:.0f}" role="img">',
            f"<title>{escape(title)}</title>",
            f'<rect width="{width}" height="{height:.0f}" fill="#ffffff"/>',
            *parts,
            "</svg>",
            "",
        ]
    )


def duration(nanoseconds):
    if nanoseconds < 1000:
        return f"{nanoseconds:.0f} ns"
    if nanoseconds < 1e6:
        return f"{nanoseconds / 1000:.3g} µs"
    return f"{nanoseconds / 1e6:.3g} ms"


class Scale:
    """Logarithms of costs on a line between two places, whole decades around what is shown."""

    def __init__(self, values, low, high):
        self.first = math.floor(math.log10(min(values)))
        self.last = max(self.first + 1, math.ceil(math.log10(max(values))))
        self.low, self.high = low, high

    def __call__(self, value):
        part = (math.log10(value) - self.first) / (self.last - self.first)
        return self.low + part * (self.high - self.low)

    def decades(self):
        return [10.0**power for power in range(self.first, self.last + 1)]


def bars(title, rows, subjects):
    """rows: (title, subject name -> nanoseconds)."""
    width, left, right, bar, top = 780, 130, 70, 13, 46
    values = [value for _, cells in rows for value in cells.values()]
    scale = Scale(values, left, width - right)
    body, y = [], top
    for row_title, cells in rows:
        y += 8
        body.append(text(8, y + 11, row_title, 12, weight="bold"))
        y += 17
        for subject in subjects:
            if subject["name"] not in cells:
                continue
            value = cells[subject["name"]]
            end = scale(value)
            body.append(text(left - 6, y + 10, subject["title"], 10, "end"))
            body.append(
                f'<rect x="{left}" y="{y + 1}" width="{max(1.0, end - left):.1f}" height="{bar - 2}" '
                f'fill="{colour(subject)}"/>'
            )
            body.append(text(max(left + 1.0, end) + 4, y + 10, duration(value), 10))
            y += bar
    grid = []
    for decade in scale.decades():
        x = scale(decade)
        grid.append(f'<line x1="{x:.1f}" y1="{top}" x2="{x:.1f}" y2="{y + 6}" stroke="{GREY}"/>')
        grid.append(text(x, top - 6, duration(decade), 10, "middle"))
    return document(width, y + 14, title, [text(8, 20, title, 14, weight="bold"), *grid, *body])


def spread(places, gap):
    """Moves labels apart that would lie upon each other: (place, what) from above, each at least gap below the last."""
    moved, last = [], -math.inf
    for place, what in sorted(places, key=lambda pair: pair[0]):
        last = max(place, last + gap)
        moved.append((place, last, what))
    return moved


def lines(title, sizes, series, subjects):
    """series: subject name -> {size: nanoseconds}."""
    width, height, left, right, top, bottom = 780, 420, 70, 160, 46, 50
    values = [value for costs in series.values() for value in costs.values()]
    scale = Scale(values, height - bottom, top)

    def place(size):
        first, last = math.log10(sizes[0]), math.log10(sizes[-1])
        return left + (math.log10(size) - first) / (last - first) * (width - right - left)

    parts = [text(8, 20, title, 14, weight="bold")]
    for decade in scale.decades():
        y = scale(decade)
        parts.append(f'<line x1="{left}" y1="{y:.1f}" x2="{width - right}" y2="{y:.1f}" stroke="{GREY}"/>')
        parts.append(text(left - 6, y + 4, duration(decade), 10, "end"))
    for size in sizes:
        x = place(size)
        parts.append(f'<line x1="{x:.1f}" y1="{top}" x2="{x:.1f}" y2="{height - bottom}" stroke="{GREY}"/>')
        parts.append(text(x, height - bottom + 16, f"{size:,}", 10, "middle"))
    parts.append(text((left + width - right) / 2, height - 12, "records in the file", 11, "middle"))
    labels = []
    for subject in subjects:
        costs = series.get(subject["name"])
        if not costs:
            continue
        points = [(place(size), scale(costs[size])) for size in sorted(costs)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour(subject)}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour(subject)}"/>' for x, y in points]
        labels.append((points[-1][1], (points[-1][0], subject)))
    for y, moved, (x, subject) in spread(labels, 13):
        parts.append(
            f'<line x1="{x + 4:.1f}" y1="{y:.1f}" x2="{width - right + 14}" y2="{moved:.1f}" '
            f'stroke="{colour(subject)}" stroke-width="0.6"/>'
        )
        parts.append(text(width - right + 17, moved + 4, subject["title"], 11, fill=colour(subject)))
    return document(width, height, title, parts)
