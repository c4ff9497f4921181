"""File names as ``os.PathLike`` (``pathlib.Path``) wherever the module takes a file name."""

import functools
import os

from . import umb_plox_ipl_python_interface as _interface

# Class, method, and whether the file name is the method's first argument after ``self``.
_FILE_NAME_METHODS = (
    ("ImageReader", "Read"),
    ("ImageWriter", "Write"),
    ("ImageWriter", "WriteAsBMP"),
    ("ImageWriter", "WriteAsJPG"),
    ("ImageWriter", "WriteAsPNG"),
    ("ImageWriter", "WriteAsRAW"),
    ("VideoWriter", "Open"),
)


def _text(name):
    # Only path objects change: a str, bytes or wrong type reaches the module as given, so its
    # own argument messages stay.
    return os.fsdecode(os.fspath(name)) if isinstance(name, os.PathLike) else name


def _accepting_paths(function, skip):
    @functools.wraps(function)
    def wrapper(*args, **kwargs):
        if len(args) > skip:
            args = (*args[:skip], _text(args[skip]), *args[skip + 1:])
        return function(*args, **kwargs)

    return wrapper


def install():
    for class_name, method in _FILE_NAME_METHODS:
        cls = getattr(_interface, class_name, None)
        if cls is None or method not in vars(cls):
            continue
        attribute = vars(cls)[method]
        if isinstance(attribute, staticmethod):
            setattr(cls, method, staticmethod(_accepting_paths(attribute.__func__, 0)))
        else:
            setattr(cls, method, _accepting_paths(attribute, 1))
