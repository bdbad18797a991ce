#!/usr/bin/env python3
"""Draws the demo game's source art and sounds into this folder.

The demo's assets are made here, by the project, and kept in the repository
as plain files; the asset tools turn them into the demo's library file at
build time. Run again only to change the art: python3 make_assets.py
(the sounds need sox; no dither and a fixed noise seed, so the same files come out each time). Colour index = ramp * 16 + brightness step, the
layout shade sprites expect; index 0 is transparent in sprite sheets.
"""
import math
import os
import random
import struct
import subprocess
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))

# Sixteen ramps: grey, red, orange, yellow, green, teal, sky, blue, violet,
# pink, brown, sand, leaf, steel, flesh, night.
RAMPS = [(255, 255, 255), (255, 40, 40), (255, 150, 30), (255, 235, 60), (70, 220, 70), (40, 210, 190),
         (120, 190, 255), (50, 80, 255), (170, 80, 255), (255, 120, 200), (170, 110, 60), (240, 210, 150),
         (40, 150, 60), (150, 170, 190), (250, 190, 160), (30, 30, 90)]
GREY, RED, ORANGE, YELLOW, GREEN, TEAL, SKY, BLUE, VIOLET, PINK, BROWN, SAND, LEAF, STEEL, FLESH, NIGHT = range(16)


def palette():
    return [tuple(c * (step + 1) // 16 for c in RAMPS[ramp]) for ramp in range(16) for step in range(16)]


def shade(ramp, step):
    return ramp * 16 + max(0, min(15, int(step)))


def write_png(name, width, height, pixels, colours=None):
    colours = colours or palette()
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)
    rows = b"".join(b"\0" + bytes(pixels[y * width:(y + 1) * width]) for y in range(height))
    png = b"\x89PNG\r\n\x1a\n"
    png += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0))
    png += chunk(b"PLTE", b"".join(bytes(c) for c in colours))
    png += chunk(b"IDAT", zlib.compress(rows, 9))
    png += chunk(b"IEND", b"")
    with open(os.path.join(HERE, name), "wb") as out:
        out.write(png)


class Sheet:
    def __init__(self, width, height, fill=0):
        self.width, self.height = width, height
        self.pixels = [fill] * (width * height)

    def put(self, x, y, colour):
        if 0 <= x < self.width and 0 <= y < self.height:
            self.pixels[y * self.width + x] = colour

    def disc(self, cx, cy, radius, ramp, lit=True):
        for y in range(-radius, radius + 1):
            for x in range(-radius, radius + 1):
                if x * x + y * y <= radius * radius:
                    light = 15 - (x + radius) * 5 // radius - (y + radius) * 4 // radius if lit else 12
                    self.put(cx + x, cy + y, shade(ramp, light + 3))

    def rect(self, x0, y0, x1, y1, colour):
        for y in range(y0, y1 + 1):
            for x in range(x0, x1 + 1):
                self.put(x, y, colour)


def sprites():
    """32 x 32 cells: ship, gem, rock, planet, ghost, star, crate, heart."""
    s = Sheet(8 * 32, 32)
    # ship: a wedge with a cockpit, pointing up
    for y in range(4, 30):
        half = (y - 4) * 12 // 26
        for x in range(16 - half, 16 + half + 1):
            s.put(x, y, shade(STEEL, 14 - abs(x - 16) // 2))
    s.disc(16, 16, 4, SKY)
    s.rect(9, 27, 12, 30, shade(ORANGE, 13))
    s.rect(20, 27, 23, 30, shade(ORANGE, 13))
    # gem: a faceted diamond
    for y in range(6, 27):
        half = 10 - abs(y - 14) * 10 // (12 if y > 14 else 8)
        for x in range(48 - half, 48 + half + 1):
            s.put(x, y, shade(VIOLET, 8 + ((x + y) % 3) * 3))
    # rock: a lumpy disc, lit from the left so a mirrored draw shows
    random.seed(5)
    for y in range(32):
        for x in range(32):
            dx, dy = x - 16, y - 16
            if dx * dx + dy * dy < (13 + random.random() * 2) ** 2:
                s.put(64 + x, y, shade(BROWN, 12 - (x * 10) // 32 + random.randint(-1, 1)))
    s.disc(96 + 16, 16, 14, GREY, lit=False)          # planet: plain, drawn textured
    for y in range(4, 29):                              # ghost: drawn solid
        for x in range(6, 27):
            if (x - 16) ** 2 + (y - 12) ** 2 < 100 or (y >= 12 and (y < 26 or (x // 4) % 2)):
                s.put(128 + x, y, shade(GREY, 12))
    for i in range(5):                                  # star
        a = i * 2 * math.pi / 5 - math.pi / 2
        for r in range(14):
            for w in range(-2, 3):
                x = 160 + 16 + int(math.cos(a) * r - math.sin(a) * w * (14 - r) / 14)
                y = 16 + int(math.sin(a) * r + math.cos(a) * w * (14 - r) / 14)
                s.put(x, y, shade(YELLOW, 15 - r // 3))
    s.rect(192 + 3, 3, 192 + 28, 28, shade(BROWN, 9))  # crate
    for k in range(26):
        s.put(192 + 3 + k, 3 + k, shade(BROWN, 5))
        s.put(192 + 28 - k, 3 + k, shade(BROWN, 5))
    for y in range(6, 28):                              # heart
        for x in range(4, 29):
            u, v = (x - 16) / 12, (14 - y) / 12
            if (u * u + v * v - 0.5) ** 3 - u * u * v ** 3 < 0:
                s.put(224 + x, y, shade(RED, 13 - (y - 6) // 4))
    write_png("sprites.png", s.width, s.height, s.pixels)


def shadow():
    """A soft oval shade sprite: 0..31 darken (16 is no change), 255 transparent."""
    s = Sheet(40, 12, 255)
    for y in range(12):
        for x in range(40):
            d = ((x - 19.5) / 20) ** 2 + ((y - 5.5) / 6) ** 2
            if d <= 1:
                s.put(x, y, 16 - 6 + int(d * 4))
    write_png("shadow.png", s.width, s.height, s.pixels)


GLYPHS = {
    'A': "010101111101101", 'B': "110101110101110", 'C': "011100100100011", 'D': "110101101101110",
    'E': "111100110100111", 'F': "111100110100100", 'G': "011100101101011", 'H': "101101111101101",
    'I': "111010010010111", 'J': "001001001101010", 'K': "101101110101101", 'L': "100100100100111",
    'M': "101111111101101", 'N': "110101101101101", 'O': "010101101101010", 'P': "110101110100100",
    'Q': "010101101110011", 'R': "110101110101101", 'S': "011100010001110", 'T': "111010010010010",
    'U': "101101101101111", 'V': "101101101101010", 'W': "101101111111101", 'X': "101101010101101",
    'Y': "101101010010010", 'Z': "111001010100111", '0': "111101101101111", '1': "010110010010111",
    '2': "110001010100111", '3': "110001010001110", '4': "101101111001001", '5': "111100110001110",
    '6': "011100111101111", '7': "111001010010010", '8': "111101111101111", '9': "111101111001110",
    '.': "000000000000010", ':': "000010000010000", '-': "000000111000000", '/': "001001010100100",
    '%': "101001010100101", ',': "000000000010100", '!': "010010010000010", '?': "110001010000010",
    "'": "010010000000000", '(': "001010010010001", ')': "100010010010100", '+': "000010111010000",
    '_': "000000000000111", ';': "000010000010100", '=': "000111000111000", '<': "001010100010001", '>': "100010001010100",
}


def font():
    """Glyph c in cell c of a 16 x 16 grid of 8 x 12 cells: 3 x 5 bits, doubled, lower case as upper."""
    s = Sheet(16 * 8, 16 * 12)
    for code in range(256):
        bits = GLYPHS.get(chr(code).upper()) if 32 < code < 127 else None
        if not bits:
            continue
        cx, cy = (code % 16) * 8, (code // 16) * 12
        for i, bit in enumerate(bits):
            if bit == "1":
                x, y = cx + (i % 3) * 2, cy + 1 + (i // 3) * 2
                s.rect(x, y, x + 1, y + 1, shade(GREY, 15))
    write_png("font.png", s.width, s.height, s.pixels)


def texture():
    s = Sheet(32, 32)
    for y in range(32):
        for x in range(32):
            band = (x + 2 * y) // 6 % 3
            s.put(x, y, shade([TEAL, GREEN, SKY][band], 9 + (x * y) % 5))
    write_png("texture.png", s.width, s.height, s.pixels)


def background():
    """The play field: a night sky over a dune horizon."""
    random.seed(11)
    s = Sheet(640, 480)
    for y in range(480):
        colour = shade(NIGHT, 3 + y * 9 // 380) if y < 380 else shade(SAND, 10 - (y - 380) // 20)
        s.rect(0, y, 639, y, colour)
    for _ in range(160):
        s.put(random.randrange(640), random.randrange(360), shade(GREY, random.randint(9, 15)))
    for x in range(640):
        top = 370 + int(8 * math.sin(x / 37) + 5 * math.sin(x / 13))
        s.rect(x, top, x, 385, shade(SAND, 7))
    write_png("background.png", s.width, s.height, s.pixels)


def sounds():
    """8-bit mono WAVE files at 11 025 Hz, made with sox."""
    def sox(name, *effects):
        subprocess.run(["sox", "-R", "-D", "-n", "-r", "11025", "-c", "1", "-b", "8", "-e", "unsigned-integer",
                        os.path.join(HERE, name), *effects], check=True)
    sox("click.wav", "synth", "0.04", "square", "1200", "fade", "0", "0.04", "0.03", "vol", "0.6")
    sox("pickup.wav", "synth", "0.15", "sine", "600-1800", "fade", "0", "0.15", "0.1", "vol", "0.7")
    sox("boom.wav", "synth", "0.5", "brownnoise", "fade", "0", "0.5", "0.45", "vol", "0.9")
    sox("music.wav", "synth", "0.25", "triangle", "262", "synth", "0.25", "triangle", "330", ":",
        "synth", "0.25", "triangle", "392", ":", "synth", "0.25", "triangle", "523", ":",
        "synth", "0.25", "triangle", "392", ":", "synth", "0.25", "triangle", "330", ":",
        "synth", "0.5", "triangle", "262", "vol", "0.4")


if __name__ == "__main__":
    sprites()
    shadow()
    font()
    texture()
    background()
    sounds()
