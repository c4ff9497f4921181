"""The extension's method table entry by entry, its classes and its constants with their order.

The table is read from the extension itself: each exported function is a PyCFunctionObject whose
PyMethodDef points into the module's method array, which is walked to its terminating entry.
"""

import collections
import ctypes
import pathlib
import re

import pytest

from test_module import PIXEL_FORMAT_CODES
from umb_plox_ipl import umb_plox_ipl_python_interface as interface

extension = interface._umb_plox_ipl_python_interface

FLAGS = {1: "VARARGS", 4: "NOARGS", 8: "O"}  # METH_KEYWORDS, METH_COEXIST ... masked off


class MethodDef(ctypes.Structure):
    _fields_ = [("ml_name", ctypes.c_char_p), ("ml_meth", ctypes.c_void_p), ("ml_flags", ctypes.c_int),
                ("ml_doc", ctypes.c_char_p)]


def method_def_address(function):
    # PyCFunctionObject: PyObject_HEAD, then PyMethodDef *m_ml.
    return ctypes.c_void_p.from_address(id(function) + object.__basicsize__).value


def read_table():
    functions = {name: value for name, value in vars(extension).items()
                 if type(value).__name__ == "builtin_function_or_method"}
    address = min(method_def_address(function) for function in functions.values())
    table = {}
    while True:
        entry = MethodDef.from_address(address)
        if entry.ml_name is None:
            return functions, table
        table[entry.ml_name.decode()] = (FLAGS.get(entry.ml_flags & 0xF, hex(entry.ml_flags)),
                                         "doc" if entry.ml_doc else "-",
                                         (entry.ml_doc or b"").decode())
        address += ctypes.sizeof(MethodDef)


def read_list():
    listed = {}
    for line in (pathlib.Path(__file__).parent / "method_table.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, flag, doc, *since = line.split()
            listed[name] = (flag, doc, since[0].split(",") if since else [])
    return listed


FUNCTIONS, TABLE = read_table()
LISTED = read_list()

VECTORS = ["VectorInt32", "VectorUInt32", "VectorUInt64", "VectorPixelLineChannel", "VectorHistogramChannel",
           "VectorPoint2D", "SharpnessROIList", "VectorVideo", "PixelFormatList"]
# Entries per class besides new_/delete_: methods, accessors, _swigregister and _swiginit.
CLASS_ENTRIES = {
    **dict.fromkeys(VECTORS, 33), "Image": 27, "Gain": 21, "ColorCorrectionFactors": 21, "VideoWriter": 19,
    "PixelFormat": 19, "SwigPyIterator": 17, "Rect2D": 13, "Binning": 13, "Sharpness": 11, "HotpixelCorrection": 11,
    "Decimation": 11, "ColorCorrector": 11, "SharpnessROI": 10, "ImageTransformer": 10, "Version_t": 9,
    "GammaCorrector": 9, "EdgeEnhancement": 9, "Library": 8, "HistogramChannel": 8, "Size2D": 7, "ScaleFactor": 7,
    "Point2D": 7, "ImageConverter": 7, "RangeDouble": 6, "RangeUint32": 6, "RangeInt32": 6, "RangeUInt8": 6,
    "PixelLine": 6, "MJPEGEncoder": 6, "ImageWriter": 6, "IEncoder": 5, "IContainer": 5, "AVIContainer": 5,
    "PixelLineChannel": 4, "ImageWriterPNGParameter": 4, "ImageWriterJPEGParameter": 4, "Histogram": 4,
    "PixelRow": 2, "PixelColumn": 2, "ImageReader": 2, "Exception": 2, "OutOfRangeException": 2,
    "InvalidArgumentException": 2, "ImageFormatNotSupportedException": 2, "ImageFormatInterpretationException": 2,
    "IOException": 2, "BusyException": 2, "NotPermittedException": 2, "TimeoutException": 2,
    "BufferTooSmallException": 1, "InvalidHandleException": 1,
}
WITHOUT_CONSTRUCTOR = {"SwigPyIterator", "BufferTooSmallException", "InvalidHandleException", "Library", "Image",
                       "ImageReader", "ImageWriter", "IEncoder", "IContainer"}
FREE_FUNCTIONS = {"CreateEncoder", "CreateContainer", "GetSupportedEncodersForAContainer",
                  "GetSupportedContainersForAnEncoder", "GetSupportedPixelFormats", "ConversionModeEnumEntryToString",
                  "EndiannessEnumEntryToString", "OrientationEnumEntryToString", "PixelFormatNameEnumEntryToString"}
NOARGS = {"new_HistogramChannel", "new_ImageWriterPNGParameter", "new_ImageWriterJPEGParameter",
          "new_PixelLineChannel", "new_Size2D", "new_Point2D", "new_ScaleFactor", "new_Version_t", "Library_Version",
          "Library_MaxConcurrentThreads", "Library_MultiThreadingEnabled", "Library_SIMDEnabled"}


def test_every_entry_is_exported():
    assert len(TABLE) == len(FUNCTIONS)
    assert set(TABLE) == set(FUNCTIONS)


def test_table_matches_list():
    got = {name: entry[:2] for name, entry in TABLE.items()}
    want = {name: entry[:2] for name, entry in LISTED.items()}
    missing = sorted(set(want) - set(got))
    extra = sorted(set(got) - set(want))
    changed = sorted(f"{name}: {want[name]} -> {got[name]}" for name in set(want) & set(got) if want[name] != got[name])
    assert not (missing or extra or changed), f"missing: {missing}\nextra: {extra}\nchanged: {changed}"


def test_totals():
    flags = collections.Counter(flag for flag, _, _ in TABLE.values())
    documented = sum(doc == "doc" for _, doc, _ in TABLE.values())
    assert (len(TABLE), flags["O"], flags["VARARGS"], flags["NOARGS"], documented) == (802, 441, 349, 12, 275)
    assert {name for name, (flag, _, _) in TABLE.items() if flag == "NOARGS"} == NOARGS


def owner(name):
    if name.startswith(("new_", "delete_")):
        return None
    prefixes = [cls for cls in CLASS_ENTRIES if name.startswith(cls + "_")]
    return max(prefixes, key=len) if prefixes else None


def test_entries_per_class():
    per_class = collections.Counter(owner(name) for name in TABLE)
    unowned = {name for name in TABLE if owner(name) is None and not name.startswith(("new_", "delete_"))}
    assert {cls: per_class[cls] for cls in CLASS_ENTRIES} == CLASS_ENTRIES
    assert unowned == FREE_FUNCTIONS | {"SWIG_PyInstanceMethod_New", "SWIG_PyStaticMethod_New"}


def test_registered_classes_and_constructors():
    registered = {name[:-len("_swigregister")] for name in TABLE if name.endswith("_swigregister")}
    constructed = {name[len("new_"):] for name in TABLE if name.startswith("new_")}
    initialised = {name[:-len("_swiginit")] for name in TABLE if name.endswith("_swiginit")}
    destroyed = {name[len("delete_"):] for name in TABLE if name.startswith("delete_")}
    assert registered == set(CLASS_ENTRIES)
    assert constructed == initialised == registered - WITHOUT_CONSTRUCTOR
    assert destroyed == registered - {"Library"}
    assert all(TABLE[f"{cls}_swigregister"][0] == "O" for cls in registered)
    assert all(TABLE[f"{cls}_swiginit"][0] == "VARARGS" for cls in initialised)


@pytest.mark.parametrize("name", sorted(name for name, (_, _, since) in LISTED.items() if since))
def test_docstring_names_its_versions(name):
    named = collections.Counter(re.findall(r"Since: ([0-9.]+)", TABLE[name][2]))
    assert all(named[version] > 0 for version in LISTED[name][2]), TABLE[name][2]


VIDEO = {"PLOX_IPL_VIDEO_CONTAINER_AVI": 0, "PLOX_IPL_VIDEO_ENCODER_RAW": 0, "PLOX_IPL_VIDEO_ENCODER_MJPEG": 1,
         "PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY": 0, "PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE": 0}
FAMILIES = [
    ("ConversionMode_", {"Fast": 1, "HighQuality": 2, "Classic": 3}),
    ("PixelFormatName_", PIXEL_FORMAT_CODES),
    ("BayerPattern_", {"Unknown": 0, "_None": 1, "Bayer_GR": 2, "Bayer_RG": 3, "Bayer_GB": 4, "Bayer_BG": 5}),
    ("Endianness_", {"Unknown": 0, "LittleEndian": 1, "BigEndian": 2}),
    ("Orientation_", {"Horizontal": 0, "Vertical": 1}),
    ("InterpolationAlgorithm_", {"nearest": 0, "linear": 1, "cubic": 2, "area": 3, "lanczos4": 4, "linear_exact": 5,
                                 "nearest_exact": 6}),
    ("HotpixelCorrection_SensitivityLevel_", {"Invalid": 0, **{f"SensitivityLevel{n}": n for n in range(1, 6)}}),
    ("ImageTransformer_RotationAngle_", {"Degree90Counterclockwise": 90, "Degree90Clockwise": 270,
                                         "Degree180": 180}),
    ("Sharpness_SharpnessAlgorithm_", {"Tenengrad": 0, "MeanScore": 1, "HistogramVariance": 2, "Sobel": 3}),
    ("Sharpness_SharpnessROIWeight_", {"Weak": 33, "Medium": 66, "Strong": 99}),
    ("Binning_BinningMode_", {"Average": 0, "Sum": 1}),
]
CONSTANTS = [("SHARED_PTR_DISOWN", 0), *VIDEO.items(),
             *((prefix + name, value) for prefix, family in FAMILIES for name, value in family.items())]


def test_constants_in_order():
    installed = [(name, value) for name, value in vars(extension).items() if type(value) is int]
    assert len(CONSTANTS) == 105
    assert installed == CONSTANTS


@pytest.mark.parametrize("name, value", CONSTANTS)
def test_constant_reexported(name, value):
    assert getattr(interface, name) == value
