#!/usr/bin/env python3
"""Draws diagrams from their sources, NAME.dot -> NAME.svg beside it.

    draw.py DOT SOURCE...           draws
    draw.py --check SOURCE...       fails when a drawing was not made of its source as that now stands
"""

import hashlib
import subprocess
import sys


def drawing_of(source):
    return source[: -len(".dot")] + ".svg"


def stamp(source):
    with open(source, "rb") as file:
        return f"<!-- drawn from a source with SHA-256 {hashlib.sha256(file.read()).hexdigest()} -->\n"


def draw(dot, source):
    svg = subprocess.run([dot, "-Tsvg", source], check=True, capture_output=True, text=True).stdout
    with open(drawing_of(source), "w", encoding="utf-8") as file:
        file.write(svg + stamp(source))


def check(source):
    with open(drawing_of(source), encoding="utf-8") as file:
        if not file.read().endswith(stamp(source)):
            sys.exit(f"{source} was changed since it was drawn: build the target update_manual_diagrams")


if __name__ == "__main__":
    for name in sys.argv[2:]:
        check(name) if sys.argv[1] == "--check" else draw(sys.argv[1], name)
