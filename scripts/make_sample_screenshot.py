#!/usr/bin/env python3
"""Writes samples/screenshot.png: a made-up settings window as a HiDPI screen shows it (1120 x 720 pixels
for a 560 x 360 point window, 144 dpi), the screenshot the demo annotates. The window is drawn as a small
PDF with plain operators, rasterised by pdftoppm (poppler-utils) at 144 dpi, and the PNG gets a pHYs
chunk saying so."""
import os
import struct
import subprocess
import sys
import tempfile

from pdf_bytes import one_page_pdf, png_chunk

WIDTH, HEIGHT = 560, 360
K = 0.5523  # circle control-point factor


def rounded(x, y, w, h, r):
    """A rounded rectangle path (PDF coordinates, y up)."""
    c = r * K
    return ("%.2f %.2f m %.2f %.2f l %.2f %.2f %.2f %.2f %.2f %.2f c %.2f %.2f l %.2f %.2f %.2f %.2f %.2f %.2f c "
            "%.2f %.2f l %.2f %.2f %.2f %.2f %.2f %.2f c %.2f %.2f l %.2f %.2f %.2f %.2f %.2f %.2f c h"
            % (x + r, y, x + w - r, y, x + w - r + c, y, x + w, y + r - c, x + w, y + r, x + w, y + h - r,
               x + w, y + h - r + c, x + w - r + c, y + h, x + w - r, y + h, x + r, y + h,
               x + r - c, y + h, x, y + h - r + c, x, y + h - r, x, y + r, x, y + r - c, x + r - c, y, x + r, y))


def text(font, size, rgb, x, y, words):
    return "BT /%s %d Tf %.2f %.2f %.2f rg %.1f %.1f Td (%s) Tj ET" % ((font, size) + rgb + (x, y, words))


def content():
    ops = ["0.97 0.97 0.98 rg 0 0 %d %d re f" % (WIDTH, HEIGHT)]
    # Title bar with the three window buttons and the title.
    ops.append("0.89 0.89 0.91 rg 0 332 %d 28 re f 0.8 0.8 0.83 RG 0.5 w 0 332 m %d 332 l S" % (WIDTH, WIDTH))
    for i, rgb in enumerate([(0.99, 0.37, 0.34), (0.99, 0.74, 0.18), (0.16, 0.79, 0.25)]):
        ops.append("%.2f %.2f %.2f rg %s f" % (rgb + (rounded(14 + i * 20, 340, 12, 12, 6),)))
    ops.append(text("F2", 13, (0.2, 0.2, 0.24), 232, 341, "Sync Settings"))
    # Sidebar.
    ops.append("0.93 0.93 0.95 rg 0 0 150 332 re f 0.82 0.82 0.85 RG 0.5 w 150 0 m 150 332 l S")
    items = ["General", "Accounts", "Storage", "Notifications", "Advanced"]
    for i, item in enumerate(items):
        y = 300 - i * 30
        if item == "Accounts":
            ops.append("0.2 0.47 0.96 rg %s f" % rounded(10, y - 8, 130, 24, 6))
            ops.append(text("F1", 13, (1, 1, 1), 24, y, item))
        else:
            ops.append(text("F1", 13, (0.25, 0.25, 0.3), 24, y, item))
    # The account pane.
    ops.append(text("F2", 20, (0.12, 0.12, 0.15), 172, 298, "Accounts"))
    ops.append(text("F1", 11, (0.45, 0.45, 0.5), 172, 280, "Signed in as sam@example.org"))
    rows = [("Cloud sync", "Keep files in step on every device", False), ("Back up photos", "Every night at 2:00", True)]
    for i, (title, detail, on) in enumerate(rows):
        y = 236 - i * 52
        ops.append("1 1 1 rg %s f 0.86 0.86 0.89 RG 0.5 w %s S" % (rounded(166, y - 16, 376, 44, 8), rounded(166, y - 16, 376, 44, 8)))
        ops.append(text("F2", 13, (0.15, 0.15, 0.2), 180, y + 8, title))
        ops.append(text("F1", 10, (0.5, 0.5, 0.55), 180, y - 6, detail))
        ops.append(("0.2 0.78 0.35" if on else "0.8 0.8 0.83") + " rg %s f" % rounded(486, y - 4, 40, 22, 11))
        ops.append("1 1 1 rg %s f" % rounded(506 if on else 488, y - 2, 18, 18, 9))
    # Storage with its bar.
    ops.append(text("F2", 13, (0.15, 0.15, 0.2), 172, 116, "Storage"))
    ops.append(text("F1", 11, (0.35, 0.35, 0.4), 172, 100, "12.4 GB of 15 GB used"))
    ops.append("0.88 0.88 0.9 rg %s f" % rounded(172, 80, 360, 10, 5))
    ops.append("0.98 0.58 0.16 rg %s f" % rounded(172, 80, 298, 10, 5))
    # Buttons.
    ops.append("1 1 1 rg %s f 0.78 0.78 0.82 RG 0.7 w %s S" % (rounded(172, 24, 90, 28, 7), rounded(172, 24, 90, 28, 7)))
    ops.append(text("F1", 12, (0.2, 0.2, 0.25), 193, 34, "Sign out"))
    ops.append("0.2 0.47 0.96 rg %s f" % rounded(422, 24, 120, 28, 7))
    ops.append(text("F2", 12, (1, 1, 1), 440, 34, "Upgrade plan"))
    return "\n".join(ops).encode("ascii")


def write_pdf(path):
    with open(path, "wb") as f:
        f.write(one_page_pdf(content(), WIDTH, HEIGHT))


def with_resolution(png, dpi):
    """The PNG with a pHYs chunk (pixels per metre) right after IHDR."""
    per_metre = int(round(dpi / 0.0254))
    data = struct.pack(">IIB", per_metre, per_metre, 1)
    chunk = png_chunk(b"pHYs", data)
    ihdr_end = 8 + 8 + 13 + 4
    return png[:ihdr_end] + chunk + png[ihdr_end:]


def main(path):
    with tempfile.TemporaryDirectory() as work:
        pdf = os.path.join(work, "window.pdf")
        write_pdf(pdf)
        subprocess.run(["pdftoppm", "-png", "-r", "144", "-singlefile", pdf, os.path.join(work, "window")], check=True)
        with open(os.path.join(work, "window.png"), "rb") as f:
            png = with_resolution(f.read(), 144)
    tmp = path + ".tmp"
    with open(tmp, "wb") as f:
        f.write(png)
    os.replace(tmp, path)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "samples", "screenshot.png"))
