#!/usr/bin/python3
"""Raw frames for the pictures that other programs read, and what they must see in them.

    frames.py make FOLDER        writes the frames
    frames.py same A B           compares two files sample for sample: .npy, .pgm, .ppm or a frame of make
    frames.py patches PPM        whether a developed picture has the colours of the patches, within 1 % of white
    frames.py rendered PPM       the same for one with the tone curve of sRGB
"""
import sys
from pathlib import Path

import numpy

WIDTH, HEIGHT = 134, 98  # bitmaps have 136 columns
BITS = {"mosaic8": 8, "mosaic10": 10, "mosaic16": 16, "grey12": 12}
PATTERNS = {"grbg": "GRBG", "rggb": "RGGB", "bggr": "BGGR", "gbrg": "GBRG"}
BLACK, WHITE = 64, 1023

# Linear shares of white, each within reach of every colour.
PATCHES = [(0.8, 0.8, 0.8), (0.4, 0.4, 0.4), (0.7, 0.2, 0.15), (0.2, 0.6, 0.25),
           (0.15, 0.2, 0.7), (0.7, 0.65, 0.2), (0.6, 0.2, 0.6), (0.1, 0.1, 0.1)]
PATCH_SIDE = 64
LARGE_SIDE = 256  # some programs take no smaller frames


def mosaic_of(pattern, gains, side=PATCH_SIDE):
    """The patches, four a row, behind the mosaic of a sensor whose colours are weaker by the gains."""
    colours = numpy.array(PATCHES).reshape(2, 4, 3) / numpy.array(gains)
    scene = colours.repeat(side, axis=0).repeat(side, axis=1)
    mosaic = numpy.zeros(scene.shape[:2])
    for site, colour in enumerate(PATTERNS[pattern]):
        rows, columns = slice(site // 2, None, 2), slice(site % 2, None, 2)
        mosaic[rows, columns] = scene[rows, columns, "RGB".index(colour)]
    return numpy.rint(BLACK + mosaic * (WHITE - BLACK)).astype("<u2")


def make(folder):
    source = numpy.random.default_rng(20)
    for name, bits in BITS.items():
        samples = source.integers(0, 1 << bits, (HEIGHT, WIDTH))
        samples.astype("<u2" if bits > 8 else "u1").tofile(folder / f"{name}.raw")
    source.integers(0, 256, (HEIGHT, WIDTH, 3)).astype("u1").tofile(folder / "bgr24.raw")
    source.integers(0, 65536, (HEIGHT, WIDTH)).astype("<u2").tofile(folder / "rgb565.raw")
    source.integers(0, 256, (HEIGHT, WIDTH, 2)).astype("u1").tofile(folder / "yuyv.raw")
    for pattern in PATTERNS:
        mosaic_of(pattern, (1, 1, 1)).tofile(folder / f"patches-{pattern}.raw")
        mosaic_of(pattern, (2, 1, 1.6)).tofile(folder / f"weak-{pattern}.raw")
        mosaic_of(pattern, (2, 1, 1.6), LARGE_SIDE).tofile(folder / f"large-{pattern}.raw")


def read_pnm(path):
    data = path.read_bytes()
    fields, place = [], 0
    while len(fields) < 4:
        line_end = data.index(b"\n", place)
        fields += data[place:line_end].split(b"#")[0].split()
        place = line_end + 1
    kind, width, height, most = fields[0], *(int(field) for field in fields[1:4])
    samples = numpy.frombuffer(data[place:], "u1" if most < 256 else ">u2")
    shape = (height, width, 3) if kind == b"P6" else (height, width)
    return samples.reshape(shape)


def read_raw(path):
    if path.stem.startswith(("patches", "weak")):
        return numpy.fromfile(path, "<u2").reshape(2 * PATCH_SIDE, 4 * PATCH_SIDE)
    if path.stem == "bgr24":
        return numpy.fromfile(path, "u1").reshape(HEIGHT, WIDTH, 3)[:, :, ::-1]
    if path.stem == "rgb565":
        words = numpy.fromfile(path, "<u2").reshape(HEIGHT, WIDTH).astype(int)
        return numpy.stack([(words >> 11) << 3, (words >> 5 & 63) << 2, (words & 31) << 3], axis=2)
    if path.stem.startswith("captured"):
        return numpy.fromfile(path, "<u2" if path.stem.endswith("10") else "u1").reshape(960, 1280)
    return numpy.fromfile(path, "<u2" if BITS[path.stem] > 8 else "u1").reshape(HEIGHT, WIDTH)


def read(path):
    if path.suffix == ".npy":
        return numpy.load(path)
    return read_raw(path) if path.suffix == ".raw" else read_pnm(path)


def same(first, second):
    one, other = read(first), read(second)
    one, other = sorted((one, other), key=lambda each: each.shape[1])
    if one.shape[0] == other.shape[0] and one.shape[1] % 4 and other.shape[1] == (one.shape[1] + 3) // 4 * 4:
        if other[:, one.shape[1]:].any():  # black columns fill the rows of a bitmap up
            return False
        other = other[:, :one.shape[1]]
    return one.shape == other.shape and bool((one.astype(int) == other.astype(int)).all())


def linear(picture):
    """Without the tone curve of sRGB."""
    return numpy.where(picture <= 0.04045, picture / 12.92, ((picture + 0.055) / 1.055) ** 2.4)


def has_patches(path, course=lambda picture: picture):
    picture = course(read_pnm(path).astype(float) / 65535)
    height, width = picture.shape[:2]
    for index, wanted in enumerate(PATCHES):
        y, x = (index // 4 + 0.5) * height / 2, (index % 4 + 0.5) * width / 4
        found = picture[int(y) - 8:int(y) + 8, int(x) - 8:int(x) + 8].mean(axis=(0, 1))
        if abs(found - numpy.array(wanted)).max() > 0.01:
            print(f"{path}: patch {index} is {found}, not {wanted}", file=sys.stderr)
            return False
    return True


def main(command, *arguments):
    paths = [Path(argument) for argument in arguments]
    if command == "make":
        make(paths[0])
        return True
    if command == "rendered":
        return has_patches(paths[0], linear)
    return same(*paths) if command == "same" else has_patches(paths[0])


sys.exit(0 if main(*sys.argv[1:]) else 1)
