#!/usr/bin/env python3
"""Makes the picture readers' test files in this folder, each with the
reference decode beside it (binary PPM), so that every build, the Windows one
under Wine too, compares with the same references.

  tests/data/pictures/make_pictures.py      (needs ImageMagick's convert and
                                            libjpeg-turbo's cjpeg and djpeg)

The source is a 45 x 29 plasma from ImageMagick (odd sides, so that the
chroma blocks of a JPEG and the rows of every form end part-way).
- JPEG: written by cjpeg in each form; the reference is djpeg's accurate
  integer decode (-dct int) with its smooth upsampling, as RGB.
- TGA and DDS: written by ImageMagick where it writes the form, the rest by
  the small writers below; the reference is the source itself, or for
  5- and 6-bit channels the source cut to those bits and widened back by
  each channel's share of its range, v * 255 / (2^bits - 1), rounded.
"""
import os
import struct
import subprocess

HERE = os.path.dirname(os.path.abspath(__file__))
W, H = 45, 29


def run(*args, out=None):
    subprocess.run(args, check=True, cwd=HERE, stdout=out)


def read_ppm(path):
    with open(os.path.join(HERE, path), "rb") as f:
        data = f.read()
    fields, at = [], 0
    while len(fields) < 4:  # magic, width, height, maximum
        while data[at:at + 1].isspace():
            at += 1
        start = at
        while not data[at:at + 1].isspace():
            at += 1
        fields.append(data[start:at])
    assert fields[0] == b"P6" and int(fields[3]) == 255
    w, h = int(fields[1]), int(fields[2])
    body = data[at + 1:]
    return w, h, [tuple(body[3 * i:3 * i + 3]) for i in range(w * h)]


def write_ppm(name, w, h, pixels):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (w, h) + bytes(c for p in pixels for c in p))


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)


def widen(v, bits):
    top = (1 << bits) - 1
    return (v * 255 + top // 2) // top


def cut(pixels, bits):
    """Each channel cut to bits (r, g, b), and the reference widened back."""
    kept = [tuple(c >> (8 - b) for c, b in zip(p, bits)) for p in pixels]
    return kept, [tuple(widen(c, b) for c, b in zip(p, bits)) for p in kept]


def rows_from_bottom(pixels):
    return [p for y in reversed(range(H)) for p in pixels[y * W:(y + 1) * W]]


# TGA --------------------------------------------------------------------

def tga_header(kind, depth, descriptor):
    return struct.pack("<BBBHHBHHHHBB", 0, 0, kind, 0, 0, 0, 0, 0, W, H, depth, descriptor)


def tga_rle(stored, size):
    """Run-length packets over the stored pixels (byte strings of `size`),
    running on from row to row: repeats for runs of two or more, raw
    packets of up to 128 pixels between them."""
    out, i, n = bytearray(), 0, len(stored)
    while i < n:
        run_end = i + 1
        while run_end < n and run_end - i < 128 and stored[run_end] == stored[i]:
            run_end += 1
        if run_end - i >= 2:
            out += bytes([0x80 | (run_end - i - 1)]) + stored[i]
            i = run_end
            continue
        j = i + 1
        while j < n and j - i < 128 and not (j + 1 < n and stored[j + 1] == stored[j]):
            j += 1
        out += bytes([j - i - 1]) + b"".join(stored[i:j])
        i = j
    return bytes(out)


def bgr(p):
    return bytes((p[2], p[1], p[0]))


def main():
    run("convert", "-seed", "7", "-size", "%dx%d" % (W, H), "plasma:fractal", "-depth", "8", "source.ppm")
    w, h, source = read_ppm("source.ppm")
    assert (w, h) == (W, H)

    # JPEG, each form with djpeg's accurate integer decode beside it.
    jpegs = {
        "jpeg-444": ["-sample", "1x1"],
        "jpeg-422": ["-sample", "2x1"],
        "jpeg-420": ["-sample", "2x2"],
        "jpeg-440": ["-sample", "1x2"],
        "jpeg-grey": ["-grayscale"],
        "jpeg-420-progressive": ["-sample", "2x2", "-progressive"],
        "jpeg-444-progressive": ["-sample", "1x1", "-progressive"],
        "jpeg-grey-progressive": ["-grayscale", "-progressive"],
        "jpeg-420-restarts": ["-sample", "2x2", "-restart", "1", "-optimize"],
    }
    for name, options in jpegs.items():
        with open(os.path.join(HERE, name + ".jpg"), "wb") as f:
            run("cjpeg", "-quality", "85", *options, "source.ppm", out=f)
        with open(os.path.join(HERE, name + ".ppm"), "wb") as f:
            run("djpeg", "-dct", "int", "-rgb", "-strict", "-pnm", name + ".jpg", out=f)

    # A CMYK JPEG (ImageMagick's, Adobe's inverted form), which is refused.
    run("convert", "source.ppm", "-colorspace", "CMYK", "-quality", "85", "jpeg-cmyk.jpg")

    # TGA by ImageMagick: 24 bits from the bottom, run-length, from the top,
    # 32 bits with alpha; greyscale plain and run-length. ImageMagick 6
    # stores the rows in its own order and marks the origin it was told
    # (bottom-left unless -orient says otherwise), so each reference is
    # ImageMagick's reading of the file turned by that mark (-auto-orient).
    run("convert", "source.ppm", "tga-24.tga")
    run("convert", "source.ppm", "-compress", "RLE", "tga-24-rle.tga")
    run("convert", "source.ppm", "-orient", "TopLeft", "tga-24-top.tga")
    run("convert", "source.ppm", "-alpha", "set", "-channel", "A", "-fx", "0.5", "+channel", "tga-32.tga")
    run("convert", "source.ppm", "-colorspace", "Gray", "-depth", "8", "grey.ppm")
    run("convert", "grey.ppm", "-type", "Grayscale", "tga-grey.tga")
    run("convert", "grey.ppm", "-type", "Grayscale", "-compress", "RLE", "tga-grey-rle.tga")
    for name in ("tga-24", "tga-24-rle", "tga-24-top", "tga-32", "tga-grey", "tga-grey-rle"):
        with open(os.path.join(HERE, name + ".ppm"), "wb") as f:
            run("convert", name + ".tga", "-auto-orient", "-alpha", "off", "-type", "TrueColor", "-depth", "8",
                "ppm:-", out=f)
    os.remove(os.path.join(HERE, "grey.ppm"))

    # TGA by hand: 16 bits (X1R5G5B5), and 32-bit run-length from the top
    # with few colours, so that repeats run on across rows.
    kept, ref555 = cut(source, (5, 5, 5))
    write_ppm("ref-555.ppm", W, H, ref555)
    write("tga-16.tga", tga_header(2, 16, 0) +
          b"".join(struct.pack("<H", r << 10 | g << 5 | b) for r, g, b in rows_from_bottom(kept)))
    few, ref_few = cut(source, (2, 2, 2))
    write_ppm("ref-few.ppm", W, H, ref_few)
    stored = [bgr(p) + b"\x80" for p in ref_few]
    write("tga-32-rle-top.tga", tga_header(10, 32, 0x28) + tga_rle(stored, 4))
    write("tga-24-rle-bottom.tga", tga_header(10, 24, 0) + tga_rle([bgr(p) for p in rows_from_bottom(ref_few)], 3))

    # DDS by ImageMagick: 24-bit R8G8B8, 32-bit A8R8G8B8; and a DXT1 one,
    # which is refused.
    run("convert", "source.ppm", "-define", "dds:compression=none", "-define", "dds:mipmaps=0", "dds-r8g8b8.dds")
    run("convert", "source.ppm", "-alpha", "set", "-define", "dds:compression=none", "-define", "dds:mipmaps=0",
        "dds-a8r8g8b8.dds")
    run("convert", "source.ppm", "-define", "dds:compression=dxt1", "dds-dxt1.dds")

    # DDS by hand, as D3DX saves a surface: DDSD_CAPS | HEIGHT | WIDTH |
    # PITCH | PIXELFORMAT, the pitch in bytes, DDPF_RGB (and ALPHAPIXELS
    # with an alpha mask) with the masks.
    def dds(name, bits, masks, pixel, alpha=0, pitch=None, mips=1):
        row = W * bits // 8
        pitch = pitch or row
        flags = 0x100F | (0x20000 if mips > 1 else 0)
        header = struct.pack("<4sIIIIIII44x", b"DDS ", 124, flags, H, W, pitch, 0, mips)
        header += struct.pack("<IIIIIIII", 32, 0x40 | (0x1 if alpha else 0), 0, bits, *masks, alpha)
        header += struct.pack("<IIIII", 0x1000 | (0x400008 if mips > 1 else 0), 0, 0, 0, 0)
        assert len(header) == 128
        body = b"".join(b"".join(pixel(p) for p in source_rows[y * W:(y + 1) * W]).ljust(pitch, b"\xee")
                        for y in range(H))
        write(name, header + body + b"\x55" * (len(body) // 4 if mips > 1 else 0))

    source_rows = source
    le32 = lambda v: struct.pack("<I", v)
    dds("dds-x8r8g8b8.dds", 32, (0xFF0000, 0xFF00, 0xFF), lambda p: le32(p[0] << 16 | p[1] << 8 | p[2]))
    dds("dds-a8b8g8r8.dds", 32, (0xFF, 0xFF00, 0xFF0000), lambda p: le32(0x7F000000 | p[2] << 16 | p[1] << 8 | p[0]),
        alpha=0xFF000000)
    dds("dds-x8b8g8r8-mips.dds", 32, (0xFF, 0xFF00, 0xFF0000), lambda p: le32(p[2] << 16 | p[1] << 8 | p[0]), mips=3)
    dds("dds-r8g8b8-pitch.dds", 24, (0xFF0000, 0xFF00, 0xFF), bgr, pitch=W * 3 + 5)
    kept565, ref565 = cut(source, (5, 6, 5))
    write_ppm("ref-565.ppm", W, H, ref565)
    source_rows = kept565
    dds("dds-r5g6b5.dds", 16, (0xF800, 0x07E0, 0x001F), lambda p: struct.pack("<H", p[0] << 11 | p[1] << 5 | p[2]))
    source_rows = kept
    dds("dds-x1r5g5b5.dds", 16, (0x7C00, 0x03E0, 0x001F), lambda p: struct.pack("<H", p[0] << 10 | p[1] << 5 | p[2]))
    dds("dds-a1r5g5b5.dds", 16, (0x7C00, 0x03E0, 0x001F),
        lambda p: struct.pack("<H", 0x8000 | p[0] << 10 | p[1] << 5 | p[2]), alpha=0x8000)
    kept444, ref444 = cut(source, (4, 4, 4))
    write_ppm("ref-444.ppm", W, H, ref444)
    source_rows = kept444
    dds("dds-x4r4g4b4.dds", 16, (0x0F00, 0x00F0, 0x000F), lambda p: struct.pack("<H", p[0] << 8 | p[1] << 4 | p[2]))


if __name__ == "__main__":
    main()
