#!/usr/bin/env bash
# Signature checking: velmora-probe's custom protection scan of COUNT signed
# bundles of MB megabytes (default 200 × 50 MB), against the limit: sha256sum
# of the same bytes on both cores. Warm cache (the bundles are read once
# first), medians of RUNS.
#   bench/protection/run.sh [FOLDER]    COUNT=200 MB=50 RUNS=3
set -euo pipefail
cd "$(dirname "$0")/../.."
COUNT=${COUNT:-200}
MB=${MB:-50}
RUNS=${RUNS:-3}
FOLDER=${1:-$PWD/build/bench-corpus/signed-$COUNT-$MB}
cmake --build build --target velmora-probe velmora-bench-signed >/dev/null
[ -d "$FOLDER" ] || build/bench/velmora-bench-signed "$FOLDER" "$COUNT" "$MB"
bytes=$(du -sb "$FOLDER" | cut -f1)
cat $(find "$FOLDER" -type f) >/dev/null # warm the cache
median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
probe=$(for i in $(seq "$RUNS"); do
    /usr/bin/time -f %e build/tools/probe/velmora-probe protection --custom "$FOLDER" 2>&1 >/dev/null | tail -1
done | median)
limit=$(for i in $(seq "$RUNS"); do
    /usr/bin/time -f %e sh -c "find '$FOLDER' -type f -print0 | xargs -0 -n 16 -P $(nproc) sha256sum >/dev/null" 2>&1 | tail -1
done | median)
# sha256sum does not use the processor's SHA instructions; OpenSSL, which the
# probe uses, does: its own pass over the same bytes is the tighter limit.
openssl=$(for i in $(seq "$RUNS"); do
    /usr/bin/time -f %e sh -c "find '$FOLDER' -type f -print0 | xargs -0 -n 16 -P $(nproc) openssl dgst -sha256 >/dev/null" 2>&1 | tail -1
done | median)
build/tools/probe/velmora-probe protection --custom "$FOLDER" | python3 -c "
import json, sys
d = json.load(sys.stdin)
levels = {}
for i in d['items']:
    levels[i['level']] = levels.get(i['level'], 0) + 1
print('findings:', len(d['items']), levels)"
python3 - "$COUNT" "$bytes" "$probe" "$limit" "$openssl" <<'PY'
import sys
count, size, probe, limit, openssl = int(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3]), float(sys.argv[4]), float(sys.argv[5])
mb = size / 1e6
print(f"velmora-probe: {probe:.2f} s  {count / probe:.1f} findings/s  {mb / probe:.0f} MB/s verified")
print(f"sha256sum -P: {limit:.2f} s  {mb / limit:.0f} MB/s (the limit)")
print(f"openssl dgst -P: {openssl:.2f} s  {mb / openssl:.0f} MB/s")
print(f"ratio: {probe / limit:.2f}x sha256sum, {probe / openssl:.2f}x openssl")
PY
