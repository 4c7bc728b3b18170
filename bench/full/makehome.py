#!/usr/bin/env python3
"""A generated home for the full analysis: FILES small files in nested folders,
large files (fallocated: their blocks are reserved, so sizes on disk are real),
duplicate sets of real bytes, caches, applications and downloads to rate.
Usage: makehome.py ROOT [FILES]   (ROOT gets Users/bench and Applications)"""
import os, sys, random

root = sys.argv[1]
files = int(sys.argv[2]) if len(sys.argv) > 2 else 500_000
home = os.path.join(root, "Users", "bench")
rng = random.Random(7)

def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)

# Small files: 1,000 folders of ~500 files, three levels deep.
per_folder = 500
for i in range(files):
    folder = os.path.join(home, "Documents", f"p{i // 50000}", f"q{(i // 5000) % 10}",
                          f"r{(i // per_folder) % 10}")
    if i % per_folder == 0:
        os.makedirs(folder, exist_ok=True)
    fd = os.open(os.path.join(folder, f"f{i}.txt"), os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
    os.write(fd, b"x" * (i % 4096))
    os.close(fd)

# Large files: 8 of 0.5 to 1.2 GB, reserved on disk.
for i in range(8):
    path = os.path.join(home, "Movies", f"video{i}.mov")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
    os.posix_fallocate(fd, 0, (520 + 100 * i) << 20)
    os.close(fd)

# Duplicate sets: 30 sets of 2 to 4 copies of 10 to 40 MB, plus same-size strangers.
for s in range(30):
    size = (10 + s) << 20
    data = rng.randbytes(size)
    for c in range(2 + s % 3):
        write(os.path.join(home, "Backups", f"set{s}", f"copy{c}.bin"), data)
    write(os.path.join(home, "Backups", f"set{s}", "stranger.bin"), rng.randbytes(size))

# Caches, applications, downloads.
for c in range(40):
    write(os.path.join(home, "Library", "Caches", f"com.bench.app{c}", "cache.db"), b"c" * 50000)
for a in range(25):
    app = os.path.join(root, "Applications", f"Bench{a}.app", "Contents")
    write(os.path.join(app, "Info.plist"),
          f'<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>'
          f'<key>CFBundleIdentifier</key><string>com.bench.app{a}</string></dict></plist>'.encode())
    write(os.path.join(app, "MacOS", f"Bench{a}"), b"\0" * 4096)
for d in range(20):
    write(os.path.join(home, "Downloads", f"setup{d}.sh"), b"#!/bin/sh\n")
print(home)
