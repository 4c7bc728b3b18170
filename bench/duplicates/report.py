"""Medians per tool, the speed-up over the fastest peer and the hashing rate."""
import json
import os
import stat
import sys

results = {r["command"]: r for r in json.load(open(sys.argv[1]))["results"]}
root, sha_file = sys.argv[2], sys.argv[3]
probe = results["velmora-probe"]["median"]
for name, r in results.items():
    print(f"  {name:14s} median {r['median']:8.3f} s")
peers = {k: v["median"] for k, v in results.items() if k != "velmora-probe"}
fastest = min(peers, key=peers.get)
print(f"  fastest peer: {fastest}; speed-up {peers[fastest] / probe:.2f}x")
def size(path):
    try:
        st = os.lstat(path)
    except OSError:
        return 0
    return st.st_size if stat.S_ISREG(st.st_mode) else 0


total = sum(size(os.path.join(d, f)) for d, _, fs in os.walk(root) for f in fs)
# openssl prints the rate in thousands of bytes per second, last column.
one_core = float(open(sha_file).read().split()[-1].rstrip("k")) * 1000
print(f"  bytes/s: {total / probe / 1e9:.2f} GB/s of {total / 1e9:.1f} GB; "
      f"two-core SHA-256 limit {2 * one_core / 1e9:.2f} GB/s "
      f"({total / probe / (2 * one_core) * 100:.0f}% of it)")
