#!/usr/bin/env python3
"""Writes the BMP seed corpus (fuzz/corpus/bmp): one small file for each form
the loader takes, laid out field by field. Run from anywhere; rewrites the
files in place."""
import os
import struct

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "bmp")


def bmp(width, height, bpp, pixels, palette=(), compression=0, header=40, masks=None, triples=False):
    if header == 12:
        info = struct.pack("<IHHHH", 12, width, height & 0xFFFF, 1, bpp)
    else:
        info = struct.pack("<IiiHHIIiiII", header, width, height, 1, bpp, compression, len(pixels),
                           2835, 2835, len(palette), 0)
        if header >= 108:
            m = list(masks or (0, 0, 0, 0)) + [0] * 4
            info += struct.pack("<IIIII", m[0], m[1], m[2], m[3], 0x73524742)
            info += b"\0" * (header - len(info))
        else:
            info += b"\0" * (header - len(info))  # OS/2's 64-byte header: zeros past the first 40
            if masks:
                info += struct.pack("<III", *masks[:3])
    table = b"".join(struct.pack("<BBB", c & 0xFF, c >> 8 & 0xFF, c >> 16 & 0xFF) + (b"" if triples else b"\0")
                     for c in palette)
    offset = 14 + len(info) + len(table)
    return b"BM" + struct.pack("<IHHI", offset + len(pixels), 0, 0, offset) + info + table + pixels


def rows(data, stride):
    return b"".join(r + b"\0" * (stride - len(r)) for r in data)


seeds = {
    "mono-9x3": bmp(9, 3, 1, rows([b"\xa5\x80", b"\x5a\x00", b"\xff\x80"], 4), palette=(0x102030, 0xF0E0D0)),
    "pal4-top-down-5x3": bmp(5, -3, 4, rows([b"\x01\x23\x40", b"\x56\x78\x90", b"\xab\xcd\xe0"], 4),
                             palette=tuple(0x111111 * i for i in range(15))),
    "pal8-3x3": bmp(3, 3, 8, rows([b"\x00\x01\x02", b"\x03\x02\x01", b"\x00\x07\x03"], 4),
                    palette=(0xFF0000, 0x00FF00, 0x0000FF, 0x808080)),
    "rgb555-3x2": bmp(3, 2, 16, rows([b"\x1f\x00\xe0\x03\x00\x7c", b"\xff\x7f\x00\x00\x10\x42"], 8)),
    "rgb565-fields-3x2": bmp(3, 2, 16, rows([b"\x1f\x00\xe0\x07\x00\xf8", b"\xff\xff\x00\x00\x10\x84"], 8),
                             compression=3, masks=(0xF800, 0x07E0, 0x001F)),
    "rgb24-3x2": bmp(3, 2, 24, rows([b"\x01\x02\x03\x04\x05\x06\x07\x08\x09", b"\xff\x00\x80" * 3], 12)),
    "rgb24-top-down-2x2": bmp(2, -2, 24, rows([b"\x10\x20\x30\x40\x50\x60", b"\x70\x80\x90\xa0\xb0\xc0"], 8)),
    "rgb32-2x2": bmp(2, 2, 32, b"\x01\x02\x03\x00\x04\x05\x06\xff\x07\x08\x09\x80\x0a\x0b\x0c\x01"),
    "argb32-v4-2x2": bmp(2, 2, 32, b"\x01\x02\x03\x40\x04\x05\x06\xff\x07\x08\x09\x80\x0a\x0b\x0c\x00",
                         compression=3, header=108, masks=(0xFF0000, 0xFF00, 0xFF, 0xFF000000)),
    "rgb24-v5-2x2": bmp(2, 2, 24, rows([b"\x10\x20\x30\x40\x50\x60", b"\x70\x80\x90\xa0\xb0\xc0"], 8), header=124),
    "core-rgb24-2x2": bmp(2, 2, 24, rows([b"\x10\x20\x30\x40\x50\x60", b"\x70\x80\x90\xa0\xb0\xc0"], 8), header=12),
    "pal8-v5-4x2": bmp(4, 2, 8, rows([b"\x00\x01\x02\x03", b"\x03\x02\x01\x00"], 4),
                       palette=(0x102030, 0x405060, 0x708090, 0xA0B0C0), header=124),
    "pal4-os2-3x2": bmp(3, 2, 4, rows([b"\x01\x20", b"\x32\x10"], 4), palette=(0, 0xFF0000, 0x00FF00, 0x0000FF),
                        header=64),
    "rgb32-fields-10bit-2x2": bmp(2, 2, 32, b"\xff\x03\xf0\x3f\x00\xfc\x0f\x00\x01\x02\x03\x04\xaa\xbb\xcc\x0d",
                                  compression=3, masks=(0x3FF00000, 0x000FFC00, 0x000003FF)),
    # A core header's palette always has 2^bits entries, of three bytes.
    "core-mono-3x2": bmp(3, 2, 1, rows([b"\xa0", b"\x40"], 4), palette=(0x123456, 0xABCDEF), header=12,
                         triples=True),
    # Runs, a literal, a move, ends of rows and the end of the bitmap.
    "rle8-6x4": bmp(6, 4, 8, b"\x03\x01\x03\x02\x00\x00" + b"\x00\x03\x01\x02\x03\x00\x00\x00"
                    + b"\x00\x02\x02\x01\x02\x03\x00\x00" + b"\x06\x01\x00\x01",
                    palette=(0x000000, 0xFF0000, 0x00FF00, 0x0000FF), compression=1),
    "rle4-5x3": bmp(5, 3, 4, b"\x05\x12\x00\x00" + b"\x00\x05\x34\x56\x70\x00\x00\x00" + b"\x03\x77\x00\x01",
                    palette=tuple(0x101010 * i for i in range(8)), compression=2),
}

os.makedirs(OUT, exist_ok=True)
for name, data in seeds.items():
    with open(os.path.join(OUT, name + ".bmp"), "wb") as f:
        f.write(data)
