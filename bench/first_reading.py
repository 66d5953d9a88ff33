"""Reads a variable in a process of its own: first_reading.py PACKAGE FILE.

Gives JSON on stdout: seconds, and the peak memory in bytes beyond what the package needed before.
"""

import json
import re
import sys
import time
from pathlib import Path

from peer_works import READERS


def main(package, path):
    """Read, and tell what it took."""
    before = _memory("VmRSS")
    Path("/proc/self/clear_refs").write_text("5")  # the peak starts anew
    start = time.perf_counter()
    READERS[package](path)
    seconds = time.perf_counter() - start
    json.dump({"seconds": seconds, "peak": _memory("VmHWM") - before}, sys.stdout)


def _memory(line):
    """A line of the system's account of this process, in bytes."""
    status = Path("/proc/self/status").read_text()
    return int(re.search(rf"^{line}:\s*(\d+) kB$", status, re.MULTILINE)[1]) * 1024


if __name__ == "__main__":
    main(*sys.argv[1:])
