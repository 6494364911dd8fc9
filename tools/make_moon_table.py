#!/usr/bin/env python3
"""Turns data/moon/moon_600.raw into the table that Q_Luna is built with.

Run it in the repository root after a change of the data; what it writes is kept in the repository.
"""
import pathlib

SIDE = 600
pixels = pathlib.Path("data/moon/moon_600.raw").read_bytes()
if len(pixels) != SIDE * SIDE:
    raise SystemExit(f"{len(pixels)} bytes are not {SIDE} x {SIDE} pixels")
head = "// Made by tools/make_moon_table.py from data/moon/moon_600.raw; origin in data/CREDITS.md.\n// clang-format off\n"
lines = [",".join(str(p) for p in pixels[i : i + SIDE]) + ",\n" for i in range(0, len(pixels), SIDE)]
pathlib.Path("src/effects/sky/moon_600.inc").write_text(head + "".join(lines))
