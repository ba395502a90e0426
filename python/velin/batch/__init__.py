"""Cohort batches: many volumes segmented on a Dask cluster, one task per volume.

``python -m velin.batch INPUT... -o OUTDIR`` writes for every volume exactly what ``velin segment`` writes
into ``OUTDIR/<stem>/``, and one row per volume into ``OUTDIR/cohort.csv``. See :func:`run_batch`.
"""

from velin.batch.driver import run_batch

__all__ = ["run_batch"]
