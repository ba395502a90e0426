#!/usr/bin/python3
"""Runs `velin segment` on malformed inputs of every format and on bad option values, and tabulates what it
answers: the exit status and the first line on stderr.

    scripts/bad-input-matrix.py [--velin build/tools/velin] [--update docs/robustness.md]

Without --update the table goes to stdout; with it, the table replaces the part of the file between the
markers <!-- bad-input-matrix --> and <!-- /bad-input-matrix -->. The inputs are built here, byte by byte,
in a temporary folder that is removed afterwards; every run must leave its input unchanged, which the script
checks.
"""

from __future__ import annotations

import argparse
import math
import os
import struct
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable

START, END = "<!-- bad-input-matrix -->", "<!-- /bad-input-matrix -->"


# --- file builders ------------------------------------------------------------------------------------

def npy(descr: str, shape: str, data: bytes, version: int = 1, fortran: bool = False) -> bytes:
    order = "True" if fortran else "False"
    text = f"{{'descr': '{descr}', 'fortran_order': {order}, 'shape': {shape}, }}"
    preamble = 10 if version == 1 else 12
    text += " " * (63 - (preamble + len(text)) % 64) + "\n"
    length = struct.pack("<H", len(text)) if version == 1 else struct.pack("<I", len(text))
    return b"\x93NUMPY" + bytes([version, 0]) + length + text.encode() + data


def tiff(width: int, height: int, bits: int = 8, compression: int = 1, strip_bytes: int | None = None) -> bytes:
    """One page stored as one strip of zeros, with a directory that may claim any size."""
    if strip_bytes is None:
        strip_bytes = width * height * bits // 8
    data_offset = 8 + 2 + 9 * 12 + 4
    entries = [(256, 4, width), (257, 4, height), (258, 3, bits), (259, 3, compression), (262, 3, 1),
               (273, 4, data_offset), (277, 3, 1), (278, 4, height), (279, 4, strip_bytes)]
    body = b"II*\0" + struct.pack("<I", 8) + struct.pack("<H", len(entries))
    body += b"".join(struct.pack("<HHII", tag, kind, 1, value) for tag, kind, value in entries)
    return body + struct.pack("<I", 0) + bytes(strip_bytes)


def vol(b_scans: int = 10, a_scans: int = 16, depth: int = 32, scale_x: float = 0.0117,
        distance: float = 0.047, scale_z: float = 0.0039, marker: bytes = b"HSF-OCT-103\0",
        scan_marker: bytes = b"HSF-BS-103\0") -> bytes:
    header = bytearray(2048)
    header[0:12] = marker
    struct.pack_into("<III", header, 12, a_scans, b_scans, depth)
    struct.pack_into("<ddd", header, 24, scale_x, distance, scale_z)
    struct.pack_into("<II", header, 48, 4, 4)
    header[84:86] = b"OD"
    struct.pack_into("<iI", header, 96, 3, 256)
    out = bytearray(header) + bytes(16)
    pixels = b"".join(struct.pack("<f", ((z * 7 + x) % 200 / 255.0) ** 4)
                      for z in range(min(depth, 64)) for x in range(min(a_scans, 64)))
    for stored in range(min(b_scans, 16)):
        scan = bytearray(256)
        scan[0:11] = scan_marker
        struct.pack_into("<Id", scan, 12, 256, 0.0)
        struct.pack_into("<d", scan, 24, float(b_scans - stored))
        out += scan + pixels
    return bytes(out)


def element(group: int, number: int, vr: str, value: bytes) -> bytes:
    """One element in explicit VR little endian, padded to an even length."""
    if len(value) % 2:
        value += b"\0" if vr in ("UI", "OB") else b" "
    head = struct.pack("<HH", group, number) + vr.encode()
    if vr in ("OB", "OW", "SQ", "UN"):
        return head + b"\0\0" + struct.pack("<I", len(value)) + value
    return head + struct.pack("<H", len(value)) + value


def us(group: int, number: int, value: int) -> bytes:
    return element(group, number, "US", struct.pack("<H", value))


def dicom(frames: int = 3, rows: int = 16, columns: int = 16, bits: int = 8, samples: int = 1,
          syntax: str = "1.2.840.10008.1.2.1", pixels: bytes | None = None, fragments: list[bytes] | None = None) -> bytes:
    """A multi-frame ophthalmic tomography image: native pixel data (zeros unless given) or, with fragments,
    encapsulated pixel data of those fragments."""
    meta_elements = (element(2, 1, "OB", b"\0\1") + element(2, 2, "UI", b"1.2.840.10008.5.1.4.1.1.77.1.5.4")
                     + element(2, 3, "UI", b"1.2.3.4") + element(2, 0x10, "UI", syntax.encode()))
    meta = element(2, 0, "UL", struct.pack("<I", len(meta_elements))) + meta_elements
    data = (element(8, 0x16, "UI", b"1.2.840.10008.5.1.4.1.1.77.1.5.4") + element(8, 0x18, "UI", b"1.2.3.4")
            + us(0x28, 2, samples) + element(0x28, 4, "CS", b"MONOCHROME2") + element(0x28, 8, "IS", str(frames).encode())
            + us(0x28, 0x10, rows) + us(0x28, 0x11, columns) + us(0x28, 0x100, bits) + us(0x28, 0x101, bits)
            + us(0x28, 0x102, bits - 1) + us(0x28, 0x103, 0))
    if fragments is None:
        if pixels is None:
            pixels = bytes(frames * rows * columns * samples * max(bits // 8, 1))
        data += element(0x7FE0, 0x10, "OB", pixels)
    else:
        items = struct.pack("<HHI", 0xFFFE, 0xE000, 0)  # an empty offset table
        for fragment in fragments:
            fragment += b"\0" * (len(fragment) % 2)
            items += struct.pack("<HHI", 0xFFFE, 0xE000, len(fragment)) + fragment
        items += struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
        data += struct.pack("<HH", 0x7FE0, 0x10) + b"OB\0\0" + struct.pack("<I", 0xFFFFFFFF) + items
    return bytes(128) + b"DICM" + meta + data


def lossless_jpeg(rows: int = 16, columns: int = 16, precision: int = 8, category: int = 0, predictor: int = 1) -> bytes:
    """The headers of a lossless JPEG stream (one Huffman code for `category`) and a few bytes of data."""
    frame = b"\xff\xc3" + struct.pack(">HBHHB", 11, precision, rows, columns, 1) + b"\x01\x11\x00"
    table = b"\xff\xc4" + struct.pack(">H", 2 + 17 + 1) + b"\x00" + b"\x01" + bytes(15) + bytes([category])
    scan = b"\xff\xda" + struct.pack(">HB", 8, 1) + b"\x01\x00" + bytes([predictor, 0, 0])
    return b"\xff\xd8" + frame + table + scan + bytes(64) + b"\xff\xd9"


# --- the cases -------------------------------------------------------------------------------------------

@dataclass
class Case:
    what: str                       # the fault, in words
    name: str                       # the input's file name
    content: bytes | None           # None: no file (or a folder, see make)
    options: list[str] = field(default_factory=list)
    make: Callable[[Path], None] | None = None  # builds something other than a plain file


CUBE = bytes(range(256)) * 3  # 768 bytes: 3 x 16 x 16


def cases() -> list[Case]:
    u1 = "|u1"
    return [
        Case(".npy cut short", "cut.npy", npy(u1, "(3, 16, 16)", CUBE)[:-100]),
        Case(".npy header longer than the file", "header.npy", npy(u1, "(3, 16, 16)", b"")[:9] + b"\xff\xff"),
        Case(".npy without the magic bytes", "magic.npy", b"NUMPY" + bytes(100)),
        Case(".npy format version 9", "version.npy", npy(u1, "(3, 16, 16)", CUBE, version=9)),
        Case(".npy header without 'shape'", "noshape.npy",
             b"\x93NUMPY\x01\x00" + struct.pack("<H", 64) + b"{'descr': '|u1', 'fortran_order': False}".ljust(63) + b"\n"),
        Case(".npy shape whose size overflows 64 bits", "huge.npy",
             npy(u1, "(4294967296, 4294967296, 4294967296)", CUBE)),
        Case(".npy of two dimensions", "flat.npy", npy(u1, "(48, 16)", CUBE)),
        Case(".npy of float32 without a scale rule", "float.npy", npy("<f4", "(3, 4, 16)", CUBE)),
        Case(".npy of int32", "int32.npy", npy("<i4", "(3, 4, 16)", CUBE)),
        Case(".raw without --shape", "cube.raw", CUBE),
        Case(".raw shorter than --shape", "short.raw", CUBE, ["--shape", "3x16x17"]),
        Case(".raw with --layout BAX", "layout.raw", CUBE, ["--shape", "3x16x16", "--layout", "BAX"]),
        Case(".raw with --flip Q", "flip.raw", CUBE, ["--shape", "3x16x16", "--flip", "Q"]),
        Case(".img named without its size", "export.img", CUBE),
        Case(".img whose size is not a multiple of A x B", "P_Macular Cube 512x128_1-1-2000_1-1-1_OD_sn1_cube_z.img",
             bytes(1000)),
        Case("TIFF that is not one", "fake.tif", b"x" * 100),
        Case("TIFF cut in half", "half.tif", tiff(64, 64)[: (8 + 2 + 9 * 12 + 4 + 64 * 64) // 2]),
        Case("TIFF claiming 46000 x 46000 pixels in 520 KB", "claim.tif", tiff(46000, 46000, strip_bytes=520000)),
        Case("TIFF of 16-bit pages", "wide.tif", tiff(16, 16, bits=16)),
        Case(".vol cut short", "cut.vol", vol()[:-1000]),
        Case(".vol without its marker", "marker.vol", vol(marker=b"XSF-OCT-103\0")),
        Case(".vol with a damaged B-scan marker", "scan.vol", vol(scan_marker=b"HSF-XX-103\0")),
        Case(".vol claiming 4294967295 B-scans", "count.vol", vol()[:16] + b"\xff\xff\xff\xff" + vol()[20:]),
        Case(".vol with an infinite spacing between A-scans", "inf.vol", vol(scale_x=math.inf)),
        Case(".vol with a NaN depth spacing", "nan.vol", vol(scale_z=math.nan)),
        Case("DICOM that is not one", "fake.dcm", b"x" * 300),
        Case("DICOM cut in the pixel data", "cut.dcm", dicom()[:-300]),
        Case("DICOM of a single frame", "single.dcm", dicom(frames=1)),
        Case("DICOM colour frames", "colour.dcm", dicom(samples=3)),
        Case("DICOM of 12-bit samples", "twelve.dcm", dicom(bits=12, pixels=bytes(3 * 16 * 16 * 2))),
        Case("DICOM in an unknown transfer syntax", "syntax.dcm", dicom(syntax="1.2.840.10008.1.2.4.999")),
        Case("DICOM lossless JPEG frames taller than the image", "rows.dcm",
             dicom(bits=16, syntax="1.2.840.10008.1.2.4.70", fragments=[lossless_jpeg(rows=64, precision=16)] * 3)),
        Case("DICOM lossless JPEG with difference category 200", "category.dcm",
             dicom(bits=16, syntax="1.2.840.10008.1.2.4.70", fragments=[lossless_jpeg(precision=16, category=200)] * 3)),
        Case("DICOM lossless JPEG with predictor 0", "predictor.dcm",
             dicom(syntax="1.2.840.10008.1.2.4.57", fragments=[lossless_jpeg(predictor=0)] * 3)),
        Case("a file that does not exist", "absent.npy", None),
        Case("a folder", "folder.npy", None, make=lambda p: p.mkdir()),
        Case("an unknown extension", "volume.dat", CUBE),
        Case("--smoothing 2147483647", "cube.raw", CUBE, ["--shape", "3x16x16", "--smoothing", "2147483647"]),
        Case("--gap-scale 0", "cube.raw", CUBE, ["--shape", "3x16x16", "--gap-scale", "0"]),
        Case("--gap-scale 1e-30", "cube.raw", CUBE, ["--shape", "3x16x16", "--gap-scale", "1e-30"]),
        Case("--width-selector nan", "cube.raw", CUBE, ["--shape", "3x16x16", "--width-selector", "nan"]),
        Case("--aux inf", "cube.raw", CUBE, ["--shape", "3x16x16", "--aux", "inf"]),
        Case("--axial-factor 9", "cube.raw", CUBE, ["--shape", "3x16x16", "--axial-factor", "9"]),
        Case("--spacing-um 7.8125,0.5,50000", "cube.raw", CUBE, ["--shape", "3x16x16", "--spacing-um", "7.8125,0.5,50000"]),
        Case("--spacing-um inf,1,1", "cube.raw", CUBE, ["--shape", "3x16x16", "--spacing-um", "inf,1,1"]),
        Case("--spacing-um 1,2", "cube.raw", CUBE, ["--shape", "3x16x16", "--spacing-um", "1,2"]),
        Case("--shape 0x16x16", "cube.raw", CUBE, ["--shape", "0x16x16"]),
        Case("--scale cubic", "float.npy", npy("<f4", "(3, 4, 16)", CUBE), ["--scale", "cubic"]),
        Case("--grid hex", "cube.raw", CUBE, ["--shape", "3x16x16", "--grid", "hex"]),
        Case("--eye OU", "cube.raw", CUBE, ["--shape", "3x16x16", "--eye", "OU"]),
        Case("-j 0", "cube.raw", CUBE, ["--shape", "3x16x16", "-j", "0"]),
        Case("--threads -1", "cube.raw", CUBE, ["--shape", "3x16x16", "--threads", "-1"]),
        Case("--threads 5000", "cube.raw", CUBE, ["--shape", "3x16x16", "--threads", "5000"]),
        Case("--boundaries median", "cube.raw", CUBE, ["--shape", "3x16x16", "--boundaries", "median"]),
    ]


# --- running ---------------------------------------------------------------------------------------------

def run(velin: Path, case: Case, folder: Path) -> tuple[int, str]:
    inputs = folder / "in"
    inputs.mkdir()
    path = inputs / case.name
    if case.make is not None:
        case.make(path)
    elif case.content is not None:
        path.write_bytes(case.content)
    before = path.read_bytes() if path.is_file() else None
    result = subprocess.run([str(velin), "segment", str(path), "-o", str(folder / "out"), *case.options],
                            capture_output=True, timeout=600)
    if path.is_file() and path.read_bytes() != before:
        raise SystemExit(f"bad-input-matrix: {case.what}: the input was changed")
    lines = result.stderr.decode("utf-8", "replace").splitlines()
    message = lines[0] if lines else "(nothing on stderr)"
    return result.returncode, message.replace(str(inputs) + os.sep, "").replace(str(folder), "TMP")


def table(velin: Path) -> str:
    rows = ["| # | input | options | exit | message |", "|---|---|---|---|---|"]
    with tempfile.TemporaryDirectory(prefix="velin-matrix-") as top:
        for number, case in enumerate(cases(), 1):
            folder = Path(top) / str(number)
            folder.mkdir()
            status, message = run(velin, case, folder)
            cell = message.replace("|", "\\|")
            rows.append(f"| {number} | {case.what} | `{' '.join(case.options)}` | {status} | {cell} |"
                        .replace("``", ""))
    return "\n".join(rows) + "\n"


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--velin", type=Path, default=Path("build/tools/velin"))
    parser.add_argument("--update", type=Path, help="replace the table between the markers in this file")
    args = parser.parse_args()
    if not args.velin.exists():
        print(f"bad-input-matrix: {args.velin} not found; run 'make build' first", file=sys.stderr)
        return 2
    text = table(args.velin)
    if args.update is None:
        sys.stdout.write(text)
        return 0
    document = args.update.read_text()
    start, end = document.index(START) + len(START), document.index(END)
    args.update.write_text(document[:start] + "\n" + text + document[end:])
    return 0


if __name__ == "__main__":
    sys.exit(main())
