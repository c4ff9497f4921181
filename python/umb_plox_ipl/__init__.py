"""Camera image processing: raw Bayer and mono frames to converted images, NumPy arrays,
files and video.

Everything of the extension module is re-exported here: ``import umb_plox_ipl as ipl``.
"""

from importlib import metadata as _metadata

from . import umb_plox_ipl_python_interface as _interface
from .umb_plox_ipl_python_interface import *  # noqa: F401,F403
from .umb_plox_ipl_python_interface import PixelFormat as _PixelFormat
from .numpy_view import from_numpy, get_numpy
from . import paths as _paths, presentation as _presentation

_paths.install()
_presentation.install()

try:
    __version__ = _metadata.version("umb_plox_ipl")
except _metadata.PackageNotFoundError:  # running from a build tree
    __version__ = "0+unknown"


def pixel_format_names():
    """Every valid pixel format name as ``{text: value}``, in the order of their values' names."""
    from . import umb_plox_ipl_python_interface as interface

    prefix = "PixelFormatName_"
    return {
        name[len(prefix):]: value
        for name, value in vars(interface).items()
        if name.startswith(prefix) and name != prefix + "Invalid"
    }


def pixel_format(name):
    """A :class:`PixelFormat` from its text in any case (``"BayerRG12p"``, ``"bayerrg12p"``), its
    value, or a :class:`PixelFormat` (returned as it is)."""
    if isinstance(name, _PixelFormat):
        return name
    if isinstance(name, str):
        folded = {text.casefold(): value for text, value in pixel_format_names().items()}
        if name.casefold() not in folded:
            raise ValueError(f"unknown pixel format {name!r}")
        return _PixelFormat(folded[name.casefold()])
    return _PixelFormat(name)


# A star import brings the module's names and these helpers, but leaves Python's own
# ``Exception`` alone: the library's base exception stays reachable as ``ipl.Exception``.
__all__ = sorted(
    {name for name in vars(_interface) if not name.startswith("_") and name != "Exception"}
    | {"from_numpy", "get_numpy", "pixel_format", "pixel_format_names"}
)
