#!/usr/bin/env bash
# Five scanners at once on a generated home: the process never has more
# threads than the main thread, Qt's own and the pool (plus the sampler).
#   bench/threads/run.sh [BUILD]
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD=${1:-build}
work=$(mktemp -d "${TMPDIR:-/var/tmp}/velmora-threads.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home/Copias"
"$BUILD/bench/velmora-bench-corpus" largefiles "$work/home/Files" >/dev/null
for i in $(seq 1 10); do
    head -c $((12 << 20)) /dev/urandom >"$work/home/Copias/$i.bin"
    cp "$work/home/Copias/$i.bin" "$work/home/Copias/$i-copia.bin"
done
mkdir -p "$work/home/Library/Caches" "$work/root/Applications"
for i in $(seq 1 40); do mkdir -p "$work/home/Library/Caches/com.vendor.app$i/data"; head -c 100000 /dev/urandom >"$work/home/Library/Caches/com.vendor.app$i/data/blob"; done
echo "pool size: $(nproc) cores"
for run in 1 2 3; do
    HOME="$work/home" VELMORA_ROOT="$work/root" XDG_DATA_HOME="$work/home/.local/share" \
        XDG_CONFIG_HOME="$work/home/.config" "$BUILD/bench/velmora-bench-threads" "$work/home"
done
