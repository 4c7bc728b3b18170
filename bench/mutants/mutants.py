"""Realistic faults, each with the tests that must catch it (a ctest -R pattern).
Each area keeps its own list in areas/; this gathers them in a fixed order.

A mutant: dict(name, file, old, new, tests[, timeout]) - `old` must occur exactly
once in `file`; it is replaced by `new`, the build runs, then `ctest -R tests`."""
import importlib
import os
import sys

sys.path.insert(0, os.path.dirname(__file__))
AREAS = ["platform", "quarantine", "signatures", "protection", "modules", "screens", "undo",
         "diskmap"]
MUTANTS = [m for area in AREAS for m in importlib.import_module("areas." + area).MUTANTS]
