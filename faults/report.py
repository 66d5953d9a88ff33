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

PAGE = Path(__file__).with_name("page.md")


def main(results, folder):
    """Write the page into the folder."""
    faults = {}
    for part in sorted(results.glob("*.json")):
        faults.update(json.loads(part.read_text()))
    leaks = [line.split(" ") for line in (results / "leaks.txt").read_text().splitlines()]
    opens, copies, twice = faults["opens"], faults["copies"], faults["two writers"]
    processes = faults["processes"]
    slowest = max(seconds for name, seconds in faults["opening"].items() if name != "seconds")
    page = PAGE.read_text().format(
        machine=_machine(faults),
        promises=_promises(faults, leaks),
        calls=_calls(faults["calls"]),
        files=faults["files"],
        damaged=_damaged(faults),
        bad=_bad(faults["in process"]["bad"]),
        originals=faults["structures"]["files"],
        linked=f"{faults['structures']['count']:,}",
        structures=_structures(faults["structures"]),
        structures_bad=_bad(faults["structures"]["bad"]),
        by_commands=f"{faults['commands']['commands']:,}",
        slowest=duration(faults["commands"]["slowest"]),
        sequences=f"{faults['sequences']['sequences']:,}",
        sequences_wrong=faults["sequences"]["wrong"],
        interruptions=f"{processes['interruptions']:,}",
        interruptions_broken=_broken(processes),
        ways=processes["ways"],
        ways_broken=_broken(processes),
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


def _promises(faults, leaks):
    """What is promised, how often it was tried, and how often it was broken."""
    calls, linked, copies = faults["calls"], faults["structures"], faults["copies"]
    damaged, apart, commands = (faults[name] for name in ("in process", "isolated", "commands"))
    full, killed = faults["full disk"]["kinds"], faults["killed"]["kinds"]
    summed, twice, processes = (faults[name] for name in ("checksum", "two writers", "processes"))
    edited = [kind for kind in (*killed, *full) if kind["how"] == "transaction"]
    memory = max(damaged["memory"], linked["memory"]) / 2**20
    rows = [
        ("No argument crashes the host", f"{calls['calls']:,} calls", len(calls["failures"])),
        (
            "A damaged file does not crash or hang the process that reads it",
            f"{damaged['count']:,} files",
            len(damaged["bad"]),
        ),
        (
            "Nor does one with damaged structures, nor does an edit of it lose data",
            f"{linked['count']:,} files",
            len({(row["file"], row["seed"]) for row in linked["bad"]}),
        ),
        (
            f"Reading one takes at most 512 MiB (this run: {memory:.0f} MiB)",
            "the same",
            int(memory > 512),
        ),
        (
            "An isolated gateway survives any file",
            f"{apart['count']:,} files",
            apart["count"] - apart["survived"],
        ),
        (
            "Every command survives it, ends in time and leaves nothing behind",
            f"{commands['count']:,} files",
            len(commands["bad"]) + len(commands["left"]) + commands["orphans"],
        ),
        (
            "Damage to a file with a checksum is noticed",
            f"{summed['count']:,} files",
            len(summed["unnoticed"]),
        ),
        (
            "What was edited reads back",
            f"{faults['sequences']['sequences']:,} sequences",
            faults["sequences"]["wrong"],
        ),
        (
            "A close that reports success has written everything",
            f"{sum(kind['steps'] for kind in full):,} full disks",
            sum(kind["silent"] for kind in full),
        ),
        (
            "A transaction that fails leaves the file as it was",
            f"{sum(len(kind['kept']) for kind in edited):,} kills and full disks",
            sum(share < 1 for share in _kept(edited, "transaction")),
        ),
        ("Nor does `tarvik copy` damage a file", f"{copies['steps']} runs", copies["damaged"]),
        (
            "Two writers never edit a file at a time",
            f"{twice['times']} attempts",
            twice["times"] - twice["refused"] + twice["lost"],
        ),
        (
            "An interrupted gateway answers the next call",
            f"{processes['interruptions']:,} interruptions",
            _broken(processes),
        ),
        (
            "A worker process that was taken over does not harm its caller",
            f"{processes['ways']} behaviours",
            _broken(processes),
        ),
        (
            "No access outside owned memory, no leak",
            f"{len(leaks)} programs under valgrind",
            sum(int(wrong) + int(lost) for _, wrong, lost in leaks),
        ),
    ]
    return table(["promise", "tried with", "broken"], [[*row[:2], str(row[2])] for row in rows])


def _broken(processes):
    return "none" if processes["passed"] else "some: the tests failed"


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
