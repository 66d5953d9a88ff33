"""Makes the small file on which the examples of the reference run."""

import sys

import numpy as np
from tarvik import constants, ops


def make(path):
    """Create the file, fill it and close it.

    It has three records of a time, of a table of counts and of two labels, a global attribute and
    one that describes the variables.
    """
    with ops.create(path) as file:
        epoch = ops.createVar(file, "Epoch", constants.CDF_EPOCH, 1, [], True, [])
        counts = ops.createVar(file, "Counts", constants.CDF_INT4, 1, [2, 3], True, [True, True])
        label = ops.createVar(file, "Label", constants.CDF_CHAR, 5, [2], True, [True])

        days = [[2020, 1, day, 12, 0, 0, 0] for day in (29, 30, 31)]
        times = ops.computeEpoch(np.array(days, float).T)
        ops.hyperPutVarData(file, epoch, 0, 3, 1, [], [], [], times)
        values = np.arange(18, dtype=np.int32)
        ops.hyperPutVarData(file, counts, 0, 3, 1, [0, 0], [2, 3], [1, 1], values)
        for record in range(3):
            ops.putVarRecordData(file, label, record, "northsouth")

        title = ops.createAttr(file, "TITLE", constants.GLOBAL_SCOPE)
        ops.putAttrEntry(file, title, 0, constants.CDF_CHAR, "A sample")
        units = ops.createAttr(file, "UNITS", constants.VARIABLE_SCOPE)
        ops.putAttrEntry(file, units, counts, constants.CDF_CHAR, "counts/s")


if __name__ == "__main__":
    make(sys.argv[1])
