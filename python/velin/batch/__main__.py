"""python -m velin.batch INPUT... -o OUTDIR: a cohort segmented on a Dask cluster."""

from __future__ import annotations

import argparse
import sys
from typing import List, Optional

from velin import _velin
from velin.batch.driver import EXIT_FAILED, BatchError, run_batch
from velin.batch.inputs import InputError

USAGE_ERROR = 2


def parser() -> argparse.ArgumentParser:
    p = argparse.ArgumentParser(
        prog="python -m velin.batch",
        description="Segment a cohort of OCT volumes on a Dask cluster: one task per volume, each writing what "
        "'velin segment' writes to OUTDIR/<stem>/, and one row per volume in OUTDIR/cohort.csv. Volumes already "
        "done with the same options are skipped.",
        epilog="Exit status: 0 when every volume is ok, 1 when one failed, 2 for a wrong command line, 130 when "
        "interrupted.",
    )
    p.add_argument("inputs", nargs="+", metavar="INPUT",
                   help="volume files, folders of them, or .txt/.csv manifests listing them")
    p.add_argument("-o", "--output", required=True, metavar="OUTDIR", help="folder that receives OUTDIR/<stem>/")
    cluster = p.add_mutually_exclusive_group()
    cluster.add_argument("--workers", type=int, metavar="N", help="start a local cluster of N worker processes "
                         "(default: one per core)")
    cluster.add_argument("--scheduler", metavar="ADDRESS", help="join the cluster of this scheduler")
    cluster.add_argument("--scheduler-file", metavar="FILE",
                         help="join the cluster started with 'dask scheduler --scheduler-file FILE'")
    segment = p.add_argument_group("segment options (as for 'velin segment')")
    segment.add_argument("--shape", metavar="BxAxD", help="B-scans x A-scans x depth (needed for .raw)")
    segment.add_argument("--layout", default="BAD", metavar="ORDER", help="axis order of a .raw file (default BAD)")
    segment.add_argument("--flip", default="", metavar="AXES", help="axes to reverse after reading, of B, A, D")
    segment.add_argument("--scale", metavar="RULE", help="minmax, clip255 or fourthroot (needed for float .npy)")
    segment.add_argument("--gap-scale", type=float, default=100.0, metavar="X", help="gap bridging (default 100)")
    segment.add_argument("--width-selector", type=float, default=20.0, metavar="N",
                         help="low-pass filter width selector (default 20)")
    segment.add_argument("--aux", type=float, default=0.0, metavar="X", help="auxiliary engine parameter")
    segment.add_argument("--smoothing", type=int, default=0, metavar="N", help="10*(N+1) diffusion steps")
    segment.add_argument("--spacing-um", metavar="DZ,DX,DY", help="sample spacing in micrometres")
    segment.add_argument("--axial-factor", default="auto", metavar="N|auto", help="axial resampling (default auto)")
    segment.add_argument("--grid", default="auto", metavar="GRID", help="etdrs, circle, none or auto")
    segment.add_argument("--eye", metavar="EYE", help="OD or OS, instead of the file's")
    segment.add_argument("--boundaries", default="refined", metavar="MODE",
                         help="refined (sub-sample, the default) or legacy (the engine's whole samples)")
    return p


def main(argv: Optional[List[str]] = None) -> int:
    args = parser().parse_args(argv)
    if args.workers is not None and args.workers < 1:
        parser().error(f"argument --workers: expected a positive number, got {args.workers}")
    arguments = {
        "shape": args.shape,
        "layout": args.layout,
        "flip": args.flip,
        "scale": args.scale,
        "spacing_um": args.spacing_um,
        "axial_factor": args.axial_factor,
        "grid": args.grid,
        "eye": args.eye,
        "gap_scale": args.gap_scale,
        "width_selector": args.width_selector,
        "aux": args.aux,
        "smoothing": args.smoothing,
        "boundaries": args.boundaries,
    }
    try:
        _velin.check_arguments(arguments, option_names=True)
    except (ValueError, TypeError) as error:
        print(f"velin.batch: error: {error} (see 'python -m velin.batch --help')", file=sys.stderr)
        return USAGE_ERROR
    try:
        return run_batch(args.inputs, args.output, arguments, workers=args.workers, scheduler=args.scheduler,
                         scheduler_file=args.scheduler_file)
    except (BatchError, InputError) as error:
        print(f"velin.batch: error: {error}", file=sys.stderr)
        return EXIT_FAILED

if __name__ == "__main__":
    sys.exit(main())
