"""Checks that every tool found the same groups as velmora-probe."""
import json
import sys

corpus, root = sys.argv[1], sys.argv[2]


def blocks(path):
    groups, current = set(), []
    for line in open(path, encoding="utf-8", errors="surrogateescape"):
        line = line.rstrip("\n")
        if line.startswith("#"):
            continue
        if not line:
            if len(current) > 1:
                groups.add(frozenset(current))
            current = []
        else:
            current.append(line.split("\t")[-1])
    if len(current) > 1:
        groups.add(frozenset(current))
    return groups


def rdfind(path):
    byid = {}
    for line in open(path, encoding="utf-8", errors="surrogateescape"):
        if line.startswith("#") or not line.strip():
            continue
        parts = line.split(" ", 7)
        byid.setdefault(parts[1].lstrip("-"), []).append(parts[7].rstrip("\n"))
    return {frozenset(v) for v in byid.values() if len(v) > 1}


probe = json.load(open(f"probe-{corpus}.json"))
mine = {frozenset(f["url"] for f in g["files"]) for g in probe["items"]}
print(f"  velmora-probe: {len(mine)} groups, files opened: {probe.get('filesOpened')}")
for tool, groups in (("jdupes", blocks(f"jdupes-{corpus}.txt")),
                     ("rmlint", blocks(f"rmlint-{corpus}.txt")),
                     ("fdupes", blocks(f"fdupes-{corpus}.txt")),
                     ("rdfind", rdfind(f"rdfind-{corpus}.txt"))):
    print(f"  {tool}: {len(groups)} groups, {'same' if groups == mine else 'DIFFERENT'}")
