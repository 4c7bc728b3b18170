#!/usr/bin/env bash
# Duplicate finder: velmora-probe against jdupes, rmlint, fdupes and rdfind on the
# generated corpora (same-size trap, throughput, threshold discipline, one large
# same-size class, same-size files differing only at the ends or the middle,
# classes alike at both edges that differ just before the end, just after the
# start or anywhere in the last tenth)
# and on this machine's /usr, warm cache, medians; each against its limit (see
# limit.py), with the probe's peak RSS against a scan of an empty folder. The
# table of every corpus ends in build/bench-results/duplicates/summary.md.
# Usage: bench/duplicates/run.sh [CORPUS_PARENT]   (RUNS=3 by default;
#        CORPORA="dup-trap dup-sameclass dup-middle dup-nearend dup-nearstart dup-lasttenth
#                 dup-throughput dup-threshold usr")
set -euo pipefail
cd "$(dirname "$0")/../.."
PARENT="${1:-$PWD/build/bench-corpus}"
RUNS="${RUNS:-3}"
OUT="$PWD/build/bench-results/duplicates"
mkdir -p "$OUT" "$PARENT"
rm -f "$OUT/summary.md"

for p in jdupes rmlint fdupes rdfind hyperfine; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
        { echo "installing $p"; apt-get install -y -qq "$p" >/dev/null; }
done
cmake --build build --target velmora-probe velmora-bench-corpus velmora-bench-readrate >/dev/null
PROBE="$PWD/build/tools/probe/velmora-probe"

echo "== SHA-256 on one core (openssl speed, 512 KiB blocks)"
openssl speed -evp sha256 -bytes 524288 -seconds 3 2>/dev/null | tail -1 | tee "$OUT/sha256.txt"

EMPTY=$(mktemp -d)
/usr/bin/time -f "%M" -o "$OUT/rss-empty.txt" "$PROBE" duplicates "$EMPTY" --min-mb 10 > /dev/null
rmdir "$EMPTY"
echo "== peak RSS of a scan of an empty folder: $(cat "$OUT/rss-empty.txt") KB"

ALL="dup-trap dup-sameclass dup-middle dup-nearend dup-nearstart dup-lasttenth dup-throughput"
for corpus in ${CORPORA:-$ALL dup-threshold usr}; do
    if [ "$corpus" = usr ]; then
        ROOT=/usr
    else
        ROOT="$PARENT/$corpus"
        [ -d "$ROOT" ] || { echo "building $corpus"; build/bench/velmora-bench-corpus "$corpus" "$ROOT"; }
    fi
    echo "== $corpus ($(du -sh "$ROOT" 2>/dev/null | cut -f1))"
    # Only this corpus in the page cache: the largest take two thirds of memory, and
    # pages of the previous corpus would otherwise be reclaimed during the runs.
    [ -w /proc/sys/vm/drop_caches ] && sync && echo 1 > /proc/sys/vm/drop_caches
    find "$ROOT" -type f -size +10M -exec cat {} + > /dev/null 2>&1 || true # warm
    cd "$OUT"
    /usr/bin/time -f "%M" -o "rss-$corpus.txt" "$PROBE" duplicates "$ROOT" --min-mb 10 > "probe-$corpus.json"
    echo "  velmora-probe peak RSS: $(cat "rss-$corpus.txt") KB"
    jdupes -r -A -X size+=:10M -q "$ROOT" > "jdupes-$corpus.txt" || true
    rmlint -T df -s 10MB -a sha256 -F -L -o fdupes:stdout "$ROOT" > "rmlint-$corpus.txt" 2>/dev/null || true
    fdupes -r -A -G 10485760 -q "$ROOT" > "fdupes-$corpus.txt" || true
    rdfind -minsize 10485760 -checksum sha256 -outputname "rdfind-$corpus.txt" "$ROOT" > /dev/null
    python3 "$OLDPWD/bench/duplicates/compare.py" "$corpus" "$ROOT"
    python3 "$OLDPWD/bench/duplicates/limit.py" "$ROOT" "$OUT/sha256.txt" \
        "$OLDPWD/build/bench/velmora-bench-readrate" "$PROBE" "limit-$corpus.json"
    hyperfine -N --warmup 1 --runs "$RUNS" --export-json "$corpus.json" \
        -n velmora-probe "$PROBE duplicates $ROOT --min-mb 10" \
        -n jdupes "jdupes -r -A -X size+=:10M -q $ROOT" \
        -n "jdupes -Q" "jdupes -r -A -X size+=:10M -Q -q $ROOT" \
        -n rmlint "rmlint -T df -s 10MB -a sha256 -F -L -o fdupes:stdout $ROOT" \
        -n fdupes "fdupes -r -A -G 10485760 -q $ROOT" \
        -n rdfind "rdfind -minsize 10485760 -checksum sha256 -outputname /dev/null $ROOT" \
        > /dev/null 2>&1 || echo "(a peer exited non-zero; see hyperfine)"
    python3 "$OLDPWD/bench/duplicates/report.py" "$corpus.json" "$corpus" "limit-$corpus.json" \
        "rss-$corpus.txt" "rss-empty.txt" summary.md
    cd "$OLDPWD"
done

echo "== summary"
cat "$OUT/summary.md"
