#!/usr/bin/env bash
# Large-file walk: velmora-probe against `find` (the reference pipeline) and gdu,
# warm cache, several runs, medians. Usage: bench/largefiles/run.sh [CORPUS_DIR]
set -euo pipefail
cd "$(dirname "$0")/../.."
CORPUS="${1:-$PWD/build/bench-corpus/largefiles}"
RUNS="${RUNS:-7}"
MIN_MB=1
THRESHOLD=$((MIN_MB * 1048576))

for p in gdu hyperfine time; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
        { echo "installing $p"; apt-get install -y -qq "$p" >/dev/null; }
done
cmake --build build --target velmora-probe velmora-bench-corpus >/dev/null
if [ ! -d "$CORPUS" ]; then
    echo "building corpus in $CORPUS"
    mkdir -p "$(dirname "$CORPUS")"
    build/bench/velmora-bench-corpus largefiles "$CORPUS"
fi
ROOT="$CORPUS"
OUT="$PWD/build/bench-results"
mkdir -p "$OUT"

PROBE="build/tools/probe/velmora-probe largefiles $ROOT --min-mb $MIN_MB"
FIND="find $ROOT -mindepth 1 \\( -name '.*' -o -type d -name '*.app' \\) -prune -o -type f -printf '%b\\t%p\\n' | awk -F'\\t' '\$1*512 >= $THRESHOLD {print \$2}'"
GDU="gdu -npc $ROOT"

echo "== same result set"
eval "$PROBE" | python3 -c 'import json,sys; print("\n".join(sorted(i["url"] for i in json.load(sys.stdin)["items"])))' > "$OUT/probe.txt"
eval "$FIND" | sort > "$OUT/find.txt"
if cmp -s "$OUT/probe.txt" "$OUT/find.txt"; then
    echo "identical: $(wc -l < "$OUT/probe.txt") files"
else
    echo "DIFFERENT results:"; diff "$OUT/probe.txt" "$OUT/find.txt" | head; exit 1
fi

echo "== times (warm cache, $RUNS runs)"
hyperfine -N --warmup 2 --runs "$RUNS" --export-json "$OUT/largefiles.json" \
    -n velmora-probe "$PROBE" -n find "bash -c \"$FIND > /dev/null\"" -n gdu "$GDU" >/dev/null
python3 - "$OUT/largefiles.json" <<'PY'
import json, sys
res = {r["command"]: r for r in json.load(open(sys.argv[1]))["results"]}
probe, find = res["velmora-probe"]["median"], res["find"]["median"]
for name, r in res.items():
    print(f"{name:14s} median {r['median']*1000:8.1f} ms   min {r['min']*1000:8.1f} ms")
print(f"probe / find = {probe / find:.2f}")
PY

echo "== peak memory"
/usr/bin/time -f "velmora-probe max RSS %M KB" $PROBE > /dev/null
/usr/bin/time -f "velmora-probe (empty folder) max RSS %M KB" build/tools/probe/velmora-probe largefiles "$OUT" --min-mb 100000 > /dev/null
