"""Writes the pages of performance and their picture from one run of the benchmarks.

Usage: report.py LIBRARY.json PEERS.json FOLDER, with what bench/tarvik_bench and bench/peers.py
gave.
"""

import json
import platform
import sys
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
from aims import PEERS, aims, matching, mission_aims, ratio_of, time_of, work_of
from matplotlib import pyplot
from pages import duration, processor, table

SUMMARY = (
    "import in a new process",
    "open and read a variable of 80 MB",
    "read a gzip variable",
    "open it and read 100 slices",
    "write a gzip variable",
    "open and read a file of",
    "open and read everything",
    "list 1000 small files",
    "write 400 variables",
    "open and read 100000 epochs",
)


def main(library, peers, folder):
    """Write pages and picture into the folder."""
    library, peers = (json.loads(Path(name).read_text()) for name in (library, peers))
    rows = {row["name"].split("/iterations")[0]: row for row in library["benchmarks"]}
    summary = [work_of(peers, beginning) for beginning in SUMMARY]
    sections = {
        "summary": _peers(summary, ("File", *PEERS)),
        "mission_aims": mission_aims(peers),
        "machine": _machine(library["context"], peers["versions"]),
        "aims": aims(rows, peers),
        "bulk": _bulk(rows),
        "small": _small(rows),
        "epochs": _epochs(rows),
        "many": _many(rows),
        "peers": _peers(peers["works"]),
        "value": duration(time_of(work_of(peers, "read one value"), "library")),
        "size": f"{peers['memory']['file'] / 1e6:.0f} MB",
        "memory": ", ".join(
            f"{package} {size / 1e6:.0f} MB"
            for package, size in peers["memory"].items()
            if package != "file"
        ),
    }
    for name in ("performance.md", "performance-details.md"):
        page = Path(__file__).with_name(name).read_text()
        (folder / name).write_text(page.format(**sections))
    _picture(summary, folder / "performance.png")


def _machine(context, versions):
    packages = ", ".join(f"{name} {number}" for name, number in sorted(versions.items()))
    return (
        f"Measured on {context['date'][:10]}: {processor()}, "
        f"{context['num_cpus']} processors, load {context['load_avg'][0]:.1f} at the start; "
        f"Python {platform.python_version()}, {packages}."
    )


def _bulk(rows):
    found = matching(rows, "^(read|write)/")
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
        for name, row in matching(rows, "^small/").items()
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
        for name, row in matching(rows, "^epochs/").items()
    ]
    return table(["operation", "epochs", "gateway, each", "own loop, each", "speed"], cells)


def _many(rows):
    first = {}
    cells = []
    for name, row in matching(rows, "^many/").items():
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


PACKAGES = ("File", "ops", *PEERS)


def _peers(works, packages=PACKAGES):
    def cell(work, package):
        if package not in work["times"]:
            return ""
        time, first = duration(time_of(work, package)), _first(work)
        return time if package == first else f"{time} ({ratio_of(work, package, first):.3g})"

    return table(
        ["work", *packages],
        [(work["name"], *(cell(work, package) for package in packages)) for work in works],
    )


def _first(work):
    return next(iter(work["times"]))


def _picture(works, path):
    """Bars of how many times as long as `File` the others take, on a logarithmic axis."""
    figure, axes = pyplot.subplots(figsize=(9, 0.62 * len(works) + 1.2), layout="constrained")
    height = 0.26
    for offset, package in enumerate(PEERS):
        there = [
            (i, ratio_of(work, package, "File"))
            for i, work in enumerate(works)
            if package in work["times"]
        ]
        axes.barh(
            [i + (offset - 1) * height for i, _ in there],
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
    axes.legend(loc="upper right")
    axes.grid(axis="x", alpha=0.3)
    figure.savefig(path, dpi=110)


if __name__ == "__main__":
    main(*sys.argv[1:3], Path(sys.argv[3]))
