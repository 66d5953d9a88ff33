"""`tarvik check`: reads all that is in files and lists what is odd."""

import json
from dataclasses import asdict, dataclass

import numpy as np

from tarvik import CDFError, CDFProcessError, istp
from tarvik._contents import Unreadable
from tarvik._fetch import name_of
from tarvik._text import counted, for_json, undecoded, visible
from tarvik.cli.errors import DONE, FOUND, Failure
from tarvik.cli.files import check_sizes, opened
from tarvik.cli.findings import print_findings
from tarvik.cli.progress import progress


@dataclass(frozen=True)
class Remark:
    """Something odd, and what it is about."""

    subject: str
    what: str


def check_files(files, as_json, with_istp=False, gateway=None):
    """Check files on stdout; return 0 when all are clean, 1 when not, more for a failure.

    Warnings of the ISTP conventions leave a file clean.

    The library verifies the checksum of a file that has one when it opens it with validation.
    """
    documents = []
    code = DONE
    for path in files:
        try:
            documents.append(_document(path, with_istp, gateway))
        except Failure as failure:
            code = max(code, failure.complain())
            documents.append({"file": name_of(path), "clean": False, "problem": str(failure.error)})
            continue
        code = max(code, DONE if documents[-1]["clean"] else FOUND)
        if not as_json:
            _print(documents[-1])
    if as_json:
        print(json.dumps(for_json(documents), indent=2))
    return code


def _document(path, with_istp, gateway):
    with opened(path, gateway) as file:
        remarks = [*_of_attributes(file), *_of_variables(file)]
        findings = istp.check(file) if with_istp else []
        return {
            "file": file.path,
            "clean": not (remarks or any(each.severity == istp.ERROR for each in findings)),
            "checksum": file._ask("getChecksum"),
            "variables": len(file),
            "attributes": len(file._attributes),
            "remarks": [asdict(remark) for remark in remarks],
            "problem": None,
            **({"istp": [asdict(finding) for finding in findings]} if with_istp else {}),
        }


def _print(document):
    state = "clean" if document["clean"] else counted(len(document["remarks"]), "remark")
    checksum = "no checksum" if document["checksum"] == "NO_CHECKSUM" else "checksum verified"
    variables = counted(document["variables"], "variable")
    attributes = counted(document["attributes"], "attribute")
    print(f"{visible(document['file'])}: {state} ({variables} and {attributes} read, {checksum})")
    for remark in document["remarks"]:
        print(f"  {visible(remark['subject'])}: {visible(remark['what'])}")
    if "istp" in document:
        print_findings(document["istp"])


def _of_attributes(file):
    names = {found.number: found.name for found in file._listed()}
    for attribute in file._attributes.values():
        subject = f"attribute {attribute.name}"
        yield from _of_name(subject, attribute.name)
        if attribute.problem is not None:
            yield Remark(subject, f"not readable: {attribute.problem}")
        elif not attribute.of_file and not attribute.of_variables:
            yield Remark(subject, "no entries")
        for number, entry in attribute.of_file.items():
            yield from _of_entry(subject, f"entry {number}", entry)
        for number, entry in attribute.of_variables.items():
            what = f"entry of {names.get(number, number)}"
            if number not in names:
                what = f"entry {number}"
                yield Remark(subject, f"{what} is for a variable that does not exist")
            yield from _of_entry(subject, what, entry)


def _of_entry(subject, what, entry):
    if entry.problem is not None:
        yield Remark(subject, f"{what} is not readable: {entry.problem}")
    elif entry.is_text:
        text = entry.for_gateway
        if not _is_utf8(text):
            yield Remark(subject, f"{what} is not UTF-8")
        if b"\0" in text:
            yield Remark(subject, f"{what} holds NULs; nothing is read behind the first")


def _of_variables(file):
    for found in file._listed():
        subject = f"variable {found.name}"
        yield from _of_name(subject, found.name)
        if isinstance(found, Unreadable):
            yield Remark(subject, f"not readable: {found.problem}")
            continue
        try:
            yield from _of_variable(subject, found)
        except CDFProcessError:
            raise
        except CDFError as error:
            yield Remark(subject, f"not readable: {error}")


def _of_variable(subject, variable):
    records = range(variable._record_count)
    if not records:
        yield Remark(subject, "no records")
    if variable.sparse is not None:
        written = variable._existing_count
        yield Remark(subject, f"sparse: {written} of {len(records)} records are written")
    try:
        check_sizes(variable)
    except OSError as error:
        yield Remark(subject, f"not read: {error.strerror}")
        return
    wrong, total = 0, len(records) * variable._stored_bytes
    with progress(f"Reading {visible(variable.name)}", total) as advance:
        for runs in variable._stored_blocks(records):
            values = variable._read(runs)
            if values.dtype.kind == "S":
                wrong += sum(not _is_utf8(text) for text in _texts(values))
            advance(values.nbytes)
    if wrong:
        yield Remark(subject, f"values that are not UTF-8: {wrong}")


def _texts(values):
    """The texts; none where all are ASCII."""
    codes = np.ascontiguousarray(values).view(np.uint8)
    return [] if (codes < 128).all() else values.ravel().tolist()


def _of_name(subject, name):
    if name != name.strip():
        yield Remark(subject, "blanks around the name")
    if any(undecoded(character) is not None for character in name):
        yield Remark(subject, "the name is not UTF-8")


def _is_utf8(text):
    try:
        text.decode()
    except UnicodeDecodeError:
        return False
    return True
