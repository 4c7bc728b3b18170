"""What no tool can beat on a corpus: the bytes a comparison must read and hash,
at this machine's rates, plus the time to list the tree.

Reads: every file of a same-size class (10 MiB or more on disk, one name per
inode) has both 4 KiB ends read; files still alike are then read side by side in
64 KiB blocks until each is unlike every other, and sets identical to the end
are read whole. Hashes: one copy of each identical set. Rates: the page cache
read on every core (velmora-bench-readrate, best buffer layout) and two cores
of SHA-256 (openssl speed). The walk: the fastest of three runs of the probe
listing the tree without comparing anything and of `find -size +10M`.

Usage: limit.py ROOT SHA256_TXT READRATE_BIN PROBE OUT_JSON"""
import json
import os
import stat
import subprocess
import sys
import time

root, sha_file, readrate, probe, out = sys.argv[1:6]
MIN = 10 << 20
EDGE = 4096
BLOCK = 64 << 10

by_size, seen = {}, set()
for folder, _, names in os.walk(root):
    for name in names:
        path = os.path.join(folder, name)
        try:
            st = os.lstat(path)
        except OSError:
            continue
        if not stat.S_ISREG(st.st_mode) or st.st_blocks * 512 < MIN:
            continue
        if (st.st_dev, st.st_ino) in seen:
            continue
        seen.add((st.st_dev, st.st_ino))
        by_size.setdefault(st.st_size, []).append(path)


def pread(path, length, offset):
    with open(path, "rb", buffering=0) as f:
        f.seek(offset)
        return f.read(length)


read = hashed = 0
files = []
for size, paths in by_size.items():
    if len(paths) < 2:
        continue
    files += paths
    parts = {}
    for p in paths:
        parts.setdefault(pread(p, EDGE, 0) + pread(p, EDGE, max(0, size - EDGE)), []).append(p)
        read += min(size, 2 * EDGE)
    work = [members for members in parts.values() if len(members) >= 2]
    for members in work:
        handles = {p: open(p, "rb", buffering=0) for p in members}
        offset, alike = 0, [members]
        while alike and offset < size:
            going = []
            for group in alike:
                split = {}
                for p in group:
                    handles[p].seek(offset)
                    split.setdefault(handles[p].read(BLOCK), []).append(p)
                    read += min(BLOCK, size - offset)
                going += [g for g in split.values() if len(g) >= 2]
            alike, offset = going, offset + BLOCK
        hashed += size * len(alike)
        for h in handles.values():
            h.close()

one_core = float(open(sha_file).read().split()[-1].rstrip("k")) * 1000
sha_rate = 2 * one_core
cache_rate = float(subprocess.run([readrate] + files, capture_output=True, text=True,
                                  check=True).stdout) if files else 1.0
walk = 1e9
for command in ([probe, "largefiles", root, "--min-mb", "1000000"],
                ["find", root, "-type", "f", "-size", "+10M"]):
    for _ in range(3):
        start = time.perf_counter()
        subprocess.run(command, capture_output=True)
        walk = min(walk, time.perf_counter() - start)
limit = read / cache_rate + hashed / sha_rate
result = {"read_bytes": read, "hash_bytes": hashed, "cache_rate": cache_rate,
          "sha_rate": sha_rate, "compare_limit": limit, "walk": walk, "limit": limit + walk}
json.dump(result, open(out, "w"), indent=1)
print(f"  limit {limit + walk:.3f} s: read {read / 1e9:.2f} GB at {cache_rate / 1e9:.1f} GB/s"
      f" + hash {hashed / 1e9:.2f} GB at {sha_rate / 1e9:.2f} GB/s = {limit:.3f} s"
      f", + walk {walk:.3f} s")
