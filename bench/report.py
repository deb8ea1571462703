#!/usr/bin/env python3
"""Tables and plots of a run's results.

    report.py RESULTS.json             prints the numbers
    report.py RESULTS.json PAGE.md     and puts them into the page, the plots into the folder that is named like it

Shown is the time by the clock. Where other processes kept the machine busy meanwhile, that tells more about them, and
the processor's time is shown, but for processes that wait for each other. --clock or --processor before the names
decide otherwise.

The page has places marked for what is generated: <!-- begin NAME --> and <!-- end NAME --> around it. README.md explains
the JSON.
"""
import json
import os
import re
import statistics
import sys

import plots

GROUPS = {
    "keyed": "Reads by key",
    "scan": "Reads in order",
    "write": "Writes",
    "change": "Rewrites and deletes",
    "transactions": "Transactions",
    "processes": "Two processes at once",
    "compression": "Compressed keys",
    "tails": "Records with tails",
    "whole": "Whole files",
}
LARGEST_PLOTTED = 1000000  # bars show the largest files up to this


BUSY = 1.1  # by so much the floor, which never waits, may take longer by the clock than of the processor


class Results:
    def __init__(self, path, basis=None):
        with open(path, encoding="utf-8") as file:
            self.data = json.load(file)
        together = {work["name"] for work in self.data["workloads"] if work["group"] == "processes"}
        alone = [r for r in self.data["results"] if r["subject"] == "floor" and r["workload"] not in together]
        self.busy = statistics.fmean(r["ns"] / r["processor"] for r in alone) if alone else 1
        self.basis = basis or ("processor" if self.busy > BUSY else "clock")
        self.cells = {}  # (workload, role, records) -> subject -> nanoseconds
        for result in self.data["results"]:
            row = self.cells.setdefault((result["workload"], result["role"], result["records"]), {})
            by_clock = self.basis == "clock" or result["workload"] in together
            row[result["subject"]] = result["ns" if by_clock else "processor"]
        seen = set().union(*self.cells.values()) if self.cells else set()
        self.subjects = [subject for subject in self.data["subjects"] if subject["name"] in seen]

    def rows(self, group):
        """(title, workload, records, cells) of a group, in the order of the workloads, small files first."""
        for workload in self.data["workloads"]:
            if workload["group"] != group:
                continue
            for key in sorted((k for k in self.cells if k[0] == workload["name"]), key=lambda k: (k[1], k[2])):
                title = workload["title"] + (f": {key[1]}" if key[1] else "")
                yield title, key[:2], key[2], self.cells[key]

    def groups(self):
        return [group for group in GROUPS if any(True for _ in self.rows(group))]


def microseconds(nanoseconds):
    value = nanoseconds / 1000
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def heading(results):
    rounds = results.data["rounds"]
    text = "Microseconds an operation, " + ("one round." if rounds == 1 else f"medians of {rounds} rounds.")
    if results.basis == "processor":
        text += (
            f" The machine did other things as well (the clock ran {results.busy:.2f} times as long as the floor's"
            " processor), so this is the processor's time, but for two processes at once: there waiting counts."
        )
    return text


def print_tables(results):
    print(heading(results))
    print(" " * 52 + "".join(f"{subject['name'][:12]:>13}" for subject in results.subjects))
    for group in results.groups():
        print(GROUPS[group])
        for title, _, count, cells in results.rows(group):
            numbers = (microseconds(cells[s["name"]]) if s["name"] in cells else "-" for s in results.subjects)
            print(f"  {title[:40]:40}{count:>9,} " + "".join(f"{number:>13}" for number in numbers))


def table(heads, rows, left=1):
    """A Markdown table; the first columns stand left, numbers right."""
    marks = ["---"] * left + ["---:"] * (len(heads) - left)
    return "\n".join("| " + " | ".join(row) + " |" for row in [heads, marks, *rows])


def machine_part(results):
    return table(["", ""], [[name, value] for name, value in results.data["machine"].items()], 2)


def engines_part(results):
    rows = [
        [subject["title"], f"{subject['package']} {subject['version']}".strip() or "-", subject["guarantee"]]
        for subject in results.data["subjects"]
    ]
    return table(["column", "package", "guarantees"], rows, 3)


def against_floor(cells):
    if "floor" not in cells or "isam" not in cells:
        return "-"
    return f"{cells['isam'] / cells['floor']:.2f}"


def group_table(results, group):
    rows = list(results.rows(group))
    subjects = [s for s in results.subjects if any(s["name"] in cells for _, _, _, cells in rows)]
    body = []
    for title, _, count, cells in rows:
        numbers = [microseconds(cells[s["name"]]) if s["name"] in cells else "-" for s in subjects]
        body.append([title, f"{count:,}", *numbers, against_floor(cells)])
    return table(["", "records", *(s["title"] for s in subjects), "isam : floor"], body)


def numbers_part(results, folder):
    parts = [heading(results)]
    for group in results.groups():
        parts += [f"### {GROUPS[group]}", group_table(results, group)]
        if os.path.exists(os.path.join(folder, f"{group}.svg")):
            parts.append(f"![{GROUPS[group]}]({os.path.basename(folder)}/{group}.svg)")
    sizes = sorted(name for name in os.listdir(folder) if name.startswith("size-"))
    if sizes:
        parts.append("### Cost against size")
        parts += [f"![{name[5:-4]}]({os.path.basename(folder)}/{name})" for name in sizes]
    for skipped in results.data["skipped"]:
        parts.append(f"Left out: {skipped['subject']} with {skipped['records']:,} records: {skipped['why']}.")
    return "\n\n".join(parts)


def plot_groups(results, folder):
    """One picture a group: of each of its workloads the largest file up to a million records."""
    for group in results.groups():
        chosen = {}
        for title, name, count, cells in results.rows(group):
            if count <= LARGEST_PLOTTED:
                chosen[name] = (f"{title} ({count:,} records)", cells)
        if chosen:
            write(os.path.join(folder, f"{group}.svg"), plots.bars(GROUPS[group], chosen.values(), results.subjects))


def plot_sizes(results, folder):
    """One picture for each workload that has been measured on the largest files as well."""
    largest = max(results.data["sizes"])
    if len(results.data["sizes"]) < 2:
        return
    for group in results.groups():
        series, titles = {}, {}
        for title, name, count, cells in results.rows(group):
            titles[name] = title
            for subject, cost in cells.items():
                series.setdefault(name, {}).setdefault(subject, {})[count] = cost
        for name, costs in series.items():
            sizes = sorted({count for by_size in costs.values() for count in by_size})
            if largest in sizes and len(sizes) > 1:
                picture = plots.lines(titles[name], sizes, costs, results.subjects)
                write(os.path.join(folder, f"size-{name[0]}.svg"), picture)


def write(path, content):
    with open(path, "w", encoding="utf-8") as file:
        file.write(content)


def fill(page, name, content):
    """Replaces what stands between the marks of that name."""
    pattern = re.compile(rf"(<!-- begin {name} -->\n).*?(<!-- end {name} -->)", re.S)
    filled, times = pattern.subn(lambda match: f"{match[1]}\n{content}\n\n{match[2]}", page)
    if times != 1:
        sys.exit(f"report: the page has no place for {name}")
    return filled


def write_page(results, path):
    folder = os.path.splitext(path)[0]
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):
        if name.endswith(".svg"):
            os.remove(os.path.join(folder, name))
    plot_groups(results, folder)
    plot_sizes(results, folder)
    with open(path, encoding="utf-8") as file:
        page = file.read()
    page = fill(page, "machine", machine_part(results))
    page = fill(page, "engines", engines_part(results))
    page = fill(page, "numbers", numbers_part(results, folder))
    write(path, page)


def main():
    words = sys.argv[1:]
    basis = words.pop(0)[2:] if words and words[0] in ("--clock", "--processor") else None
    if len(words) not in (1, 2):
        sys.exit(__doc__)
    results = Results(words[0], basis)
    print_tables(results)
    for failure in results.data["failures"]:
        print("FAILED", failure)
    if len(words) == 2:
        write_page(results, words[1])


main()
