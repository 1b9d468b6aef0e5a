#!/usr/bin/env python3
"""Writes the example site's GIF images (standard library only): a logo and three tiles.

Each image is a GIF89a with a small palette and LZW data that emits a clear code before
the code width would grow, which every decoder accepts.
"""
import struct
import sys


def lzw_uncompressed(indices, min_code_size):
    clear, end = 1 << min_code_size, (1 << min_code_size) + 1
    width = min_code_size + 1
    codes, bits, nbits = [], 0, 0
    out = bytearray()

    def emit(code):
        nonlocal bits, nbits
        bits |= code << nbits
        nbits += width
        while nbits >= 8:
            out.append(bits & 0xFF)
            bits >>= 8
            nbits -= 8

    emit(clear)
    since_clear = 0
    for index in indices:
        if since_clear >= (1 << width) - (1 << min_code_size) - 3:
            emit(clear)
            since_clear = 0
        emit(index)
        since_clear += 1
    emit(end)
    if nbits:
        out.append(bits & 0xFF)
    return bytes(out)


def gif(width, height, palette, pixel):
    min_code_size = 2
    data = lzw_uncompressed([pixel(x, y) for y in range(height) for x in range(width)], min_code_size)
    colours = b"".join(bytes(c) for c in palette) + b"\0" * (3 * (4 - len(palette)))
    blocks = b"".join(bytes([len(data[i:i + 255])]) + data[i:i + 255] for i in range(0, len(data), 255))
    return (b"GIF89a" + struct.pack("<HHBBB", width, height, 0x81, 0, 0) + colours +
            b"," + struct.pack("<HHHHB", 0, 0, width, height, 0) + bytes([min_code_size]) + blocks + b"\0;")


def main(directory):
    navy, gold, white, teal = (16, 32, 96), (240, 180, 40), (255, 255, 255), (0, 128, 128)
    images = {
        "korvel.gif": (96, 32, [navy, gold, white],
                       lambda x, y: 1 if (x // 8 + y // 8) % 2 == 0 and 4 <= y < 28 else (2 if y in (0, 31) else 0)),
        "tile1.gif": (64, 64, [navy, gold, white, teal], lambda x, y: (x // 16 + y // 16) % 4),
        "tile2.gif": (64, 64, [navy, gold, white, teal], lambda x, y: 1 if (x - 32) ** 2 + (y - 32) ** 2 < 700 else 3),
        "tile3.gif": (64, 64, [navy, gold, white, teal], lambda x, y: 2 if abs(x - y) < 6 or abs(x + y - 63) < 6 else 0),
    }
    for name, (w, h, palette, pixel) in images.items():
        with open("%s/%s" % (directory, name), "wb") as f:
            f.write(gif(w, h, palette, pixel))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "site")
