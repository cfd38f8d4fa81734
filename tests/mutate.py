#!/usr/bin/python3
"""Changes single tokens of the sources and lists the changes that no test notices.

    mutate.py [FILE] [--count N] [--seed S]

Works on copies in build/mutate, one for each core, built for this CPU only. A change costs one unit, compiled with
little optimisation, one link and the tests of its room. What these do not notice is tried by all tests of its library
at the end, before it counts as a survivor. A change that does not compile does not count.
"""
import argparse
import concurrent.futures
import os
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORES = os.cpu_count()
# What reaches beyond an array is noticed by AddressSanitizer, which also limits the memory of what runs wild.
SANITIZER = "-fsanitize=address"
ASAN_OPTIONS = "detect_leaks=0:hard_rss_limit_mb=8000:allocator_may_return_null=1"

# What is used everywhere is tried by these rooms.
USED_EVERYWHERE = r"ipbase/(base/|kernels/rowloop)"
USERS = {"ipbase/point", "ipbase/transfer", "ipbase/filters"}
OF_MEASURE = ("Absolute.*:Arguments.*:Bridging.*:Calibrat*:Cloud.*:Frames.*:Fringe*:Height*:Plot.*:ImageCalls.*:"
              "ImageViews.*:Io.*:Picture.*:ScanTest.*:Simulate.*:Compare.*:Roughness.*:Surface.*:SystemCheck.*:"
              "Unwrapping.*")
OF_IPBASE = "-Program.*:Faults.*:Fuzz.*:" + OF_MEASURE.replace("Unwrapping.*", "").replace("Fringe*", "Fringe.*")

# Comparisons stand between blanks, angle brackets of templates do not.
SWAPS = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ", " + ": " - ",
         " - ": " + ", " * ": " / ", " / ": " * ", " && ": " || ", " || ": " && ", " & ": " | ", " | ": " & ",
         " << ": " >> ", " += ": " -= ", "true": "false", "false": "true", "std::min": "std::max",
         "std::max": "std::min", "++": "--", "--": "++"}
TOKEN = re.compile("|".join([re.escape(t) for t in sorted(SWAPS, key=len, reverse=True)] + [r"(?<![\w.])\d+(?![\w.])"]))
NO_CODE = re.compile(r"\s*(#|template|static_assert|using|namespace)|.*(operator|\.reserve\()")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"')
# A change of what more units include would take minutes to compile.
MOST_UNITS = 8


def places(text):
    """Line number, columns and replacement of each token of a source that can be changed."""
    for number, line in enumerate(text.splitlines()):
        code = TEXT.sub(lambda match: "\"" * len(match.group()), line).split("//")[0]
        if NO_CODE.match(code):
            continue
        for token in TOKEN.finditer(code):
            text = token.group()
            yield number, token.start(), token.end(), SWAPS.get(text) or str(int(text) + 1)


def run(command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          **options).returncode


def log(text):
    print(text, file=sys.stderr, flush=True)


def copy_sources(files, folder):
    for file in files:
        source, copy = ROOT / file, folder / file
        if not copy.exists() or copy.read_bytes() != source.read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, copy)


class Copy:
    """The unchanged sources, built once, and how a unit is compiled and the tests are linked with it."""

    def __init__(self, folder):
        self.folder, self.build = folder, folder / "build/quick"
        self.tests, self.mutant = self.build / "voripbase_tests", self.build / "voripbase_mutant"
        self.seconds = {}  # that the tests of a filter take when nothing is changed
        configure = ["cmake", "--preset", "quick", "-DVORIPBASE_BUILD_PROGRAM=OFF",
                     "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON"]
        build = ["cmake", "--build", "--preset", "quick", "--target", "voripbase_tests", "--parallel", str(CORES)]
        environment = {**os.environ, "CCACHE_BASEDIR": str(folder)}
        if run(configure, cwd=folder, env=environment) or run(build, cwd=folder, env=environment):
            raise SystemExit("mutate: the sources do not build as they are")
        commands = self.output_of("ninja", "-t", "commands", "voripbase_tests").splitlines()
        self.compile = {m.group(1): c for c in commands if (m := re.search(r" -o (\S+\.o) -c ", c))}
        self.link = next(c for c in reversed(commands) if " -o voripbase_tests " in c)
        self.objects = {}  # of each source or header
        for line in self.output_of("ninja", "-t", "deps").splitlines():
            if line.endswith("VALID)"):
                of = line.split(":")[0]
            elif line.strip() and of in self.compile:
                self.objects.setdefault(os.path.normpath(self.build / line.strip()), []).append(of)

    def output_of(self, *command):
        return subprocess.run(command, cwd=self.build, check=True, capture_output=True, text=True).stdout

    def make_mutant(self, file):
        link = self.link.replace(" -o voripbase_tests ", f" -fuse-ld=gold {SANITIZER} -o {self.mutant.name} ")
        for number, of in enumerate(self.objects[str(self.folder / file)]):
            changed = f"changed{number}.o"
            options = f" -O1 -D_GLIBCXX_ASSERTIONS {SANITIZER} -o {changed} "
            if run(self.compile[of].replace(f" -o {of} ", options), cwd=self.build, shell=True):
                return False
            link = link.replace(f" {of} ", f" {changed} ")
        return run(link, cwd=self.build, shell=True) == 0

    def passes(self, program, tests, timeout):
        try:
            return run([program, "--gtest_fail_fast", "--gtest_brief=1", "--gtest_filter=" + tests], cwd=self.folder,
                       timeout=timeout, env={**os.environ, "ASAN_OPTIONS": ASAN_OPTIONS}) == 0
        except subprocess.TimeoutExpired:
            return False

    def notices(self, change, tests):
        """Nothing when the change does not compile, or not soon."""
        if not 0 < len(self.objects.get(str(self.folder / change.file), [])) <= MOST_UNITS:
            return None
        if tests not in self.seconds:
            start = time.time()
            if not self.passes(self.tests, tests, None):
                raise SystemExit("mutate: these tests fail without a change: " + tests)
            self.seconds[tests] = time.time() - start
        source = self.folder / change.file
        source.write_text(change.changed)
        try:
            if not self.make_mutant(change.file):
                return None
        finally:
            source.write_text(change.original)
        return not self.passes(self.mutant, tests, 20 + 5 * self.seconds[tests])


def rooms_of(file):
    """Where the tests of a source stand: in the room of its name, or in those of the rooms that use a kernel."""
    room = pathlib.Path(file).parent
    if re.match(USED_EVERYWHERE, file):
        return USERS
    if room.name == "kernels":
        include = f'"ipbase/kernels/{pathlib.Path(file).stem}.h"'
        users = [f for f in (ROOT / "ipbase").rglob("*.[hc]*") if include in f.read_text() and f != ROOT / file]
        return {tests for user in users for tests in rooms_of(str(user.relative_to(ROOT)))} or USERS
    return {str(next(r for r in (room, *room.parents) if (ROOT / "tests" / r).is_dir()))}


def tests_of_room(file):
    texts = [test.read_text() for room in rooms_of(file) for test in (ROOT / "tests" / room).glob("*_test.cpp")]
    suites = {s for text in texts for s in re.findall(r"^(?:DRAWN_|TYPED_)?TEST(?:_F)?\((\w+),", text, re.M)}
    return ":".join(f"{s}.*:{s}/*" for s in sorted(suites)) + (":Arguments.*" if file.startswith("measure/") else "")


def tests_of_library(file):
    return OF_MEASURE if file.startswith("measure/") else OF_IPBASE


class Change:
    def __init__(self, file, original, number, start, end, replacement):
        self.file, self.original, self.number = file, original, number
        lines = self.original.splitlines(keepends=True)
        self.before = lines[number]
        self.after = self.before[:start] + replacement + self.before[end:]
        self.changed = "".join(lines[:number] + [self.after] + lines[number + 1:])

    def __str__(self):
        return f"{self.file}:{self.number + 1}: {self.before.strip()}\n  -> {self.after.strip()}"


class Trials:
    """As many at the same time as there are copies."""

    def __init__(self, files):
        self.copies = queue.Queue()
        folders = [ROOT / f"build/mutate/{number}" for number in range(CORES)]
        for folder in folders:  # before anything is built, which takes its time
            copy_sources(files, folder)
        for folder in folders:
            self.copies.put(Copy(folder))
        self.pool = concurrent.futures.ThreadPoolExecutor(CORES)

    def run(self, changes, tests_of):
        """Yields each change, whether tests notice it, and the seconds that this took."""
        yield from self.pool.map(lambda change: self.try_one(change, tests_of(change.file)), changes)

    def try_one(self, change, tests):
        copy, start = self.copies.get(), time.time()
        try:
            return change, copy.notices(change, tests), time.time() - start
        finally:
            self.copies.put(copy)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("file", nargs="?", help="a source file [all of the libraries]")
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()

    files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                           capture_output=True, text=True).stdout.split("\n")[:-1]
    texts = {f: (ROOT / f).read_text() for f in files if re.search(r"\.(cpp|h)$", f)}  # which may change meanwhile
    trials = Trials(files)
    os.environ["CCACHE_DISABLE"] = "1"  # nobody else compiles what follows

    sources = [arguments.file] if arguments.file else [
        f for f in files if re.match(r"(imagemodel|ipbase|measure)/.*\.(cpp|h)$", f) and "codecs" not in f]
    candidates = [(file, texts[file], *place) for file in sources for place in places(texts[file])]
    random.Random(arguments.seed).shuffle(candidates)
    tried, doubtful, survivors = 0, [], 0
    while tried < arguments.count and candidates:  # more than once, for some do not compile
        missing = arguments.count - tried
        drawn, candidates = [Change(*place) for place in candidates[:missing]], candidates[missing:]
        for change, noticed, seconds in trials.run(drawn, tests_of_room):
            if noticed is None:
                continue
            tried += 1
            log(f"[{tried}/{arguments.count}] {seconds:3.0f} s  " +
                (f"noticed: {change.file}" if noticed else f"its room does not notice {change}"))
            if not noticed:
                doubtful.append(change)
    for number, (change, noticed, _) in enumerate(trials.run(doubtful, tests_of_library)):
        log(f"[{number + 1}/{len(doubtful)}] {'noticed by another room' if noticed else 'survives'}: {change}")
        survivors += not noticed
        if not noticed:
            print(change, flush=True)
    print(f"{tried} changes, {tried - survivors} noticed, {survivors} survive")


if __name__ == "__main__":
    main()
