#!/usr/bin/env python3
"""Gives an EPS file a preview of 8 bits of grey, as hexadecimal digits behind its comments. Needs Ghostscript.

    tools/add_eps_preview.py data/postscript/rhino.eps 160
"""
import math
import re
import subprocess
import sys

path, width = sys.argv[1], int(sys.argv[2])
text = open(path).read()
text = re.sub(r"%%BeginPreview:.*?%%EndPreview\n", "", text, flags=re.S)
llx, lly, urx, ury = map(float, re.search(r"%%BoundingBox: (\S+) (\S+) (\S+) (\S+)", text).groups())
height = round(width * (ury - lly) / (urx - llx))
resolution = 72 * width / (urx - llx)
program = f"{-llx} {-lly} translate\n" + text
pgm = subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-dFIXEDMEDIA", "-sDEVICE=pgmraw", f"-r{4 * resolution}",
                      f"-g{4 * width}x{4 * height}", "-sOutputFile=-", "-"], input=program.encode(), capture_output=True,
                     check=True).stdout
large = pgm[-16 * width * height:]


def level(x, y):  # the mean of 4 x 4 samples; in a preview 0 is white
    rows = (large[(4 * y + j) * 4 * width + 4 * x:][:4] for j in range(4))
    return 255 - math.floor(sum(map(sum, rows)) / 16 + 0.5)


digits = "".join(f"{level(x, y):02x}" for y in range(height) for x in range(width))
lines = [f"% {digits[i:i + 120]}" for i in range(0, len(digits), 120)]
preview = f"%%BeginPreview: {width} {height} 8 {len(lines)}\n" + "\n".join(lines) + "\n%%EndPreview\n"
open(path, "w").write(text.replace("%%EndComments\n", "%%EndComments\n" + preview, 1))
