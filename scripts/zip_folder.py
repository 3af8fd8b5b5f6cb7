"""A zip of all files of a folder whose bytes depend on names, contents and SOURCE_DATE_EPOCH alone: other tools put the times
at which files were read into it.

    zip_folder.py FOLDER ZIP
"""

import os
import pathlib
import sys
import time
import zipfile

folder, target = map(pathlib.Path, sys.argv[1:])
moment = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as out:
    for path in sorted(path for path in folder.rglob("*") if path.is_file()):
        entry = zipfile.ZipInfo(path.relative_to(folder).as_posix(), moment)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.create_system = 3  # whose permissions follow
        entry.external_attr = (0o100755 if os.access(path, os.X_OK) else 0o100644) << 16
        out.writestr(entry, path.read_bytes())
