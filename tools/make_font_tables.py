#!/usr/bin/env python3
"""Turns the fonts of data/fonts/ into the tables that graphicslib is built with.

Run it in the repository root after a change of the data; what it writes is kept in the repository.
"""
import pathlib

DATA = pathlib.Path("data/fonts")
CODE = pathlib.Path("src/graphicslib")
HEAD = "// Made by tools/make_font_tables.py from data/fonts/{}; origin and licence in data/CREDITS.md.\n// clang-format off\n"


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("??", '?""?') + '"'


def hershey():
    name = "hershey_occidental_1597.txt"
    glyphs = {int(line[:5]): line[5:] for line in (DATA / name).read_text("ascii").splitlines() if line}
    for number, glyph in glyphs.items():
        if len(glyph) != 3 + 2 * int(glyph[:3]):
            raise SystemExit(f"glyph {number}: {len(glyph)} characters do not hold its count of pairs")
    rows = "".join(f"{{{number}, {quoted(glyph)}}},\n" for number, glyph in sorted(glyphs.items()))
    (CODE / "hershey_glyphs.inc").write_text(HEAD.format(name) + rows)


def bitmap():
    name = "font_8x13_ascii.txt"
    lines = [line for line in (DATA / name).read_text("ascii").splitlines() if line and not line.startswith("#")]
    rows = ""
    for position, line in enumerate(lines):
        code, *rows_of_glyph = [int(word, 16) for word in line.split()[:14]]
        if code != 0x20 + position or len(rows_of_glyph) != 13:
            raise SystemExit(f"line {line!r} is not glyph {0x20 + position:#x}")
        rows += "{" + ", ".join(f"{row:#04x}" for row in rows_of_glyph) + "},\n"
    (CODE / "bit_text_glyphs.inc").write_text(HEAD.format(name) + rows)


hershey()
bitmap()
