"""What is in a file as dictionaries and lists that go into JSON as they are.

One thing that cannot be read does not stop the rest: the description of that thing has the reason
as its "problem", and None where there is nothing to tell. The dimensions and the values stand in
the order in which the operations of the gateway take them, with records first.
"""

import os

import numpy as np

from tarvik import CDFError, CDFProcessError, Variable
from tarvik._contents import Unreadable
from tarvik._iso8601 import as_text
from tarvik._order import turned
from tarvik.cli.errors import check_variables
from tarvik.cli.files import opened

_MAX_RECORDS = 10
_MAX_VALUES = 1_000_000
_MOST_BYTES = 32 << 20  # of one record
_DESCRIPTION = ("datatype", "elements", "dimensions", "record_variance", "dimension_variances")
_STORAGE = (
    "records",
    "records_written",
    "compression",
    "sparse_records",
    "pad_value",
    "blocking_factor",
)


def read_file(path, names=(), gateway=None):
    """Read the facts, attributes and variables of a file.

    Parameters
    ----------
    path : str
    names : sequence of str
        Variables whose first values are read too.
    gateway : tarvik.Gateway, optional
        What the file is read through.

    Returns
    -------
    dict

    Raises
    ------
    Failure
        If the file cannot be read, or a name is none of a variable.
    """
    with opened(path, gateway) as file:
        content = _facts(file)
        content["global_attributes"] = [
            {
                "name": attribute.name,
                "entries": [_entry(n, entry) for n, entry in attribute.of_file.items()],
                "problem": attribute.problem and attribute.problem.message,
            }
            for attribute in file._attributes.values()
            if attribute.problem or attribute.scope != "VARIABLE_SCOPE"
        ]
        content["variables"] = [_variable(file, found) for found in file._listed()]
        check_variables(file, names)
        by_name = {variable["name"]: variable for variable in content["variables"]}
        for name in names:
            if not by_name[name]["problem"]:
                _add_values(file[name], by_name[name])
        return content


def _facts(file):
    encoding, majority, last_record, variables, attributes = file._ask("inquire")
    return {
        "file": file.path,
        "size": os.path.getsize(file._file_on_disk),
        "version": file.version,
        "format": file._ask("getFormat"),
        "majority": majority,
        "encoding": encoding,
        "compression": _compression(file._ask("getCompression")),
        "checksum": file._ask("getChecksum"),
        "caches": {
            "file": int(file._ask("getCacheSize")),
            "stage": int(file._ask("getStageCacheSize")),
            "compression": int(file._ask("getCompressionCacheSize")),
        },
        "copyright": file.copyright,
        "records": int(last_record) + 1,
        "variable_count": int(variables),
        "attribute_count": int(attributes),
        "global_attribute_count": int(file._ask("getNumgAttributes")),
        "variable_attribute_count": int(file._ask("getNumvAttributes")),
    }


def _compression(outputs):
    kind, parameter, percentage = outputs
    has_parameter = isinstance(parameter, (str, float))
    return {
        "type": kind,
        "parameter": parameter if has_parameter else None,
        "percentage": percentage,
    }


def _entry(number, entry):
    found = dict.fromkeys(("number", "datatype", "elements", "value", "times", "problem"))
    found["number"] = number
    if entry.elements:
        found.update(datatype=entry.datatype.inquired, elements=entry.elements)
    if entry.problem is not None:
        found["problem"] = entry.problem.message
    elif entry.is_text:
        found["value"] = entry.value
    else:
        found["value"], found["times"] = map(_alone, _plain(entry.stored, entry.datatype))
    return found


def _alone(items):
    return items[0] if items is not None and len(items) == 1 else items


def _plain(stored, datatype):
    """Stored values as Python's own numbers and texts in nested lists, and as texts of times.

    There are no texts of times where the values are none. A value of CDF_EPOCH16 is a list of two
    numbers.
    """
    if datatype.is_text:
        flat = [text.decode("utf-8", "surrogateescape") for text in stored.ravel().tolist()]
        return _objects(flat, stored.shape).tolist(), None
    times = as_text(stored, datatype).tolist() if datatype.is_time else None
    if stored.dtype.kind == "c":
        pairs = [[value.real, value.imag] for value in stored.ravel().tolist()]
        return _objects(pairs, stored.shape).tolist(), times
    if stored.dtype == np.float32:
        stored = stored.astype("U32").astype(float)  # 0.1, not 0.10000000149011612
    return stored.tolist(), times


def _objects(items, shape):
    array = np.empty(len(items), dtype=object)
    array[:] = items
    return array.reshape(shape)


def _variable(file, found):
    attributes = [
        {"name": attribute.name, **_entry(found.number, attribute.of_variables[found.number])}
        for attribute in file._attributes.values()
        if found.number in attribute.of_variables
    ]
    return {
        "number": found.number,
        **_described(found),
        **_stored(file, found),
        "attributes": attributes,
        "values": None,
        "times": None,
    }


def _described(found):
    content = dict.fromkeys(("name", *_DESCRIPTION, "problem"))
    content["name"] = found.name
    if isinstance(found, Unreadable):
        return {**content, "problem": found.problem.message}
    order = turned(found._file._row_major)
    content.update(
        datatype=found._datatype.inquired,
        elements=found._elements,
        dimensions=list(found._extents[order]),
        record_variance=found.record_vary,
        dimension_variances=list(found.dim_vary[order]),
    )
    return content


def _stored(file, found):
    """How a variable is kept; up to what cannot be read, which is the problem."""
    content = dict.fromkeys(_STORAGE)
    readable = isinstance(found, Variable)

    def ask(operation):
        return file._call(operation, file.id, found.number)

    try:
        content["records"] = int(ask("getVarMaxWrittenRecNum")) + 1
        content["records_written"] = int(ask("getVarNumRecsWritten"))
        content["compression"] = _compression(ask("getVarCompression"))
        content["sparse_records"] = ask("getVarSparseRecords")
        content["blocking_factor"] = int(ask("getVarBlockingFactor"))
        if readable:
            values, times = _plain(found._pad(), found._datatype)
            content["pad_value"] = values if times is None else times
    except CDFProcessError:
        raise
    except CDFError as error:
        if readable:
            content["problem"] = error.message
    return content


def _add_values(variable, content):
    """Add the first records' values."""
    each = max(1, int(np.prod(variable._extents, dtype=object)))
    records = min(content["records"], _MAX_RECORDS, max(1, _MAX_VALUES // each))
    if records == 0:
        content["values"] = []
        return
    if variable._record_bytes > _MOST_BYTES:
        content["problem"] = f"a record has {variable._record_bytes} bytes, which is too much here"
        return
    try:
        values = variable._read_records(range(records))
    except CDFProcessError:
        raise
    except CDFError as error:
        content["problem"] = error.message
        return
    values = values.reshape((records, *variable._extents))
    values = values.transpose(0, *range(1, values.ndim)[turned(variable._file._row_major)])
    content["values"], content["times"] = _plain(values, variable._datatype)
