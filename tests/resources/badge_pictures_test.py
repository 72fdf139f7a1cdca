#!/usr/bin/python3
"""Proves that any two badge pictures can be told apart at the sizes of file managers.

Usage: badge_pictures_test.py HICOLOR_FOLDER

Each picture is laid on a light and on a dark background, in colour and in greyscale. Needs
ImageMagick. Prints one line per fault; the exit code is 1 when there is any.
"""

import itertools
import pathlib
import subprocess
import sys

CONVERT = "/usr/bin/convert"
COLOURS = pathlib.Path(__file__).resolve().parents[2] / "resources" / "icons" / "colours.txt"
SIZES = (8, 16, 32)
BACKGROUNDS = ("#ffffff", "#202020")

# Mean difference of all pixels, 0 to 255. A picture moved by half a pixel differs from itself by up
# to 37 at 8 px, 29 at 16 px and 18 at 32 px: two pictures have to differ by more.
MIN_DIFFERENCE = 38

# Share of pixels that are coloured in one picture only. The same shape in another badge's colours
# differs by up to 3 %, moved by half a pixel at 16 px by up to 11 %.
MIN_SHAPE_DIFFERENCE = 0.12

# A pixel counts as a badge's fill when no channel is further away than this. Screenshot tests find
# a badge by its fill, so no badge may show another's.
FILL_TOLERANCE = 24
MIN_FILL_SHARE = 0.18
MAX_FOREIGN_SHARE = 0.01


def read_colours():
    lines = COLOURS.read_text(encoding="ascii").splitlines()
    pairs = [line.split() for line in lines if line and not line.startswith("#")]
    return {name: bytes.fromhex(colour[1:]) for name, colour in pairs}


def read_pixels(png, background, space):
    """The pixels as tuples: three channels for the space "rgb", one for "gray"."""
    command = [CONVERT, str(png), "-background", background, "-flatten"]
    if space == "gray":
        command += ["-colorspace", "Gray"]
    raw = subprocess.run(command + ["-depth", "8", f"{space}:-"], check=True,
                         stdout=subprocess.PIPE).stdout
    return list(zip(*[iter(raw)] * (3 if space == "rgb" else 1)))


def difference(pixels, others):
    total = sum(abs(a - b) for p, q in zip(pixels, others) for a, b in zip(p, q))
    return total / (len(pixels) * len(pixels[0]))


def chroma(colour):
    return max(colour) - min(colour)


def coloured_part(pixels, fill):
    """Which pixels belong to the fill. White, dark edges and a grey background have no chroma, and
    a fill's own is the measure: so this sees the shape, whatever its colour."""
    return [chroma(pixel) * 2 >= chroma(fill) for pixel in pixels]


def fill_share(pixels, fill):
    near = sum(all(abs(a - b) <= FILL_TOLERANCE for a, b in zip(p, fill)) for p in pixels)
    return near / len(pixels)


def compare_pictures(folder, colours, size, background):
    pngs = {name: folder / f"{size}x{size}" / "emblems" / f"{name}.png" for name in colours}
    rgb = {name: read_pixels(png, background, "rgb") for name, png in pngs.items()}
    grey = {name: read_pixels(png, background, "gray") for name, png in pngs.items()}
    shapes = {name: coloured_part(rgb[name], fill) for name, fill in colours.items()}
    for name, pixels in rgb.items():
        if len(pixels) != size * size or len(grey[name]) != size * size:
            raise ValueError(f"{pngs[name]} is not {size} px wide and high")

    for one, other in itertools.combinations(colours, 2):
        where = f"{one} and {other} at {size} px on {background}"
        for mode, pictures in (("colour", rgb), ("greyscale", grey)):
            found = difference(pictures[one], pictures[other])
            if found < MIN_DIFFERENCE:
                yield f"{where} in {mode}: difference {found:.1f}, at least {MIN_DIFFERENCE}"
        found = sum(a != b for a, b in zip(shapes[one], shapes[other])) / size**2
        if found < MIN_SHAPE_DIFFERENCE:
            yield f"{where}: shapes differ by {found:.1%}, at least {MIN_SHAPE_DIFFERENCE:.0%}"

    if size < 16:
        return  # too few pixels are of one colour only
    for name, (owner, fill) in itertools.product(colours, colours.items()):
        found = fill_share(rgb[name], fill)
        where = f"{name} at {size} px on {background}: {found:.1%} of it in the fill of {owner}"
        if name == owner and found < MIN_FILL_SHARE:
            yield f"{where}, at least {MIN_FILL_SHARE:.0%}"
        if name != owner and found > MAX_FOREIGN_SHARE:
            yield f"{where}, at most {MAX_FOREIGN_SHARE:.0%}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    colours = read_colours()
    if len(colours) != 5:
        sys.exit(f"{COLOURS} names {len(colours)} badges, not 5")
    try:
        faults = [fault for size in SIZES for background in BACKGROUNDS
                  for fault in compare_pictures(folder, colours, size, background)]
    except (OSError, subprocess.CalledProcessError, ValueError) as error:
        sys.exit(str(error))
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
