#!/usr/bin/env bash
# The full analysis against the five module probes run alone, on the demo tree
# and on a generated home of 500,000 files (bench/full/makehome.py), warm cache,
# medians of RUNS runs; and the longest main-thread stall of the full run.
# Usage: bench/full/run.sh [CORPUS_DIR]
set -euo pipefail
cd "$(dirname "$0")/../.."
CORPUS="${1:-$PWD/build/bench-corpus/fullhome}"
RUNS="${RUNS:-3}"
PROBE="$PWD/build/tools/probe/velmora-probe"
cmake --build build --target velmora-probe velmora-demo >/dev/null
DEMO="$PWD/build/demo-mac"
build/tools/demo/velmora-demo "$DEMO" >/dev/null
if [ ! -d "$CORPUS/Users/bench" ]; then
    echo "building corpus in $CORPUS (500,000 files)"
    python3 bench/full/makehome.py "$CORPUS" 500000 >/dev/null
fi

run_tree() { # NAME ROOT HOME
    local name=$1 root=$2 home=$3
    export HOME="$home" VELMORA_ROOT="$root" XDG_CONFIG_HOME="$root/.bench-config"
    echo "== $name"
    "$PROBE" full >/dev/null # warm the cache
    python3 - "$PROBE" "$home" "$RUNS" <<'PY'
import json, statistics, subprocess, sys, time
probe, home, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
def timed(args):
    t = time.monotonic()
    out = subprocess.run([probe] + args, capture_output=True, check=True)
    return time.monotonic() - t, out
alone = {"largefiles": [home, "--min-mb", "500"], "duplicates": [home, "--min-mb", "10"],
         "cleanup": [], "uninstaller": [], "protection": []}
full_t, steps, sums = [], [], []
for _ in range(runs):
    t, out = timed(["full"])
    full_t.append(t)
    steps.append(json.loads(out.stdout)["stepMs"])
    sums.append(sum(timed([m] + a)[0] for m, a in alone.items()))
step_med = [statistics.median(s[i] for s in steps) for i in range(5)]
print(f"full analysis   {statistics.median(full_t):7.2f} s  (steps ms: {step_med})")
print(f"five probes sum {statistics.median(sums):7.2f} s")
PY
    VELMORA_STALLS=1 "$PROBE" full 2>&1 >/dev/null | grep stall
}
run_tree demo "$DEMO" "$DEMO/Users/demo"
run_tree "generated home" "$CORPUS" "$CORPUS/Users/bench"
