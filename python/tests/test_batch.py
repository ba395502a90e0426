"""python -m velin.batch: the program's outputs per volume, cohort.csv, resuming, folders published whole."""

from __future__ import annotations

import csv
from pathlib import Path

import pytest

from conftest import SPACING, cohort_inputs, folder_files, run_batch, run_program
from velin.batch import cohort, folders
from velin.batch.driver import already_done, parameters_text
from velin.batch.inputs import InputError, expand_inputs
from velin.batch.task import VolumeJob

OPTIONS = ["--spacing-um", SPACING, "--grid", "etdrs", "--eye", "OD"]


def read_rows(path: Path) -> list:
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


def test_batch_of_four_volumes_with_one_corrupt(cohort_dir: Path, tmp_path: Path) -> None:
    inputs = cohort_inputs(cohort_dir)
    out = tmp_path / "out"
    first = run_batch(*inputs, "-o", str(out), "--workers", "2", *OPTIONS, cwd=tmp_path)
    assert first.returncode == 1, first.stderr

    rows = read_rows(out / "cohort.csv")
    assert [(row["input"], row["status"]) for row in rows] == [
        (inputs[0], "ok"), (inputs[1], "ok"), (inputs[2], "ok"), (inputs[3], "failed")]
    failed = rows[3]
    assert failed["error"].startswith("truncated .npy file") and failed["b_scans"] == ""
    assert not (out / "corrupt").exists()

    # Every volume folder holds what velin segment writes, byte for byte, and nothing else is left.
    reference = tmp_path / "reference"
    program = run_program("segment", *inputs, "-o", str(reference), *OPTIONS, check=False)
    assert program.returncode == 1
    for row in rows[:3]:
        assert folder_files(out / row["folder"]) == folder_files(reference / row["folder"])
        assert row["grid"] == "etdrs" and float(row["etdrs_central"]) > 0 and row["b_scans_segmented"] == "12"
    assert sorted(entry.name for entry in out.iterdir()) == ["cohort.csv", "eye1", "eye2", "eye3"]

    # A second run skips the volumes done with the same options, retries the failed one, and keeps the table.
    report = out / "eye2" / "report.json"
    written = report.stat().st_mtime_ns
    second = run_batch(*inputs, "-o", str(out), "--workers", "1", *OPTIONS, cwd=tmp_path)
    assert second.returncode == 1 and "3 of 4 volumes already done" in second.stdout
    assert report.stat().st_mtime_ns == written
    assert read_rows(out / "cohort.csv") == rows


def test_resuming_needs_the_same_options_and_a_complete_folder(cohort_dir: Path, tmp_path: Path) -> None:
    out = tmp_path / "out"
    source = str(cohort_dir / "eye1.npy")
    arguments = {"spacing_um": SPACING, "grid": "etdrs", "smoothing": 0, "gap_scale": 100.0,
                 "width_selector": 20.0, "aux": 0.0, "axial_factor": "auto", "layout": "BAD", "flip": ""}
    job = VolumeJob(source, str(out / "eye1"), arguments, parameters_text(arguments))
    run_program("segment", source, "-o", str(out), "--spacing-um", SPACING, "--grid", "etdrs")
    row = cohort.make_row(source, "eye1", job.parameters, None, None)
    assert already_done(job, row)

    smoother = dict(arguments, smoothing=1)
    assert not already_done(VolumeJob(source, job.folder, smoother, parameters_text(smoother)),
                            dict(row, parameters=parameters_text(smoother)))
    assert not already_done(job, dict(row, parameters=parameters_text(dict(arguments, eye="OS"))))
    assert not already_done(VolumeJob(str(cohort_dir / "eye2.npy"), job.folder, arguments, job.parameters), row)
    (out / "eye1" / "thickness.png").unlink()
    assert not already_done(job, row)


def test_a_folder_is_replaced_whole_and_keeps_files_velin_does_not_write(tmp_path: Path) -> None:
    final = tmp_path / "eye"
    final.mkdir()
    for name in ("notes.txt", "overlay_099.png", "report.json"):
        (final / name).write_text("earlier")
    staging = folders.staging_folder(final)
    staging.mkdir()
    (staging / "report.json").write_text("new")

    folders.publish(staging, final)
    assert folder_files(final) == {"notes.txt": b"earlier", "report.json": b"new"}
    assert sorted(entry.name for entry in tmp_path.iterdir()) == ["eye"]

    # A worker lost between its two renames leaves the earlier folder aside: it comes back; a staging folder
    # of a lost worker goes.
    aside = tmp_path / ".lost.velin-old-0123456789ab"
    aside.mkdir()
    (aside / "report.json").write_text("kept")
    (tmp_path / ".eye.velin-new-0123456789ab").mkdir()
    (tmp_path / ".eye.velin-old-ba9876543210").mkdir()
    folders.recover(tmp_path)
    assert sorted(entry.name for entry in tmp_path.iterdir()) == ["eye", "lost"]
    assert (tmp_path / "lost" / "report.json").read_text() == "kept"


def test_inputs_from_folders_and_manifests(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    data = tmp_path / "data"
    (data / "b" / ".hidden").mkdir(parents=True)
    (data / "out").mkdir()
    for name in ("b/z.img", "b/.x.npy", "b/.hidden/y.npy", "a.NPY", "notes.md", "out/ilm.npy", "c.tif"):
        (data / name).write_bytes(b"")
    assert expand_inputs([str(data)], str(data / "out")) == [
        str(data / "a.NPY"), str(data / "c.tif"), str(data / "b" / "z.img")]

    (tmp_path / "list.txt").write_text("# cohort A\ndata/a.NPY\n\n/abs/scan.vol\n")
    (tmp_path / "list.csv").write_text("eye,path\nOD,data/c.tif\nOS,missing.img\n")
    (tmp_path / "plain.csv").write_text("data/a.NPY,first\n")
    monkeypatch.chdir(tmp_path)
    assert expand_inputs(["list.txt", "list.csv", "plain.csv", "direct.raw"], "out") == [
        str(data / "a.NPY"), "/abs/scan.vol", str(data / "c.tif"), str(tmp_path / "missing.img"),
        str(data / "a.NPY"), str(tmp_path / "direct.raw")]

    (tmp_path / "holes.csv").write_text("path\n\ndata/a.NPY\n,x\n")
    with pytest.raises(InputError, match="row 2 names no volume"):
        expand_inputs(["holes.csv"], "out")


def test_bad_options_are_usage_errors(tmp_path: Path) -> None:
    finished = run_batch("x.npy", "-o", str(tmp_path / "out"), "--spacing-um", "1,2", cwd=tmp_path)
    assert finished.returncode == 2
    assert finished.stderr.strip() == ("velin.batch: error: --spacing-um: expected three numbers dz,dx,dy in "
                                       "micrometres, got '1,2' (see 'python -m velin.batch --help')")
    assert not (tmp_path / "out").exists()
