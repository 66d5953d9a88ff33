"""Computes a statistic over many files, spread over processes by Dask.

Makes a file for each day, with a value each minute, in a folder; then asks for the mean and the
highest value of each component over all of them. Needs "tarvik[xarray]" and "dask[distributed]".

    many_files.py FOLDER                                on two processes of this machine
    many_files.py FOLDER --scheduler tcp://node1:8786   on a cluster that sees the folder
    many_files.py FOLDER --serial                       without Dask
"""

import argparse
from pathlib import Path

import numpy as np
import tarvik
import xarray

MINUTES = 24 * 60
AXES = ("B_x", "B_y", "B_z")
FILL = -1e31


def make_day(path, day):
    """Make a file with the time, a field of three components, and their names."""
    noise = np.random.default_rng(day).normal(0, 2, (3, MINUTES)).T
    phase = 2 * np.pi * np.arange(MINUTES) / MINUTES
    field = noise + 5 * np.stack([np.cos(phase), np.sin(phase), np.ones(MINUTES)], axis=1)
    field[day :: MINUTES // 4] = FILL
    times = np.datetime64("2023-01-01T00:00") + day * MINUTES + np.arange(MINUTES)
    with tarvik.open(path, "w") as file:
        file.create_variable("Epoch", times, datatype="CDF_EPOCH")
        described = {"DEPEND_0": "Epoch", "LABL_PTR_1": "axis", "FILLVAL": FILL}
        file.create_variable("B", field, attrs=described)
        file.create_variable("axis", AXES, record_vary=False)


def statistic(files, parallel):
    """Open all files as one dataset, of which nothing is in memory yet, and compute."""
    with xarray.open_mfdataset(
        files,
        engine="tarvik",
        parallel=parallel,
        data_vars="minimal",
        coords="minimal",
        compat="override",
    ) as days:
        wanted = xarray.Dataset({"mean": days.B.mean("Epoch"), "highest": days.B.max("Epoch")})
        return days.sizes["Epoch"], wanted.compute()


def serially(files):
    """Do the same with a file at a time."""
    total, count, highest, records = np.zeros(3), np.zeros(3), np.full(3, -np.inf), 0
    for file in files:
        with xarray.open_dataset(file, engine="tarvik") as day:
            total += day.B.sum("Epoch").values
            count += day.B.count("Epoch").values
            highest = np.maximum(highest, day.B.max("Epoch").values)
            records += day.sizes["Epoch"]
    return records, {"mean": total / count, "highest": highest}


def client(scheduler):
    """Connect to the cluster with this address, or to two processes of this machine."""
    from distributed import Client

    local = {"n_workers": 2, "threads_per_worker": 1, "dashboard_address": None}
    return Client(scheduler) if scheduler else Client(**local)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--files", type=int, default=300)
    parser.add_argument("--scheduler", help="the address of a cluster's scheduler")
    parser.add_argument("--serial", action="store_true", help="do without Dask")
    asked = parser.parse_args()

    asked.folder.mkdir(parents=True, exist_ok=True)
    files = [asked.folder / f"day{day:03}.cdf" for day in range(asked.files)]
    for day, file in enumerate(files):
        if not file.exists():
            make_day(file, day)
    if asked.serial:
        records, found = serially(files)
    else:
        with client(asked.scheduler):
            records, found = statistic(files, parallel=True)
    print(f"{len(files)} files, {records} records")
    for axis, mean, highest in zip(AXES, np.asarray(found["mean"]), np.asarray(found["highest"])):
        print(f"{axis}: mean {mean:.4f} nT, highest {highest:.4f} nT")


if __name__ == "__main__":
    main()
