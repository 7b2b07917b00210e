"""Packs a folder into a zip whose bytes depend on the files alone.

    archive.py FOLDER ZIP SECONDS_SINCE_1970

Names in the zip begin with the folder's own name, in alphabetical order; every file has the given time, and
no owner.
"""
import sys
import time
import zipfile
from pathlib import Path


def main():
    folder, target, seconds = Path(sys.argv[1]), sys.argv[2], int(sys.argv[3])
    stamp = time.gmtime(max(seconds, 315532800))[:6]  # a zip knows no time before 1980
    files = sorted(path for path in folder.rglob("*") if path.is_file())
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in files:
            entry = zipfile.ZipInfo(path.relative_to(folder.parent).as_posix(), stamp)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3
            entry.external_attr = 0o100644 << 16
            archive.writestr(entry, path.read_bytes(), compresslevel=9)


if __name__ == "__main__":
    main()
