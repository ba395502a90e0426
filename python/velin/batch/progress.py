"""What a batch shows while it runs: a bar of volumes done on a terminal, one line per finished volume."""

from __future__ import annotations

import sys
from typing import TextIO

BAR_WIDTH = 30


class ProgressBar:
    """Redraws one status line on `stream` (normally stderr) when it is a terminal; lines printed through
    :meth:`line` go to stdout above it."""

    def __init__(self, total: int, done: int = 0, failed: int = 0, stream: TextIO = sys.stderr) -> None:
        self.total = total
        self.done = done
        self.failed = failed
        self.stream = stream
        self.live = stream.isatty()
        self._drawn = False

    def show(self) -> None:
        self._draw()

    def line(self, text: str) -> None:
        self._clear()
        print(text, flush=True)
        self._draw()

    def advance(self, failed: bool) -> None:
        self.done += 1
        self.failed += int(failed)
        self._draw()

    def close(self) -> None:
        self._clear()

    def status(self) -> str:
        filled = BAR_WIDTH * self.done // max(self.total, 1)
        bar = "#" * filled + "." * (BAR_WIDTH - filled)
        failed = f", {self.failed} failed" if self.failed else ""
        return f"velin.batch [{bar}] {self.done}/{self.total} volumes{failed}"

    def _draw(self) -> None:
        if self.live:
            self.stream.write("\r" + self.status())
            self.stream.flush()
            self._drawn = True

    def _clear(self) -> None:
        if self._drawn:
            self.stream.write("\r" + " " * len(self.status()) + "\r")
            self.stream.flush()
            self._drawn = False
