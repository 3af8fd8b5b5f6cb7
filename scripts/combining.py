"""Combines, warps and scrambles pictures with tnk, cuts them out and takes them apart, and writes the third page. scripts/demo
calls it."""
import json
import pathlib
import shutil
import subprocess
import sys

from PIL import Image, ImageChops, ImageDraw, ImageFont, ImageStat

from gallery import CROP, check_native, checksum, command_line, write_page

FIGURE = """<figure><a class="view" href="{link}"><img src="{link}" alt="{name}" loading="lazy"></a>
<figcaption>{name}<span>{note}</span></figcaption></figure>
"""
INTRO = """Commands are <code>tnk</code>'s, on the two photographs on the left. Where a figure stands behind a mode, Pillow has it too: it is
the mean difference of our result from its own, in levels of 255. <a href="index.html">The first page</a> shows colour reduction,
<a href="geometry.html">the second</a> turns and sizes."""
MODES = {"copy": None, "not": None, "and": None, "or": None, "xor": None, "add": ImageChops.add, "subtract": ImageChops.subtract,
         "difference": ImageChops.difference, "multiply": ImageChops.multiply, "average": None, "minimum": ImageChops.darker,
         "maximum": ImageChops.lighter}
WIDTH, HEIGHT = CROP
CORNERS = f"40,0,{WIDTH - 1},30,{WIDTH - 50},{HEIGHT - 1},0,{HEIGHT - 40}"  # a picture that hangs askew
FACE = f"{WIDTH * 5 // 8},{HEIGHT * 3 // 8},{WIDTH // 5},{HEIGHT // 4}"
MODE, ALPHA, WARP = "Two photographs in twelve modes", "Alpha: cut out, and laid over another", "Through quadrilaterals"
SCRAMBLE, PLANES = "Scrambled, and brought back", "Bit planes of grays"
SOURCES = {MODE: "a.png b.png", ALPHA: "a.png b.png mask.png", WARP: "a.png", SCRAMBLE: "b.png", PLANES: "a.png mark.png"}
# (group, name, the command with the result last or after --out); a result is a source of what comes after it.
STEPS = [
    *((MODE, mode, f"combine a.png b.png mode-{mode}.png --mode {mode}") for mode in MODES),
    (ALPHA, "b.png with the mask", "convert b.png cut.png --alpha mask.png"),
    (ALPHA, "its alpha channel", "alpha cut.png --out alpha.png"),
    (ALPHA, "over a.png", "combine a.png cut.png over.png"),
    (ALPHA, "into red alone", "combine a.png b.png red.png --mode copy --channels R"),
    (WARP, "askew", f"warp a.png askew.png --to {CORNERS} --size {WIDTH}x{HEIGHT} --background gray"),
    (WARP, "nearest", f"warp a.png rough.png --to {CORNERS} --size {WIDTH}x{HEIGHT} --background gray --filter nearest"),
    (WARP, "straight again", f"warp askew.png straight.png --from {CORNERS} --size {WIDTH}x{HEIGHT}"),
    (SCRAMBLE, "scrambled", f"scramble b.png hidden.png --rect {FACE} --key 4711"),
    (SCRAMBLE, "the same again", f"scramble hidden.png found.png --rect {FACE} --key 4711"),
    (PLANES, "grays", "convert a.png gray.png --gray 8"),
    *((PLANES, f"plane {plane}", f"planes gray.png --planes {plane} --out plane-{plane}.png") for plane in range(7, -1, -1)),
    (PLANES, "a mark in plane 0", "planes gray.png --out marked.png --put 0=mark.png"),
    (PLANES, "taken out", "planes marked.png --planes 0 --out taken.png"),
]
EQUAL = [("found.png", "b.png"), ("taken.png", "mark.png")]


def result_of(arguments):
    words = arguments.split()
    return words[words.index("--out") + 1] if "--out" in words else words[3 if words[0] == "combine" else 2]


def run(command, arguments, place):
    done = subprocess.run([*command, *arguments.split()], cwd=place, stdout=subprocess.DEVNULL)
    if done.returncode:
        sys.exit(f"tnk {arguments}: ended with {done.returncode}")


def sources(pictures, command, place):
    """Two photographs in the size of a view, a soft disc as a mask, and a mark."""
    for name, picture in zip(("a.png", "b.png"), (pictures * 2)[:2]):
        with Image.open(picture) as image:
            width, height = (min(image.width, image.height * WIDTH // HEIGHT), min(image.height, image.width * HEIGHT // WIDTH))
            part = f"{(image.width - width) // 2},{(image.height - height) // 2},{width},{height}"
        subprocess.run([*command, "convert", str(picture), name, "--crop", part, "--size", f"{WIDTH}x{HEIGHT}"], cwd=place,
                       stdout=subprocess.DEVNULL, check=True)
    Image.radial_gradient("L").resize(CROP).point(lambda v: max(0, min(255, 2 * (190 - v)))).save(place / "mask.png")
    mark = Image.new("1", CROP, 0)
    ImageDraw.Draw(mark).text((20, HEIGHT // 2), "Tarnkit " * 6, 1, ImageFont.load_default())
    mark.save(place / "mark.png")


def same(place, one, other):
    with Image.open(place / one) as first, Image.open(place / other) as second:
        return first.convert("RGB").tobytes() == second.convert("RGB").tobytes()


def beside_pillow(place, mode):
    with Image.open(place / "a.png") as a, Image.open(place / "b.png") as b, Image.open(place / f"mode-{mode}.png") as ours:
        theirs = MODES[mode](a.convert("RGB"), b.convert("RGB"))
        return sum(ImageStat.Stat(ImageChops.difference(ours.convert("RGB"), theirs)).mean) / 3


def make(options, place):
    sources(options.pictures, [options.wine, options.tnk], place)
    native = place / "native"
    if options.native:
        native.mkdir()
        for name in ("a.png", "b.png", "mask.png", "mark.png"):
            shutil.copyfile(place / name, native / name)
    for _, _, arguments in STEPS:
        run([options.wine, options.tnk], arguments, place)
        if options.native:
            run([options.native], arguments, native)
            check_native(place / result_of(arguments), native / result_of(arguments))
    shutil.rmtree(native, ignore_errors=True)
    for one, other in EQUAL:
        if not same(place, one, other):
            sys.exit(f"{place / one} and {other} differ")
    return {mode: f"{beside_pillow(place, mode):.2f}" for mode, work in MODES.items() if work}


def main():
    options = command_line()
    options.wine, options.tnk = str(pathlib.Path(options.wine).resolve()), options.tnk.resolve()
    options.native = options.native and str(pathlib.Path(options.native).resolve())
    place = options.out / "combining"
    stamp = place / "stamp.json"
    state = checksum(options.library, options.tnk, pathlib.Path(__file__), *options.pictures[:2], bool(options.native))
    known = json.loads(stamp.read_text()) if stamp.exists() else {}
    if known.get("state") != state or not all((place / result_of(step[2])).exists() for step in STEPS):
        shutil.rmtree(place, ignore_errors=True)
        place.mkdir(parents=True)
        known = {"state": state, "figures": make(options, place)}
        stamp.write_text(json.dumps(known))
    body = []
    for group in dict.fromkeys(step[0] for step in STEPS):
        shown = [FIGURE.format(link=f"combining/{name}", name=name, note="") for name in SOURCES[group].split()]
        for _, name, arguments in (step for step in STEPS if step[0] == group):
            shown.append(FIGURE.format(link=f"combining/{result_of(arguments)}", name=name, note=known["figures"].get(name, "")))
        example = next(step[2] for step in STEPS if step[0] == group)
        body += [f"<h2>{group}</h2>\n<p><code>tnk {example}</code></p>\n<div class=row>", *shown, "</div>"]
    print(f"combining: {len(STEPS)} results", flush=True)
    write_page(options, "combining.html", "combined, warped, scrambled, taken apart", INTRO, body, len(STEPS))


main()
