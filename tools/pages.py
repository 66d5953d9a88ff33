"""What the pages of measured figures share."""

import platform
import re
from pathlib import Path


def table(head, rows):
    """A table in Markdown; all columns but the first are figures."""
    marks = ["---", *["---:"] * (len(head) - 1)]
    return "\n".join(f"| {' | '.join(cells)} |" for cells in [head, marks, *rows])


def duration(seconds):
    """Seconds with a unit that suits them."""
    for unit, size in (("min", 60), ("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds * 1e9:.0f} ns"


def processor():
    """The name of the machine's processor."""
    model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    return model[1] if model else platform.processor()
