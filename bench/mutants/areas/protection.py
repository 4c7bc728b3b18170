"""Faults in the protection rules, the protection scanner and its counts."""

MUTANTS = [
]
