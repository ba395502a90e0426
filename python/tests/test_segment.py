"""velin.read and velin.segment give what the program writes, on the caller's memory."""

from __future__ import annotations

import json
import signal
import threading
import time
import tracemalloc
from pathlib import Path

import numpy as np
import pytest

import velin
from conftest import SPACING, SPACING_UM, make_phantom, run_program

@pytest.mark.parametrize(
    "kind, eye, grid",
    [("macula", "OD", "etdrs"), ("disc", "OS", "circle")],
)
def test_results_equal_the_programs_files_byte_for_byte(tmp_path: Path, kind: str, eye: str, grid: str) -> None:
    source = make_phantom(tmp_path / f"{kind}.npy", kind=kind, eye=eye)
    run_program("segment", str(source), "-o", str(tmp_path / "out"), "--spacing-um", SPACING, "--grid", grid,
                "--eye", eye)
    written = tmp_path / "out" / kind

    result = velin.segment(velin.read(source), spacing_um=SPACING_UM, eye=eye)

    assert sorted(f"{name}.npy" for name in result.planes) == sorted(path.name for path in written.glob("*.npy"))
    assert {"ilm", "rnfl", "ilm_value", "rnfl_weight", "thickness"} <= set(result.planes)
    for name, actual in result.planes.items():
        expected = np.load(written / f"{name}.npy")
        assert (actual.dtype, actual.shape) == (expected.dtype, expected.shape), name
        assert actual.tobytes() == expected.tobytes(), name
        assert getattr(result, name) is actual
    report = json.loads((written / "report.json").read_text())
    # The program was told the grid; the Python result gives it on request and otherwise leaves it out.
    assert result.grid(grid) == report["grid"]
    assert result.grid() is None and result.report["grid"]["type"] == "none"
    for key in set(report) - {"grid", "files"}:
        assert result.report[key] == report[key], key
    assert result.coverage == report["coverage"] and result.thickness_stats["p95"] == report["thickness"]["p95"]


def test_a_contiguous_uint8_array_is_segmented_in_place() -> None:
    volume = velin.phantom((12, 128, 512))
    samples = np.array(volume.array)  # the caller's own, writeable array
    tracemalloc.start()
    try:
        result = velin.segment(samples, spacing_um=SPACING_UM)
        _, peak = tracemalloc.get_traced_memory()
    finally:
        tracemalloc.stop()
    assert result.volume is samples
    # NumPy reports its allocations to tracemalloc: a copy of the samples would show up here.
    assert peak < samples.nbytes // 4
    assert samples.flags.writeable and result.segmented

    # A volume read from a file is used as it is too; a reversed view has to be copied once, and gives the
    # same boundaries as its contiguous copy.
    assert velin.segment(volume).volume.ctypes.data == volume.array.ctypes.data
    flipped = samples[:, ::-1, :]
    copied = velin.segment(flipped, spacing_um=SPACING_UM)
    assert copied.volume.flags.c_contiguous and not np.shares_memory(copied.volume, samples)
    np.testing.assert_array_equal(copied.ilm, velin.segment(np.ascontiguousarray(flipped), spacing_um=SPACING_UM).ilm)


def test_results_are_read_only_and_outlive_their_result() -> None:
    ilm = velin.segment(velin.phantom((12, 128, 512))).ilm
    with pytest.raises(ValueError):
        ilm[0, 0] = 5
    # The planes keep their owner alive: still depths within the scan, or NaN.
    assert ilm.base is not None and (np.isnan(ilm) | ((ilm >= 0) & (ilm < 512))).all()


def test_progress_is_reported_per_b_scan_and_its_exception_ends_the_call() -> None:
    volume = velin.phantom((12, 128, 512))
    calls = []
    serial = velin.segment(volume, threads=1, progress=lambda done, total: calls.append((done, total)))
    assert calls == [(b, 12) for b in range(1, 13)]
    # Threads change nothing in the result, and the callback still sees every B-scan once, in order.
    calls.clear()
    parallel = velin.segment(volume, threads=3, progress=lambda done, total: calls.append((done, total)))
    assert calls == [(b, 12) for b in range(1, 13)]
    assert serial.planes.keys() == parallel.planes.keys()
    for name, plane in serial.planes.items():
        np.testing.assert_array_equal(plane, parallel.planes[name])

    seen = []

    def failing(done: int, total: int) -> None:
        seen.append(done)
        raise RuntimeError("stop here")

    # The engine stops after the B-scans under way, on one thread or several, and nothing is returned.
    for threads in (1, 3):
        seen.clear()
        with pytest.raises(RuntimeError, match="stop here"):
            velin.segment(volume, threads=threads, progress=failing)
        assert seen == [1]


def test_ctrl_c_interrupts_segmentation_and_the_next_call_works() -> None:
    volume = velin.phantom((12, 128, 512))
    seen = []

    def interrupt_at_three(done: int, total: int) -> None:
        seen.append(done)
        if done == 3:
            # To this thread, as Ctrl-C reaches it: a signal sent to the process may land on an engine
            # thread and be seen by Python only after the call.
            signal.raise_signal(signal.SIGINT)

    # Python turns SIGINT into KeyboardInterrupt only if it was not ignored when Python started, as it is for
    # a job started in the background: the test sets that up itself.
    previous = signal.signal(signal.SIGINT, signal.default_int_handler)
    try:
        with pytest.raises(KeyboardInterrupt):
            velin.segment(volume, progress=interrupt_at_three)
    finally:
        signal.signal(signal.SIGINT, previous)
    assert seen[-1] == 3  # not called again once the interrupt was seen
    assert velin.segment(volume).segmented


def test_other_python_threads_run_while_the_engine_works() -> None:
    volume = velin.phantom((16, 256, 1024))
    ticks = 0
    running = True

    def tick() -> None:
        nonlocal ticks
        while running:
            ticks += 1
            time.sleep(0.001)

    thread = threading.Thread(target=tick)
    thread.start()
    try:
        before = ticks
        velin.segment(volume)
        during = ticks - before
    finally:
        running = False
        thread.join()
    # Holding the GIL for the whole call would leave the thread at most one tick.
    assert during >= 10


def test_volumes_carry_their_geometry() -> None:
    volume = velin.phantom((12, 128, 512), kind="disc", eye="OS")
    assert (volume.shape, volume.eye, volume.scan_kind) == ((12, 128, 512), "OS", "disc")
    assert volume.spacing_um == velin.Spacing(3.90625, 46.875, 500.0)
    assert not volume.array.flags.writeable and np.asarray(volume) is volume.array

    result = velin.segment(volume)
    # The disc kind picks the peripapillary circle, as the program's --grid auto does.
    assert result.grid()["type"] == "circle" and result.grid()["eye"] == "OS"
    assert result.unit == "um" and result.axial_factor == 2

    # Without a spacing, thickness is in samples and no grid can be placed.
    bare = velin.segment(np.array(volume.array))
    assert bare.unit == "samples" and bare.grid() is None
    with pytest.raises(ValueError, match="lateral spacing unknown"):
        bare.grid("etdrs")


def test_boundaries_are_refined_by_default_and_legacy_on_request() -> None:
    volume = velin.phantom((12, 128, 512))
    refined = velin.segment(volume)
    legacy = velin.segment(volume, boundaries="LEGACY")
    assert (refined.boundaries, legacy.boundaries) == ("refined", "legacy")
    assert {"ilm_confidence", "rnfl_confidence"} <= set(refined.planes) and "ilm_confidence" not in legacy.planes
    found = ~np.isnan(legacy.ilm)
    assert found.any() and (legacy.ilm[found] == np.round(legacy.ilm[found])).all()
    assert not (refined.ilm[~np.isnan(refined.ilm)] == np.round(refined.ilm[~np.isnan(refined.ilm)])).all()
    with pytest.raises(ValueError, match="boundaries: expected refined or legacy, got 'best'"):
        velin.segment(volume, boundaries="best")
