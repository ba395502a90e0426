"""Shared fixtures: the velin program to compare with, and small phantom volumes made by it."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path
from typing import Dict, List

import pytest

REPO = Path(__file__).resolve().parents[2]
# The phantoms below cover 6 x 6 mm and 2 mm of depth; the .npy files do not carry that, so it is given.
SPACING = "3.90625,46.875,500"
SPACING_UM = (3.90625, 46.875, 500.0)
SHAPE = "12x128x512"


def velin_program() -> Path:
    path = Path(os.environ.get("VELIN_CLI", REPO / "build" / "tools" / "velin"))
    if not path.is_file():
        pytest.skip(f"the velin program is needed for this test and was not found at {path} (set VELIN_CLI)")
    return path


def run_program(*arguments: str, check: bool = True) -> subprocess.CompletedProcess:
    return subprocess.run([str(velin_program()), *arguments], capture_output=True, text=True, check=check)


def run_batch(*arguments: str, cwd: Path) -> subprocess.CompletedProcess:
    """python -m velin.batch as a user runs it, with this interpreter."""
    return subprocess.run([sys.executable, "-m", "velin.batch", *arguments], capture_output=True, text=True,
                          cwd=cwd, timeout=300)


def make_phantom(path: Path, shape: str = SHAPE, seed: int = 1, kind: str = "macula", eye: str = "OD") -> Path:
    run_program("phantom", "-o", str(path), "--shape", shape, "--seed", str(seed), "--kind", kind, "--eye", eye)
    for truth in path.parent.glob(f"{path.stem}_truth_*.npy"):
        truth.unlink()  # not volumes: they would be read as such from a folder
    return path


@pytest.fixture(scope="session")
def cohort_dir(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Three phantoms and one corrupt volume (a .npy cut short)."""
    folder = tmp_path_factory.mktemp("cohort")
    for seed in (1, 2, 3):
        make_phantom(folder / f"eye{seed}.npy", seed=seed)
    (folder / "corrupt.npy").write_bytes((folder / "eye1.npy").read_bytes()[:1000])
    return folder


def folder_files(folder: Path) -> Dict[str, bytes]:
    return {path.name: path.read_bytes() for path in sorted(folder.iterdir())}


def cohort_inputs(folder: Path) -> List[str]:
    return [str(folder / name) for name in ("eye1.npy", "eye2.npy", "eye3.npy", "corrupt.npy")]
