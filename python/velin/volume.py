"""Volumes: the samples of an OCT scan with what its file says about them."""

from __future__ import annotations

import math
import os
from typing import Any, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from velin import _velin


class Spacing(NamedTuple):
    """Distance between neighbouring samples in micrometres; None where unknown."""

    depth: Optional[float]
    a_scan: Optional[float]
    b_scan: Optional[float]


class Volume:
    """An OCT volume: read-only uint8 samples of shape (B-scans, A-scans, depth) and their geometry.

    Sample ``array[b, a, d]`` belongs to B-scan b, A-scan a and depth d, depth growing away from the
    vitreous; B-scan 0 is the superior one and A-scan 0 the left one on the en-face view.

    Attributes:
        array: the samples, read-only, C-contiguous uint8.
        spacing_um: sample spacing in micrometres (depth, between A-scans, between B-scans).
        eye: "OD", "OS" or None.
        scan_kind: "macula", "disc" or None.
        source: the file the volume was read from, or None.
    """

    __slots__ = ("array", "spacing_um", "eye", "scan_kind", "source")

    def __init__(
        self,
        array: Any,
        *,
        spacing_um: Optional[Sequence[Optional[float]]] = None,
        eye: Optional[str] = None,
        scan_kind: Optional[str] = None,
        source: Optional[str] = None,
    ) -> None:
        samples = np.asarray(array)
        if samples.dtype != np.uint8 or samples.ndim != 3:
            raise TypeError(
                f"expected uint8 samples of shape (B-scans, A-scans, depth), got {samples.dtype} of shape "
                f"{samples.shape}"
            )
        # A read-only view: the caller's array keeps its own flags and nothing is copied.
        self.array = samples.view()
        self.array.flags.writeable = False
        self.spacing_um = _checked_spacing(spacing_um)
        self.eye = eye
        self.scan_kind = scan_kind
        self.source = source

    @property
    def shape(self) -> Tuple[int, int, int]:
        """(B-scans, A-scans, depth)."""
        return self.array.shape  # type: ignore[return-value]

    def __array__(self, dtype: Any = None) -> np.ndarray:
        return self.array if dtype is None else self.array.astype(dtype)

    def __getitem__(self, index: Any) -> np.ndarray:
        return self.array[index]

    def __len__(self) -> int:
        return len(self.array)

    def __repr__(self) -> str:
        b_scans, a_scans, depth = self.shape
        return (
            f"Volume({b_scans}x{a_scans}x{depth}, spacing_um={tuple(self.spacing_um)}, eye={self.eye!r}, "
            f"scan_kind={self.scan_kind!r}, source={self.source!r})"
        )


def _checked_spacing(spacing_um: Optional[Sequence[Optional[float]]]) -> Spacing:
    def usable(value: Any) -> bool:
        try:
            return value is None or (float(value) > 0 and math.isfinite(float(value)))
        except (TypeError, ValueError):
            return False

    values = (None, None, None) if spacing_um is None else tuple(spacing_um)
    if len(values) != 3 or not all(usable(value) for value in values):
        raise ValueError(
            f"spacing_um: expected (depth, a_scan, b_scan) in micrometres, each positive or None, got {spacing_um!r}"
        )
    depth, a_scan, b_scan = (None if value is None else float(value) for value in values)
    return Spacing(depth, a_scan, b_scan)


def _spacing(values: Tuple[float, float, float]) -> Tuple[Optional[float], ...]:
    return tuple(value if value > 0 else None for value in values)


def read(
    path: Union[str, "os.PathLike[str]"],
    *,
    shape: Union[None, str, Sequence[int]] = None,
    layout: str = "BAD",
    flip: str = "",
    scale: Optional[str] = None,
) -> Volume:
    """Reads a volume file as ``velin segment`` does.

    The reader is chosen by the extension: ``.img`` (device cubes; shape, eye, scan kind and spacing from
    the name), ``.raw`` (needs ``shape``), ``.npy``, ``.tif``/``.tiff`` (one page per B-scan), ``.vol`` and
    DICOM (``.dcm``/``.dicom``, or any other name whose content is DICOM; one frame per B-scan).

    Args:
        path: the file.
        shape: (B-scans, A-scans, depth) or "BxAxD"; required for .raw, a check for the other formats.
        layout: axis order of a .raw file, slowest first, as the letters B, A and D.
        flip: axes to reverse after reading, any of "B", "A", "D".
        scale: "minmax", "clip255" or "fourthroot": how float .npy samples become 8 bits (required for them);
            for 16-bit DICOM it replaces the file's display window (required when the file has none).

    Returns:
        The volume, its samples read-only and in the library's layout.

    Raises:
        OSError: the file cannot be read as a volume (the message names the file and what was found).
        ValueError, TypeError: a bad option, with the program's message.
    """
    arguments = {"shape": _shape_text(shape), "layout": layout, "flip": flip, "scale": scale}
    path_text = os.fspath(path)
    array, eye, scan_kind, spacing = _velin.read_volume(path_text, arguments)
    return Volume(array, spacing_um=_spacing(spacing), eye=eye, scan_kind=scan_kind, source=path_text)


def phantom(
    shape: Sequence[int] = (128, 512, 1024),
    *,
    seed: int = 1,
    noise: float = 1.0,
    kind: str = "macula",
    eye: str = "OD",
) -> Volume:
    """The program's synthetic retina (``velin phantom``): a volume with known layers and its geometry.

    It covers 6 x 6 mm laterally and 2 mm in depth, so its spacing follows from the shape. ``kind`` is
    "macula" (foveal pit) or "disc" (optic-disc cup); the same arguments always give the same volume.
    """
    b_scans, a_scans, depth = (int(size) for size in shape)
    array, eye_read, scan_kind, spacing = _velin.make_phantom(b_scans, a_scans, depth, seed, noise, kind, eye)
    return Volume(array, spacing_um=_spacing(spacing), eye=eye_read, scan_kind=scan_kind)


def _shape_text(shape: Union[None, str, Sequence[int]]) -> Optional[str]:
    if shape is None or isinstance(shape, str):
        return shape
    return "x".join(str(size) for size in shape)
