#!/usr/bin/python3
"""Changes single tokens of the sources and lists the changes that no test notices.

    mutate.py [FILE] [--count N] [--seed S]

Works on a copy in build/mutate, built for this CPU only. A change that does not compile does not count.
"""
import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build/mutate"

# The tests of each room; the first entry that the path begins with.
FAMILIES = [
    ("imagemodel/", "Image*:Values.*:Text.*:Errors.*:Frame.*:Tables.*:Arrays.*:ReadOnly.*:Boards.*"),
    ("ipbase/kernels/(arith|logic|threshold|minmax)", "PointOps.*:Logic.*:MinMax.*:Threshold.*:Combination.*"),
    ("ipbase/kernels/(transfer|lut|shift)", "Transfer.*:Shift.*:Convert.*:MapLut.*"),
    ("ipbase/(kernels/)?(statistics|histogram|range)", "Histogram*:Bimodal*:Range*:FringeQuality.*"),
    ("ipbase/transfer", "Transfer.*:Shift.*:Convert.*:MapLut.*:Derived.*"),
    ("ipbase/point", "PointOps.*:Logic.*:MinMax.*:Threshold.*:Derived.*"),
    ("ipbase/(kernels/)?(filter|median|line|columns|binary|rank|weight|masked|recursive|network|window)",
     "*Filters.*:LineTemplates.*:ImageTemplates.*"),
    ("ipbase/(kernels/)?(surface|bestfit|shad)", "BestFit.*:Shading.*:Derived.*"),
    ("ipbase/regions", "Segment.*:BuildRegion.*"),
    ("ipbase/(kernels/)?gradient", "Gradient*"),
    ("ipbase/acquisition", "AverageSnap*:Boards.*"),
    ("ipbase/(kernels/)?(geometry|rotation)", "Geometry.*:Rotation.*"),
    ("ipbase/(kernels/)?colour", "ColourIndex.*:Octree.*"),
    ("ipbase/(kernels/)?(unwrap/)?reliability", "Reliability.*:Unwrapping.*"),
    ("ipbase/unwrap/regions", "Unwrap.*"),
    ("measure/", "Absolute.*:Calibration*:Frames.*:Fringe.*:ImageViews.*:ImageCalls.*:Io.*:Picture.*:Scan*:"
                 "Simulate.*:Unwrapping.*:Surface*:World*"),
]
EVERYTHING = "-Program.*:Faults.*:Fuzz.*"

# Comparisons stand between blanks, angle brackets of templates do not.
SWAPS = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > ", " == ": " != ", " != ": " == ", " + ": " - ",
         " - ": " + ", " * ": " / ", " / ": " * ", " && ": " || ", " || ": " && ", " & ": " | ", " | ": " & ",
         " << ": " >> ", " += ": " -= ", "true": "false", "false": "true", "std::min": "std::max",
         "std::max": "std::min", "++": "--", "--": "++"}
TOKEN = re.compile("|".join([re.escape(t) for t in sorted(SWAPS, key=len, reverse=True)] + [r"(?<![\w.])\d+(?![\w.])"]))


def places(file):
    """Line number, columns and replacement of each token that can be changed."""
    for number, line in enumerate((COPY / file).read_text().splitlines()):
        code = line.split("//")[0]
        if re.match(r"\s*(#|template|static_assert|using|namespace)", code) or '"' in code or "operator" in code:
            continue
        for token in TOKEN.finditer(code):
            text = token.group()
            yield number, token.start(), token.end(), SWAPS.get(text) or str(int(text) + 1)


def run(command, **options):
    return subprocess.run(command, cwd=COPY, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options).returncode


def survives(file):
    tests = next((tests for room, tests in FAMILIES if re.match(room, file)), EVERYTHING)
    for filter in (tests, EVERYTHING):  # everything, before it is called a survivor
        try:
            if run(["build/quick/voripbase_tests", "--gtest_fail_fast", "--gtest_brief=1", "--gtest_filter=" + filter],
                   timeout=600):
                return False
        except subprocess.TimeoutExpired:
            return False
    return True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("file", nargs="?", help="a source file [all of the libraries]")
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()

    COPY.mkdir(parents=True, exist_ok=True)
    files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                           capture_output=True, text=True).stdout.split("\n")[:-1]
    for file in files:
        source, copy = ROOT / file, COPY / file
        if not copy.exists() or copy.read_bytes() != source.read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, copy)
    os.environ["CCACHE_BASEDIR"] = str(COPY)
    build = ["cmake", "--build", "--preset", "quick", "--target", "voripbase_tests"]
    if run(["cmake", "--preset", "quick", "-DVORIPBASE_BUILD_PROGRAM=OFF"]) or run(build):
        raise SystemExit("mutate: the sources do not build as they are")

    sources = [arguments.file] if arguments.file else [
        f for f in files if re.match(r"(imagemodel|ipbase|measure)/.*(\.cpp|-inl\.h)$", f) and "codecs" not in f]
    candidates = [(file, *place) for file in sources for place in places(file)]
    random.Random(arguments.seed).shuffle(candidates)
    tried, survivors = 0, []
    for file, number, start, end, replacement in candidates:
        if tried == arguments.count:
            break
        path = COPY / file
        original = path.read_text()
        lines = original.splitlines(keepends=True)
        before = lines[number]
        lines[number] = before[:start] + replacement + before[end:]
        path.write_text("".join(lines))
        try:
            if run(build):
                continue
            tried += 1
            if survives(file):
                survivors.append(f"{file}:{number + 1}: {before.strip()}\n  -> {lines[number].strip()}")
                print(survivors[-1], flush=True)
        finally:
            path.write_text(original)
    print(f"{tried} changes, {tried - len(survivors)} noticed, {len(survivors)} survive")


if __name__ == "__main__":
    main()
