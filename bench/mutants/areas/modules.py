"""Faults in large files, duplicates, cleanup, the uninstaller and the full analysis."""

MUTANTS = [
]
