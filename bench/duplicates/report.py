"""Medians per tool, the speed-ups over the fastest peer and over the fastest
peer that verifies content, the probe against the corpus's limit, and its peak
RSS; appends the corpus's row to the summary table.

Usage: report.py HYPERFINE_JSON CORPUS LIMIT_JSON RSS_KB EMPTY_RSS_KB SUMMARY_MD"""
import json
import os
import sys

results_file, corpus, limit_file, rss_file, empty_file, summary = sys.argv[1:7]
results = {r["command"]: r for r in json.load(open(results_file))["results"]}
medians = {name: r["median"] for name, r in results.items()}
probe = medians["velmora-probe"]
for name, median in medians.items():
    print(f"  {name:14s} median {median:8.3f} s")
peers = {k: v for k, v in medians.items() if k != "velmora-probe"}
# jdupes -Q skips the final byte-for-byte check and hashes nothing.
verifying = {k: v for k, v in peers.items() if k != "jdupes -Q"}
fastest = min(peers, key=peers.get)
fastest_verifying = min(verifying, key=verifying.get)
limit = json.load(open(limit_file))
rss = int(open(rss_file).read().split()[-1])
empty = int(open(empty_file).read().split()[-1])
print(f"  fastest peer: {fastest}, {peers[fastest] / probe:.2f}x; fastest verifying peer: "
      f"{fastest_verifying}, {verifying[fastest_verifying] / probe:.2f}x")
print(f"  limit {limit['limit']:.3f} s; the probe takes {probe / limit['limit']:.2f}x of it")
print(f"  peak RSS {rss / 1024:.1f} MB, {(rss - empty) / 1024:.1f} MB over an empty scan")

new = not os.path.exists(summary)
with open(summary, "a") as out:
    if new:
        out.write("| corpus | read GB | hash GB | limit s | velmora-probe s | × limit | "
                  + " | ".join(f"{p} s" for p in peers)
                  + " | × fastest peer | × fastest verifying | RSS MB (over empty) |\n")
        out.write("|" + "---|" * (9 + len(peers)) + "\n")
    out.write(f"| {corpus} | {limit['read_bytes'] / 1e9:.2f} | {limit['hash_bytes'] / 1e9:.2f} | "
              f"{limit['limit']:.3f} | {probe:.3f} | {probe / limit['limit']:.2f} | "
              + " | ".join(f"{v:.3f}" for v in peers.values())
              + f" | {peers[fastest] / probe:.2f} | {verifying[fastest_verifying] / probe:.2f} | "
              f"{rss / 1024:.1f} ({(rss - empty) / 1024:.1f}) |\n")
