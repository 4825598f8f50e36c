"""Byte builders shared by the sample and seed generators: a classic PDF file from its object bodies,
a one-page PDF over a content stream with the two standard Helvetica fonts, and PNG chunks."""
import struct
import zlib


def pdf_file(objects, root=1, version=b"1.7"):
    """A PDF whose objects 1..n have the given bodies (bytes), with a cross-reference table."""
    out = bytearray(b"%PDF-" + version + b"\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, body in enumerate(objects, start=1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    xref = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size %d /Root %d 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, root, xref)
    return bytes(out)


def one_page_pdf(stream, width, height, version=b"1.4"):
    """One page of width x height points drawn by `stream`, with Helvetica as /F1 and Helvetica-Bold as /F2."""
    return pdf_file([
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        ("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 %d %d] /Contents 4 0 R "
         "/Resources << /Font << /F1 5 0 R /F2 6 0 R >> >> >>" % (width, height)).encode("ascii"),
        b"<< /Length %d >>\nstream\n" % len(stream) + stream + b"\nendstream",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold /Encoding /WinAnsiEncoding >>",
    ], version=version)


def png_chunk(kind, payload):
    """One PNG chunk: length, type, payload and the CRC of type and payload."""
    return struct.pack(">I", len(payload)) + kind + payload + struct.pack(">I", zlib.crc32(kind + payload))
