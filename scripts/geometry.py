"""Runs the geometry of tnk over pictures, beside Pillow's, and writes the second page. scripts/demo calls it."""
import math
import pathlib
import random
import re
import subprocess
import sys
import time

from PIL import Image, ImageChops, ImageDraw, ImageFont, ImageStat

from gallery import CROP, FIGURE, busiest, check_native, checksum, command_line, crop, known_items, save_items, write_page

FLIP, MIRROR, RIGHT = Image.Transpose.FLIP_TOP_BOTTOM, Image.Transpose.FLIP_LEFT_RIGHT, Image.Transpose.ROTATE_270
NEAREST, BOX, BILINEAR, BICUBIC = (Image.Resampling[name] for name in ("NEAREST", "BOX", "BILINEAR", "BICUBIC"))
SLANT = math.tan(math.radians(10))
INTRO = """Ours stands left, Pillow's result of the same operation right. Times are those of the operation alone, once, as measured
in that run; ours in a 32-bit program, Pillow's in a native one. The figure before Pillow's time is the mean difference of our result
from its own, in levels of 255 over all channels and pixels (where sizes differ, of the middle that both have).
<a href="index.html">The first page</a> shows colour reduction, <a href="combining.html">the third</a> combinations."""


def moved(how):
    return lambda image: image.transpose(how)


def turned(how):
    return lambda image: image.rotate(-7, how, expand=True, fillcolor="white")


def sized(factor, how):
    return lambda image: image.resize([max(1, math.floor(v * factor + 0.5)) for v in image.size], how)


def slanted(image):
    size = image.width + math.ceil(SLANT * image.height), image.height
    return image.transform(size, Image.Transform.AFFINE, (1, -SLANT, 0, 0, 1, 0), NEAREST, fillcolor="white")


def as_grays(work, finish):
    """What Pillow does not do with one bit it does with grays of it."""
    return lambda image: finish(work(image.convert("L"))).convert("1")


# (group, name, options of tnk, Pillow's name, Pillow's work)
EXACT = [("Flips, a quarter turn and a slant", "upside down", "--flip", "", moved(FLIP)),
         ("Flips, a quarter turn and a slant", "mirrored", "--mirror", "", moved(MIRROR)),
         ("Flips, a quarter turn and a slant", "90 degrees", "--rotate 90", "", moved(RIGHT)),
         ("Flips, a quarter turn and a slant", "shear 10 degrees", "--shear 10", "nearest", slanted)]
TURN, HALF, LARGER = "Turned by 7 degrees", "Half the size", "1.6 times the size"
PHOTOGRAPH = EXACT + [
    *((TURN, name, f"--rotate 7 --filter {name}", own.name.lower(), turned(own))
      for name, own in (("nearest", NEAREST), ("linear", BILINEAR), ("bicubic", BICUBIC))),
    *((HALF, name, f"--size 50% --filter {name}", own.name.lower(), sized(0.5, own))
      for name, own in (("nearest", NEAREST), ("linear", BOX), ("bicubic", BICUBIC))),
    *((LARGER, name, f"--size 160% --filter {name}", own.name.lower(), sized(1.6, own))
      for name, own in (("nearest", NEAREST), ("linear", BILINEAR), ("bicubic", BICUBIC)))]
PAGE_OF_TEXT = EXACT + [
    (TURN, "nearest", "--rotate 7", "nearest", turned(NEAREST)),
    (HALF, "favour black", "--size 50%", "box, all but white is black", as_grays(sized(0.5, BOX), lambda i: i.point(lambda v: 255 * (v == 255)))),
    (HALF, "nearest", "--size 50% --filter nearest", "nearest", sized(0.5, NEAREST)),
    (HALF, "linear, dithered", "--size 50% --filter linear", "box, dithered", as_grays(sized(0.5, BOX), lambda i: i)),
    (HALF, "linear, in grays", "--size 50% --gray 8", "box", lambda image: sized(0.5, BOX)(image.convert("L"))),
    (LARGER, "nearest", "--size 160%", "nearest", sized(1.6, NEAREST)),
    (LARGER, "bicubic, in grays", "--size 160% --filter bicubic --gray 8", "bicubic", lambda image: sized(1.6, BICUBIC)(image.convert("L")))]


def scanned_page(target):
    """A typed page of A4 in 300 dots per inch as a scanner sees it: a little askew, with speckled edges; and fine lines."""
    page = Image.new("L", (496, 702), 255)
    words = (pathlib.Path(__file__).parent.parent / "README.md").read_text(encoding="utf-8").splitlines()
    ImageDraw.Draw(page).text((30, 30), "\n".join(words[:50]), 0, ImageFont.load_default(), spacing=2)
    page = page.resize((2480, 3510), BICUBIC).rotate(0.6, BICUBIC, fillcolor=255)
    noise = Image.frombytes("L", page.size, random.Random(1).randbytes(page.width * page.height))
    page = Image.blend(page, noise, 0.3).point(lambda v: 255 * (v > 128)).convert("1", dither=Image.Dither.NONE)
    draw = ImageDraw.Draw(page)
    for i in range(24):
        draw.line((1900 + i * 20, 2700, 1900 + i * 23, 3200), 0, 1)
        draw.ellipse((1000 - i * 12, 2950 - i * 12, 1000 + i * 12, 2950 + i * 12), outline=0, width=1)
    page.save(target)


def difference(ours, theirs):
    size = [min(pair) for pair in zip(ours.size, theirs.size)]

    def middle(image):
        left, top = ((have - want) // 2 for have, want in zip(image.size, size))
        return image.convert("RGB").crop((left, top, left + size[0], top + size[1]))

    return sum(ImageStat.Stat(ImageChops.difference(middle(ours), middle(theirs))).mean) / 3


def run(command, picture, target, options):
    """Milliseconds of the step, where there is one."""
    done = subprocess.run([*command, "convert", str(picture), str(target), *options.split(), "--verbose"],
                          capture_output=True, encoding="utf-8", errors="replace")
    if done.returncode != 0:
        sys.exit(f"{picture}: tnk ended with {done.returncode}\n{done.stderr}")
    found = re.search(r"moved in ([\d.]+) ms", done.stdout)
    return float(found[1]) if found else 0


def move_picture(options, picture, folder, operations):
    """Makes what is missing of one picture; returns its figures."""
    stamp = folder / "stamp.json"
    state = checksum(options.library, options.tnk, pathlib.Path(__file__), picture, CROP, bool(options.native))
    if known := known_items(options, stamp, state):
        return known
    folder.mkdir(parents=True, exist_ok=True)
    source = folder / "source.png"  # the same pixels for both: decoders of JPEG differ in the last bit
    run([options.wine, options.tnk], picture, source, "")
    with Image.open(source) as file:
        image = file.convert("1" if file.mode in "1L" else "RGB")
    items = []
    for number, (group, name, arguments, peer, work) in enumerate(operations):
        files = [folder / f"{number:02}-{who}.png" for who in ("tnk", "Pillow", "native")]
        ms = run([options.wine, options.tnk], source, files[0], arguments)
        if options.native:
            run([options.native], source, files[2], arguments)
            check_native(files[0], files[2])
            files[2].unlink()
        begin = time.perf_counter()
        theirs = work(image)
        peer_ms = (time.perf_counter() - begin) * 1000
        theirs.save(files[1], compress_level=1)
        with Image.open(files[0]) as ours:
            figure = difference(ours, theirs)
        window = busiest(files[0])
        for file, who, note in ((files[0], f"{name}", f"{ms:.1f} ms"), (files[1], f"Pillow {peer}", f"{figure:.2f} / {peer_ms:.1f} ms")):
            crop(file, window, folder / f"crop-{file.name}")
            items.append({"group": group, "file": f"{folder.name}/{file.name}", "crop": f"{folder.name}/crop-{file.name}", "name": who, "note": note})
    save_items(stamp, state, items)
    return items


def section(title, items):
    body = [f"<h2>{title}</h2>"]
    for group in dict.fromkeys(item["group"] for item in items):
        figures = [FIGURE.format(link=item["file"], **item) for item in items if item["group"] == group]
        body += [f"<h3>{group}</h3>\n<div class=row>", *figures, "</div>"]
    return "\n".join(body)


def main():
    options = command_line()
    options.out.mkdir(parents=True, exist_ok=True)
    page = options.out / "page.png"
    if not page.exists():
        scanned_page(page)
    jobs = [*((picture, PHOTOGRAPH) for picture in options.pictures[:2]), (page, PAGE_OF_TEXT)]
    body, total = [], 0
    for number, (picture, operations) in enumerate(jobs, 1):
        items = move_picture(options, picture, options.out / f"geometry-{number}", operations)
        total += len(operations)
        print(f"{picture.name}: {len(operations)} operations", flush=True)
        body.append(section(picture.name, items))
    write_page(options, "geometry.html", "flips, turns, sizes and slants", INTRO, body, total)


main()
