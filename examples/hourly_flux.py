"""Prints the hours in which a mission's file has the most helium, and how much that is."""

import sys
from pathlib import Path

import numpy as np
import tarvik

EXAMPLE = Path(__file__).parent / "data/ac_h2_sis_20101105_v06.cdf"


def main(path):
    with tarvik.open(path) as file:
        hours = file["Epoch"][...].astype("datetime64[h]")
        lowest_energy = file["flux_He"][:, 0]
        units = file["flux_He"].attrs["UNITS"]
    for record in np.argsort(lowest_energy)[:-4:-1]:
        print(f"{hours[record]}  {lowest_energy[record]:.3e} {units}")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else EXAMPLE)
