"""What was aimed at, and whether it was reached, as tables for the pages of performance."""

import re
import statistics
from operator import truediv

from pages import duration, table

__all__ = ["PEERS", "aims", "matching", "mission_aims", "ratio_of", "time_of", "work_of"]

PEERS = ("spacepy", "cdflib", "pycdfpp")
# The work of `File`, beside whom, and how many times as fast it is to be.
_MISSION_AIMS = (
    ("read a gzip variable", "pycdfpp", 1.0),
    ("open it and read 100 slices", "pycdfpp", 3.0),
    ("open it and read 100 slices", "spacepy", 1.0),
    ("write a gzip variable", "pycdfpp", 0.8),
    ("write a gzip variable", "spacepy", 4.0),
    ("open and read everything", "pycdfpp", 0.7),
    ("open and read everything", "cdflib", 3.0),
    ("open and read a file of", "pycdfpp", 1.0),
    ("list 1000 small files", "spacepy", 1.5),
    ("show a small file", "numpy", 0.4),
)
_MOST_COPIES = 1.1


def matching(rows, pattern):
    return {name: row for name, row in rows.items() if re.search(pattern, name)}


def work_of(peers, beginning):
    return next(work for work in peers["works"] if work["name"].startswith(beginning))


def time_of(work, package):
    return statistics.median(work["times"][package])


def ratio_of(work, package, unit):
    """How many times as long as another one a package takes."""
    return statistics.median(map(truediv, work["times"][package], work["times"][unit]))


def mission_aims(peers):
    """The table of the works on files as missions keep them."""
    found = []
    for beginning, peer, aim in _MISSION_AIMS:
        work = work_of(peers, beginning)
        speed = ratio_of(work, peer, "File")
        beside = "`import numpy`" if peer == "numpy" else peer
        found.append((f"{work['name']}, beside {beside}", f"{aim:g}", f"{speed:.2f}", speed >= aim))
    found += [
        (
            f"peak memory of reading a variable {kind}, in copies of the result",
            f"at most {_MOST_COPIES}",
            f"{copies['File']:.2f} (spacepy: {copies['spacepy']:.2f})",
            copies["File"] <= _MOST_COPIES,
        )
        for kind, copies in peers["peaks"].items()
    ]
    return _table(found)


def _table(found):
    return table(
        ["work", "aim", "figure", "reached"],
        [(what, aim, figure, "yes" if reached else "no") for what, aim, figure, reached in found],
    )


def aims(rows, peers):
    """The table of what is compared with direct calls of the library, and of single works."""
    bulk = matching(rows, r"^(read|write)/\w+/(double|epoch16)/\w+/\d+MB$")
    fresh = [row["vs_library"] for row in bulk.values()]
    warm = _by_size(bulk, "vs_warm")
    large = matching(rows, r"^(read|write)/.*MB$")
    more = {
        kind: max(
            row["gateway_peak"] - row["library_peak"]
            for name, row in large.items()
            if "gateway_peak" in row and (kind == "text") == ("/text/" in name)
        )
        for kind in ("numbers", "text")
    }
    value, dispatch = (rows[f"small/{n}"] for n in ("read one value", "dispatch and one scalar"))
    python = work_of(peers, "read one value")
    above = time_of(python, "ops") - time_of(python, "library")
    imports = ratio_of(work_of(peers, "import"), "tarvik", "numpy")
    own_loop = rows["epochs/epochBreakdown/1000000"]["vs_library"]
    median = statistics.median(fresh)
    found = [
        (
            "bulk numbers, 1 MB and more, beside direct calls into fresh memory",
            "at least 0.98 of the speed",
            f"{median:.3f} (median of {len(fresh)})",
            median >= 0.98,
        ),
        *(
            (
                f"the same beside direct calls into one warm buffer, reading {size}",
                "at least 0.75 of the speed",
                f"{share:.3f}",
                share >= 0.75,
            )
            for size, share in warm.items()
        ),
        *_text_aims(rows),
        (
            "memory beyond that of the direct calls, numbers",
            "none",
            f"{more['numbers']:.2f} copies",
            more["numbers"] < 0.05,
        ),
        (
            "the same, text, whose characters have 16 bits in the host",
            "one copy beside the result",
            f"{more['text']:.2f} copies, the result's second among them",
            more["text"] < 2.1,
        ),
        (
            "one value read",
            "at most 350 ns more",
            f"{value['above_library_ns']:.0f} ns, the library itself {value['library_ns']:.0f} ns",
            value["above_library_ns"] <= 350,
        ),
        (
            "dispatch, a file identifier and one scalar result, without the library",
            "under 250 ns",
            f"{dispatch['above_library_ns']:.0f} ns",
            dispatch["above_library_ns"] < 250,
        ),
        ("`ops`: read one value, above the library", "under 2 µs", duration(above), above < 2e-6),
        (
            "`import tarvik`, beside NumPy's own import",
            "at most 1.3 times as long",
            f"{imports:.2f} times",
            imports <= 1.3,
        ),
        *_aims_beside_peers(peers),
        (
            "a million epochs to components beside the library's own loop",
            "within 1.05",
            f"{1 / own_loop:.2f}",
            own_loop >= 1 / 1.05,
        ),
    ]
    return _table(found)


def _text_aims(rows):
    for way, done in (("read", "reading"), ("write", "writing")):
        bulk = matching(rows, rf"^{way}/\w+/text/\w+/\d+MB$")
        for size, share in _by_size(bulk, "vs_library").items():
            what = f"bulk text, {done} {size}, beside direct calls"
            yield what, "at least 0.6 of the speed", f"{share:.3f}", share >= 0.6


def _aims_beside_peers(peers):
    for package, beginning, peer, aim in (
        ("File", "read one value", "spacepy", 8),
        ("ops", "read one value", "spacepy", 20),
        ("File", "read one record", "spacepy", 5),
        ("ops", "read one record", "spacepy", 1.8),
        ("File", "open and read a variable of 1 MB", "the fastest peer", 1),
        ("File", "open and read a variable of 8 MB", "the fastest peer", 1),
        ("File", "open and read a variable of 80 MB", "the fastest peer", 1),
        ("ops", "open and read a variable of 80 MB", "the fastest peer", 1),
        ("File", "write 400 variables", "spacepy", 50),
        ("ops", "write 400 variables", "spacepy", 100),
        ("ops", "1000000 epochs to components", "cdflib", 100),
    ):
        work = work_of(peers, beginning)
        others = PEERS if peer == "the fastest peer" else (peer,)
        speed = min(ratio_of(work, other, package) for other in others)
        yield (
            f"`{package}`: {work['name']}, beside {peer}",
            f"at least {aim} times as fast" if aim > 1 else "not slower",
            f"{speed:.3g} times as fast",
            speed >= aim,
        )


def _by_size(rows, key):
    """Medians of a figure that some rows have, by the size at the end of their names."""
    sizes = {}
    for name, row in rows.items():
        if key in row:
            sizes.setdefault(name.rpartition("/")[2], []).append(row[key])
    return {size: statistics.median(shares) for size, shares in sizes.items()}
