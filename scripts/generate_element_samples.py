#!/usr/bin/env python3
"""Writes samples/elements.json (texts in all three styles, every stamp, a background bitmap) and the
bitmap's resource samples/resources/<lower-case uuid>.png. Deterministic: run again to regenerate."""
import json
import os
import struct
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BITMAP_UUID = "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f"
WIDTH, HEIGHT = 240, 160


def png(width, height, pixel):
    rows = b"".join(b"\x00" + b"".join(bytes(pixel(x, y)) for x in range(width)) for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)

    header = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)  # 8-bit RGBA
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b"")


def background(x, y):
    # A sky-to-sea gradient, fully opaque.
    return (40 + x * 100 // WIDTH, 90 + y * 120 // HEIGHT, 200 - y * 60 // HEIGHT, 255)


def guid(n):
    return "E1E2E3E4-0000-4000-8000-%012X" % n


def color(r, g, b, a=1):
    return {"red": r, "green": g, "blue": b, "alpha": a}


def main():
    stamps, labels = [], []
    names = ["rejected", "exclaim", "question", "approved", "perfect", "happy", "cool", "silly", "surprise", "angry"]
    defaults = ["Rejected", "Wow!", "What?", "Approved", "Perfect", "Fantastic!", "Hehe", "Kidding!", "Uh oh\u2026", "Grrr"]
    for i, (name, text) in enumerate(zip(names, defaults)):
        # Three columns leave room for each label beside its badge; the tenth stamp takes the middle.
        column, row = (i % 3, i // 3) if i < 9 else (1, 3)
        x, y = 90 + column * 265, 200 + row * 112
        stamp_guid, label_guid = guid(100 + i), guid(200 + i)
        stamp = {"type": "Stamp", "guid": stamp_guid, "labelGuid": label_guid,
                 "frame": {"x": x - 50, "y": y - 50, "width": 100, "height": 100},
                 "stampName": "com.brondale.marqen." + name}
        if i % 3 == 0:
            # Tails point away from the labels on the right.
            stamp["tailAngleInDegrees"] = [135, 180, 225, 90][i // 3]
        labels.append({"type": "Text", "guid": label_guid, "text": text,
                       "origin": {"x": x + 20, "y": y - 17},
                       "font": {"name": "HelveticaNeue-Medium", "size": 24},
                       "strokeColor": color(0, 0, 0), "fillColor": color(0, 0, 0), "lineWidth": 0,
                       "alignment": "left", "direction": "leftToRight", "textStyle": "labelText",
                       "labelParent": stamp_guid})
        stamps.append(stamp)
    texts = [
        {"type": "Text", "guid": guid(1), "text": "Bubble text",
         "origin": {"x": 40, "y": 40}, "font": {"name": "Helvetica-Bold", "size": 36},
         "strokeColor": color(255, 255, 255), "fillColor": color(230, 40, 40), "lineWidth": 10.08,
         "alignment": "center", "direction": "leftToRight", "textStyle": "bubbleText"},
        {"type": "Text", "guid": guid(2), "text": "Paragraph text wraps at its wrap width; \u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd",
         "origin": {"x": 420, "y": 40}, "wrapWidth": 300, "font": {"name": "Helvetica", "size": 21},
         "strokeColor": color(255, 255, 255), "fillColor": color(0, 0, 0), "lineWidth": 0,
         "alignment": "left", "direction": "leftToRight", "textStyle": "paragraphText"},
    ]
    document = {
        "type": "Document", "guid": guid(0),
        "children": [
            {"type": "Layer", "guid": guid(10), "layerId": "__background__",
             "children": [{"type": "Bitmap", "guid": guid(11),
                           "frame": {"x": 0, "y": 0, "width": 800, "height": 640},
                           "uri": "marqen+uuid:///" + BITMAP_UUID, "imageProfile": 0}]},
            {"type": "Layer", "guid": guid(20), "layerId": "__annotation__"},
            {"type": "Layer", "guid": guid(30), "layerId": "__text__",
             "children": texts + [node for pair in zip(labels, stamps) for node in pair]},
        ],
        "metadata": {"version": "1.2", "creator": "marqen-mac", "creatorVersion": "0.1.0", "title": "Elements"},
        "frame": {"x": 0, "y": 0, "width": 800, "height": 640},
        "deviceScale": 1, "contentScaleFactor": 1, "title": "Elements",
    }
    os.makedirs(os.path.join(ROOT, "samples", "resources"), exist_ok=True)
    with open(os.path.join(ROOT, "samples", "elements.json"), "w", encoding="utf-8") as out:
        json.dump(document, out, indent=2, ensure_ascii=False)
        out.write("\n")
    with open(os.path.join(ROOT, "samples", "resources", BITMAP_UUID + ".png"), "wb") as out:
        out.write(png(WIDTH, HEIGHT, background))


if __name__ == "__main__":
    main()
