#!/usr/bin/env bash
# The map's folder totals: velmora-probe diskmap against `du -s --block-size=1`
# and `gdu -npc` on the 1,000,000-entry tree of bench/largefiles and on /usr,
# warm cache, medians. First checks every folder's total against reference.py
# (the same definition computed the plain way), then times the walks, then the
# peak RSS against a walk of an empty folder, then the map's redraw.
# Usage: bench/diskmap/run.sh [CORPUS_DIR]   (RUNS=7 by default; TREES="corpus usr")
set -euo pipefail
cd "$(dirname "$0")/../.."
CORPUS="${1:-$PWD/build/bench-corpus/largefiles}"
RUNS="${RUNS:-7}"
OUT="$PWD/build/bench-results/diskmap"
mkdir -p "$OUT"

for p in gdu hyperfine time; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
        { echo "installing $p"; apt-get install -y -qq "$p" >/dev/null; }
done
[ -d build ] || cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target velmora-probe velmora-bench-corpus velmora-bench-diskmap-redraw >/dev/null
PROBE="$PWD/build/tools/probe/velmora-probe"
if [ ! -d "$CORPUS" ]; then
    echo "building corpus in $CORPUS"
    mkdir -p "$(dirname "$CORPUS")"
    build/bench/velmora-bench-corpus largefiles "$CORPUS"
fi

EMPTY=$(mktemp -d)
/usr/bin/time -f "%M" -o "$OUT/rss-empty.txt" "$PROBE" diskmap "$EMPTY" --depth 0 >/dev/null
rmdir "$EMPTY"

for tree in ${TREES:-corpus usr}; do
    ROOT=$([ "$tree" = usr ] && echo /usr || echo "$CORPUS")
    echo "== $ROOT"
    "$PROBE" diskmap "$ROOT" --depth 100000 >"$OUT/$tree.json"
    python3 bench/diskmap/reference.py "$ROOT" "$OUT/$tree.json"
    /usr/bin/time -f "%M" -o "$OUT/rss-$tree.txt" "$PROBE" diskmap "$ROOT" --depth 0 >/dev/null
    echo "peak RSS $(($(cat "$OUT/rss-$tree.txt") / 1024)) MB, $(( ($(cat "$OUT/rss-$tree.txt") - $(cat "$OUT/rss-empty.txt")) / 1024 )) MB over an empty walk (limit 64 MB)"
    hyperfine -N --warmup 2 --runs "$RUNS" --export-json "$OUT/$tree-times.json" \
        -n velmora-probe "$PROBE diskmap $ROOT --depth 0" \
        -n du "du -s --block-size=1 $ROOT" \
        -n gdu "gdu -npc $ROOT" >/dev/null
    python3 - "$OUT/$tree-times.json" <<'EOF'
import json, sys
runs = {r["command"]: r["median"] for r in json.load(open(sys.argv[1]))["results"]}
probe = runs["velmora-probe"]
for name, t in runs.items():
    print(f"  {name:14s} median {t:.3f} s")
print(f"  velmora-probe / du  = {probe / runs['du']:.2f} (target at most 0.5)")
print(f"  velmora-probe / gdu = {probe / runs['gdu']:.2f} (target at most 1.0)")
EOF
done

echo "== redraw after a zoom or a resize (layout and painting)"
QT_QPA_PLATFORM=offscreen build/bench/velmora-bench-diskmap-redraw 2>/dev/null
