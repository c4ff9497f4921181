"""Camera image processing: raw Bayer and mono frames to converted images, NumPy arrays,
files and video.

Everything of the extension module is re-exported here: ``import umb_plox_ipl as ipl``.
"""

from importlib import metadata as _metadata

from .umb_plox_ipl_python_interface import *  # noqa: F401,F403
from .umb_plox_ipl_python_interface import PixelFormat as _PixelFormat
from .numpy_view import get_numpy

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
    """A :class:`PixelFormat` from its text (``"BayerRG12p"``) or its value."""
    if isinstance(name, str):
        names = pixel_format_names()
        if name not in names:
            raise ValueError(f"unknown pixel format {name!r}")
        return _PixelFormat(names[name])
    return _PixelFormat(name)
