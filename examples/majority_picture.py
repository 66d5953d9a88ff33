"""Draws what the majority of a file means.

    majority_picture.py OUT.png

Every number in the picture is read from one of two files that are made for it: as bytes, by
`tarvik.open`, which shows what a reader in C sees, and by an operation. Needs "tarvik[plot]".
"""

import sys
import tempfile
from pathlib import Path

import numpy as np
import tarvik
from matplotlib.figure import Figure
from tarvik import ops

RECORD = np.array([[0, 2, 4], [1, 3, 5]], np.int32)
IN_C = {"row": RECORD.T, "column": RECORD}
VIEWS = ("In the file", "In C, by tarvik.open", "By an operation")
ROWS = (1, 3, 2)  # of the largest array of each view
FASTEST = {"C": "the last index runs fastest", "F": "the first index runs fastest"}


def views(path, majority):
    """Write the record; give its values as they are seen in three ways."""
    with tarvik.open(path, "w", majority=majority) as file:
        file["T"] = IN_C[majority][np.newaxis]
    with tarvik.open(path) as file:
        in_c = file["T"][0]
        by_operation = ops.getVarRecordData(file.id, file["T"].number, 0)
    start = path.read_bytes().index(np.arange(6, dtype="<i4").tobytes())
    stored = np.fromfile(path, "<i4", 6, offset=start)
    return stored[np.newaxis], in_c, by_operation


def draw(ax, values, rows):
    """Cells in their places, and a line through them in the order of the file."""
    ax.imshow(values, cmap="viridis", alpha=0.35)
    order = np.argsort(values, axis=None)
    down, across = np.unravel_index(order, values.shape)
    ax.plot(across, down, color="0.65", linewidth=1.5, zorder=1)
    for (row, column), value in np.ndenumerate(values):
        spot = {"boxstyle": "circle,pad=0.25", "facecolor": "white", "edgecolor": "0.65"}
        ax.text(column, row, value, ha="center", va="center", bbox=spot)
    ax.set(xlim=(-0.6, 5.6), ylim=(rows - 0.4, -0.6), anchor="W")
    ax.set_axis_off()


def title(view, values):
    if values.shape[0] == 1:
        return f"{view}: one value behind the other"
    order = next(order for order in "CF" if (np.diff(values.ravel(order)) == 1).all())
    return f"{view}: {values.shape[0]} by {values.shape[1]}, {FASTEST[order]}"


def main(target):
    figure = Figure((8, 5), dpi=100, layout="constrained")
    columns = figure.subfigures(1, 2)
    with tempfile.TemporaryDirectory() as folder:
        for majority, column in zip(IN_C, columns):
            seen = views(Path(folder, f"{majority}.cdf"), majority)
            column.suptitle(f"{majority.upper()}_MAJOR file", x=0.01, ha="left", fontsize="large")
            axes = column.subplots(3, 1, height_ratios=[n + 0.2 for n in ROWS])
            for view, values, rows, ax in zip(VIEWS, seen, ROWS, axes):
                draw(ax, values, rows)
                ax.set_title(title(view, values), loc="left", fontsize="medium")
    figure.savefig(target)


if __name__ == "__main__":
    main(sys.argv[1])
