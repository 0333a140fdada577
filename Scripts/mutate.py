#!/usr/bin/env python3
"""Mutation check: how many single-line faults does the test suite catch?

Applies each fault of Scripts/mutants.txt on its own (the first occurrence of
its text in its file replaced), rebuilds the tree in BUILD, runs the whole
suite there (stopping at the first failing test) and puts the file back. A
fault is caught when the suite fails, missed when it passes, and not counted
when the tree does not build with it.

The whole suite runs for each fault, with two exceptions: the packaging tests
(Install.*: installing into a prefix, building the keypad example against it,
the Debian package's contents), which check how the library is installed and
packaged and whose one example search on the sample is asserted far more
closely by the differential tests. The build links with lld to keep the
relink of the test programs after a one-line change short, and the suite reads
the sample compiled once per ctest run (SampleData.Compile), so a fault in the
compiler still reaches every test that reads the sample.

Usage: Scripts/mutate.py [--build DIR] [--jobs N] [--only TEXT] [--caught-in OUT] [--start K] [--list]
  --build DIR   build directory (default build-mutate; configured when missing)
  --jobs N      parallel build and test jobs (default: the number of cores)
  --only TEXT   only the faults whose file or description holds TEXT
  --caught-in OUT  only the faults an earlier run's output OUT reports as
                caught (to show that a changed suite still catches them)
  --start K     begin at the K-th of the chosen faults (to resume a run)
  --list        print the faults and check that each one applies; run nothing

Prints one line per fault and the figure "caught C of N"; exit status 0 when
every built fault was caught, 1 when some were missed, 2 on a usage error or a
fault whose text is not in its file.
"""
import argparse
import os
import subprocess
import sys
import time

# Packaging tests, left out of every run (see the help above).
SKIP = ["-E", "^Install\\."]
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def load_mutants(path):
    mutants = []
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            if not line.strip() or line.startswith("#"):
                continue
            parts = [p.strip() for p in line.rstrip("\n").split(" | ")]
            if len(parts) != 4:
                sys.exit(f"{path}:{number}: expected FILE | TEXT | REPLACEMENT | WHAT")
            mutants.append({"line": number, "file": parts[0], "text": parts[1], "fault": parts[2], "what": parts[3]})
    return mutants


def run(command, log):
    return subprocess.run(command, cwd=ROOT, stdout=log, stderr=subprocess.STDOUT).returncode


def main():
    parser = argparse.ArgumentParser(description="Mutation check: how many single-line faults the test suite catches.")
    parser.add_argument("--build", default="build-mutate")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    parser.add_argument("--only", default="")
    parser.add_argument("--caught-in", default="")
    parser.add_argument("--start", type=int, default=1)
    parser.add_argument("--list", action="store_true")
    args = parser.parse_args()

    mutants = [m for m in load_mutants(os.path.join(ROOT, "Scripts", "mutants.txt"))
               if args.only in m["file"] or args.only in m["what"]]
    if args.caught_in:
        with open(args.caught_in, encoding="utf-8") as f:
            caught_before = {line.split("] caught", 1)[1].strip() for line in f if "] caught " in line}
        mutants = [m for m in mutants if f"{m['file']}: {m['what']}" in caught_before]
    mutants = mutants[max(args.start, 1) - 1:]
    bad = False
    for m in mutants:
        with open(os.path.join(ROOT, m["file"]), encoding="utf-8") as f:
            if m["text"] not in f.read():
                print(f"mutants.txt:{m['line']}: text not found in {m['file']}: {m['text']}", file=sys.stderr)
                bad = True
    if bad:
        return 2
    if args.list:
        for m in mutants:
            print(f"{m['file']}: {m['what']}")
        print(f"{len(mutants)} faults")
        return 0

    build = os.path.join(ROOT, args.build)
    log_path = os.path.join(build, "mutate.log")
    os.makedirs(build, exist_ok=True)
    with open(log_path, "w") as log:
        if run(["cmake", "-S", ".", "-B", build, "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld", "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld"], log) != 0 or \
                run(["cmake", "--build", build, "-j", str(args.jobs)], log) != 0:
            print(f"the unchanged tree does not build (see {log_path})", file=sys.stderr)
            return 2
        if run(["ctest", "--test-dir", build, "-j", str(args.jobs), "--timeout", "600"] + SKIP, log) != 0:
            print(f"the unchanged suite fails (see {log_path}): fix it first", file=sys.stderr)
            return 2

        caught = missed = unbuilt = 0
        started = time.time()
        for i, m in enumerate(mutants, 1):
            path = os.path.join(ROOT, m["file"])
            with open(path, encoding="utf-8") as f:
                original = f.read()
            try:
                with open(path, "w", encoding="utf-8") as f:
                    f.write(original.replace(m["text"], m["fault"], 1))
                log.write(f"\n==== {m['file']}: {m['what']}\n")
                log.flush()
                # Without its record of test times ctest runs the tests in
                # the order they are defined, the quick unit tests first, so
                # --stop-on-failure ends most runs early (with the record it
                # would start the slowest tests first and wait for them).
                cost = os.path.join(build, "Testing", "Temporary", "CTestCostData.txt")
                if os.path.exists(cost):
                    os.remove(cost)
                if run(["cmake", "--build", build, "-j", str(args.jobs)], log) != 0:
                    verdict = "not built"
                    unbuilt += 1
                elif run(["ctest", "--test-dir", build, "-j", str(args.jobs), "--stop-on-failure",
                          "--timeout", "600"] + SKIP, log) != 0:
                    verdict = "caught"
                    caught += 1
                else:
                    verdict = "MISSED"
                    missed += 1
            finally:
                with open(path, "w", encoding="utf-8") as f:
                    f.write(original)
            print(f"[{i}/{len(mutants)} {time.time() - started:6.0f}s] {verdict:9} {m['file']}: {m['what']}",
                  flush=True)
        run(["cmake", "--build", build, "-j", str(args.jobs)], log)

    print(f"caught {caught} of {caught + missed} faults ({unbuilt} did not build); log: {log_path}")
    return 0 if missed == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
