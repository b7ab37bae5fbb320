#!/usr/bin/env python3
"""Changes the libraries one place at a time and counts how many of the changes the tests notice.

  mutate.py --build DIR [--jobs N] [--sample N] [--seed S] [--minutes M] [--only REGEX] [--again LOG]
            [--resume LOG] [--list]

DIR is a build of the preset `mutation`. Every mutant is one operator, limit or constant changed in one line of
lorb/. What depends on that line is compiled and linked beside the build, then the tests run against it, the
likeliest killer first. Of a header, those test files that stand for it are compiled anew as well. A mutant that
compiles to the same machine code is equivalent and not counted. The result is written to DIR/mutants.jsonl;
survivors are printed with the line they change. With the log of an earlier run, only its survivors are judged,
and the slow tests are asked as well. What the log of an interrupted run holds is not judged anew.
"""

import argparse
import collections
import hashlib
import itertools
import json
import multiprocessing
import os
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# What stands between blanks is a binary operator in our layout, never a template bracket or a pointer.
SWAPS = {
    " < ": [" <= ", " > "], " <= ": [" < "], " > ": [" >= ", " < "], " >= ": [" > "],
    " == ": [" != "], " != ": [" == "], " && ": [" || "], " || ": [" && "],
    " + ": [" - "], " - ": [" + "], " * ": [" / "], " / ": [" * "], " % ": [" / "],
    " << ": [" >> "], " >> ": [" << "], " & ": [" | "], " | ": [" & "], " ^ ": [" & "],
    " += ": [" -= "], " -= ": [" += "], " *= ": [" = "], " |= ": [" = "], " &= ": [" = "],
    "++": ["--"], "--": ["++"],
}
WORDS = {
    "true": "false", "false": "true", "std::min": "std::max", "std::max": "std::min",
    "hn::Min": "hn::Max", "hn::Max": "hn::Min", "hn::Lt": "hn::Gt", "hn::Gt": "hn::Lt", "hn::Eq": "hn::Ne",
    "hn::Add": "hn::Sub", "hn::Sub": "hn::Add", "hn::SaturatedAdd": "hn::SaturatedSub", "hn::And": "hn::Or",
    "hn::Or": "hn::And", "hn::Xor": "hn::Or", "hn::AndNot": "hn::And", "hn::AllTrue": "hn::AllFalse",
    "hn::AllFalse": "hn::AllTrue", "hn::IfThenElseZero": "hn::IfThenZeroElse",
    "hn::IfThenZeroElse": "hn::IfThenElseZero", "hn::InterleaveLower": "hn::InterleaveUpper",
    "hn::InterleaveUpper": "hn::InterleaveLower",
}
NUMBER = re.compile(r"(?<![\w.])(\d+)(?=[UuLl]*\b)(?![.\w]*[.xp])")
WORD = re.compile(r"(?<![\w:])(?:" + "|".join(sorted(map(re.escape, WORDS), key=len, reverse=True)) + r")\b")
CONDITION = re.compile(r"\b(?:if|while) \(")

# Lines without behaviour of their own.
SKIPPED = [
    (re.compile(r"^\s*#"), "preprocessor"),
    (re.compile(r"\\$"), "lists of instantiations: a change does not link"),
    (re.compile(r"static_assert|template <|^\s*(using|extern|friend) "), "checked by the compiler"),
    (re.compile(r"hugePage|madvise|preferHugePages"), "advice to the kernel, without effect on results"),
    (re.compile(r"std::cerr|<< std::endl"), "text"),
    (re.compile(r"HWY_UNROLL"), "advice to the compiler"),
]

# Filters of GoogleTest. The slow tests are asked only about what has survived all others; of the typed tests,
# those of three types, which stand for all that is done differently.
SLOW = "*BeyondSinglePrecision*"
OTHER_TYPES = ":".join(f"ExactnessTest/{name}.*" for name in [
    "Int8", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64", "Double"])
FIRST = {
    "lorb/algorithm": "TwoSidedKernelsTest.*:DriversTest.*:SqrtLookUpTableTest.*:EntryPointsTest.*:"
                      "TransformObjectTest.*:SliceViewsTest.*:ModuleTest.*:ExactnessTest.EqualsBrute*:"
                      "ExactnessTest/UInt8.*",
}

# The test files of a header that is not tested by the one file that has its name.
TESTS_OF_HEADERS = {
    "lorb/algorithm/EuclideanDistanceTransform2D.h": [
        "algorithm/SliceViewsTest.cpp", "algorithm/SqrtLookUpTableTest.cpp", "algorithm/TransformObjectTest.cpp"],
    "lorb/dataset/LORBBase.h": ["dataset/LORBBaseTest.cpp", "algorithm/TransformObjectTest.cpp"],
}


def code_of(line):
    """The line without comment and with string literals blanked, so that columns stay."""
    line = re.sub(r'"(?:[^"\\]|\\.)*"', lambda m: "\0" * len(m.group()), line)
    return re.sub(r"//.*", lambda m: "\0" * len(m.group()), line)


def changes_of(line):
    """(column, length, replacement) of every change of one line."""
    code = code_of(line)
    if any(pattern.search(line) for pattern, _ in SKIPPED):
        return
    for old, news in SWAPS.items():
        start = code.find(old)
        while start >= 0:
            if not (old == " - " and code[start - 1:start] == "="):
                for new in news:
                    yield start, len(old), new
            start = code.find(old, start + 1)
    for match in WORD.finditer(code):
        yield match.start(), len(match.group()), WORDS[match.group()]
    for match in NUMBER.finditer(code):
        value = int(match.group(1))
        for new in {value + 1, max(value - 1, 0)} - {value}:
            yield match.start(1), len(match.group(1)), str(new)
    for match in CONDITION.finditer(code):
        depth, end = 1, match.end()
        while end < len(code) and depth:
            depth += {"(": 1, ")": -1}.get(code[end], 0)
            end += 1
        if depth == 0 and "constexpr" not in code[:match.end()] and ";" not in code[match.end():end]:
            yield match.end(), end - 1 - match.end(), "!(" + line[match.end():end - 1] + ")"


def mutants():
    for path in sorted(ROOT.glob("lorb/**/*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        lines = path.read_text().split("\n")
        for number, line in enumerate(lines):
            for column, length, new in changes_of(line):
                changed = line[:column] + new + line[column + length:]
                yield {"file": str(path.relative_to(ROOT)), "line": number + 1, "was": line.strip(),
                       "is": changed.strip(), "text": changed}


class Build:
    """Compiles and links mutants beside a build, with the commands of that build."""

    LIBRARIES = ["lorbCore", "lorbDataset", "lorbAlgorithm"]

    def __init__(self, folder, number):
        self.folder = Path(folder).resolve()
        self.mutant = self.folder / f"mutant-{number}"
        self.mutant.mkdir(exist_ok=True)
        # The sources in the tree stay as they are; a copy in front of them is changed.
        self.sources = self.folder / f"sources-{number}"
        shutil.rmtree(self.sources, ignore_errors=True)
        shutil.copytree(ROOT / "lorb", self.sources / "lorb")
        commands = json.loads((self.folder / "compile_commands.json").read_text())
        self.compile = {}  # object → (source, command)
        self.compile_test = {}  # source → command
        for entry in commands:
            source = Path(entry["file"])
            words = shlex.split(entry["command"])
            if source.is_relative_to(ROOT / "lorb"):
                self.compile[words[words.index("-o") + 1]] = (source, words)
            elif source.is_relative_to(ROOT / "tests"):
                self.compile_test[str(source.relative_to(ROOT / "tests"))] = words
        self.link = {}
        for library in self.LIBRARIES:
            lines = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", library],
                                   capture_output=True, text=True, check=True).stdout.splitlines()
            text = next(l for l in reversed(lines) if f"lib{library}.so" in l and "-shared" in l)
            self.link[library] = next(p for p in text.split(" && ") if "-shared" in p)
        deps = subprocess.run(["ninja", "-C", self.folder, "-t", "deps"],
                              capture_output=True, text=True, check=True).stdout
        self.includes = {}
        for block in deps.split("\n\n"):
            lines = block.strip().splitlines()
            if lines and lines[0].split(":")[0] in self.compile:
                self.includes[lines[0].split(":")[0]] = {
                    os.path.normpath(self.folder / l.strip()) for l in lines[1:]}

        self.plain = {obj: self.compiled(obj) for obj in self.compile}
        if None in self.plain.values():
            sys.exit("mutate.py: the unchanged sources do not compile")
        self.plain_tests = {}

    def compiled(self, obj):
        """Compiles the copied source of an object into `mutant`; a hash of the machine code, None on errors."""
        source, words = self.compile[obj]
        copy = self.sources / source.relative_to(ROOT)
        words = [{str(source): str(copy)}.get(w, w) for w in words]
        return self.run_compiler(words, self.mutant / Path(obj).name)

    def run_compiler(self, words, target):
        bare = self.mutant / "bare.o"
        words = [w for w in words if w not in ("-Werror", "-MD")]
        words[words.index("-o") + 1] = str(target)
        words.insert(1, f"-I{self.sources}")
        if subprocess.run(words, cwd=self.folder, capture_output=True).returncode:
            return None
        subprocess.run(["objcopy", "--strip-debug", "-R", ".comment", target, bare], check=True)
        return hashlib.sha256(bare.read_bytes()).hexdigest()

    def tests_of(self, header):
        """The test files that are compiled with a header to test it."""
        own = str(Path(header).relative_to("lorb").with_suffix("")) + "Test.cpp"
        return [t for t in TESTS_OF_HEADERS.get(header, [own]) if t in self.compile_test]

    def plain_test(self, test):
        if test not in self.plain_tests:
            self.plain_tests[test] = self.run_compiler(self.compile_test[test], self.mutant / "plain.o")
        return self.plain_tests[test]

    def library(self, name):
        changed = self.mutant / f"lib{name}.so.2.1.0"
        return changed if changed.exists() else self.folder / "lorb" / changed.name

    def judge_header(self, header):
        """'equivalent', 'made' when all tests pass that stand for the header, or the name of one that does not."""
        result = "equivalent"
        for test in self.tests_of(header):
            plain, code = self.plain_test(test), self.run_compiler(self.compile_test[test], self.mutant / "test.o")
            if code == plain:
                continue
            program = self.mutant / "test"
            link = [self.compile_test[test][0], self.mutant / "test.o", *map(self.library, reversed(self.LIBRARIES)),
                    "-lhwy", "-lgtest_main", "-lgtest", "-Wl,--allow-shlib-undefined", "-o", program]
            if code is None or subprocess.run(link, capture_output=True).returncode \
                    or not passes(self, program, "*", 10):
                return test
            result = "made"
        return result

    def write(self, file, text):
        (self.sources / file).write_text(text)

    def make(self, file):
        """'invalid', 'equivalent' or 'made'."""
        for stale in self.mutant.glob("*"):
            stale.unlink()
        replaced = {}
        for obj in self.compile:
            if str(ROOT / file) not in self.includes.get(obj, ()):
                continue
            code = self.compiled(obj)
            if code is None:
                return "invalid"
            if code != self.plain[obj]:
                replaced[obj] = self.mutant / Path(obj).name
        if not replaced:
            return "equivalent"
        return "made" if self.relink(replaced) else "invalid"

    def relink(self, replaced):
        for library, command in self.link.items():
            if not any(f"{library}.dir" in obj for obj in replaced):
                continue
            words = [str(replaced.get(word, word)) for word in shlex.split(command)]
            words = [str(self.mutant / Path(w).name) if w.startswith("lorb/lib" + library) else w for w in words]
            if subprocess.run(words, cwd=self.folder, capture_output=True).returncode:
                return False
        return True


def limited(seconds):
    """Seconds of processor time, so that a busy machine kills no mutant that a test does not."""
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(build, program, filter_, seconds):
    environment = dict(os.environ, LD_LIBRARY_PATH=f"{build.mutant}:{build.folder / 'lorb'}",
                       RC_PARAMS="max_success=30")
    command = [program, "--gtest_brief=1", "--gtest_fail_fast", f"--gtest_filter={filter_}"]
    return subprocess.run(command, env=environment, capture_output=True,
                          preexec_fn=lambda: limited(seconds)).returncode == 0


def killer_of(build, file, slow):
    """The name of the first test that notices the mutant; None when all are content."""
    # Several times the seconds that the unchanged libraries need: a change may loop for ever.
    runs = [("lorb-test-dataset", "*", 5), ("lorb-test-allocations", "*", 10)]
    if file.startswith("lorb/algorithm"):
        first = FIRST["lorb/algorithm"]
        runs = [("lorb-test-algorithm", first, 12), ("lorb-test-allocations", "*", 10),
                ("lorb-test-algorithm", f"*-{first}:{SLOW}:{OTHER_TYPES}", 40), ("lorb-test-properties", "*", 25)]
        if slow:
            runs.append(("lorb-test-algorithm", SLOW, 100))
    elif file.startswith("lorb/vtk"):
        runs = [("lorb-test-vtk", "*", 10), ("lorb-test-allocations", "Bridge*", 10)]
    else:
        runs += [("lorb-test-algorithm", FIRST["lorb/algorithm"], 12), ("lorb-test-vtk", "*", 10)]
    for program, filter_, seconds in runs:
        if not passes(build, build.folder / "tests" / program, filter_, seconds):
            return f"{program} {filter_.split(':')[0]}"
    return None


def listed_reasons():
    """(file, line as it is, reason) of the survivors that are known to be equivalent."""
    reasons = {}
    path = Path(__file__).with_name("equivalent.txt")
    for line in path.read_text().splitlines() if path.exists() else []:
        if line and not line.startswith("#"):
            file, changed, reason = line.split("\t")
            reasons[file, changed] = reason
    return reasons


def start_worker(folder, numbers, slow):
    global build, with_slow_tests
    build, with_slow_tests = Build(folder, numbers.get()), slow


def judge(mutant):
    """The mutant with its `result` and `killer`."""
    original = (ROOT / mutant["file"]).read_text()
    for test in build.tests_of(mutant["file"]):
        build.plain_test(test)  # before anything is changed
    lines = original.split("\n")
    lines[mutant["line"] - 1] = mutant["text"]
    build.write(mutant["file"], "\n".join(lines))
    result, killer = build.make(mutant["file"]), None
    if result != "invalid" and mutant["file"].endswith(".h"):
        of_header = build.judge_header(mutant["file"])
        killer = None if of_header in ("equivalent", "made") else of_header
        if result == "equivalent" and of_header == "made":
            result = "survived"
    build.write(mutant["file"], original)
    if result == "made" and killer is None:
        killer = killer_of(build, mutant["file"], with_slow_tests)
    if killer or result == "made":
        result = "killed" if killer else "survived"
    return dict(mutant, result=result, killer=killer)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=ROOT / "build/mutation")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--minutes", type=float, default=1e9)
    parser.add_argument("--only", default="")
    parser.add_argument("--again", type=Path)
    parser.add_argument("--resume", type=Path)
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()

    chosen = [m for m in mutants() if re.search(options.only, m["file"])]
    if options.again:
        log = map(json.loads, options.again.read_text().splitlines())
        survivors = {(m["file"], m["was"], m["is"]) for m in log if m["result"] in ("survived", "listed")}
        chosen = [m for m in chosen if (m["file"], m["was"], m["is"]) in survivors]
    total = len(chosen)
    random.Random(options.seed).shuffle(chosen)
    chosen = chosen[:options.sample]
    if options.list:
        for m in chosen:
            print(f"{m['file']}:{m['line']}: {m['was']}  →  {m['is']}")
        return 0

    resumed = []
    if options.resume:
        known = collections.defaultdict(list)
        # A run that was cut off may have cut its last line as well.
        whole = [line for line in options.resume.read_text().splitlines() if line.endswith("}")]
        for m in map(json.loads, whole):
            if m["result"] == "listed":
                m["result"] = "survived"  # for the reasons of today
            known[m["file"], m["was"], m["is"]].append(m)
        places = [known[m["file"], m["was"], m["is"]] for m in chosen]
        resumed = [place.pop() if place else None for place in places]
        chosen = [m for m, result in zip(chosen, resumed) if result is None]

    reasons = listed_reasons()
    for file, line in sorted(set(reasons) - {(m["file"], m["is"]) for m in mutants()}):
        print(f"no such mutant, though equivalent.txt lists it: {file}: {line}")
    counts = dict.fromkeys(["killed", "survived", "listed", "equivalent", "invalid"], 0)
    end = time.time() + 60 * options.minutes
    numbers = multiprocessing.SimpleQueue()
    for number in range(options.jobs):
        numbers.put(number)
    with open(Path(options.build) / "mutants.jsonl", "w") as log, \
            multiprocessing.Pool(options.jobs, start_worker, (options.build, numbers, bool(options.again))) as workers:
        for m in itertools.chain(filter(None, resumed), workers.imap_unordered(judge, chosen)):
            if m["result"] == "survived" and (m["file"], m["is"]) in reasons:
                m["result"] = "listed"
            counts[m["result"]] += 1
            log.write(json.dumps(m) + "\n")
            log.flush()
            if m["result"] == "survived":
                print(f"survived {m['file']}:{m['line']}: {m['was']}  →  {m['is']}", flush=True)
            if time.time() > end:
                workers.terminate()
                break
    judged = counts["killed"] + counts["survived"]
    print(f"{sum(counts.values())} of {total} mutants tried (seed {options.seed}): {counts}; "
          f"{100 * counts['killed'] / max(judged, 1):.1f} % of {judged} killed")
    return 0 if counts["killed"] >= 0.95 * judged else 1


if __name__ == "__main__":
    sys.exit(main())
