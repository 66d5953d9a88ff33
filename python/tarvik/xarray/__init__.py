"""CDF files in xarray: `xarray.open_dataset("x.cdf", engine="tarvik")`, `to_cdf(dataset, path)`.

docs/xarray.md describes what becomes of a file and of a dataset.
"""

try:
    import xarray  # noqa: F401
except ImportError as error:
    words = "tarvik.xarray needs xarray: pip install 'tarvik[xarray]'"
    raise ImportError(words, name=error.name) from error

from tarvik.xarray.engine import TarvikBackendEntrypoint
from tarvik.xarray.writer import to_cdf

__all__ = ["TarvikBackendEntrypoint", "to_cdf"]
