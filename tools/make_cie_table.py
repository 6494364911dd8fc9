#!/usr/bin/env python3
"""Turns data/cie/cie1931_2deg_5nm.txt into the table that clk7 is built with.

Run it in the repository root after a change of the data; what it writes is kept in the repository.
"""
import pathlib

NAME = "cie1931_2deg_5nm.txt"
lines = pathlib.Path("data/cie", NAME).read_text("ascii").splitlines()
rows = [line.split() for line in lines if line and not line.startswith("#")]
for position, row in enumerate(rows):
    if len(row) != 4 or int(row[0]) != 380 + 5 * position:
        raise SystemExit(f"{row!r} is not the row of {380 + 5 * position} nm")
head = f"// Made by tools/make_cie_table.py from data/cie/{NAME}; origin in data/CREDITS.md.\n// clang-format off\n"
table = "".join("{" + ", ".join(row[1:]) + "},\n" for row in rows)
pathlib.Path("src/clk7/cie1931.inc").write_text(head + table)
