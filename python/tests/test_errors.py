"""Bad input gets the program's one-line message, as OSError, ValueError or TypeError."""

from __future__ import annotations

import re
from pathlib import Path

import numpy as np
import pytest

import velin
from conftest import make_phantom, run_program


@pytest.fixture(scope="module")
def files(tmp_path_factory: pytest.TempPathFactory) -> Path:
    folder = tmp_path_factory.mktemp("bad")
    good = make_phantom(folder / "good.npy")
    (folder / "cut.npy").write_bytes(good.read_bytes()[:1000])
    np.save(folder / "float.npy", np.zeros((12, 16, 64), np.float32))
    (folder / "scan.raw").write_bytes(bytes(100))
    (folder / "folder.tif").mkdir()
    return folder


@pytest.mark.parametrize(
    "name, options, message",
    [
        ("missing.npy", {}, "cannot open: no such file"),
        ("folder.tif", {}, "cannot open: expected a file, found a directory"),
        ("cut.npy", {}, "truncated .npy file: expected 786432 data bytes"),
        ("float.npy", {}, "found float32 samples: expected uint8, or a scale rule"),
        ("scan.raw", {}, "a .raw file has no header: give its shape"),
        ("scan.raw", {"shape": (1, 2, 3)}, "file too long for shape 1x2x3: expected 6 bytes, found 100"),
        ("good.npy", {"shape": "12x128x256"}, "shape mismatch: expected 12x128x256"),
    ],
)
def test_unreadable_files_raise_oserror_with_the_programs_line(
    files: Path, name: str, options: dict, message: str
) -> None:
    path = files / name
    with pytest.raises(OSError) as raised:
        velin.read(path, **options)
    text = str(raised.value)
    assert text.startswith(message) and text.endswith(f" ({path})")
    if not options:
        # Word for word what `velin segment` prints for the file, after its "velin: error: ".
        printed = run_program("segment", str(path), "-o", str(files / "out"), check=False).stderr.strip()
        assert printed == f"velin: error: {text}"


@pytest.mark.parametrize(
    "options, error, message",
    [
        ({"layout": "BAX"}, ValueError, "layout: expected the letters B, A and D once each, got 'BAX'"),
        ({"flip": "DD"}, ValueError, "flip: expected distinct letters among B, A and D, got 'DD'"),
        ({"scale": "cubic"}, ValueError, "scale: unknown scale rule 'cubic'"),
        ({"shape": (12, 0, 5)}, ValueError, "shape: expected BxAxD with three positive sizes, got '12x0x5'"),
        ({"layout": 3}, TypeError, "layout: expected a str, got int"),
    ],
)
def test_bad_read_options(files: Path, options: dict, error: type, message: str) -> None:
    with pytest.raises(error, match=re.escape(message)):
        velin.read(files / "good.npy", **options)


@pytest.mark.parametrize(
    "options, error, message",
    [
        ({"spacing_um": (1, -2, 3)}, ValueError,
         "spacing_um: spacing between A-scans: -2 um is outside 0.1 to 1000 um"),
        ({"spacing_um": (2, 5, 2e4)}, ValueError,
         "spacing_um: spacing between B-scans: 20000 um is outside 0.1 to 10000 um"),
        ({"spacing_um": (1, 2)}, ValueError,
         "spacing_um: expected three numbers dz,dx,dy in micrometres, got '1.0,2.0'"),
        ({"spacing_um": ("a", 2, 3)}, TypeError, "spacing_um: expected three numbers"),
        ({"axial_factor": 9}, ValueError, "axial_factor: expected auto or a whole number from 1 to 8, got '9'"),
        ({"axial_factor": 2.0}, TypeError, "axial_factor: expected an int or \"auto\", got float"),
        ({"gap_scale": 0}, ValueError, "gap_scale: 0 must be finite and not 0"),
        ({"smoothing": 1001}, ValueError, "smoothing: 1001 is above 1000"),
        ({"threads": -1}, ValueError, "threads: -1 is outside 0..1024 (0 = one per processor core)"),
        ({"threads": 1025}, ValueError, "threads: 1025 is outside 0..1024"),
        ({"threads": 2.0}, TypeError, "threads: expected an int, got float"),
        ({"gap_scale": "100"}, TypeError, "gap_scale: expected a number, got str"),
        ({"smoothing": True}, TypeError, "smoothing: expected an int, got bool"),
        ({"smoothing": 2**40}, ValueError, "smoothing: 1099511627776 is out of range"),
        ({"eye": "left"}, ValueError, "eye: expected OD or OS, got 'left'"),
    ],
)
def test_bad_segment_options(options: dict, error: type, message: str) -> None:
    samples = np.zeros((12, 16, 64), np.uint8)
    with pytest.raises(error, match=re.escape(message)):
        velin.segment(samples, **options)


def test_bad_samples_and_grids() -> None:
    with pytest.raises(TypeError, match="expected uint8 samples of shape"):
        velin.segment(np.zeros((12, 16, 64), np.float32))
    with pytest.raises(TypeError, match=re.escape("got uint8 of shape (16, 64)")):
        velin.segment(np.zeros((16, 64), np.uint8))
    with pytest.raises(TypeError, match="expected uint8 samples of shape"):
        velin.Volume(np.zeros((2, 3), np.uint8))
    for spacing in [(1.0, 2.0), (1.0, -2.0, None), (1.0, float("inf"), 3.0)]:
        with pytest.raises(ValueError, match=re.escape("spacing_um: expected (depth, a_scan, b_scan)")):
            velin.Volume(np.zeros((12, 16, 64), np.uint8), spacing_um=spacing)

    # Too few B-scans or nothing found is an outcome, not an error.
    few = velin.segment(np.zeros((5, 16, 64), np.uint8))
    assert not few.segmented and few.outcome == "too few B-scans (at least 10 are needed)"
    assert np.isnan(few.ilm).all() and np.isnan(few.thickness).all() and few.coverage == 0.0
    empty = velin.segment(np.zeros((12, 16, 64), np.uint8), spacing_um=(2, 40, 40))
    assert empty.outcome == "no B-scan could be segmented" and empty.thickness_stats["mean"] is None
    with pytest.raises(ValueError, match="grid: nothing segmented"):
        empty.grid("etdrs")
    with pytest.raises(ValueError, match="grid: expected etdrs or circle, got 'macula'"):
        empty.grid("macula")
