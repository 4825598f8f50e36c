#!/usr/bin/env python3
"""Writes a seed corpus of hostile inputs, one file of each kind the command line must survive, sized to fit
a deep fuzz run's input limit (4 MB): huge arrays, long and self-crossing paths, combining-mark floods,
pictures wider than can be drawn, inflate bombs in object streams and flat or repeating page trees.
Usage: scripts/make_hostile_seeds.py OUTDIR   (writes OUTDIR/<fuzz target>/<name>)"""
import json
import math
import os
import struct
import sys
import zlib

from pdf_bytes import pdf_file, png_chunk

GUID = "4A1B2C3D-0000-4000-8000-0000000000%02X"


def document(children_by_layer):
    layers = []
    for index, (layer_id, children) in enumerate(children_by_layer):
        layers.append({"type": "Layer", "guid": GUID % (index + 2), "layerId": layer_id, "children": children})
    return {"type": "Document", "guid": GUID % 1, "frame": {"x": 0, "y": 0, "width": 400, "height": 300},
            "children": layers}


def vector(**members):
    element = {"type": "Vector", "guid": GUID % 0x10, "lineWidth": 3,
               "strokeColor": {"red": 0, "green": 0, "blue": 0, "alpha": 1}}
    element.update(members)
    return element


def text_element(text):
    return {"type": "Text", "guid": GUID % 0x20, "text": text, "origin": {"x": 10, "y": 40},
            "font": {"name": "Helvetica", "size": 20}, "fillColor": {"red": 0, "green": 0, "blue": 0, "alpha": 1},
            "textStyle": "bubbleText"}


def documents():
    many = document([("__annotation__", [])])
    many["padding"] = [{} for _ in range(400000)]
    yield "many-objects.json", json.dumps(many, separators=(",", ":"))
    empty = json.dumps(document([("__annotation__", [])]), separators=(",", ":"))
    yield "empty-arrays.json", empty[:-1] + ',"unknownKey":[' + ",".join(["[]"] * 1000000) + "]}"
    crossing = [{"x": round(200 + 150 * math.cos(i * 0.7), 1), "y": round(150 + 120 * math.sin(i * 1.3), 1)}
                for i in range(80000)]
    yield "crossing-polygon.json", json.dumps(document([("__annotation__", [
        vector(extension={"type": "Polygon", "vertices": crossing})])]), separators=(",", ":"))
    freehand = "M200 150" + "".join(" L%.0f %.0f" % (200 + 150 * math.cos(i * 0.01), 150 + 120 * math.sin(i * 0.013))
                                    for i in range(300000))
    yield "freehand.json", json.dumps(document([("__annotation__", [vector(path=freehand)])]))
    yield "unknown-letters.json", json.dumps(document([("__annotation__", [vector(path="M1 1 L5 5 " + "k" * 2000000)])]))
    yield "combining-marks.json", json.dumps(document([("__text__", [text_element("a" + "\u0301" * 40000)])]),
                                             ensure_ascii=False)
    yield "combining-text.json", json.dumps(document([("__text__", [text_element("e\u0301\u0302" * 200000)])]),
                                            ensure_ascii=False)


def png(width, height):
    row = b"\0" * (1 + width * 3)
    compressor = zlib.compressobj(9)
    data = b"".join(compressor.compress(row) for _ in range(height)) + compressor.flush()

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + png_chunk(b"IDAT", data) + png_chunk(b"IEND", b"")


def images():
    yield "too-wide.png", png(1048576, 4)
    yield "16000-square.png", png(16000, 16000)


def pdfs():
    pages = 20000
    kids = b" ".join(b"%d 0 R" % (3 + i) for i in range(pages))
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>", b"<< /Type /Pages /Kids [" + kids + b"] /Count %d >>" % pages]
    objects += [b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>"] * pages
    yield "flat-20000-pages.pdf", pdf_file(objects)
    repeated = b" ".join([b"3 0 R"] * pages)
    yield "repeated-kid.pdf", pdf_file([b"<< /Type /Catalog /Pages 2 0 R >>",
                                        b"<< /Type /Pages /Kids [" + repeated + b"] /Count %d >>" % pages,
                                        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>"])
    bomb = zlib.compress(b"\0" * (500 << 20), 9)
    streams = [b"<< /Type /ObjStm /N 1 /First 4 /Filter /FlateDecode /Length %d >>\nstream\n" % len(bomb) + bomb +
               b"\nendstream" for _ in range(6)]
    yield "object-stream-bombs.pdf", pdf_file([b"<< /Type /Catalog /Pages 2 0 R >>",
                                               b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                                               b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>"] + streams)


def write(folder, name, content):
    os.makedirs(folder, exist_ok=True)
    mode = "w" if isinstance(content, str) else "wb"
    with open(os.path.join(folder, name), mode, **({"encoding": "utf-8"} if mode == "w" else {})) as out:
        out.write(content)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = sys.argv[1]
    for name, content in documents():
        write(os.path.join(root, "fuzz_document"), name, content)
        write(os.path.join(root, "fuzz_render"), name, content)
    for name, content in images():
        write(os.path.join(root, "fuzz_image_decode"), name, content)
    for name, content in pdfs():
        write(os.path.join(root, "fuzz_pdf"), name, content)
    write(os.path.join(root, "fuzz_svg_path"), "unknown-letters.txt", "M1 1 L5 5 " + "k" * 2000000)
    write(os.path.join(root, "fuzz_foundation_text"), "combining-marks.txt", "a" + "\u0301" * 40000)


if __name__ == "__main__":
    main()
