"""Computes a statistic over many files, spread over processes by Dask.

Makes a file for each day in a folder, or in a temporary one; then asks for the mean and the highest
value of each component over all of them. Needs "tarvik[xarray]" and "dask[distributed]".

    many_files.py FOLDER                                on two processes of this machine
    many_files.py FOLDER --scheduler tcp://node1:8786   on a cluster that sees the folder
    many_files.py FOLDER --serial                       without Dask
    many_files.py --files 40 --records 1560000 --rounds 5
                                                        compare the times, for files of 50 MB
"""

import argparse
import os
import statistics
import tempfile
import time
from pathlib import Path

import numpy as np
import tarvik
import xarray

DAY = 86_400_000_000_000  # nanoseconds
AXES = ("B_x", "B_y", "B_z")
FILL = -1e31
STEP = 1 / 128  # of an instrument, in nT


def make_day(path, day, records, compression=None):
    """Make a file with the time, a field of three components, and their names."""
    noise = np.random.default_rng(day).normal(0, 2, (3, records)).T
    phase = 2 * np.pi * np.arange(records) / records
    field = noise + 5 * np.stack([np.cos(phase), np.sin(phase), np.ones(records)], axis=1)
    if compression:  # noise down to the last bit cannot be compressed
        field = np.round(field / STEP) * STEP
    field[day :: records // 4] = FILL
    times = np.datetime64("2023-01-01", "ns") + day * DAY + np.arange(records) * (DAY // records)
    with tarvik.open(path, "w") as file:
        file.create_variable("Epoch", times, datatype="CDF_EPOCH")
        described = {"DEPEND_0": "Epoch", "LABL_PTR_1": "axis", "FILLVAL": FILL}
        file.create_variable("B", field, attrs=described, compression=compression)
        file.create_variable("axis", AXES, record_vary=False)


def of_one(path):
    """What one file adds: its sum, values, highest value and records; few bytes go between."""
    with xarray.open_dataset(path, engine="tarvik") as day:
        field = day.B.load()
        parts = (field.sum("Epoch"), field.count("Epoch"), field.max("Epoch"))
        return *(part.values for part in parts), day.sizes["Epoch"]


def combined(parts):
    """The mean, the highest value and the number of records of all files."""
    sums, counts, highest, records = zip(*parts)
    return sum(sums) / sum(counts), np.max(highest, axis=0), sum(records)


def serially(paths):
    return combined(map(of_one, paths))


def spread(client, paths):
    return combined(client.gather(client.map(of_one, paths, pure=False)))


def connect(scheduler):
    """Connect to the cluster with this address, or to two processes of this machine."""
    from distributed import Client

    local = {"n_workers": 2, "threads_per_worker": 1, "dashboard_address": ":0"}
    return Client(scheduler) if scheduler else Client(**local)


def counted(number):
    """Do nothing but count: tells what a second process can give on this machine now."""
    return sum(range(number))


def compare(client, paths, rounds):
    """Print how long both ways take, in turn, and what their ratio can be at best."""
    ratios = []
    for _ in range(rounds):
        start = time.perf_counter()
        serially(paths)
        alone = time.perf_counter() - start
        start = time.perf_counter()
        spread(client, paths)
        shared = time.perf_counter() - start
        ratios.append(shared / alone)
        at_best = ratio_of_counting(client)
        load = os.getloadavg()[0]
        print(
            f"serially {alone:.2f} s, spread {shared:.2f} s: {ratios[-1]:.2f}; "
            f"counting {at_best:.2f}, load {load:.1f}",
            flush=True,
        )
    print(f"median of {rounds} rounds: {statistics.median(ratios):.2f}")


def ratio_of_counting(client, number=30_000_000):
    start = time.perf_counter()
    for _ in range(2):
        counted(number)
    alone = time.perf_counter() - start
    start = time.perf_counter()
    client.gather(client.map(counted, [number, number], pure=False))
    return (time.perf_counter() - start) / alone


def run(folder, asked):
    """Make the files that are missing, and compute."""
    folder.mkdir(parents=True, exist_ok=True)
    paths = [folder / f"day{day:03}.cdf" for day in range(asked.files)]
    for day, path in enumerate(paths):
        if not path.exists():
            make_day(path, day, asked.records, asked.compression)
    if asked.serial:
        mean, highest, records = serially(paths)
    else:
        start = time.perf_counter()
        with connect(asked.scheduler) as client:
            spread(client, paths[:2])  # the processes import what they need
            if asked.rounds:
                print(f"starting took {time.perf_counter() - start:.2f} s")
                compare(client, paths, asked.rounds)
            mean, highest, records = spread(client, paths)
    print(f"{len(paths)} files, {records} records")
    for axis, one_mean, one_highest in zip(AXES, mean, highest):
        print(f"{axis}: mean {one_mean:.4f} nT, highest {one_highest:.4f} nT")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path, nargs="?", help="a temporary one without it")
    parser.add_argument("--files", type=int, default=300)
    parser.add_argument("--records", type=int, default=24 * 60, help="of each file")
    parser.add_argument("--compression", help="of the field, gzip:1 for example")
    parser.add_argument("--scheduler", help="the address of a cluster's scheduler")
    parser.add_argument("--serial", action="store_true", help="do without Dask")
    parser.add_argument("--rounds", type=int, default=0, help="compare the times so many times")
    asked = parser.parse_args()
    if asked.folder:
        run(asked.folder, asked)
        return
    with tempfile.TemporaryDirectory() as folder:
        run(Path(folder), asked)


if __name__ == "__main__":
    main()
