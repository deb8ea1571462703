#!/usr/bin/env python3
"""Tables of a run's results.

    report.py RESULTS.json

README.md explains the JSON.
"""
import json
import sys


class Results:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.data = json.load(file)
        self.subjects = self.data["subjects"]
        self.cells = {}  # (workload, role, records) -> subject -> nanoseconds
        for result in self.data["results"]:
            row = self.cells.setdefault((result["workload"], result["role"], result["records"]), {})
            row[result["subject"]] = result["ns"]

    def rows(self, records=None):
        """(group, title, records, cells) in the order of the workloads."""
        for workload in self.data["workloads"]:
            for name, role, count in sorted(key for key in self.cells if key[0] == workload["name"]):
                if records in (None, count):
                    title = workload["title"] + (f": {role}" if role else "")
                    yield workload["group"], title, count, self.cells[name, role, count]

    def present(self):
        """The subjects that have results."""
        seen = set().union(*self.cells.values()) if self.cells else set()
        return [subject for subject in self.subjects if subject["name"] in seen]


def microseconds(nanoseconds):
    value = nanoseconds / 1000
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def print_tables(results):
    subjects = results.present()
    print("microseconds an operation")
    print(f"{'':52}" + "".join(f"{subject['name'][:12]:>13}" for subject in subjects))
    group = None
    for row_group, title, count, cells in results.rows():
        if row_group != group:
            group = row_group
            print(group)
        numbers = (microseconds(cells[s["name"]]) if s["name"] in cells else "-" for s in subjects)
        print(f"  {title[:40]:40}{count:>9,} " + "".join(f"{number:>13}" for number in numbers))


def main():
    results = Results(sys.argv[1])
    print_tables(results)
    for failure in results.data["failures"]:
        print("FAILED", failure)


main()
