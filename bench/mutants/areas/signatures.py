"""Faults in the code-signature reader and verifier."""

MUTANTS = [
]
