"""Segmentation of one volume in memory, with the figures the program reports."""

from __future__ import annotations

import json
from typing import Any, Callable, Dict, Optional, Sequence, Union

import numpy as np

from velin import _velin
from velin.volume import Spacing, Volume

ProgressCallback = Callable[[int, int], None]


class Result:
    """A segmented volume: depth maps, thickness and the report's figures, as ``velin segment`` writes them.

    Every map is a read-only array of shape (B-scans, A-scans), element [b, a] for B-scan b, A-scan a:

    - ``ilm``: float32 depth in samples of the top of the retina (inner limiting membrane), NaN where not
      found; a boundary at z means the tissue below it begins at sample z. Sub-sample depths with
      ``boundaries="refined"``, the engine's whole samples with ``"legacy"``.
    - ``rnfl``: float32 depth of the lower boundary of the nerve-fibre layer, NaN where not found.
    - ``ilm_confidence``, ``rnfl_confidence`` (refined boundaries only): float32 confidence of each point,
      0 (not found) to 1.
    - ``ilm_value``: int16, the engine's normalised response at the upper point x 100 (0 = none).
    - ``rnfl_weight``: int16, the engine's weight of the lower point x 100 (0 = none).
    - ``thickness``: float32 ``rnfl - ilm`` in micrometres when the depth spacing is known (else in
      samples, see ``unit``), NaN where either boundary is missing or the lower lies above the upper.

    ``planes`` maps each of these names to its array (the program's .npy files without ".npy"). ``report``
    is the report.json the program would write for the volume (without its file list); ``coverage``,
    ``thickness_stats`` and the other attributes are taken from it.
    """

    def __init__(self, segmentation: Any) -> None:
        self._segmentation = segmentation
        self.report: Dict[str, Any] = json.loads(segmentation.report())
        self.ilm: np.ndarray
        self.rnfl: np.ndarray
        self.ilm_value: np.ndarray
        self.rnfl_weight: np.ndarray
        self.thickness: np.ndarray
        # Every plane the program writes as <name>.npy is an attribute of the same name.
        self.planes: Dict[str, np.ndarray] = {name: segmentation.plane(name) for name in segmentation.plane_names()}
        for name, values in self.planes.items():
            setattr(self, name, values)

    @property
    def volume(self) -> np.ndarray:
        """The samples that were segmented (the caller's own array when it could be used without a copy)."""
        return self._segmentation.samples  # type: ignore[no-any-return]

    @property
    def segmented(self) -> bool:
        """True when at least one B-scan was segmented; otherwise the maps hold no boundary."""
        return bool(self._segmentation.segmented)

    @property
    def outcome(self) -> str:
        """How the call ended: "segmented", "too few B-scans (at least 10 are needed)" or "no B-scan could be
        segmented"."""
        return str(self.report["outcome"])

    @property
    def b_scans_segmented(self) -> int:
        """B-scans the engine segmented."""
        return int(self.report["b_scans_segmented"])

    @property
    def coverage(self) -> float:
        """Share of positions where both boundaries were found."""
        return float(self.report["coverage"])

    @property
    def axial_factor(self) -> int:
        """The resampling of the depth axis the engine ran with."""
        return int(self.report["parameters"]["axial_factor"])

    @property
    def boundaries(self) -> str:
        """The boundaries in ``ilm`` and ``rnfl``: "refined" or "legacy"."""
        return str(self.report["parameters"]["boundaries"])

    @property
    def unit(self) -> str:
        """Unit of ``thickness``: "um", or "samples" when the depth spacing is unknown."""
        return str(self.report["thickness"]["unit"])

    @property
    def thickness_stats(self) -> Dict[str, Optional[float]]:
        """mean, min, p5, p25, median, p75, p95 and max of the thickness (None when nothing was measured)."""
        return {key: value for key, value in self.report["thickness"].items() if key != "unit"}

    @property
    def spacing_um(self) -> Spacing:
        """The spacing used, in micrometres; None where unknown."""
        spacing = self.report["spacing_um"]
        return Spacing(spacing["depth"], spacing["a_scan"], spacing["b_scan"])

    def grid(self, kind: Optional[str] = None) -> Optional[Dict[str, Any]]:
        """Mean thickness on a clinical grid, as the report gives it.

        Args:
            kind: "etdrs" (macula: the 1, 3 and 6 mm rings in nine sectors) or "circle" (optic disc: the
                3.46 mm peripapillary circle in four quadrants). None gives the grid the scan kind calls for
                (ETDRS for a macular cube, the circle for a disc cube), or None when the kind is unknown.

        Returns:
            A dict with "type", "centre" (b_scan, a_scan, rule), "eye", "eye_assumed", "mean" and "sectors"
            (name -> mean, samples, samples_in_scan). Means are None where nothing was measured.

        Raises:
            ValueError: an unknown kind, an unknown lateral spacing, or nothing segmented.
        """
        if kind is None:
            grid = self.report["grid"]
            return grid if grid["type"] != "none" else None
        if not isinstance(kind, str):
            raise TypeError(f"grid: expected a str, got {type(kind).__name__}")
        return json.loads(self._segmentation.grid(kind.lower()))  # type: ignore[no-any-return]

    def __repr__(self) -> str:
        b_scans, a_scans = self.ilm.shape
        mean = self.thickness_stats["mean"]
        mean_text = "none" if mean is None else f"{mean:.1f} {self.unit}"
        return (
            f"Result({b_scans}x{a_scans}, {self.outcome}, {self.b_scans_segmented}/{b_scans} B-scans, "
            f"coverage {self.coverage:.1%}, mean thickness {mean_text})"
        )


def segment(
    volume: Union[Volume, np.ndarray],
    *,
    spacing_um: Union[None, str, Sequence[float]] = None,
    axial_factor: Union[int, str] = "auto",
    boundaries: str = "refined",
    gap_scale: float = 100.0,
    width_selector: float = 20.0,
    smoothing: int = 0,
    aux: float = 0.0,
    eye: Optional[str] = None,
    threads: Optional[int] = None,
    progress: Optional[ProgressCallback] = None,
) -> Result:
    """Segments a volume: the top of the retina and the lower boundary of the nerve-fibre layer.

    The same engine, parameters and measurements as ``velin segment``: the result's maps equal the
    program's .npy files and its report the program's report.json, byte for byte and figure for figure.

    Args:
        volume: a :class:`Volume` (from :func:`velin.read`), or a uint8 array of shape
            (B-scans, A-scans, depth). A C-contiguous uint8 array is segmented in place, without a copy;
            other layouts are copied once. Do not change the array while the call runs.
        spacing_um: (depth, between A-scans, between B-scans) in micrometres, instead of the volume's own.
            Thickness is in micrometres and grids can be evaluated only when the spacing is known.
        axial_factor: 1 to 8, or "auto": the engine sees each A-scan resampled to this many times its
            samples. auto takes round(depth spacing / 1.95 um) within 1..4 when the depth spacing is known,
            else 2 for depths up to 640 samples and 1 above.
        boundaries: "refined" (both boundaries at sub-sample depth with a confidence per point, found on the
            volume's own samples starting from the engine's) or "legacy" (the engine's whole-sample depths).
        gap_scale: gaps in a boundary shorter than trunc(100 / gap_scale + 0.5) + 5 B-scans are bridged.
        width_selector: with the A-scan count, picks the width of the engine's low-pass filter.
        smoothing: the boundary surfaces are diffused 10 * (smoothing + 1) times in the final volume pass.
        aux: auxiliary engine parameter, passed on unchanged.
        eye: "OD" or "OS" instead of the volume's own; decides where nasal and temporal are on the grids.
        threads: B-scans segmented at once, 0 to 1024; None or 0 = one per processor core, 1 = one at a
            time. The result does not depend on it.
        progress: called as progress(done, total) after each B-scan, on the calling thread.

    Returns:
        The :class:`Result`. A volume of fewer than 10 B-scans, or one in which no B-scan could be
        segmented, is not an error: ``result.segmented`` is False and ``result.outcome`` says why.

    Raises:
        TypeError: the volume is not uint8 samples in three dimensions, or an option has the wrong type.
        ValueError: an option the program would refuse, with its message.
        KeyboardInterrupt: Ctrl-C; noticed between B-scans, while the GIL is released for the engine.
    """
    if isinstance(volume, Volume):
        samples, label = volume.array, volume.source or "<array>"
        own_eye, scan_kind = volume.eye or "", volume.scan_kind or ""
        spacing = tuple(value or 0.0 for value in volume.spacing_um)
    else:
        samples, label, own_eye, scan_kind, spacing = np.asarray(volume), "<array>", "", "", (0.0, 0.0, 0.0)
        if samples.dtype != np.uint8 or samples.ndim != 3:
            raise TypeError(
                f"expected uint8 samples of shape (B-scans, A-scans, depth), got {samples.dtype} of shape "
                f"{samples.shape}; velin.read(..., scale=...) turns float samples into 8 bits"
            )
    if not samples.flags.c_contiguous:
        samples = np.ascontiguousarray(samples)
    arguments = {
        "spacing_um": _spacing_text(spacing_um),
        "axial_factor": _axial_factor_text(axial_factor),
        "boundaries": boundaries,
        "gap_scale": gap_scale,
        "width_selector": width_selector,
        "smoothing": smoothing,
        "aux": aux,
        "eye": eye,
        "threads": threads,
    }
    return Result(_velin.segment_array(samples, label, own_eye, scan_kind, spacing, arguments, progress))


def _spacing_text(spacing_um: Union[None, str, Sequence[float]]) -> Optional[str]:
    if spacing_um is None or isinstance(spacing_um, str):
        return spacing_um
    try:
        return ",".join(repr(float(value)) for value in spacing_um)
    except (TypeError, ValueError):
        raise TypeError(f"spacing_um: expected three numbers (depth, a_scan, b_scan), got {spacing_um!r}") from None


def _axial_factor_text(axial_factor: Union[int, str]) -> str:
    if isinstance(axial_factor, bool) or not isinstance(axial_factor, (int, str)):
        raise TypeError(f"axial_factor: expected an int or \"auto\", got {type(axial_factor).__name__}")
    return str(axial_factor)
