"""Makes the small file on which the examples of the reference run."""

import sys

import numpy as np
import tarvik


def make(path):
    """Create the file, fill it and close it.

    It has three records of a time, of a table of counts and of two labels, a global attribute and
    one that describes the variables.
    """
    days = np.arange("2020-01-29T12", 3 * 24, 24, dtype="datetime64[h]")
    with tarvik.open(path, "w") as file:
        file.create_variable("Epoch", days, datatype="CDF_EPOCH")
        file["Counts"] = np.arange(18, dtype=np.int32).reshape(3, 3, 2)
        file["Label"] = [["north", "south"]] * 3
        file.attrs["TITLE"] = "A sample"
        file["Counts"].attrs["UNITS"] = "counts/s"


if __name__ == "__main__":
    make(sys.argv[1])
