"""`tarvik check`: reads all that is in files and lists what is odd."""

import json
from dataclasses import asdict, dataclass

import numpy as np

from tarvik import CDFError, constants
from tarvik.cli import blocks, model
from tarvik.cli.errors import DONE, FOUND, Failure
from tarvik.cli.files import opened
from tarvik.cli.gateway import call, using
from tarvik.cli.progress import progress
from tarvik.cli.text import counted, for_json, undecoded, visible


@dataclass(frozen=True)
class Remark:
    """Something odd, and what it is about."""

    subject: str
    what: str


def check_files(files, as_json, gateway=None):
    """Check files on stdout; return 0 when all are clean, 1 when not, more for a failure.

    They go through the gateway, which is unloaded at the end; without one they go the usual way.
    The library verifies the checksum of a file that has one when it opens it with validation.
    """
    with using(gateway):
        return _check_files(files, as_json)


def _check_files(files, as_json):
    documents = []
    code = DONE
    for path in files:
        try:
            documents.append(_document(path))
        except Failure as failure:
            code = max(code, failure.complain())
            documents.append({"file": path, "clean": False, "problem": str(failure.error)})
            continue
        code = max(code, DONE if documents[-1]["clean"] else FOUND)
        if not as_json:
            _print(documents[-1])
    if as_json:
        print(json.dumps(for_json(documents), indent=2))
    return code


def _document(path):
    # The process for it may be a new one.
    call("setValidate", constants.VALIDATEFILEON)
    with opened(path) as file:
        variables, attributes = map(int, call("inquire", file)[3:])
        checksum = call("getChecksum", file)
        remarks = [*_of_attributes(file, attributes, variables), *_of_variables(file, variables)]
    return {
        "file": path,
        "clean": not remarks,
        "checksum": checksum,
        "variables": variables,
        "attributes": attributes,
        "remarks": [asdict(remark) for remark in remarks],
        "problem": None,
    }


def _print(document):
    state = "clean" if document["clean"] else counted(len(document["remarks"]), "remark")
    checksum = "no checksum" if document["checksum"] == "NO_CHECKSUM" else "checksum verified"
    variables = counted(document["variables"], "variable")
    attributes = counted(document["attributes"], "attribute")
    print(f"{visible(document['file'])}: {state} ({variables} and {attributes} read, {checksum})")
    for remark in document["remarks"]:
        print(f"  {visible(remark['subject'])}: {visible(remark['what'])}")


def _of_attributes(file, count, variables):
    for number in range(count):
        name = call("getAttrName", file, number)
        subject = f"attribute {name}"
        yield from _of_name(subject, name)
        try:
            attribute = model.read_attribute(file, number)
        except CDFError as error:
            yield Remark(subject, f"not readable: {error}")
            continue
        if not attribute.entries:
            yield Remark(subject, "no entries")
        for entry in attribute.entries:
            yield from _of_entry(file, subject, entry, variables)


def _of_entry(file, subject, entry, variables):
    what = f"entry {entry.number}"
    if entry.of_variable and entry.number < variables:
        what = f"entry of {call('getVarName', file, entry.number)}"
    elif entry.of_variable:
        yield Remark(subject, f"{what} is for a variable that does not exist")
    if isinstance(entry.value, bytes):
        if not _is_utf8(entry.value):
            yield Remark(subject, f"{what} is not UTF-8")
        if b"\0" in entry.value:
            yield Remark(subject, f"{what} holds NULs; nothing is read behind the first")


def _of_variables(file, count):
    for number in range(count):
        name = call("getVarName", file, number)
        subject = f"variable {name}"
        yield from _of_name(subject, name)
        try:
            yield from _of_variable(file, subject, number)
        except CDFError as error:
            yield Remark(subject, f"not readable: {error}")


def _of_variable(file, subject, number):
    variable = model.read_variable(file, number, call("getMajority", file) == "ROW_MAJOR")
    if variable.records == 0:
        yield Remark(subject, "no records")
    if variable.sparse != model.NO_SPARSE:
        yield Remark(
            subject, f"sparse: {variable.written} of {variable.records} records are written"
        )
    wrong = 0
    with progress(f"Reading {visible(variable.name)}", variable.records) as advance:
        for records in blocks.blocks(range(variable.records), variable.record_bytes):
            values = blocks.read(file, variable, records)
            if variable.datatype in model.TEXTS:
                wrong += sum(not _is_utf8(text) for text in _texts(values))
            advance(len(records))
    if wrong:
        yield Remark(subject, f"values that are not UTF-8: {wrong}")


def _texts(values):
    """The texts that lie along the last axis; none where all are ASCII."""
    codes = np.ascontiguousarray(values).view(np.uint8)
    if (codes < 128).all():
        return []
    return [text.tobytes() for text in codes.reshape((-1, codes.shape[-1]))]


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
