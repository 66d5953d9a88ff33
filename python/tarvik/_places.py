"""Where a file is: paths, and copies of what file objects and URLs give."""

from __future__ import annotations

import io
import os
import shutil
import tempfile
from typing import Any


def present_file(path: str) -> str | None:
    """The file that a path names: itself, or with the library's extension behind it."""
    ends = ("",) if path.endswith((".cdf", ".CDF")) else ("", ".cdf", ".CDF")
    return next((path + end for end in ends if os.path.exists(path + end)), None)


def new_path(path: str) -> str:
    return path if path.lower().endswith(".cdf") else path + ".cdf"


def name_of(path: Any) -> str:
    return str(getattr(path, "name", path)) if hasattr(path, "read") else os.fsdecode(path)


def download(path: Any, mode: str) -> Any:
    """Copy what a file object or a URL gives; None for a path, which the library opens itself."""
    is_url = isinstance(path, str) and "://" in path
    if not is_url and not hasattr(path, "read"):
        return None
    if mode != "r":
        raise io.UnsupportedOperation(f"{name_of(path)} is no local file and can be read only")
    if is_url:
        try:
            import fsspec
        except ImportError:
            raise ImportError(f"{path} needs fsspec: pip install 'tarvik[remote]'") from None
        path = fsspec.open(path, "rb").open()
    copy = tempfile.NamedTemporaryFile(suffix=".cdf")  # noqa: SIM115  closed with the file
    try:
        shutil.copyfileobj(path, copy)
        copy.flush()
    except BaseException:
        copy.close()
        raise
    finally:
        if is_url:
            path.close()
    return copy
