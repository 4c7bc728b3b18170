"""Folder totals as the map defines them, computed the plain way, to check the
probe's: for every folder below ROOT, the allocated bytes (blocks x 512) and the
number of its non-folder entries at any depth, hidden ones included, links not
followed, folders on other file systems not entered, and each inode counted
once, under the name a depth-first walk in byte order meets first.

Usage: reference.py ROOT PROBE_JSON   (the probe run with --depth deep enough to
print every folder). Prints the folders compared and exits 1 on a difference."""
import json
import os
import stat
import sys

root, probe_json = sys.argv[1], sys.argv[2]
root = os.path.abspath(root).encode()
device = os.lstat(root).st_dev
seen = set()
totals = {}


def walk(folder):
    size = files = 0
    try:
        names = sorted(os.listdir(folder))
    except OSError:
        names = []
    for name in names:
        path = folder + b"/" + name
        try:
            st = os.lstat(path)
        except OSError:
            continue
        if stat.S_ISDIR(st.st_mode):
            if st.st_dev != device:
                continue
            s, f = walk(path)
            size, files = size + s, files + f
            continue
        if st.st_nlink > 1:
            if (st.st_dev, st.st_ino) in seen:
                continue
            seen.add((st.st_dev, st.st_ino))
        size, files = size + st.st_blocks * 512, files + 1
    totals[folder] = (size, files)
    return size, files


sys.setrecursionlimit(100000)
walk(root)
probe = json.load(open(probe_json))
compared = differences = 0


def check(node):
    global compared, differences
    path = os.fsencode(node["path"])
    if path in totals:
        compared += 1
        if totals[path] != (node["size"], node["files"]):
            differences += 1
            if differences <= 10:
                print(f"DIFFERENT {node['path']}: probe {node['size']} B {node['files']} files,"
                      f" reference {totals[path][0]} B {totals[path][1]} files")
    for child in node["children"]:
        check(child)


check(probe["root"])
missing = len(totals) - compared
print(f"{compared} folders compared, {differences} different, {missing} not in the probe's output")
sys.exit(1 if differences else 0)
