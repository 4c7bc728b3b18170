#!/usr/bin/env bash
# The full analysis against the five module probes run alone, on the demo tree
# and on a generated home (bench/full/makehome.py, FILES small files, 500,000 by
# default), warm cache, medians of RUNS runs: the time of each, the full run's
# steps, its ratio to the slowest probe and the target (1.15 x slowest + 0.1 s),
# the peak RSS of each, and the longest main-thread stall of the full run.
# Works from any checkout: the demo tree goes where ./dev.sh puts it.
# Usage: [FILES=N] [RUNS=N] bench/full/run.sh [CORPUS_DIR]
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD=build
FILES="${FILES:-500000}"
CORPUS="${1:-$PWD/$BUILD/bench-corpus/fullhome-$FILES}"
RUNS="${RUNS:-5}"
[ -f "$BUILD/build.ninja" ] || cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$BUILD" --target velmora-probe velmora-demo >/dev/null
PROBE="$PWD/$BUILD/tools/probe/velmora-probe"
. tools/demo/folder.sh
DEMO=$(demo_folder)
"$BUILD/tools/demo/velmora-demo" "$DEMO" >/dev/null
if [ ! -d "$CORPUS/Users/bench" ]; then
    echo "building corpus in $CORPUS ($FILES files)"
    python3 bench/full/makehome.py "$CORPUS" "$FILES" >/dev/null
fi

run_tree() { # NAME ROOT HOME
    local name=$1 root=$2 home=$3
    echo "== $name"
    env HOME="$home" VELMORA_ROOT="$root" XDG_CONFIG_HOME="$root/.bench-config" \
        XDG_DATA_HOME="$home/.local/share" python3 - "$PROBE" "$home" "$RUNS" <<'PY'
import json, os, statistics, subprocess, sys, time
probe, home, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])

def timed(args, env=None):
    """Wall time and output of one probe run."""
    t = time.monotonic()
    p = subprocess.Popen([probe] + args, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env)
    out, err = p.communicate()
    wall = time.monotonic() - t
    if p.returncode != 0:
        sys.exit(f"{args[0]} failed: {err.decode()}")
    return wall, out, err

def rss(args):
    """Peak RSS in MB of one run, measured by the kernel for that child alone."""
    pid = os.fork()
    if pid == 0:
        fd = os.open(os.devnull, os.O_WRONLY)
        os.dup2(fd, 1)
        os.dup2(fd, 2)
        os.execv(probe, [probe] + args)
    _, _, usage = os.wait4(pid, 0)
    return usage.ru_maxrss / 1024

alone = {"largefiles": [home, "--min-mb", "500"], "duplicates": [home, "--min-mb", "10"],
         "cleanup": [], "uninstaller": [], "protection": []}
for args in [["full"]] + [[m] + a for m, a in alone.items()]:
    timed(args)  # warm the cache
full, steps, each = [], [], {m: [] for m in alone}
for _ in range(runs):
    t, out, _ = timed(["full"])
    full.append(t)
    steps.append(json.loads(out)["stepMs"])
    for m, a in alone.items():
        each[m].append(timed([m] + a)[0])
med = statistics.median
step_med = [med(s[i] for s in steps) for i in range(5)]
alone_med = {m: med(v) for m, v in each.items()}
slowest = max(alone_med, key=alone_med.get)
target = 1.15 * alone_med[slowest] + 0.1
print(f"full analysis   {med(full):6.2f} s   steps ms {step_med}   peak {rss(['full']):.0f} MB")
for m, a in alone.items():
    print(f"  {m:<13} {alone_med[m]:6.2f} s   peak {rss([m] + a):.0f} MB")
print(f"ratio full / slowest probe ({slowest}) = {med(full) / alone_med[slowest]:.2f}; "
      f"target {target:.2f} s: {'met' if med(full) <= target else 'NOT met'}")
env = dict(os.environ, VELMORA_STALLS="1")
print(timed(["full"], env)[2].decode().strip())
PY
}
run_tree demo "$DEMO" "$DEMO/Users/demo"
run_tree "generated home of $FILES files" "$CORPUS" "$CORPUS/Users/bench"
