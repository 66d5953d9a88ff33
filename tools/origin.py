"""Say which CDF library a build ships: origin.py OUTPUT LIBRARY [SHA256SUMS-OF-ITS-WHEEL]."""

import hashlib
import sys
from pathlib import Path

from tarvik.ops import call


def origin(library, wheel=None):
    """Tell where the library comes from; no folder of this machine is named."""
    version = ".".join(f"{part:.0f}" for part in call("getLibraryVersion"))
    said = call("getLibraryCopyright").strip().splitlines()
    lines = [
        f"{library.name} is the CDF library, version {version}. Its terms stand in CDF.txt.",
        f"SHA-256: {hashlib.sha256(library.read_bytes()).hexdigest()}",
        "",
    ]
    if wheel:
        checksum, name = wheel.read_text(encoding="utf-8").split()
        lines += [f"It was taken unmodified out of the PyPI wheel {name}", f"SHA-256: {checksum}"]
    else:
        lines += ["It was copied from the machine of the build, where it was installed or named."]
    lines += ["", "What it says of itself:", "", *(f"  {line}".rstrip() for line in said)]
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    output, *inputs = map(Path, sys.argv[1:])
    output.write_text(origin(*inputs), encoding="utf-8")
