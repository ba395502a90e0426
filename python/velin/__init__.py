"""Velin: segmentation of retinal OCT volumes, from Python.

Read a volume with :func:`read` (the program's readers: .img, .raw, .npy, .tif, .vol, DICOM), or take any uint8
array of shape (B-scans, A-scans, depth), and segment it with :func:`segment`. The :class:`Result` holds
the depth maps, the nerve-fibre-layer thickness, the report's figures and the clinical grids, equal to what
``velin segment`` writes. Cohorts run on a Dask cluster with ``python -m velin.batch``.

>>> import velin
>>> volume = velin.read("scan.img")
>>> result = velin.segment(volume)
>>> result.thickness.shape, result.coverage
"""

from velin._velin import __version__
from velin.segmentation import Result, segment
from velin.volume import Spacing, Volume, phantom, read

__all__ = ["Result", "Spacing", "Volume", "__version__", "phantom", "read", "segment"]
