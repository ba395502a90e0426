"""The work of one volume, as a Dask task runs it on a worker."""

from __future__ import annotations

import json
import shutil
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Dict, Optional

from velin import _velin
from velin.batch import cohort, folders


@dataclass(frozen=True)
class VolumeJob:
    """One volume of a batch: where it comes from, where its outputs go, and the segment options."""

    input: str  # absolute path, also what report.json and cohort.csv give as the input
    folder: str  # absolute path of OUTDIR/<stem>
    arguments: Dict[str, Any]  # the segment options, keyed as velin._velin.check_arguments takes them
    parameters: str  # the options as cohort.csv records them

    @property
    def folder_name(self) -> str:
        return Path(self.folder).name


def run_volume(job: VolumeJob) -> cohort.Row:
    """Segments the volume into a staging folder with the program's own code and publishes the folder
    whole. A failing volume is a row with its error, never an exception, so that it stops nothing else."""
    final = Path(job.folder)
    staging = folders.staging_folder(final)
    published = False
    try:
        error = _velin.segment_file(job.input, str(staging), job.arguments)
        # report.json is written last: without it the folder is incomplete (an output could not be written)
        # and is not published. A volume that could not be segmented has its report, as with velin segment.
        if (staging / "report.json").is_file():
            folders.publish(staging, final)
            published = True
    except OSError as failure:
        error = f"cannot publish the outputs: {failure.strerror or failure} ({final})"
    finally:
        shutil.rmtree(staging, ignore_errors=True)
    report = read_report(final) if published else None
    return cohort.make_row(job.input, job.folder_name, job.parameters, report, error)


def read_report(folder: Path) -> Optional[Dict[str, Any]]:
    """A volume folder's report.json; None when it is missing or unreadable."""
    try:
        with open(folder / "report.json", encoding="utf-8") as file:
            return json.load(file)  # type: ignore[no-any-return]
    except (OSError, ValueError):
        return None
