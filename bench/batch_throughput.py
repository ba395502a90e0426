"""Volumes per minute of a cohort batch (python -m velin.batch) with local clusters of 1 and 2 workers,
next to the program's own parallel mode (velin segment -j N) on the same volumes.

    .venv/bin/python bench/batch_throughput.py [--volumes 16] [--workers 1 2] [--shape 128x512x1024]

Phantoms are made once in a temporary folder; every run writes into a fresh output folder and is timed
from start to exit, cluster start-up included. Wall time on a shared machine depends on what else runs, so
the processor model and the load average are printed with it, and so is the processor time of the run and
all its processes (workers included) per volume, which does not.
"""

from __future__ import annotations

import argparse
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import List, Tuple

REPO = Path(__file__).resolve().parents[1]
PROGRAM = Path(os.environ.get("VELIN_CLI", REPO / "build" / "tools" / "velin"))
# The phantom's geometry: 6 x 6 mm and 2 mm of depth.
FIELD_UM, DEPTH_UM = 6000.0, 2000.0


def processor() -> str:
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def timed(command: List[str]) -> Tuple[float, float]:
    """Wall seconds and processor seconds of the command and every process it waited for."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    subprocess.run(command, check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wall = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--volumes", type=int, default=16)
    parser.add_argument("--workers", type=int, nargs="+", default=[1, 2])
    parser.add_argument("--shape", default="128x512x1024")
    args = parser.parse_args()
    b_scans, a_scans, depth = (int(size) for size in args.shape.split("x"))
    spacing = f"{DEPTH_UM / depth!r},{FIELD_UM / a_scans!r},{FIELD_UM / b_scans!r}"
    options = ["--spacing-um", spacing, "--grid", "etdrs", "--eye", "OD"]

    with tempfile.TemporaryDirectory(prefix="velin-batch-bench-") as scratch:
        data = Path(scratch) / "data"
        data.mkdir()
        for seed in range(1, args.volumes + 1):
            subprocess.run([str(PROGRAM), "phantom", "-o", str(data / f"eye{seed:02d}.npy"), "--shape", args.shape,
                            "--seed", str(seed)], check=True, stdout=subprocess.DEVNULL)
        inputs = sorted(str(path) for path in data.glob("eye??.npy"))
        print(f"{args.volumes} phantoms of {args.shape}; {processor()}, {os.cpu_count()} cores; "
              f"load average before: {os.getloadavg()[0]:.1f}")
        for workers in args.workers:
            runs = {
                f"velin.batch --workers {workers}": [sys.executable, "-m", "velin.batch", *inputs, "--workers",
                                                     str(workers)],
                f"velin segment -j {workers}": [str(PROGRAM), "segment", *inputs, "-j", str(workers)],
            }
            for name, command in runs.items():
                out = Path(scratch) / "out"
                seconds, processor_seconds = timed([*command, "-o", str(out), *options])
                shutil.rmtree(out, ignore_errors=True)
                print(f"{name:28s} {seconds:6.1f} s  {60 * args.volumes / seconds:5.1f} volumes/min  "
                      f"{processor_seconds / args.volumes:5.2f} processor s/volume  "
                      f"(load average {os.getloadavg()[0]:.1f})")


if __name__ == "__main__":
    main()
