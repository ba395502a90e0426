"""cohort.csv: one row per volume of a batch, with the figures of its report.json."""

from __future__ import annotations

import csv
import io
import math
import os
from pathlib import Path
from typing import Any, Dict, Iterable, List, Mapping, Optional

Row = Dict[str, str]

# Sector names as the reports give them; every row has every column, empty where it does not apply.
ETDRS_SECTORS = (
    "central",
    "inner_superior",
    "inner_nasal",
    "inner_inferior",
    "inner_temporal",
    "outer_superior",
    "outer_nasal",
    "outer_inferior",
    "outer_temporal",
)
CIRCLE_SECTORS = ("all", "superior", "nasal", "inferior", "temporal")
THICKNESS_FIGURES = ("mean", "min", "p5", "p25", "median", "p75", "p95", "max")

COLUMNS = (
    ["input", "folder", "status", "error", "b_scans", "b_scans_segmented", "coverage", "thickness_unit"]
    + [f"thickness_{figure}" for figure in THICKNESS_FIGURES]
    + ["grid", "grid_mean"]
    + [f"etdrs_{sector}" for sector in ETDRS_SECTORS]
    + [f"circle_{sector}" for sector in CIRCLE_SECTORS]
    + ["eye", "scan_kind", "spacing_depth_um", "spacing_a_scan_um", "spacing_b_scan_um", "axial_factor"]
    + ["parameters"]
)

OK = "ok"
FAILED = "failed"


def _cell(value: Any) -> str:
    if value is None:
        return ""
    if isinstance(value, float):
        return "" if not math.isfinite(value) else repr(value)
    return str(value)


def make_row(
    input_path: str, folder: str, parameters: str, report: Optional[Mapping[str, Any]], error: Optional[str]
) -> Row:
    """The row of one volume: its report's figures (when it has a report) and its outcome."""
    row: Row = {column: "" for column in COLUMNS}
    row.update(input=input_path, folder=folder, parameters=parameters)
    row["status"] = OK if error is None else FAILED
    row["error"] = error or ""
    if report is None:
        return row
    row["b_scans"] = _cell(report["shape"]["b_scans"])
    row["b_scans_segmented"] = _cell(report["b_scans_segmented"])
    row["coverage"] = _cell(report["coverage"])
    thickness = report["thickness"]
    row["thickness_unit"] = thickness["unit"]
    for figure in THICKNESS_FIGURES:
        row[f"thickness_{figure}"] = _cell(thickness[figure])
    grid = report["grid"]
    row["grid"] = grid["type"]
    if grid["type"] != "none":
        row["grid_mean"] = _cell(grid["mean"])
        for name, sector in grid["sectors"].items():
            row[f"{grid['type']}_{name}"] = _cell(sector["mean"])
    row["eye"] = _cell(report["eye"])
    row["scan_kind"] = _cell(report["scan_kind"])
    spacing = report["spacing_um"]
    for axis in ("depth", "a_scan", "b_scan"):
        row[f"spacing_{axis}_um"] = _cell(spacing[axis])
    row["axial_factor"] = _cell(report["parameters"]["axial_factor"])
    return row


def _csv_text(rows: Iterable[Mapping[str, str]], header: bool) -> str:
    out = io.StringIO()
    writer = csv.DictWriter(out, fieldnames=COLUMNS, lineterminator="\n")
    if header:
        writer.writeheader()
    writer.writerows(rows)
    return out.getvalue()


def write_cohort(path: Path, rows: Iterable[Mapping[str, str]]) -> None:
    """Writes the whole table under a temporary name and renames it over `path` once complete."""
    temporary = path.with_name(f".{path.name}.tmp-{os.getpid()}")
    try:
        with open(temporary, "w", encoding="utf-8", newline="") as file:
            file.write(_csv_text(rows, header=True))
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, path)
    except BaseException:
        temporary.unlink(missing_ok=True)
        raise


def append_row(path: Path, row: Mapping[str, str]) -> None:
    """Adds one row at the end while a batch runs, so that an interrupted batch still knows what it did."""
    with open(path, "a", encoding="utf-8", newline="") as file:
        file.write(_csv_text([row], header=False))


def read_cohort(path: Path) -> List[Row]:
    """The rows of an earlier batch's table; none when there is none. A row cut short by a crash is
    dropped."""
    try:
        with open(path, encoding="utf-8", newline="") as file:
            reader = csv.DictReader(file)
            return [row for row in reader if None not in row.values() and None not in row]
    except FileNotFoundError:
        return []
