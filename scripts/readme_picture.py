"""Makes the picture that README.md begins with: one photograph in full colours, 16 colours and 1 bit. scripts/demo calls it.

    readme_picture.py OUT COMMAND ...     (COMMAND runs tnk)
"""
import pathlib
import subprocess
import sys
import tempfile

from PIL import Image

# Its licence, and so that of the strip, stands in docs/images.
PHOTOGRAPH = "/usr/share/backgrounds/mate/nature/LadyBird.jpg"
PART, SIZE, GAP = (1460, 600, 713, 800), (214, 240), 8
WAYS = ["", "--bits 4 --palette optimized", "--bits 1 --dither floyd-steinberg", "--bits 1 --dither clustered"]


def main():
    out, command = pathlib.Path(sys.argv[1]), sys.argv[2:]
    strip = Image.new("RGB", (len(WAYS) * (SIZE[0] + GAP) - GAP, SIZE[1]), "white")
    with tempfile.TemporaryDirectory() as folder:
        small = pathlib.Path(folder) / "small.png"
        crop = ["--crop", ",".join(map(str, PART)), "--size", "{}x{}".format(*SIZE)]
        subprocess.run([*command, "convert", PHOTOGRAPH, str(small), *crop], check=True, stdout=subprocess.DEVNULL)
        for i, way in enumerate(WAYS):
            result = small.with_name(f"{i}.png")
            subprocess.run([*command, "convert", str(small), str(result), *way.split()], check=True, stdout=subprocess.DEVNULL)
            with Image.open(result) as picture:
                strip.paste(picture.convert("RGB"), (i * (SIZE[0] + GAP), 0))
    strip.save(out, optimize=True)


main()
