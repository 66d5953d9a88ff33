"""Rules for the global attributes, the file name and names in general."""

from __future__ import annotations

import re
from collections.abc import Iterator

from tarvik.istp.facts import FileFacts
from tarvik.istp.findings import ERROR, WARNING, Problem, Rule, entry_problems
from tarvik.times import to_datetime64

__all__ = ["FILE_RULES", "source_from_parts"]

_REQUIRED = {  # and what each has
    "Project": "the project, such as 'ISTP>International Solar-Terrestrial Physics'",
    "Source_name": "the mission or investigation, such as 'ACE>Advanced Composition Explorer'",
    "Discipline": "such as 'Space Physics>Magnetospheric Science'",
    "Data_type": "the level, such as 'H2>Level 2 hourly'",
    "Descriptor": "the instrument, such as 'SIS>Solar Isotope Spectrometer'",
    "Data_version": "the version, such as '6'",
    "Logical_file_id": "the name of the file without '.cdf'",
    "PI_name": "the principal investigator",
    "PI_affiliation": "the affiliation of the principal investigator",
    "TEXT": "a description of the experiment",
    "Instrument_type": "such as 'Magnetic Fields (space)'",
    "Mission_group": "such as 'ACE'",
    "Logical_source": "Source_name, Data_type and Descriptor in lower case, joined by '_'",
    "Logical_source_description": "the data set in words",
}
_RECOMMENDED = (
    *("File_naming_convention", "Generation_date", "Generated_by", "Acknowledgement"),
    *("Rules_of_use", "MODS", "LINK_TEXT", "LINK_TITLE", "HTTP_LINK", "ADID_ref", "DOI"),
    *("Time_resolution", "spase_DatasetResourceID"),
)
_NAME = re.compile(r"[A-Za-z][A-Za-z0-9_]*")
_DATE = re.compile(r"\d{8}")
_VERSION = re.compile(r"_[vV](\d[\d.]*)$")
_NO_DATE = "00000000"  # of virtual files, which stand for those of all days


def _missing(file: FileFacts) -> Iterator[Problem]:
    for name, meaning in _REQUIRED.items():
        if not any(file.texts(name)):
            yield Problem(
                name, f"the global attribute {name} is missing or blank", f"set it: {meaning}"
            )


def _recommended(file: FileFacts) -> Iterator[Problem]:
    absent = [name for name in _RECOMMENDED if name not in file.file.attrs]
    if absent:
        message = f"recommended global attributes are missing: {', '.join(absent)}"
        yield Problem(None, message, "set those that apply")


def _entries(file: FileFacts) -> Iterator[Problem]:
    for name in file.file.attrs:
        for number, entry in file.file.attrs._entries(name).items():
            yield from entry_problems(name, entry, f"entry {number} of {name}")


def _numbers(file: FileFacts) -> Iterator[Problem]:
    for name in file.file.attrs:
        entries = file.file.attrs._entries(name).values()
        kinds = {e.datatype.name for e in entries if e.problem is None and not e.is_text}
        if kinds:
            message = f"{name} has entries of {', '.join(sorted(kinds))}"
            yield Problem(name, message, "write them as text")


def _names(file: FileFacts) -> Iterator[Problem]:
    for what, names in (("attribute", file.file._attributes), ("variable", file.variables)):
        for name in names:
            if not _NAME.fullmatch(name):
                message = f"the {what} name {name!r} has other characters than A-Z, a-z, 0-9 and _"
                yield Problem(name if what == "attribute" else None, message, "rename it")


def source_from_parts(file: FileFacts) -> str | None:
    """Logical_source as the three attributes that it is made of say it."""
    parts = [file.first(name) for name in ("Source_name", "Data_type", "Descriptor")]
    words = [part.partition(">")[0].strip() for part in parts]
    return "_".join(words).lower() if all(words) else None


def _source(file: FileFacts) -> Iterator[Problem]:
    expected, found = source_from_parts(file), file.first("Logical_source")
    if found and expected is not None and found != expected:
        message = f"Logical_source is {found!r}; Source_name, Data_type and Descriptor make "
        yield Problem("Logical_source", f"{message}{expected!r}", f"set it to {expected!r}")


def _file_name(file: FileFacts) -> Iterator[Problem]:
    found = file.first("Logical_file_id")
    if "Logical_file_id" in file.file.attrs and found != file.stem:
        message = f"Logical_file_id is {found!r} in the file {file.name!r}"
        yield Problem("Logical_file_id", message, f"set it to {file.stem!r} or rename the file")
    source = file.first("Logical_source")
    if source and not file.name.startswith(source):
        message = f"the file name {file.name!r} does not begin with Logical_source, {source!r}"
        yield Problem("Logical_source", message, "rename the file or set the attribute")
    if not _DATE.search(file.name):
        message = f"the file name {file.name!r} has no date"
        yield Problem(None, message, "name it Logical_source_YYYYMMDD_vVERSION.cdf")


def _version(file: FileFacts) -> Iterator[Problem]:
    found, expected = _VERSION.search(file.stem), file.first("Data_version").lstrip("vV")
    if found is None:
        yield Problem(None, f"the file name {file.name!r} has no version", "end it with _v01, say")
    elif expected and found[1].lstrip("0") != expected.lstrip("0"):
        message = f"Data_version is {expected!r} in the file {file.name!r}"
        yield Problem("Data_version", message, f"set it to {found[1]!r} or rename the file")


def _has_records(file: FileFacts) -> bool:
    return any(v.record_vary and v.records for v in file.variables.values())


def _time_axis(file: FileFacts) -> Iterator[Problem]:
    varying = [v for v in file.times if v.record_vary]
    if not varying:
        remedy = "add a variable Epoch of CDF_TIME_TT2000"
        yield Problem(None, "no time variable goes along the records", remedy)
        return
    first = next(iter(file.variables))
    if not file.variables[first].is_time:
        message = f"the first variable is {first}, not a time variable"
        yield Problem(None, message, f"write {varying[0].name} first")


def _unreadable(file: FileFacts) -> Iterator[Problem]:
    for variable in file.unreadable:
        message = f"the variable {variable.name} is not readable: {variable.problem}"
        yield Problem(None, message, "write it again")


def _days(file: FileFacts) -> Iterator[Problem]:
    date = _DATE.search(file.name)
    assert date is not None  # the rule applies to no other files
    expected = f"{date[0][:4]}-{date[0][4:6]}-{date[0][6:]}"
    for variable in file.times:
        values = variable.values if variable.record_vary else None
        if values is None or values.extremes is None:
            continue
        ends = to_datetime64(list(values.extremes), variable.datatype.name, unit="s").astype(
            "M8[D]"
        )
        first, last = map(str, ends)
        if (first, last) != (expected, expected):
            span = first if first == last else f"{first} to {last}"
            message = f"the times of {variable.name} are of {span}, the file name has {expected}"
            yield Problem(None, message, "write one file for each day, named after it")


def _every(_file: FileFacts) -> bool:
    return True


def _is_dated(file: FileFacts) -> bool:
    date = _DATE.search(file.name)
    return date is not None and date[0] != _NO_DATE


FILE_RULES = (
    Rule("global-missing", ERROR, _every, _missing),
    Rule("global-recommended", WARNING, _every, _recommended),
    Rule("global-entry", ERROR, _every, _entries),
    Rule("global-number", WARNING, _every, _numbers),
    Rule("logical-source", WARNING, _every, _source),
    Rule("file-name", ERROR, _every, _file_name),
    Rule("file-version", WARNING, _every, _version),
    Rule("file-days", ERROR, _is_dated, _days),
    Rule("name", WARNING, _every, _names),
    Rule("time-axis", WARNING, _has_records, _time_axis),
    Rule("unreadable", ERROR, _every, _unreadable),
)
