"""The volumes a batch runs over: files, folders of files, and manifests listing them."""

from __future__ import annotations

import csv
import os
from pathlib import Path
from typing import Iterable, List

# The formats the program reads (docs/file-formats.md).
VOLUME_SUFFIXES = {".img", ".raw", ".npy", ".tif", ".tiff", ".vol", ".dcm", ".dicom"}
# Lists of volumes rather than volumes.
MANIFEST_SUFFIXES = {".txt", ".csv"}
# Column of a CSV manifest that names the volumes; without one, the first column does.
MANIFEST_COLUMNS = ("input", "path", "file")


class InputError(Exception):
    """An input cannot be turned into volumes (an unreadable manifest, a folder that cannot be listed)."""


def expand_inputs(inputs: Iterable[str], output_dir: str) -> List[str]:
    """Every volume named by `inputs`, as absolute paths, in the order given.

    A folder stands for the volume files below it (sorted; hidden entries and the output folder are left
    out), a .txt or .csv file for the volumes it lists (relative paths are taken from the manifest's folder),
    anything else for itself, so that a missing file becomes a failed row rather than vanishing.
    """
    output = Path(output_dir).resolve()
    volumes: List[str] = []
    for given in inputs:
        path = Path(given)
        if path.is_dir():
            volumes.extend(_folder_volumes(path.resolve(), output))
        elif path.suffix.lower() in MANIFEST_SUFFIXES:
            volumes.extend(_manifest_volumes(path))
        else:
            volumes.append(os.path.abspath(given))
    return volumes


def _folder_volumes(folder: Path, output: Path) -> List[str]:
    found: List[str] = []
    try:
        for root, dirs, files in os.walk(folder, onerror=_raise):
            here = Path(root)
            dirs[:] = sorted(d for d in dirs if not d.startswith(".") and (here / d).resolve() != output)
            found.extend(
                str(here / name)
                for name in sorted(files)
                if not name.startswith(".") and Path(name).suffix.lower() in VOLUME_SUFFIXES
            )
    except OSError as error:
        raise InputError(f"cannot list the folder: {error.strerror} ({error.filename})") from None
    return found


def _raise(error: OSError) -> None:
    raise error


def _manifest_volumes(manifest: Path) -> List[str]:
    try:
        text = manifest.read_text(encoding="utf-8-sig")
    except (OSError, UnicodeDecodeError) as error:
        raise InputError(f"cannot read the manifest: {error} ({manifest})") from None
    lines = [line for line in text.splitlines() if line.strip() and not line.lstrip().startswith("#")]
    if manifest.suffix.lower() == ".csv":
        rows = list(csv.reader(lines))
        column = 0
        if rows:
            header = [cell.strip().lower() for cell in rows[0]]
            named = [header.index(name) for name in MANIFEST_COLUMNS if name in header]
            if named:
                column, rows = named[0], rows[1:]
        entries = [row[column].strip() if column < len(row) else "" for row in rows]
    else:
        entries = [line.strip() for line in lines]
    base = manifest.resolve().parent
    volumes = []
    for number, entry in enumerate(entries, start=1):
        if not entry:
            raise InputError(f"row {number} names no volume ({manifest})")
        volumes.append(os.path.normpath(base / entry) if not os.path.isabs(entry) else entry)
    return volumes
