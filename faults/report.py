"""Writes docs/reliability.md from the results of one run of the trials.

Usage: report.py RESULTS FOLDER, where RESULTS holds what faults/main.py gave, in one file
NAME.json or several, and leaks.txt with a line for each test program: its name, its accesses to
memory that is not its own and the bytes that it lost.
"""

import json
import math
import platform
import sys
import time
from pathlib import Path

from pages import duration, processor, table

PAGE = """\
# Reliability

Arguments never crash the host; files are screened before the library parses them; a file from
strangers can be opened in a process of its own; what close reported as written is there. `./run
faults` tries to break each of these promises and writes this page; the figures are those of each
trial's last run.

{machine}

## What was aimed at

{aims}

## Calls

A fuzzer makes calls of all operations under the address and undefined behaviour sanitizers. The
library itself is not instrumented. Two in three sequences of calls take hostile arguments; each
call must end with its outputs or an error, and leave no memory behind. The others keep clear of the
library's known faults; what they write must read back when the files are opened again. {calls}

Requests with which the library would crash, touch foreign memory or act on another file or variable
are refused before they reach it, with the library's own status. `cdf/guards.cpp` has them all, each
with what the library does. The library's other faults stand in [library-faults](library-faults.md).

## Damaged files

Copies of {files} files that missions and other programs made, damaged from seeds: bytes of the
header flipped, any bytes flipped, the file cut, the size or another field of one of its records
changed, in turn. Everything that can be read is read, with the validation of the library on, as
it is by default.

{damaged}

{bad}

Further copies, of {originals} files, have damage to the links between their records: places that
lead to themselves, to each other, into data or beyond the end, counts and sizes that are off, lists
and indices in rings, indices of many levels, blocks of two variables, blocks that hold more or less
than they should, free room that is in use. Files that are compressed as a whole are damaged within
too. Of {linked} such copies each is read, and a copy of it is edited in a transaction: an attribute
or a compressed variable made, an attribute or a variable deleted, renamed, or its records appended,
overwritten or deleted. "Lost" is what could be read before, was not edited, and reads otherwise
after a close that reported success; "odd" are exceptions that no caller expects.

{structures}

{structures_bad}

The screen looks at what the library believes blindly: the chains of descriptions and indices and
their counts, blocking factors, the sizes of a file that is compressed as a whole. It takes no
data from there. Opening a file took {opening} with the screen. It looks through
run lengths, up to 16 MiB, but not into a file that is compressed as a whole in other ways:
Huffman-coded ones, damaged, make the library overrun its memory. Open those in a process of their
own.

Damage that leaves numbers in the place of numbers is noticed by nobody unless the file has a
checksum. With MD5, of {checksum_count} damaged copies {unnoticed} were read as if they were whole.
{unnoticed_rows}
Whether a file has a checksum stands in its header, and is open to damage too. The screen refuses a
header that is at odds with itself, and one of a run-length encoded file that does not tell of the
checksum behind it. In a file that is not compressed, taking the checksum off changes two bits of
one byte and leaves the rest: where damage has just these hit, nobody can tell.

## Killed writers

A process opens a file, appends to it and closes it, again and again, until it is killed within a
second. It edits the file in a transaction, as is the default, or in place, with `atomic=False`.
What is left of the records of all closes that were reported:

{killed}

What an edit in place wrote since the last close may be there or not. A file with a checksum that
was not closed then has the wrong one, and is refused while the validation is on; with
`validate=False` its records can be read. A file that is compressed as a whole is lost when its
writer dies while it is written anew in place, which is what closing it takes its time for.

## Full disks

Files may not grow beyond a limit, or lie on a small file system, in {steps} steps from what they
have to what they would need. "Silent" are closes that reported success although something was
missing. After a transaction the earlier records are read with validation, after an edit in place
without it.

{full}

The library writes a file that is compressed as a whole anew when it closes it, in its place: when
that fails without a transaction, the file is lost, and close says so. `tarvik copy` writes beside
its target and puts the result in place when it is complete: of {copies} copies with a full disk or
killed, {copies_old} left the old target and {copies_new} the new one, {copies_damaged} damaged any
file.

## Handles

- {opens} opens and closes, half of them in vain: {opens_memory} more memory between a tenth of
  them and the end, {descriptors} descriptors open.
- A file that is open for writing, opened for writing again in the same and in another process, in
  transactions and in place: {twice_refused} of {twice_times} were refused, and {twice_lost} of the
  files lost records. Files that `tarvik.ops` opens have no such lock, and the library keeps a cache
  for each handle: open a file once for writing.
- An identifier that is stale, forged or left over from a failed close never reaches the library.

## Memory

The C++ tests, and the Python tests that stay in one process, under valgrind: accesses to memory
that is not their own, and bytes that are lost at the end, where the library, the gateway or the
host has to do with them:

{leaks}

The tests also let each allocation fail in turn, of the host's memory and of the gateway's own, in
every operation: each is a clean error, and the next call is right.
"""


def main(results, folder):
    """Write the page into the folder."""
    faults = {}
    for part in sorted(results.glob("*.json")):
        faults.update(json.loads(part.read_text()))
    leaks = [line.split(" ") for line in (results / "leaks.txt").read_text().splitlines()]
    opens, copies, twice = faults["opens"], faults["copies"], faults["two writers"]
    slowest = max(seconds for name, seconds in faults["opening"].items() if name != "seconds")
    page = PAGE.format(
        machine=_machine(faults),
        aims=_aims(faults, leaks),
        calls=_calls(faults["calls"]),
        files=faults["files"],
        damaged=_damaged(faults),
        bad=_bad(faults["in process"]["bad"]),
        originals=faults["structures"]["files"],
        linked=f"{faults['structures']['count']:,}",
        structures=_structures(faults["structures"]),
        structures_bad=_bad(faults["structures"]["bad"]),
        opening=f"at most {duration(slowest)}",
        checksum_count=f"{faults['checksum']['count']:,}",
        unnoticed=len(faults["checksum"]["unnoticed"]),
        unnoticed_rows=_unnoticed(faults["checksum"]["unnoticed"]),
        killed=_killed(faults["killed"]["kinds"]),
        steps=faults["full disk"]["kinds"][0]["steps"],
        full=_full(faults["full disk"]["kinds"]),
        copies=copies["steps"],
        copies_old=copies["old"],
        copies_new=copies["new"],
        copies_damaged=copies["damaged"],
        opens=f"{opens['times']:,}",
        opens_memory=f"{(opens['memory'][-1] - opens['memory'][0]) / 1024:.0f} KiB",
        descriptors=opens["descriptors"],
        twice_refused=twice["refused"],
        twice_times=twice["times"],
        twice_lost=twice["lost"],
        leaks=table(
            ["program", "accesses", "lost"],
            [[name, accesses, f"{lost} B"] for name, accesses, lost in leaks],
        ),
    )
    (folder / "reliability.md").write_text(page)


def _machine(faults):
    versions = faults["versions"]
    return (
        f"Tried on {time.strftime('%Y-%m-%d')}: {processor()}, Python {platform.python_version()}, "
        f"CDF library {versions['cdf']}."
    )


def _aims(faults, leaks):
    calls, damaged, linked = faults["calls"], faults["in process"], faults["structures"]
    hung = sum(row["ending"] == "hung" for row in damaged["bad"])
    full, killed = faults["full disk"]["kinds"], faults["killed"]["kinds"]
    always = [kind for kind in killed if kind["kind"] in ("plain", "compressed variable")]
    rows = [
        (
            "calls with hostile arguments that crash, leak or break a file",
            "none of 5,000,000",
            f"{len(calls['failures'])} of {calls['calls']:,}",
        ),
        (
            "damaged files that crash the process that opens them",
            "at most 3 of 60,000",
            f"{len(damaged['bad']) - hung} of {damaged['count']:,}",
        ),
        ("damaged files that take over 10 s", "none", f"{hung}"),
        ("memory at its peak", "512 MiB", f"{damaged['memory'] / 2**20:.0f} MiB"),
        (
            "damaged links in files that crash, hang, lose data or take over 512 MiB",
            "none of 20,000",
            f"{len({(row['file'], row['seed']) for row in linked['bad']})} of {linked['count']:,}",
        ),
        (
            "the same in a process of its own: the caller survives",
            "all",
            f"{faults['isolated']['survived']:,} of {faults['isolated']['count']:,}",
        ),
        (
            "damage to files with an MD5 checksum that is not noticed",
            "none",
            f"{len(faults['checksum']['unnoticed'])} of {faults['checksum']['count']:,}",
        ),
        (
            "losses on a full disk that close does not report",
            "none",
            f"{sum(kind['silent'] for kind in full)} of {sum(kind['steps'] for kind in full)}",
        ),
        (
            "records of earlier closes after a kill or a full disk, transactions",
            "100 %",
            _least(_kept([*killed, *full], "transaction")),
        ),
        (
            "the same after a kill, in place, plain and compressed variables",
            "100 %",
            _least(_kept(always, "in place")),
        ),
        ("leaks", "none", f"{sum(int(lost) for _, _, lost in leaks)} B"),
    ]
    return table(["", "aim", "this run"], rows)


def _kept(kinds, how):
    return [share for kind in kinds if kind["how"] == how for share in kind["kept"]]


def _least(shares):
    """The least share, rounded down: 100 % is nothing less."""
    return f"{math.floor(100 * min(shares))}%" if shares else ""


def _calls(calls):
    made = (
        f"It made {calls['calls']:,} calls of all operations in {duration(calls['seconds'])}, and "
        f"read {calls['records_verified']:,} records back."
    )
    rows = [[str(fault["seed"]), fault["text"].replace("|", ",")] for fault in calls["failures"]]
    if not rows:
        return f"{made} Nothing was wrong."
    return f"{made} These sequences went wrong:\n\n{table(['seed', ''], rows)}"


def _damaged(faults):
    rows = []
    for where, name in (("the process itself", "in process"), ("a process of its own", "isolated")):
        endings = faults[name]["endings"]
        counts = [endings.get(ending, 0) for ending in ("read", "refused", "crashed", "hung")]
        rows.append([f"in {where}", *(f"{count:,}" for count in (faults[name]["count"], *counts))])
    return table(["", "files", "opened", "refused", "crashed", "hung"], rows)


def _structures(linked):
    endings = ("read", "edited", "refused", "crashed", "hung", "large", "lost", "odd")
    rows = [
        [task, *(f"{counts.get(ending, 0):,}" for ending in endings)]
        for task, counts in linked["endings"].items()
    ]
    return table(["", *endings], rows)


def _bad(rows):
    if not rows:
        return "None went wrong."
    cells = [[row["file"], row["damage"], row["ending"], row["why"]] for row in rows]
    return "Those that went wrong:\n\n" + table(["file", "damage", "ending", ""], cells)


def _unnoticed(rows):
    if not rows:
        return ""
    return "\n" + table(["file", "damage"], [[row["file"], row["damage"]] for row in rows]) + "\n"


def _killed(kinds):
    rows = [
        [
            kind["kind"],
            kind["how"],
            str(kind["times"]),
            ", ".join(f"{doing} ({times})" for doing, times in sorted(kind["while"].items())),
            f"{sum(share == 1 for share in kind['kept'])}",
            f"{sum(share == 1 for share in kind['unvalidated'])}",
            ", ".join(f"{why} ({times})" for why, times in kind["why"].items()),
        ]
        for kind in kinds
    ]
    head = ["file", "edited", "killed", "while", "all readable", "without validation", "why not"]
    return table(head, rows)


def _full(kinds):
    rows = [
        [
            f"{kind['mode']}, {kind['kind']}",
            kind["how"],
            kind["disk"],
            str(sum(kind["reported"].values())),
            str(kind["silent"]),
            _least(kind["kept"]),
        ]
        for kind in kinds
    ]
    return table(["", "edited", "full by", "reported", "silent", "earlier records left"], rows)


if __name__ == "__main__":
    main(*map(Path, sys.argv[1:]))
