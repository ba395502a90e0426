"""A batch from start to end: the volumes, what an earlier run already did, the cluster, the table."""

from __future__ import annotations

import logging
import os
import sys
import tempfile
from contextlib import contextmanager
from pathlib import Path
from typing import Any, Dict, Iterator, List, Mapping, Optional, Sequence

import numpy as np

from velin import _velin
from velin.batch import cohort, folders
from velin.batch.inputs import expand_inputs
from velin.batch.progress import ProgressBar
from velin.batch.task import VolumeJob, read_report, run_volume

EXIT_OK = 0
EXIT_FAILED = 1
EXIT_INTERRUPTED = 130

# The order in which cohort.csv records the options; a volume is skipped only when all of them match.
PARAMETER_KEYS = (
    "shape", "layout", "flip", "scale", "spacing_um", "axial_factor", "grid", "eye",
    "gap_scale", "width_selector", "aux", "smoothing", "boundaries",
)
# The engine's parameters as report.json holds them (float32, as the engine takes them).
REPORTED_FLOATS = {"gap_scale": "gap_scale", "width_selector": "width_selector", "aux": "aux"}


class BatchError(Exception):
    """A batch cannot start: nothing to do, or the output folder cannot be used."""


def parameters_text(arguments: Mapping[str, Any]) -> str:
    """The options in one canonical line, e.g. "shape= layout=BAD ... smoothing=0"."""
    def canonical(key: str, value: Any) -> str:
        if value is None:
            return ""
        if key in ("layout", "flip", "eye"):
            return str(value).upper()
        if key in ("grid", "scale", "axial_factor", "boundaries"):
            return str(value).lower()
        return repr(float(value)) if key in REPORTED_FLOATS else str(value)

    return " ".join(f"{key}={canonical(key, arguments.get(key))}" for key in PARAMETER_KEYS)


def engine_threads(workers: Optional[int], scheduler: Optional[str], scheduler_file: Optional[str]) -> int:
    """Threads each volume gets when the options do not say: a local cluster's cores shared among its worker
    processes (one per core by default, so one thread each), never more threads than cores in total. A
    cluster elsewhere runs a process per core it was given (dask worker --nthreads 1), so one thread each."""
    if scheduler or scheduler_file:
        return 1
    cores = os.cpu_count() or 1
    return max(1, cores // (workers or cores))


def _float32(value: Any) -> float:
    return float(np.float32(value))


def already_done(job: VolumeJob, row: Mapping[str, str]) -> bool:
    """Whether an earlier batch's row and the volume's report.json show the volume done with these options."""
    if row.get("parameters") != job.parameters or row.get("status") not in (cohort.OK, cohort.FAILED):
        return False
    if row["status"] == cohort.FAILED and not row.get("b_scans"):
        return False  # it failed without a report (e.g. unreadable): worth another try
    folder = Path(job.folder)
    report = read_report(folder)
    if report is None or report.get("input") != job.input:
        return False
    reported = report.get("parameters", {})
    for key, name in REPORTED_FLOATS.items():
        if reported.get(name) != _float32(job.arguments.get(key)):
            return False
    if reported.get("smoothing") != job.arguments.get("smoothing"):
        return False
    if reported.get("boundaries") != str(job.arguments.get("boundaries", "refined")).lower():
        return False
    if str(job.arguments.get("axial_factor")).lower() != "auto" and str(reported.get("axial_factor")) != str(
        job.arguments.get("axial_factor")
    ):
        return False
    return all((folder / name).is_file() for name in report.get("files", []))


def prepare_output_folder(output: Path) -> None:
    if output.exists() and not output.is_dir():
        raise BatchError(f"the output path is a file, not a folder ({output})")
    try:
        output.mkdir(parents=True, exist_ok=True)
        probe = output / ".velin-write-test"
        probe.write_bytes(b"x")
        probe.unlink()
    except OSError as error:
        raise BatchError(f"the output folder is not writable: {error.strerror} ({output})") from None


@contextmanager
def connect(workers: Optional[int], scheduler: Optional[str], scheduler_file: Optional[str]) -> Iterator[Any]:
    """A client of the cluster named, or of a local cluster of `workers` processes (default: one per core),
    each running one volume at a time."""
    try:
        from distributed import Client, LocalCluster
    except ImportError:
        raise BatchError("batches need Dask's distributed scheduler (Debian package python3-distributed)") from None

    if scheduler is not None or scheduler_file is not None:
        if scheduler_file is not None and not Path(scheduler_file).exists():
            # Under a batch system the scheduler may still be starting; Dask waits for its file to appear.
            print(f"velin.batch: waiting for the scheduler file {scheduler_file}", file=sys.stderr, flush=True)
        try:
            client = Client(scheduler, scheduler_file=scheduler_file)
        except (OSError, TimeoutError, ValueError) as error:
            where = scheduler if scheduler is not None else f"the scheduler of {scheduler_file}"
            raise BatchError(f"cannot reach {where}: {error}") from None
        try:
            yield client
        finally:
            client.close()
        return
    # A work folder of its own: the shared default may hold stale locks of killed workers, whose clean-up
    # the workers would report on the terminal.
    with tempfile.TemporaryDirectory(prefix="velin-dask-") as scratch:
        cluster = LocalCluster(
            n_workers=workers or os.cpu_count() or 1,
            threads_per_worker=1,
            processes=True,
            dashboard_address=None,
            silence_logs=logging.ERROR,
            local_directory=scratch,
        )
        try:
            with Client(cluster) as client:
                yield client
        finally:
            cluster.close()


def done_line(row: Mapping[str, str]) -> str:
    if row["status"] == cohort.OK:
        mean = row["thickness_mean"]
        thickness = f", mean RNFL thickness {float(mean):.1f} {row['thickness_unit']}" if mean else ""
        return (
            f"velin.batch: {row['input']}: {row['b_scans_segmented']}/{row['b_scans']} B-scans segmented, "
            f"coverage {float(row['coverage']):.1%}{thickness} -> {row['folder']}"
        )
    return f"velin.batch: {row['input']}: failed: {row['error']}"


def run_batch(
    inputs: Sequence[str],
    output_dir: str,
    arguments: Dict[str, Any],
    *,
    workers: Optional[int] = None,
    scheduler: Optional[str] = None,
    scheduler_file: Optional[str] = None,
) -> int:
    """Segments every volume named by `inputs` into `output_dir`, one Dask task per volume.

    `arguments` are the segment options keyed as velin.segment's keywords plus the reading options (shape,
    layout, flip, scale, grid). Volumes whose folder already holds a report of an earlier batch with the same
    options are skipped. Returns the exit status: 0 when every volume is ok, 1 when one failed, 130 when
    interrupted. Raises ValueError or TypeError for bad options and BatchError when the batch cannot start.
    """
    _velin.check_arguments(arguments, option_names=True)
    output = Path(output_dir).resolve()
    prepare_output_folder(output)
    volumes = expand_inputs(inputs, str(output))
    if not volumes:
        raise BatchError("no volume files found in the inputs given")
    # The thread count changes no output, so it stays out of the parameters a finished volume is matched by.
    parameters = parameters_text(arguments)
    engine_arguments = dict(arguments)
    if engine_arguments.get("threads") is None:
        engine_arguments["threads"] = engine_threads(workers, scheduler, scheduler_file)
    jobs = [
        VolumeJob(volume, folder, dict(engine_arguments), parameters)
        for volume, folder in zip(volumes, _velin.volume_folders(volumes, str(output)))
    ]
    table = output / "cohort.csv"
    folders.recover(output)

    earlier = {(row["input"], row["folder"]): row for row in cohort.read_cohort(table)}
    rows: Dict[int, cohort.Row] = {}
    for index, job in enumerate(jobs):
        row = earlier.get((job.input, job.folder_name))
        if row is not None and already_done(job, row):
            rows[index] = row
    cohort.write_cohort(table, [rows[index] for index in sorted(rows)])

    bar = ProgressBar(len(jobs), done=len(rows), failed=sum(row["status"] != cohort.OK for row in rows.values()))
    if rows:
        bar.line(f"velin.batch: {len(rows)} of {len(jobs)} volumes already done with these options; skipped")
    else:
        bar.show()
    todo: List[int] = [index for index in range(len(jobs)) if index not in rows]
    interrupted = False
    try:
        if todo:
            interrupted = _run(jobs, todo, rows, table, bar, workers, scheduler, scheduler_file)
    finally:
        bar.close()
        folders.recover(output)
        cohort.write_cohort(table, [rows[index] for index in sorted(rows)])
    if interrupted:
        print(f"velin.batch: interrupted; {len(jobs) - len(rows)} volumes not finished have no outputs")
        return EXIT_INTERRUPTED
    return EXIT_OK if all(row["status"] == cohort.OK for row in rows.values()) else EXIT_FAILED


def _run(
    jobs: List[VolumeJob],
    todo: List[int],
    rows: Dict[int, cohort.Row],
    table: Path,
    bar: ProgressBar,
    workers: Optional[int],
    scheduler: Optional[str],
    scheduler_file: Optional[str],
) -> bool:
    """Runs the volumes `todo` on the cluster; returns whether Ctrl-C stopped it."""
    with connect(workers, scheduler, scheduler_file) as client:
        from distributed import as_completed

        futures = {client.submit(run_volume, jobs[index], pure=False): index for index in todo}
        try:
            for future in as_completed(futures):
                index = futures.pop(future)
                job = jobs[index]
                try:
                    row = future.result()
                except Exception as error:  # the task itself broke, e.g. its workers kept dying
                    row = cohort.make_row(job.input, job.folder_name, job.parameters, None,
                                          f"the task failed: {type(error).__name__}: {error}")
                rows[index] = row
                cohort.append_row(table, row)
                bar.advance(row["status"] != cohort.OK)
                bar.line(done_line(row))
        except KeyboardInterrupt:
            client.cancel(list(futures))
            return True
    return False
