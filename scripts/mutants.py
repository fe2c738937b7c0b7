#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Samples small changes ("mutants") of the program's sources and counts how many the tests catch.

usage: mutants.py [N] [SEED] [COMMIT]     (defaults: 60 mutants, seed 1, HEAD)

The committed state (COMMIT) is checked out into .mutants/tree and built without sanitizers in
.mutants/build, both kept between runs so that later runs build incrementally. For each mutant
one line of one src/ .cpp file is changed, the test programs that link it are rebuilt, and they
run, lowest layer first, until one fails ("killed") or all pass ("survived"); a mutant that
does not compile is left out of the score. The file is restored after each mutant. The same
N, SEED and sources give the same mutants, so two runs of the same seed are comparable.
Set PIXMARKER_BUILD_LOCK to a lock file to build under flock, and PIXMARKER_MUTANTS_DIR to use
another folder than .mutants (two runs at once need two folders).
"""
import os
import random
import re
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WORK = os.environ.get("PIXMARKER_MUTANTS_DIR", os.path.join(ROOT, ".mutants"))
TREE = os.path.join(WORK, "tree")
BUILD = os.path.join(WORK, "build")
TEST_TIMEOUT = 300

# Test programs by the source folders they link, lowest layer first (see tests/CMakeLists.txt).
LAYERS = ["platform", "display", "model", "scene", "segment", "persistence", "exchange", "tools", "ui", "plugin", "app"]
LINKED_BY = {
    "platform": LAYERS, "display": LAYERS[1:], "model": LAYERS[2:], "scene": LAYERS[2:],
    "segment": ["segment", "exchange", "tools", "ui", "plugin", "app"],
    "persistence": ["persistence", "exchange", "ui", "plugin", "app"], "exchange": ["exchange", "ui", "plugin", "app"],
    "tools": ["tools", "ui", "plugin", "app"], "ui": ["ui", "plugin", "app"], "plugin": ["plugin", "app"],
    "app": ["app"],
}

# Lines that only report, declare or lay out code are never changed.
SKIP = re.compile(r"^\s*(//|/\*|\*|#|namespace|using |template|case |default:|public:|private:|protected:|\}|\{)|"
                  r"qWarning|qDebug|qInfo|qCritical|std::cerr|std::cout|printError|fputs|Q_OBJECT|static_assert")

# (name, pattern, replacement): each is one mutation kind that real bugs are made of.
OPERATORS = [
    ("< to <=", re.compile(r"(?<![<<])\s<\s(?!=)"), " <= "),
    ("<= to <", re.compile(r"\s<=\s"), " < "),
    ("> to >=", re.compile(r"(?<![->])\s>\s(?!=)"), " >= "),
    (">= to >", re.compile(r"\s>=\s"), " > "),
    ("== to !=", re.compile(r"\s==\s"), " != "),
    ("!= to ==", re.compile(r"\s!=\s"), " == "),
    ("&& to ||", re.compile(r"\s&&\s"), " || "),
    ("|| to &&", re.compile(r"\s\|\|\s"), " && "),
    ("drop + 1", re.compile(r"\s\+\s1\b(?!\.)"), ""),
    ("drop - 1", re.compile(r"\s-\s1\b(?!\.)"), ""),
    ("add + 1", re.compile(r"(\s[<>]=?\s)([A-Za-z_][\w.]*(?:\(\))?)"), r"\1\2 + 1"),
    ("true to false", re.compile(r"\breturn true;"), "return false;"),
    ("false to true", re.compile(r"\breturn false;"), "return true;"),
    ("negate if", re.compile(r"\bif \((.*)\)(\s*[{]?\s*)$"), r"if (!(\1))\2"),
    ("constant + 1", re.compile(r"(?<![\w.])([2-9]|[1-9][0-9]+)(?![\w.])"), None),
    ("delete statement", re.compile(r"^(\s*)((?:[A-Za-z_][\w:]*(?:->|\.))*[A-Za-z_][\w:]*\(.*\);|"
                                    r"[A-Za-z_][\w.>-]*\s*(?:[+\-*/|&]?=|\+\+|--)\s*[^=].*;|\+\+\w+;|--\w+;)\s*$"),
     r"\1;"),
]


def run(args, **kw):
    return subprocess.run(args, **kw)


def lock_prefix():
    lock = os.environ.get("PIXMARKER_BUILD_LOCK")
    return ["flock", lock] if lock else []


def prepare(commit):
    head = run(["git", "-C", ROOT, "rev-parse", commit], capture_output=True, text=True, check=True).stdout.strip()
    if not os.path.isdir(TREE):
        os.makedirs(WORK, exist_ok=True)
        run(["git", "-C", ROOT, "worktree", "add", "--detach", "--force", TREE, head], check=True,
            stdout=subprocess.DEVNULL)
    else:
        # Only the files that changed get new times, so the build stays incremental.
        run(["git", "-C", TREE, "checkout", "--quiet", "--detach", "--force", head], check=True)
        run(["git", "-C", TREE, "clean", "-fdq"], check=True)
    run(lock_prefix() + ["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                         "-DCMAKE_CXX_FLAGS=-O1", "-DPIXMARKER_BUILD_BENCHMARKS=OFF"], check=True,
        stdout=subprocess.DEVNULL)
    if build(["test_" + layer for layer in LAYERS]) != 0:
        sys.exit("the unchanged sources do not build")
    return head


def build(targets):
    return run(lock_prefix() + ["cmake", "--build", BUILD, "--target"] + targets, stdout=subprocess.DEVNULL,
               stderr=subprocess.DEVNULL).returncode


def candidates():
    found = []
    for folder, _, files in sorted(os.walk(os.path.join(TREE, "src"))):
        for name in sorted(files):
            if not name.endswith(".cpp") or name.endswith("_main.cpp") or name == "main.cpp":
                continue
            path = os.path.join(folder, name)
            layer = os.path.relpath(path, os.path.join(TREE, "src")).split(os.sep)[0]
            if layer not in LINKED_BY:
                continue
            with open(path, encoding="utf-8") as f:
                lines = f.read().split("\n")
            for number, line in enumerate(lines):
                code = line.split("//")[0]
                if not code.strip() or SKIP.search(line) or code.count('"') >= 2:
                    continue
                for op, (_, pattern, _) in enumerate(OPERATORS):
                    for match_index, _ in enumerate(pattern.finditer(code)):
                        found.append((path, layer, number, op, match_index))
    return found


def mutate(line, op, match_index):
    _, pattern, replacement = OPERATORS[op]
    code, sep, comment = line.partition("//")
    matches = list(pattern.finditer(code))
    m = matches[match_index]
    if replacement is None:
        new = str(int(m.group(1)) + 1)
    else:
        new = m.expand(replacement)
    return code[:m.start()] + new + code[m.end():] + sep + comment


def run_tests(layer):
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    for test in LINKED_BY[layer]:
        binary = os.path.join(BUILD, "tests", "test_" + test)
        if not os.path.exists(binary):
            continue
        try:
            result = run([binary, "--gtest_brief=1"], cwd=os.path.join(BUILD, "tests"), env=env,
                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=TEST_TIMEOUT)
        except subprocess.TimeoutExpired:
            return "killed", "test_" + test + " (time limit)"
        if result.returncode != 0:
            return "killed", "test_" + test
    return "survived", ""


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 60
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    head = prepare(sys.argv[3] if len(sys.argv) > 3 else "HEAD")
    pool = candidates()
    chosen = random.Random(seed).sample(pool, min(count, len(pool)))
    print("%d mutants of %d candidates, seed %d, sources %s" % (len(chosen), len(pool), seed, head[:12]))
    killed = survived = 0
    for i, (path, layer, number, op, match_index) in enumerate(chosen, 1):
        with open(path, encoding="utf-8") as f:
            original = f.read()
        lines = original.split("\n")
        before = lines[number]
        lines[number] = mutate(before, op, match_index)
        started = time.time()
        with open(path, "w", encoding="utf-8") as f:
            f.write("\n".join(lines))
        try:
            if build(["test_" + t for t in LINKED_BY[layer]]) != 0:
                outcome, by = "no build", ""
            else:
                outcome, by = run_tests(layer)
        finally:
            with open(path, "w", encoding="utf-8") as f:
                f.write(original)
        killed += outcome == "killed"
        survived += outcome == "survived"
        where = "%s:%d" % (os.path.relpath(path, TREE), number + 1)
        print("%3d  %-9s %-17s %-48s %-18s %4.0fs  %s" % (i, outcome, OPERATORS[op][0], where, by,
                                                          time.time() - started, lines[number].strip()[:90]))
        sys.stdout.flush()
    # Leave the build matching the sources again.
    build(["test_" + layer for layer in LAYERS])
    print("score %d/%d killed" % (killed, killed + survived))


main()
