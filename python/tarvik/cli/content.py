"""What is in a file, asked of the gateway, as dictionaries and lists that go into JSON as they are.

One thing that the gateway refuses to read does not stop the rest: the description of that thing has
the reason as its "problem", and None where there is nothing to tell.
"""

import os

from tarvik import CDFError
from tarvik.cli import values
from tarvik.cli.errors import NoSuchVariableError
from tarvik.cli.files import path_on_disk, refuse_what_is_no_file
from tarvik.cli.gateway import call

MAX_ROWS = 10


def read_file(path, names=()):
    """Read the facts, attributes and variables of a file.

    Parameters
    ----------
    path : str
        The file.
    names : sequence of str
        Variables whose first values are read too.

    Returns
    -------
    dict

    Raises
    ------
    NoSuchVariableError
        A name is none of a variable.
    """
    refuse_what_is_no_file(path)
    with call("open", os.fsencode(path)) as file:
        content = _facts(file, path)
        attributes = [_attribute(file, number) for number in range(content["attribute_count"])]
        content["global_attributes"] = [
            {
                "name": attribute["name"],
                "entries": _entries(file, "g", attribute, range(attribute["max_global"] + 1)),
                "problem": attribute["problem"],
            }
            for attribute in attributes
            if attribute["scope"] != "VARIABLE_SCOPE"
        ]
        content["variables"] = [
            _variable(file, number, attributes) for number in range(content["variable_count"])
        ]
        by_name = {variable["name"]: variable for variable in content["variables"]}
        for name in names:
            if name not in by_name:
                raise NoSuchVariableError(name)
            _add_values(file, by_name[name])
        return content


def _facts(file, path):
    encoding, majority, last_record, variables, attributes = call("inquire", file)
    return {
        "file": path,
        "size": os.path.getsize(path_on_disk(path)),
        "version": ".".join(f"{part:.0f}" for part in call("getVersion", file)),
        "format": call("getFormat", file),
        "majority": majority,
        "encoding": encoding,
        "compression": _compression(call("getCompression", file)),
        "checksum": call("getChecksum", file),
        "caches": {
            "file": int(call("getCacheSize", file)),
            "stage": int(call("getStageCacheSize", file)),
            "compression": int(call("getCompressionCacheSize", file)),
        },
        "copyright": call("getCopyright", file),
        "records": int(last_record) + 1,
        "variable_count": int(variables),
        "attribute_count": int(attributes),
        "global_attribute_count": int(call("getNumgAttributes", file)),
        "variable_attribute_count": int(call("getNumvAttributes", file)),
    }


def _compression(outputs):
    kind, parameter, percentage = outputs
    has_parameter = isinstance(parameter, (str, float))
    return {
        "type": kind,
        "parameter": parameter if has_parameter else None,
        "percentage": percentage,
    }


def _attribute(file, number):
    try:
        name, scope, max_global, max_variable = call("inquireAttr", file, number)
        problem = None
    except CDFError as error:
        name, scope, problem = call("getAttrName", file, number), None, error.message
        max_global = max_variable = -1
    return {
        "number": number,
        "name": name,
        "scope": scope,
        "max_global": int(max_global),
        "max_variable": int(max_variable),
        "problem": problem,
    }


def _entries(file, kind, attribute, numbers):
    """The entries of an attribute that exist among these; kind is "g" for those of the file."""
    found = []
    for number in numbers:
        entry = dict.fromkeys(("number", "datatype", "elements", "value", "times", "problem"))
        entry["number"] = number
        try:
            place = (file, attribute["number"], number)
            datatype, elements = call(f"inquireAttr{kind}Entry", *place)
            entry.update(datatype=datatype, elements=int(elements))
            entry.update(values.of_entry(datatype, call(f"getAttr{kind}Entry", *place)))
        except KeyError:
            continue  # there need not be an entry of each number
        except CDFError as error:
            entry["problem"] = error.message
        found.append(entry)
    return found


def _variable(file, number, attributes):
    return {
        "number": number,
        **_stored(file, number, _inquired(file, number)),
        "attributes": [
            {"name": attribute["name"], **entry}
            for attribute in attributes
            if number <= attribute["max_variable"]
            for entry in _entries(file, "", attribute, [number])
        ],
        "values": None,
        "times": None,
    }


def _stored(file, number, inquired):
    """Add to the description of a variable how it is kept."""
    keys = (
        "records",
        "records_written",
        "compression",
        "sparse_records",
        "pad_value",
        "blocking_factor",
    )
    found = {**inquired, **dict.fromkeys(keys)}
    try:
        found["records"] = int(call("getVarMaxWrittenRecNum", file, number)) + 1
        found["records_written"] = int(call("getVarNumRecsWritten", file, number))
        found["compression"] = _compression(call("getVarCompression", file, number))
        found["sparse_records"] = call("getVarSparseRecords", file, number)
        found["blocking_factor"] = int(call("getVarBlockingFactor", file, number))
        found["pad_value"] = _pad_value(file, inquired, number)
    except CDFError as error:
        found["problem"] = found["problem"] or error.message
    return found


def _inquired(file, number):
    keys = ("name", "datatype", "elements", "dimensions", "record_variance", "dimension_variances")
    found = dict.fromkeys((*keys, "problem"))
    try:
        found.update(zip(keys, call("inquireVar", file, number)))
    except CDFError as error:
        return {**found, "name": call("getVarName", file, number), "problem": error.message}
    for key in ("dimensions", "dimension_variances"):
        found[key] = found[key].ravel().tolist() if hasattr(found[key], "ravel") else [found[key]]
    found["dimensions"] = [int(extent) for extent in found["dimensions"]]
    found["elements"] = int(found["elements"])
    return found


def _pad_value(file, inquired, number):
    """What unwritten records read as; its time where it is one."""
    if inquired["problem"]:
        return None
    datatype = inquired["datatype"]
    pad = call("getVarPadValue", file, number)
    if datatype in values.TEXTS:
        return values.strings(pad, inquired["elements"], (1,))[0]
    found = values.of_entry(datatype, pad)
    return found["value"] if found["times"] is None else found["times"]


def _add_values(file, variable):
    """Add the first records' values."""
    if variable["problem"]:
        return
    try:
        variable.update(values.of_first_records(file, variable, min(variable["records"], MAX_ROWS)))
    except CDFError as error:
        variable["problem"] = error.message
