"""Prints the hours in which a mission's file has the most helium, and how much that is."""

import sys
from pathlib import Path

import numpy as np
from tarvik import ops

EXAMPLE = Path(__file__).parent / "data/ac_h2_sis_20101105_v06.cdf"


def read_all(file, name):
    """The variable's whole content, its dimensions first and the records last."""
    number = ops.getVarNum(file, name)
    extents = np.ravel(ops.inquireVar(file, number).dimSizes).astype(int).tolist()
    records = ops.getVarNumRecsWritten(file, number)
    zeros, ones = [0] * len(extents), [1] * len(extents)
    return ops.hyperGetVarData(file, number, 0, records, 1, zeros, extents, ones)


def main(path):
    with ops.open(path) as file:
        times = ops.epochBreakdown(read_all(file, "Epoch"))
        flux = read_all(file, "flux_He")
        number = ops.getVarNum(file, "flux_He")
        units = ops.getAttrEntry(file, ops.getAttrNum(file, "UNITS"), number)
    lowest_energy = flux[0]
    for record in np.argsort(lowest_energy)[:-4:-1]:
        year, month, day, hour = times[:4, record].astype(int)
        print(f"{year}-{month:02}-{day:02} {hour:02}h  {lowest_energy[record]:.3e} {units}")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else EXAMPLE)
