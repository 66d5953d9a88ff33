"""Writes docs/performance.md and its picture from the results of one run of the benchmarks.

Usage: report.py LIBRARY.json PEERS.json FOLDER, with what bench/tarvik_bench and bench/peers.py
gave.
"""

import json
import platform
import re
import statistics
import sys
from operator import truediv
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot
from pages import duration, processor, table

PAGE = """\
# Performance

How fast the gateway is beside the CDF library called directly, and the Python package beside other
packages. `./run bench` measures all of it in one run and writes this page; the figures below are of
the machine and versions named here. What is compared is done turn by turn in the same process, and
what counts are ratios: times depend on the machine, and on what else it does.

{machine}

## What was aimed at

{aims}

## Against the library

Each work is done through the gateway, as a host calls it, and by a C++ program that calls the CDF
library directly: the same inquiries, then the same reading or writing. Speeds are shares of the
direct program's: 1.00 is as fast. "Fresh" reads into memory that the host just made, zeroed as all
its arrays are, as the gateway must for each result; "warm" reads into one buffer again and again.
The host keeps the memory of large arrays that were freed for the next ones, up to 512 MiB, as new
pages take a good part of a reading's time (`ops.give_back_memory` in Python, and
`vlhost::giveBackSpareMemory` in C++, end that). Memory is what a call needs at its peak, in copies
of the data: reading makes one copy in any case, and characters have 16 bits in the host.

### Records and hyperslabs

{bulk}

### Small calls

{small}

### Epochs

{epochs}

### Many things

How the time of one thing grows with their number; the library's own growth stands beside it.

{many}

## The Python package beside its peers

`File` is `tarvik.File`, which most programs use; `ops` is `tarvik.ops`, the library's operations
one by one. `spacepy` is `spacepy.pycdf`, which calls the CDF library too. `cdflib` (Python) and
`pycdfpp` (C++) have their own code for the format, and do not depend on how fast the library
inflates compressed data, as the others do.

Each cell has the median time. In parentheses is how many times as long as the first figure of the
row that is: the median over the turns, which may differ from the ratio of the medians. An empty
cell means that the package cannot do the work. Records and values are read from open files, and
`pycdfpp` takes them from memory, where it keeps the whole variable. `File` checks what it wrote and
syncs it to the disk before the file gets its name; the others do neither. The library alone, called
from C++ in the same turns, reads one value in {value}.

{peers}

![Times in units of File's](performance.png)

Memory at its peak while a variable of {size} is read, beyond what was held before: {memory}.
"""


def main(library, peers, folder):
    """Write page and picture into the folder."""
    library, peers = (json.loads(Path(name).read_text()) for name in (library, peers))
    rows = {row["name"].split("/iterations")[0]: row for row in library["benchmarks"]}
    sections = {
        "machine": _machine(library["context"], peers["versions"]),
        "aims": _aims(rows, peers),
        "bulk": _bulk(rows),
        "small": _small(rows),
        "epochs": _epochs(rows),
        "many": _many(rows),
        "peers": _peers(peers["works"]),
        "value": duration(_time(_work(peers, "read one value"), "library")),
        "size": f"{peers['memory']['file'] / 1e6:.0f} MB",
        "memory": ", ".join(
            f"{package} {size / 1e6:.0f} MB"
            for package, size in peers["memory"].items()
            if package != "file"
        ),
    }
    (folder / "performance.md").write_text(PAGE.format(**sections))
    _picture(peers["works"], folder / "performance.png")


def _machine(context, versions):
    packages = ", ".join(f"{name} {number}" for name, number in sorted(versions.items()))
    return (
        f"Measured on {context['date'][:10]}: {processor()}, "
        f"{context['num_cpus']} processors, load {context['load_avg'][0]:.1f} at the start; "
        f"Python {platform.python_version()}, {packages}."
    )


def _matching(rows, pattern):
    return {name: row for name, row in rows.items() if re.search(pattern, name)}


def _work(peers, beginning):
    return next(work for work in peers["works"] if work["name"].startswith(beginning))


def _time(work, package):
    return statistics.median(work["times"][package])


def _ratio(work, package, unit):
    """How many times as long as another one a package takes."""
    return statistics.median(map(truediv, work["times"][package], work["times"][unit]))


def _aims(rows, peers):
    bulk = _matching(rows, r"^(read|write)/\w+/(double|epoch16)/\w+/\d+MB$")
    fresh = [row["vs_library"] for row in bulk.values()]
    warm = _by_size(bulk, "vs_warm")
    large = _matching(rows, r"^(read|write)/.*MB$")
    more = {
        kind: max(
            row["gateway_peak"] - row["library_peak"]
            for name, row in large.items()
            if "gateway_peak" in row and (kind == "text") == ("/text/" in name)
        )
        for kind in ("numbers", "text")
    }
    value, dispatch = (rows[f"small/{n}"] for n in ("read one value", "dispatch and one scalar"))
    python = _work(peers, "read one value")
    above = _time(python, "ops") - _time(python, "library")
    imports = _ratio(_work(peers, "import"), "tarvik", "numpy")
    own_loop = rows["epochs/epochBreakdown/1000000"]["vs_library"]
    median = statistics.median(fresh)
    aims = [
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
    return table(
        ["work", "aim", "figure", "reached"],
        [(what, aim, figure, "yes" if reached else "no") for what, aim, figure, reached in aims],
    )


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
        work = _work(peers, beginning)
        others = PEERS if peer == "the fastest peer" else (peer,)
        speed = min(_ratio(work, other, package) for other in others)
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


def _bulk(rows):
    found = _matching(rows, "^(read|write)/")
    cells = []
    for name, row in found.items():
        speed = row["bytes"] / row["gateway_ns"] * 1e3
        cells.append(
            (
                name.replace("/", ", "),
                f"{speed:.0f} MB/s" if speed >= 10 else f"{speed:.1f} MB/s",
                f"{row['vs_library']:.2f}",
                _share(row, "vs_warm"),
                _share(row, "gateway_peak"),
                _share(row, "library_peak"),
            )
        )
    head = ["work", "gateway", "of fresh", "of warm", "memory", "memory, directly"]
    return table(head, cells)


def _share(row, key):
    return f"{row[key]:.2f}" if key in row else ""


def _small(rows):
    cells = [
        (
            name.split("/", 1)[1],
            f"{row['gateway_ns']:.0f} ns",
            f"{row['library_ns']:.0f} ns",
            f"{row['above_library_ns']:.0f} ns",
        )
        for name, row in _matching(rows, "^small/").items()
    ]
    return table(["call", "gateway", "library", "more"], cells)


def _epochs(rows):
    cells = [
        (
            name.split("/")[1],
            f"{row['items']:.0f}",
            *(f"{row[way] / row['items']:.1f} ns" for way in ("gateway_ns", "library_ns")),
            f"{row['vs_library']:.2f}",
        )
        for name, row in _matching(rows, "^epochs/").items()
    ]
    return table(["operation", "epochs", "gateway, each", "own loop, each", "speed"], cells)


def _many(rows):
    first = {}
    cells = []
    for name, row in _matching(rows, "^many/").items():
        what = name.split("/")[1]
        each = {way: row[f"{way}_ns"] / row["items"] for way in ("gateway", "library")}
        start = first.setdefault(what, each)
        cells.append(
            (
                what,
                f"{row['items']:.0f}",
                *(
                    f"{duration(each[way] * 1e-9)} ({each[way] / start[way]:.2f})"
                    for way in ("gateway", "library")
                ),
                f"{row['vs_library']:.2f}",
            )
        )
    head = ["work", "things", "gateway, each (growth)", "library, each (growth)", "speed"]
    return table(head, cells)


PEERS = ("spacepy", "cdflib", "pycdfpp")
PACKAGES = ("File", "ops", *PEERS)


def _peers(works):
    def cell(work, package):
        if package not in work["times"]:
            return ""
        time, first = duration(_time(work, package)), _first(work)
        return time if package == first else f"{time} ({_ratio(work, package, first):.3g})"

    return table(
        ["work", *PACKAGES],
        [(work["name"], *(cell(work, package) for package in PACKAGES)) for work in works],
    )


def _first(work):
    return next(iter(work["times"]))


def _picture(works, path):
    """Bars of how many times as long as `File` the others take, on a logarithmic axis."""
    works = [work for work in works if _first(work) == "File"]
    figure, axes = pyplot.subplots(figsize=(9, 0.62 * len(works) + 1.2), layout="constrained")
    height = 0.2
    for offset, package in enumerate(PACKAGES[1:]):
        there = [
            (i, _ratio(work, package, "File"))
            for i, work in enumerate(works)
            if package in work["times"]
        ]
        axes.barh(
            [i + (offset - 1.5) * height for i, _ in there],
            [ratio - 1 for _, ratio in there],
            height,
            left=1,
            label=package,
        )
    axes.axvline(1, color="black", linewidth=1)
    axes.set_xscale("log")
    axes.set_yticks(range(len(works)), [work["name"] for work in works])
    axes.invert_yaxis()
    axes.set_xlabel("time in units of File's (to the right: slower than File)")
    axes.legend(loc="lower right")
    axes.grid(axis="x", alpha=0.3)
    figure.savefig(path, dpi=110)


if __name__ == "__main__":
    main(*sys.argv[1:3], Path(sys.argv[3]))
