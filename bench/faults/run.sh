#!/usr/bin/env bash
# Each class of hostile input or fault, run through a velmora-probe, with what
# came out: time and peak memory for the readers, the disk and the messages for
# the rest. Compare two builds with PROBE=/other/build/tools/probe/velmora-probe.
#   bench/faults/run.sh            (uses build/tools/probe/velmora-probe)
set -uo pipefail
cd "$(dirname "$0")/../.."
PROBE=${PROBE:-$PWD/build/tools/probe/velmora-probe}
SIGNER=$PWD/build/bench/velmora-bench-signed
LIMIT=${LIMIT:-20}
WORK=$(mktemp -d "${TMPDIR:-/var/tmp}/velmora-faults.XXXXXX")
trap 'chmod -R u+rwX "$WORK" 2>/dev/null; rm -rf "$WORK"' EXIT

fresh() { # a Mac-shaped tree and the probe's environment on it
    rm -rf "$WORK/t" && mkdir -p "$WORK/t/root/Users/ana/Downloads" "$WORK/t/data" "$WORK/t/config"
    export HOME=$WORK/t/root/Users/ana VELMORA_ROOT=$WORK/t/root
    export XDG_DATA_HOME=$WORK/t/data XDG_CONFIG_HOME=$WORK/t/config
    Q="$HOME/Library/Application Support/Velmora/Quarantine"
}
probe() { # time, peak RSS and the JSON of one probe run, killed past LIMIT seconds
    local start end peak=0 rss t
    start=$(date +%s.%N)
    "$PROBE" "$@" >"$WORK/out" 2>/dev/null &
    local pid=$! killed=""
    while kill -0 $pid 2>/dev/null; do
        rss=$(awk '/^VmRSS/ {print $2}' /proc/$pid/status 2>/dev/null)
        [ -n "$rss" ] && [ "$rss" -gt "$peak" ] && peak=$rss
        if (($(echo "$(date +%s.%N) - $start > $LIMIT" | bc))); then
            kill -KILL $pid; killed=1; break
        fi
        sleep 0.05
    done
    wait $pid 2>/dev/null
    end=$(date +%s.%N)
    [ -n "$killed" ] && t="killed after ${LIMIT} s" || t="$(printf '%.2f' "$(echo "$end - $start" | bc)") s"
    echo "$t, $((peak / 1024)) MB peak"
}
json() { python3 -c "import json,sys; d=json.load(open('$WORK/out')); print($1)" 2>/dev/null || echo "(no output)"; }

echo "probe: $PROBE"
echo
echo "1. Files the disk names, planted where the protection scan reads"
for place in Contents/_CodeSignature/CodeResources Contents/Info.plist; do
    for kind in pipe device; do
        fresh
        "$SIGNER" "$HOME/Downloads" 1 1 >/dev/null
        app=$(ls -d "$HOME"/Downloads/*.app | head -1)
        rm -f "$app/$place"
        [ $kind = pipe ] && mkfifo "$app/$place" || ln -s /dev/zero "$app/$place"
        echo "   $kind as $place: $(probe protection)"
    done
done

echo
echo "2. A quarantine index cut short by one byte, then another quarantine"
fresh
for n in 1 2 3; do echo "#!/bin/sh" >"$HOME/Downloads/s$n.sh"; done
"$PROBE" protection --quarantine-selected >/dev/null 2>&1
truncate -s -1 "$Q/records.json"
echo "#!/bin/sh" >"$HOME/Downloads/s4.sh"
"$PROBE" protection --quarantine-selected >/dev/null 2>&1
"$PROBE" quarantine >"$WORK/out" 2>/dev/null
echo "   items in the folder: $(ls "$Q" | grep -c _), records: $(json "len(d['records'])")," \
    "unknown origin: $(json "sum(r['originalPath'] is None for r in d['records'])")," \
    "index kept aside: $(ls "$Q" | grep -c 'records.json.')"

echo
echo "3. A quarantine folder left open to everyone, and one of another account"
for how in 0777 other; do
    fresh
    mkdir -p "$Q" && echo "#!/bin/sh" >"$HOME/Downloads/run.sh"
    [ $how = 0777 ] && chmod 0777 "$Q" || chown 65534:65534 "$Q"
    "$PROBE" protection --quarantine-selected >"$WORK/out" 2>/dev/null
    echo "   $how: mode now $(stat -c %a "$Q"), moved in: $(ls "$Q" | grep -c _)," \
        "message: $(json "d['quarantine']['errorMessage'] or d['errorMessage']")"
done

echo
echo "4. A cache swapped for a link between the scan and the removal"
fresh
mkdir -p "$HOME/Library/Caches/com.vendor.app" && head -c 300000 /dev/urandom >"$HOME/Library/Caches/com.vendor.app/data"
c="$HOME/Library/Caches/com.vendor.app"
"$PROBE" cleanup --select-all-safe --trash-selected --before-remove "mv '$c' '$c.old' && ln -s '$c.old' '$c'" >"$WORK/out" 2>/dev/null
echo "   message: $(json "d['errorMessage']")"

echo
echo "5. A file whose name is not valid UTF-8, in a large-files scan of the home"
fresh
head -c 2000000 /dev/urandom >"$HOME/Downloads/$(printf 'caf\xe9.bin')"
"$PROBE" largefiles "$HOME" --min-mb 1 >"$WORK/out" 2>/dev/null
echo "   listed: $(json "[i['name'] for i in d['items']]"), second line: $(json "d.get('skipped', '(no skipped list)')")"
