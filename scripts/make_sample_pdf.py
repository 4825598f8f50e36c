#!/usr/bin/env python3
"""Writes samples/pdf-review.pdf: a small one-page report (A5 landscape) used by the demo as
the PDF page drawn under the annotations. Plain PDF operators, written by hand, no dependencies."""
import os
import sys

from pdf_bytes import one_page_pdf

WIDTH, HEIGHT = 595, 420


def content():
    ops = []
    # Header band and title.
    ops.append("0.16 0.32 0.55 rg 0 360 %d 60 re f" % WIDTH)
    ops.append("BT /F2 22 Tf 1 1 1 rg 32 382 Td (Quarterly review) Tj ET")
    ops.append("BT /F1 11 Tf 0.85 0.9 1 rg 400 384 Td (Draft for comments) Tj ET")
    # Body text.
    lines = [
        "Shipments grew in every region this quarter; the north led with a 14% rise.",
        "Returns fell after the packaging change in week 6. Support tickets are flat.",
        "Open questions for the team are marked on this page.",
    ]
    y = 330
    for line in lines:
        ops.append("BT /F1 12 Tf 0.15 0.15 0.18 rg 32 %d Td (%s) Tj ET" % (y, line))
        y -= 18
    # A bar chart with axes.
    ops.append("0.35 0.35 0.4 RG 1 w 60 60 m 60 240 l 540 240 m 540 240 l S 60 60 m 540 60 l S")
    bars = [(90, 110, (0.27, 0.55, 0.85)), (170, 150, (0.27, 0.55, 0.85)), (250, 90, (0.27, 0.55, 0.85)),
            (330, 175, (0.95, 0.55, 0.2)), (410, 130, (0.27, 0.55, 0.85))]
    for x, h, (r, g, b) in bars:
        ops.append("%.2f %.2f %.2f rg %d 60 56 %d re f" % (r, g, b, x, h))
    labels = ["Jan", "Feb", "Mar", "Apr", "May"]
    for (x, _, _), label in zip(bars, labels):
        ops.append("BT /F1 10 Tf 0.3 0.3 0.35 rg %d 44 Td (%s) Tj ET" % (x + 16, label))
    ops.append("0.8 0.82 0.86 RG 0.5 w")
    for gy in (100, 140, 180, 220):
        ops.append("60 %d m 540 %d l S" % (gy, gy))
    ops.append("BT /F1 9 Tf 0.5 0.5 0.55 rg 32 20 Td (Page 1 of 1  -  generated sample for the MarqenKit demo) Tj ET")
    return "\n".join(ops).encode("ascii")


def main(path):
    tmp = path + ".tmp"
    with open(tmp, "wb") as f:
        f.write(one_page_pdf(content(), WIDTH, HEIGHT))
    os.replace(tmp, path)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "samples", "pdf-review.pdf"))
