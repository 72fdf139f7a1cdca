#!/usr/bin/python3
"""Proves that any two badge pictures can be told apart, and each be seen, at the sizes of file
managers, and that screens of double scale get pictures of their own.

Usage: badge_pictures_test.py HICOLOR_FOLDER

Each picture is laid on a light and on a dark background, in colour and in greyscale. Needs
ImageMagick and GTK 3. Prints one line per fault; the exit code is 1 when there is any.
"""

import itertools
import math
import pathlib
import subprocess
import sys

import gi

gi.require_version("GdkPixbuf", "2.0")
gi.require_version("Gtk", "3.0")
from gi.repository import GdkPixbuf, Gtk  # noqa: E402

CONVERT = "/usr/bin/convert"
COLOURS = pathlib.Path(__file__).resolve().parents[2] / "resources" / "icons" / "colours.txt"
SIZES = (8, 16, 32, 64)
HIDPI_SIZES = (16, 22, 24, 32, 48, 64)
BACKGROUNDS = {"light": (255, 255, 255), "dark": (32, 32, 32)}
OPAQUE = 128  # a pixel of at least this alpha belongs to the badge

# Distance of two colours in CIELAB, of two greys in lightness alone. People notice a step of 2.3
# between large areas side by side; ten times that is seen in single pixels of two separate badges.
CLEAR_STEP = 23

# Share of both badges' pixels that differ by a clear step. A picture moved by half a pixel differs
# from itself in up to 22 % in greyscale and 55 % in colour: two pictures have to differ in more.
MIN_DIFFERENCE = {"greyscale": 0.25, "colour": 0.6}

# Share of pixels that are coloured in one picture only. The same shape in another badge's colours
# differs by up to 3 %, moved by half a pixel at 16 px by up to 11 %.
MIN_SHAPE_DIFFERENCE = 0.12

# What accessibility guidelines ask of a graphic's contrast with its background, and the share of a
# badge that has to have it: a smaller part could be a mere edge on one side.
MIN_CONTRAST = 3
MIN_VISIBLE_SHARE = 0.25

# A pixel counts as a badge's fill when no channel is further away than this. Screenshot tests find
# a badge by its fill, so no badge may show another's.
FILL_TOLERANCE = 24
MIN_FILL_SHARE = 0.18
MAX_FOREIGN_SHARE = 0.01


def read_colours():
    lines = COLOURS.read_text(encoding="ascii").splitlines()
    pairs = [line.split() for line in lines if line and not line.startswith("#")]
    return {name: bytes.fromhex(colour[1:]) for name, colour in pairs}


def read_picture(folder, name, size):
    """Its pixels as (red, green, blue, alpha)."""
    png = folder / f"{size}x{size}" / "emblems" / f"{name}.png"
    raw = subprocess.run([CONVERT, str(png), "-depth", "8", "rgba:-"], check=True,
                         stdout=subprocess.PIPE).stdout
    if len(raw) != 4 * size * size:
        raise ValueError(f"{png} is not {size} px wide and high")
    return list(zip(*[iter(raw)] * 4))


def laid_on(picture, background):
    return [tuple((c * p[3] + b * (255 - p[3])) / 255 for c, b in zip(p, background))
            for p in picture]


def linear(channel):
    return channel / 3294.6 if channel <= 10.3 else ((channel / 255 + 0.055) / 1.055) ** 2.4


def luminance(colour):
    return sum(f * linear(c) for f, c in zip((0.2126, 0.7152, 0.0722), colour))


def contrast(colour, other):
    lights = sorted((luminance(colour), luminance(other)))
    return (lights[1] + 0.05) / (lights[0] + 0.05)


def lab(colour):
    """CIELAB of sRGB: lightness first."""
    red, green, blue = (linear(c) for c in colour)
    x, y, z = (t ** (1 / 3) if t > 0.008856 else 7.787 * t + 16 / 116 for t in (
        0.4339 * red + 0.3762 * green + 0.1899 * blue, luminance(colour),
        0.0177 * red + 0.1095 * green + 0.8727 * blue))
    return 116 * y - 16, 500 * (x - y), 200 * (y - z)


def coloured_part(colours, fill):
    """Which pixels belong to the fill. White, dark edges and a grey background have no chroma, and
    a fill's own is the measure: so this sees the shape, whatever its colour."""
    least = (max(fill) - min(fill)) / 2
    return [max(colour) - min(colour) >= least for colour in colours]


def share(flags):
    flags = list(flags)
    return sum(flags) / len(flags)


def faults_of_pictures(pictures, fills, background):
    """What is wrong with pictures of one size on one background."""
    shown = {name: laid_on(picture, background) for name, picture in pictures.items()}
    labs = {name: [lab(colour) for colour in colours] for name, colours in shown.items()}
    shapes = {name: coloured_part(shown[name], fills[name]) for name in pictures}
    for name, picture in pictures.items():
        found = share(contrast(colour, background) >= MIN_CONTRAST
                      for colour, pixel in zip(shown[name], picture) if pixel[3] >= OPAQUE)
        if found < MIN_VISIBLE_SHARE:
            yield f"{name}: {found:.0%} stands out, at least {MIN_VISIBLE_SHARE:.0%}"

    for one, other in itertools.combinations(pictures, 2):
        both = [pair for pair, p, q in zip(zip(labs[one], labs[other]), pictures[one],
                                           pictures[other]) if max(p[3], q[3]) >= OPAQUE]
        differences = {"greyscale": share(abs(a[0] - b[0]) >= CLEAR_STEP for a, b in both),
                       "colour": share(math.dist(a, b) >= CLEAR_STEP for a, b in both)}
        for mode, found in differences.items():
            if found < MIN_DIFFERENCE[mode]:
                yield (f"{one} and {other}: {found:.0%} differs in {mode},"
                       f" at least {MIN_DIFFERENCE[mode]:.0%}")
        found = share(a != b for a, b in zip(shapes[one], shapes[other]))
        if found < MIN_SHAPE_DIFFERENCE:
            yield f"{one} and {other}: {found:.0%} shape, at least {MIN_SHAPE_DIFFERENCE:.0%}"


def faults_of_fills(pictures, fills, background):
    for name, (owner, fill) in itertools.product(pictures, fills.items()):
        found = share(all(abs(a - b) <= FILL_TOLERANCE for a, b in zip(colour, fill))
                      for colour in laid_on(pictures[name], background))
        if found < MIN_FILL_SHARE if name == owner else found > MAX_FOREIGN_SHARE:
            yield f"{name}: {found:.0%} of it in the fill of {owner}"


def faults_of_hidpi(folder, names):
    """What GTK finds for a screen of double scale: a file drawn for it, not one enlarged."""
    theme = Gtk.IconTheme.new()
    theme.set_custom_theme("hicolor")
    theme.set_search_path([str(folder.parent), "/usr/share/icons"])
    for name, size in itertools.product(names, HIDPI_SIZES):
        icon = theme.lookup_icon_for_scale(name, size, 2, 0)
        file = pathlib.Path(icon.get_filename() if icon else "nothing")
        expected = folder / f"{size}x{size}@2" / "emblems" / f"{name}.png"
        pixels = GdkPixbuf.Pixbuf.get_file_info(str(file))[1:] if icon else ()
        if file != expected or pixels != (2 * size, 2 * size):
            yield f"{name} at {size} px, scale 2: {file} of {pixels} pixels"


def check_itself(pictures, fills):
    """What this check lets pass although it should not."""
    red, yellow = "emblem-kelvo-locked-red", "emblem-kelvo-locked"
    for what, wrong, of in (
            ("one picture for two badges", pictures[red], yellow),
            ("one shape in two colours", [(g, r, b, a) for r, g, b, a in pictures[red]], yellow),
            ("a picture that is hardly there",
             [(255 - (255 - r) // 5, 255 - (255 - g) // 5, 255 - (255 - b) // 5, a)
              for r, g, b, a in pictures[red]], red)):
        if not list(faults_of_pictures({**pictures, of: wrong}, fills, BACKGROUNDS["light"])):
            yield f"the check lets pass {what}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1]).resolve()
    fills = read_colours()
    if len(fills) != 5:
        sys.exit(f"{COLOURS} names {len(fills)} badges, not 5")
    try:
        faults = list(faults_of_hidpi(folder, fills))
        for size in SIZES:
            pictures = {name: read_picture(folder, name, size) for name in fills}
            faults += [f"{size} px: {fault}" for fault in check_itself(pictures, fills)]
            for where, background in BACKGROUNDS.items():
                found = list(faults_of_pictures(pictures, fills, background))
                if size >= 16:  # below, too few pixels are of one colour only
                    found += faults_of_fills(pictures, fills, background)
                faults += [f"{size} px, {where}: {fault}" for fault in found]
    except (OSError, subprocess.CalledProcessError, ValueError) as error:
        sys.exit(str(error))
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
