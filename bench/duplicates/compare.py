"""Checks that every tool found the same groups as velmora-probe."""
import json
import os
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


def inode(path):
    st = os.lstat(path)
    return (st.st_dev, st.st_ino)


def files(groups):
    """Groups as sets of files: names of one inode are one file, and a group
    left with one file is no group."""
    out = set()
    for g in groups:
        one = frozenset(inode(p) for p in g if os.path.exists(p))
        if len(one) > 1:
            out.add(one)
    return out


probe = json.load(open(f"probe-{corpus}.json"))
mine_paths = [[f["url"] for f in g["files"]] for g in probe["items"]]
linked = sum(1 for g in mine_paths if len({inode(p) for p in g}) != len(g))
mine = files(mine_paths)
print(f"  velmora-probe: {len(mine)} groups, files opened: {probe.get('filesOpened')}, "
      f"groups holding two names of one inode: {linked}")
for tool, groups in (("jdupes", blocks(f"jdupes-{corpus}.txt")),
                     ("rmlint", blocks(f"rmlint-{corpus}.txt")),
                     ("fdupes", blocks(f"fdupes-{corpus}.txt")),
                     ("rdfind", rdfind(f"rdfind-{corpus}.txt"))):
    groups = files(groups)
    print(f"  {tool}: {len(groups)} groups, {'same' if groups == mine else 'DIFFERENT'}")
