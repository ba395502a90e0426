"""Compiled part of the velin package (pybind11); use the functions of velin itself."""

from typing import Any, Callable, Dict, List, Optional, Tuple

import numpy as np

__version__: str

def check_arguments(arguments: Dict[str, Any], option_names: bool = False) -> None: ...
def read_volume(
    path: str, arguments: Dict[str, Any]
) -> Tuple[np.ndarray, Optional[str], Optional[str], Tuple[float, float, float]]: ...
def make_phantom(
    b_scans: int, a_scans: int, depth: int, seed: int, noise: float, kind: str, eye: str
) -> Tuple[np.ndarray, Optional[str], Optional[str], Tuple[float, float, float]]: ...

class Segmentation:
    samples: np.ndarray
    segmented: bool
    def plane(self, name: str) -> np.ndarray: ...
    def report(self) -> str: ...
    def grid(self, kind: str) -> str: ...

def segment_array(
    samples: np.ndarray,
    label: str,
    eye: str,
    scan_kind: str,
    spacing: Tuple[float, float, float],
    arguments: Dict[str, Any],
    progress: Optional[Callable[[int, int], None]],
) -> Segmentation: ...
def segment_file(input: str, output_dir: str, arguments: Dict[str, Any]) -> Optional[str]: ...
def is_output_name(name: str) -> bool: ...
def volume_folders(inputs: List[str], output_dir: str) -> List[str]: ...
