#!/usr/bin/env python3
"""Branches of lorb/ that no test has taken, from the counts of a build with --coverage.

  report-branches.py BUILD

A branch of a template counts as taken when it is taken in any of its instances, a branch of code that is compiled
for several instruction sets when it is taken with any of them; branches that only an exception takes are left to
the tests that let every allocation fail. Prints the totals and the lines with branches that are left.
"""

import collections
import json
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]

# Branches that nothing can take, by the line's text.
UNREACHABLE = {
    r"new (float|std::uint32_t|std::byte)\[": "the compiler's own test of a length, which is checked before",
    r"^delete referencedObject;": "a pointer that is known not to be null",
    r"^auto output = writerOf": "the way of an exception",
    r"within\(height, axes_.j\)": "outputs whose views are larger than their volume are the caller's affair",
    r"^if \(count > 0\) std::memcpy": "no row without elements gets there",
}


def branches_of(text):
    """How many branches the line has when it is compiled once: two for each condition."""
    operators = len(re.findall(r"&&|\|\|| \? ", text))
    statements = len(re.findall(r"\b(?:if|for|while) \(", text))
    return 2 * (operators + max(statements, 1)) if operators or statements else 1


def branch_counts(build):
    """{(file, line): {number of the branch: count}}"""
    counts = collections.defaultdict(lambda: collections.defaultdict(int))
    for data in build.glob("**/*.gcda"):
        text = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout", data],
                              cwd=data.parent, capture_output=True, text=True, check=True).stdout
        for document in filter(None, text.splitlines()):
            for file in json.loads(document)["files"]:
                path = Path(file["file"])
                if not path.is_relative_to(ROOT / "lorb"):
                    continue
                source = path.read_text().split("\n")
                for line in file["lines"]:
                    branches = [b for b in line["branches"] if not b["throw"]]
                    once = branches_of(source[line["line_number"] - 1])
                    # Code that is compiled several times lists the branches of one copy after those of another.
                    period = once if len(branches) % once == 0 else len(branches)
                    for number, branch in enumerate(branches):
                        counts[str(path.relative_to(ROOT)), line["line_number"]][number % period] += branch["count"]
    return counts


def main():
    counts = branch_counts(Path(sys.argv[1]).resolve())
    taken = left = excluded = 0
    for (file, number), branches in sorted(counts.items()):
        text = (ROOT / file).read_text().split("\n")[number - 1].strip()
        missing = sum(1 for count in branches.values() if count == 0)
        taken += len(branches) - missing
        if any(re.search(pattern, text) for pattern in UNREACHABLE):
            excluded += missing
        elif missing:
            left += missing
            print(f"{file}:{number}: {missing} of {len(branches)} branches not taken: {text}")
    print(f"branches: {taken} of {taken + left} taken, {excluded} unreachable ones left out")
    return 1 if left else 0


if __name__ == "__main__":
    sys.exit(main())
