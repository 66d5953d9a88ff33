"""A bar for what takes longer than a second, on stderr and only where that is a terminal."""

import sys
import time
from contextlib import contextmanager

_PATIENCE = 1.0


@contextmanager
def progress(title, total):
    """Give a function to be called with how much more of the total is done."""
    bar = _Bar(title, total) if total and sys.stderr.isatty() else None
    try:
        yield bar.advance if bar else _nothing
    finally:
        if bar:
            bar.stop()


def _nothing(_amount):
    pass


class _Bar:
    def __init__(self, title, total):
        self._title = title
        self._total = total
        self._done = 0
        self._start = time.monotonic()
        self._shown = None

    def advance(self, amount):
        self._done += amount
        if self._shown is None and time.monotonic() - self._start > _PATIENCE:
            self._show()
        if self._shown is not None:
            self._shown.update(self._task, completed=self._done)

    def stop(self):
        if self._shown is not None:
            self._shown.stop()

    def _show(self):
        from rich.console import Console
        from rich.progress import BarColumn, Progress, TextColumn, TimeRemainingColumn

        columns = (
            TextColumn("{task.description}", markup=False),
            BarColumn(),
            TextColumn("{task.percentage:>3.0f}%"),
            TimeRemainingColumn(),
        )
        self._shown = Progress(*columns, console=Console(stderr=True), transient=True)
        self._task = self._shown.add_task(self._title, total=self._total)
        self._shown.start()
