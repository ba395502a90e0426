"""A batch on a cluster started the HPC way (dask scheduler and dask worker with a scheduler file, here on
loopback) finishes every volume although one worker is killed while it runs."""

from __future__ import annotations

import csv
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Iterator, List

import pytest

from conftest import folder_files, make_phantom, run_program

VOLUMES = 8
START_TIMEOUT_S = 60


def dask(*arguments: str, log: Path) -> subprocess.Popen:
    # A session of its own, so that a worker's nanny and its worker process can be killed together.
    with open(log, "w") as out:
        return subprocess.Popen([sys.executable, "-m", "dask", *arguments], stdout=out, stderr=subprocess.STDOUT,
                                start_new_session=True)


def wait_for(condition, what: str, processes: List[subprocess.Popen]) -> None:
    deadline = time.monotonic() + START_TIMEOUT_S
    while not condition():
        if time.monotonic() > deadline or any(p.poll() is not None for p in processes):
            raise AssertionError(f"gave up waiting for {what}")
        time.sleep(0.1)


@pytest.fixture
def cluster(tmp_path: Path) -> Iterator[tuple]:
    scheduler_file = tmp_path / "scheduler.json"
    loopback = ["--host", "127.0.0.1", "--no-dashboard"]
    scheduler = dask("scheduler", "--scheduler-file", str(scheduler_file), "--port", "0", *loopback,
                     log=tmp_path / "scheduler.log")
    processes = [scheduler]
    try:
        wait_for(scheduler_file.exists, "the scheduler file", processes)
        workers = [dask("worker", "--scheduler-file", str(scheduler_file), "--nthreads", "1", "--nworkers", "1",
                        "--local-directory", str(tmp_path / f"worker{k}"), *loopback, log=tmp_path / f"worker{k}.log")
                   for k in range(2)]
        processes += workers
        yield scheduler_file, workers, tmp_path / "scheduler.log"
    finally:
        for process in processes:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGTERM)
        for process in processes:
            try:
                process.wait(timeout=20)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()


def finished_rows(table: Path) -> int:
    try:
        return max(0, len(table.read_text().splitlines()) - 1)
    except FileNotFoundError:
        return 0


def test_a_worker_killed_mid_run_loses_no_volume(cluster: tuple, tmp_path: Path) -> None:
    scheduler_file, workers, scheduler_log = cluster
    data = tmp_path / "data"
    data.mkdir()
    # Volumes that take about a second each, so that the kill falls inside the run.
    inputs = [str(make_phantom(data / f"eye{k}.npy", shape="16x256x1024", seed=k)) for k in range(VOLUMES)]
    out = tmp_path / "out"
    options = ["--spacing-um", "1.953125,23.4375,375", "--grid", "etdrs"]
    batch = subprocess.Popen([sys.executable, "-m", "velin.batch", str(data), "-o", str(out), "--scheduler-file",
                              str(scheduler_file), *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                             text=True)
    try:
        wait_for(lambda: finished_rows(out / "cohort.csv") >= 1, "the first volume", [batch])
        os.killpg(workers[0].pid, signal.SIGKILL)
        workers[0].wait()
        _, stderr = batch.communicate(timeout=300)
    finally:
        if batch.poll() is None:
            batch.kill()
    assert batch.returncode == 0, stderr
    # The scheduler saw the worker go while it held volumes, which therefore ran again on the other one.
    assert re.search(r"Remove worker .*processing: [1-9]", scheduler_log.read_text())
    with open(out / "cohort.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    assert [row["input"] for row in rows] == inputs and {row["status"] for row in rows} == {"ok"}
    assert finished_rows(out / "cohort.csv") == VOLUMES
    # Nothing half-written: every folder is exactly the program's, and no staging folder is left.
    assert sorted(entry.name for entry in out.iterdir()) == ["cohort.csv"] + [f"eye{k}" for k in range(VOLUMES)]
    reference = tmp_path / "reference"
    run_program("segment", inputs[-1], inputs[0], "-o", str(reference), *options)
    for name in ("eye0", f"eye{VOLUMES - 1}"):
        assert folder_files(out / name) == folder_files(reference / name)
