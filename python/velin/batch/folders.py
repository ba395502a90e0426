"""A volume's folder appears complete or not at all.

A task writes the volume's outputs into a staging folder beside the final one, ``.<name>.velin-new-<token>``,
and then renames it into place. A folder from an earlier run is first renamed aside to
``.<name>.velin-old-<token>`` and removed once the new one is in place; files in it that Velin does not
write are carried over, as ``velin segment`` keeps them. A worker lost at any moment therefore leaves
either the old folder or the new one under the final name, plus hidden leftovers that :func:`recover`
settles at the start and the end of every batch.
"""

from __future__ import annotations

import errno
import os
import re
import shutil
import uuid
from pathlib import Path

from velin import _velin

_LEFTOVER = re.compile(r"^\.(?P<name>.+)\.velin-(?P<kind>new|old)-[0-9a-f]{12}$")


def staging_folder(final: Path) -> Path:
    """A fresh staging folder name for `final`, unique across workers and retries."""
    return final.with_name(f".{final.name}.velin-new-{uuid.uuid4().hex[:12]}")


def publish(staging: Path, final: Path) -> None:
    """Moves the complete folder `staging` to `final`, replacing an earlier folder there."""
    while True:
        retired = None
        if final.exists():
            _carry_over_own_files(final, staging)
            retired = final.with_name(f".{final.name}.velin-old-{uuid.uuid4().hex[:12]}")
            try:
                os.rename(final, retired)
            except FileNotFoundError:
                continue  # replaced by another worker meanwhile: look again
        try:
            os.rename(staging, final)
        except OSError as error:
            racing = error.errno in (errno.ENOTEMPTY, errno.EEXIST)
            if retired is not None:
                if not racing:
                    os.rename(retired, final)  # the earlier folder goes back before the error is told
                    raise
                shutil.rmtree(retired, ignore_errors=True)
            if not racing:
                raise
            # A folder appeared at `final` since the test (the same volume finished twice, e.g. by a worker
            # that was presumed lost): the next round puts it aside like any earlier folder.
            continue
        if retired is not None:
            shutil.rmtree(retired, ignore_errors=True)
        return


def _carry_over_own_files(final: Path, staging: Path) -> None:
    for entry in final.iterdir():
        target = staging / entry.name
        if _velin.is_output_name(entry.name) or _LEFTOVER.match(entry.name) or target.exists():
            continue
        if entry.is_dir() and not entry.is_symlink():
            shutil.copytree(entry, target, symlinks=True)
        else:
            try:
                os.link(entry, target, follow_symlinks=False)
            except OSError:
                shutil.copy2(entry, target, follow_symlinks=False)


def recover(output_dir: Path) -> None:
    """Settles what lost workers left behind: a folder renamed aside whose replacement never arrived goes
    back; other staging and retired folders are removed. Call it only while no task of this output folder
    runs."""
    for entry in output_dir.iterdir():
        match = _LEFTOVER.match(entry.name)
        if match is None or not entry.is_dir():
            continue
        final = output_dir / match.group("name")
        if match.group("kind") == "old" and not final.exists():
            os.rename(entry, final)
        else:
            shutil.rmtree(entry, ignore_errors=True)
