#!/usr/bin/env python3
"""Puts realistic faults into the code one at a time and checks that the tests
catch each: applies a mutant to the clean checkout, rebuilds incrementally, runs
the tests that guard it, and puts the code back. Prints caught/total and the
survivors. Needs a configured build folder (./dev.sh test once) and a file that
matches its committed text for each mutant. Each mutant holds the build lock
(/tmp/velmora-build.lock) from the change to the restore, so a build beside it
never sees a mutated tree, and rebuilds after the restore; with --alone (nobody
else builds or tests meanwhile) that rebuild is left to the next mutant and one
final build. Usage: bench/mutants/run.py [--alone] [NAME-SUBSTRING]"""
import fcntl
import os
import re
import subprocess
import sys
import time

from mutants import MUTANTS

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BUILD = os.path.join(TOP, "build")


def run(cmd, **kw):
    return subprocess.run(cmd, cwd=kw.pop("cwd", TOP), stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **kw)


def targets(pattern):
    """The test executables a ctest pattern names (tests are named after them)."""
    return [re.sub(r"[$^]", "", t) for t in pattern.split("|")]


def main():
    args = sys.argv[1:]
    alone = "--alone" in args
    args = [a for a in args if a != "--alone"]
    wanted = args[0] if args else ""
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    caught, survivors, started = 0, [], time.time()
    chosen = [m for m in MUTANTS if wanted in m["name"]]
    for m in chosen:
        path = os.path.join(TOP, m["file"])
        lock = open("/tmp/velmora-build.lock", "w")
        fcntl.flock(lock, fcntl.LOCK_EX)
        original = open(path, encoding="utf-8").read()
        committed = run(["git", "show", "HEAD:" + m["file"]]).stdout
        if original.count(m["old"]) != 1:
            sys.exit(f"{m['name']}: the text to change is not found once in {m['file']}")
        if original != committed:
            print(f"note: {m['file']} has changes not committed yet", flush=True)
        try:
            with open(path, "w", encoding="utf-8") as f:
                f.write(original.replace(m["old"], m["new"]))
            built = run(["cmake", "--build", BUILD, "--target"] + targets(m["tests"]))
            if built.returncode != 0:
                verdict = "caught (does not build)"
            else:
                tests = run(["ctest", "--test-dir", BUILD, "-R", m["tests"], "--timeout",
                             str(m.get("timeout", 300))], env=env)
                verdict = "caught" if tests.returncode != 0 else "SURVIVED"
        finally:
            with open(path, "w", encoding="utf-8") as f:
                f.write(original)
            # Nobody beside us may run a mutated binary once the lock is gone.
            if not alone:
                run(["cmake", "--build", BUILD, "--target"] + targets(m["tests"]))
            lock.close()
        print(f"{verdict:24} {m['name']}", flush=True)
        if verdict == "SURVIVED":
            survivors.append(m["name"])
        else:
            caught += 1
    if alone:
        run(["cmake", "--build", BUILD])
    print(f"\n{caught}/{len(chosen)} caught in {time.time() - started:.0f} s")
    for name in survivors:
        print(f"survived: {name}")
    sys.exit(1 if survivors else 0)


if __name__ == "__main__":
    main()
