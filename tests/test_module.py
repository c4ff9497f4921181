"""The package's exports and constants, and the NumPy import at start-up."""

import subprocess
import sys
import textwrap

import pytest

import umb_plox_ipl as ipl
from umb_plox_ipl import umb_plox_ipl_python_interface as interface

PIXEL_FORMAT_CODES = {
    "Invalid": 0x00000000,
    "BayerGR8": 0x01080008, "BayerGR10": 0x0110000C, "BayerGR12": 0x01100010,
    "BayerRG8": 0x01080009, "BayerRG10": 0x0110000D, "BayerRG12": 0x01100011,
    "BayerGB8": 0x0108000A, "BayerGB10": 0x0110000E, "BayerGB12": 0x01100012,
    "BayerBG8": 0x0108000B, "BayerBG10": 0x0110000F, "BayerBG12": 0x01100013,
    "Mono8": 0x01080001, "Mono10": 0x01100003, "Mono12": 0x01100005, "Mono16": 0x01100007,
    "Confidence8": 0x010800C6, "Confidence16": 0x011000C7,
    "Coord3D_C8": 0x010800B1, "Coord3D_C16": 0x011000B8, "Coord3D_C32f": 0x012000BF,
    "Coord3D_ABC32f": 0x026000C0,
    "YUV420_8_YY_UV_SemiplanarUMB": 0x420C0001, "YUV420_8_YY_VU_SemiplanarUMB": 0x420C0002,
    "YUV422_8_UYVY": 0x0210001F,
    "RGB8": 0x02180014, "RGB10": 0x02300018, "RGB12": 0x0230001A,
    "BGR8": 0x02180015, "BGR10": 0x02300019, "BGR12": 0x0230001B,
    "RGBa8": 0x02200016, "RGBa10": 0x0240005F, "RGBa12": 0x02400061,
    "BGRa8": 0x02200017, "BGRa10": 0x0240004C, "BGRa12": 0x0240004E,
    "BayerBG10p": 0x010A0052, "BayerBG12p": 0x010C0053, "BayerGB10p": 0x010A0054, "BayerGB12p": 0x010C0055,
    "BayerGR10p": 0x010A0056, "BayerGR12p": 0x010C0057, "BayerRG10p": 0x010A0058, "BayerRG12p": 0x010C0059,
    "Mono10p": 0x010A0046, "Mono12p": 0x010C0047,
    "RGB10p32": 0x0220001D, "BGR10p32": 0x0220001E,
    "BayerRG10g40UMB": 0x40000001, "BayerGB10g40UMB": 0x40000002,
    "BayerGR10g40UMB": 0x40000003, "BayerBG10g40UMB": 0x40000004,
    "BayerRG12g24UMB": 0x40000011, "BayerGB12g24UMB": 0x40000012,
    "BayerGR12g24UMB": 0x40000013, "BayerBG12g24UMB": 0x40000014,
    "Mono10g40UMB": 0x4000000F, "Mono12g24UMB": 0x4000001F,
}

CONSTANTS = {
    "SHARED_PTR_DISOWN": 0,
    "ConversionMode_Fast": 1, "ConversionMode_HighQuality": 2, "ConversionMode_Classic": 3,
    "BayerPattern_Unknown": 0, "BayerPattern__None": 1, "BayerPattern_Bayer_GR": 2,
    "BayerPattern_Bayer_RG": 3, "BayerPattern_Bayer_GB": 4, "BayerPattern_Bayer_BG": 5,
    "Endianness_Unknown": 0, "Endianness_LittleEndian": 1, "Endianness_BigEndian": 2,
    "Orientation_Horizontal": 0, "Orientation_Vertical": 1,
    "Sharpness_SharpnessAlgorithm_Tenengrad": 0, "Sharpness_SharpnessAlgorithm_MeanScore": 1,
    "Sharpness_SharpnessAlgorithm_HistogramVariance": 2, "Sharpness_SharpnessAlgorithm_Sobel": 3,
    "Sharpness_SharpnessROIWeight_Weak": 33, "Sharpness_SharpnessROIWeight_Medium": 66,
    "Sharpness_SharpnessROIWeight_Strong": 99,
    "PLOX_IPL_VIDEO_ENCODER_RAW": 0, "PLOX_IPL_VIDEO_ENCODER_MJPEG": 1, "PLOX_IPL_VIDEO_CONTAINER_AVI": 0,
    "PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY": 0, "PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE": 0,
    "HotpixelCorrection_SensitivityLevel_Invalid": 0,
    **{f"HotpixelCorrection_SensitivityLevel_SensitivityLevel{n}": n for n in range(1, 6)},
    **{"PixelFormatName_" + name: code for name, code in PIXEL_FORMAT_CODES.items()},
}


def test_constants():
    got = {name: getattr(ipl, name) for name in CONSTANTS}
    assert got == CONSTANTS
    assert all(type(value) is int for value in got.values())
    exported = {name for name in dir(ipl) if name.startswith("PixelFormatName_")}
    assert exported == {"PixelFormatName_" + name for name in PIXEL_FORMAT_CODES}


# Classes and functions the package re-exports unchanged; the entry table itself is checked entry
# by entry in test_method_table.py.
CLASSES = [
    "Version_t", "Library", "Size2D", "Point2D", "ScaleFactor", "Rect2D", "PixelFormat", "RangeDouble", "RangeUint32",
    "RangeInt32", "RangeUInt8", "Exception", "OutOfRangeException", "InvalidArgumentException", "IOException",
    "ImageFormatNotSupportedException", "ImageFormatInterpretationException", "BusyException",
    "NotPermittedException", "TimeoutException", "BufferTooSmallException", "InvalidHandleException", "Sharpness",
    "SharpnessROI", "HotpixelCorrection", "IEncoder", "MJPEGEncoder", "IContainer", "AVIContainer", "VideoWriter",
]


FUNCTIONS = [
    "ConversionModeEnumEntryToString", "EndiannessEnumEntryToString", "OrientationEnumEntryToString",
    "PixelFormatNameEnumEntryToString", "Size2D_New", "Point2D_New", "ScaleFactor_New", "Library_Version",
    "Library_MaxConcurrentThreads", "Library_SetMaxConcurrentThreads", "Library_MultiThreadingEnabled",
    "Library_SetMultiThreadingEnabled", "Library_SIMDEnabled", "Library_SetSIMDEnabled",
    "CreateEncoder", "CreateContainer", "GetSupportedEncodersForAContainer", "GetSupportedContainersForAnEncoder",
    "GetSupportedPixelFormats",
]


@pytest.mark.parametrize("name", [*CLASSES, *FUNCTIONS])
def test_reexported(name):
    assert getattr(ipl, name) is getattr(interface, name)


def test_pixel_format_helpers():
    assert ipl.pixel_format_names() == {k: v for k, v in PIXEL_FORMAT_CODES.items() if k != "Invalid"}
    assert ipl.pixel_format("BayerRG12p") == ipl.PixelFormat(0x010C0059)
    assert ipl.pixel_format(0x01080001).Name() == "Mono8"
    with pytest.raises(ValueError):
        ipl.pixel_format("Mono9")


# Runs in a fresh interpreter: `table(...)` builds a stand-in NumPy function table whose version
# queries (entry 0: ABI version, 210: byte order, 211: C-API feature version) answer as told.
PRELUDE = textwrap.dedent("""
    import ctypes, sys, types
    import numpy
    real_api = numpy._core._multiarray_umath._ARRAY_API
    keep = []

    def table(abi=0x2000000, byte_order=1, feature=0x15):
        query = ctypes.CFUNCTYPE(ctypes.c_uint)
        functions = [query(lambda: abi), query(lambda: byte_order), query(lambda: feature)]
        entries = (ctypes.c_void_p * 256)()
        for index, function in zip((0, 210, 211), functions):
            entries[index] = ctypes.cast(function, ctypes.c_void_p)
        keep.append((functions, entries))
        new_capsule = ctypes.pythonapi.PyCapsule_New
        new_capsule.restype = ctypes.py_object
        new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
        return new_capsule(ctypes.addressof(entries), None, None)

    read = []

    def stand_in(api):
        module = types.ModuleType("stand_in")
        def getattr_(name):
            if name == "_ARRAY_API" and api is not None:
                read.append(name)
                return api
            raise AttributeError(name)
        module.__getattr__ = getattr_
        return module
""")
EPILOGUE = textwrap.dedent("""
    try:
        import umb_plox_ipl as ipl
    except BaseException as error:
        print("RAISED", type(error).__name__, error)
    else:
        print("IMPORTED", ipl.PixelFormat(ipl.PixelFormatName_Mono8).Name(), ipl.ConversionMode_Classic)
    print("READ", len(read))
""")
NEW = "sys.modules['numpy._core._multiarray_umath']"
OLD = "sys.modules['numpy.core._multiarray_umath']"


def run_import(setup):
    code = PRELUDE + textwrap.dedent(setup) + EPILOGUE
    result = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=120)
    assert result.returncode == 0, result.stderr
    return result.stdout, result.stderr


def test_numpy_1_layout_fallback():
    stdout, stderr = run_import(f"{NEW} = None\n{OLD} = stand_in(real_api)")
    assert stdout.splitlines() == ["IMPORTED Mono8 3", "READ 1"]
    assert stderr == ""


def test_only_module_not_found_falls_back():
    stdout, stderr = run_import(f"""
        class Refuse:
            def find_spec(self, name, path=None, target=None):
                if name == "numpy._core._multiarray_umath":
                    raise ImportError("refused by the test")
        del {NEW}
        sys.meta_path.insert(0, Refuse())
        {OLD} = stand_in(real_api)
    """)
    assert "ImportError: refused by the test" in stderr
    assert stdout.splitlines() == ["RAISED ImportError numpy._core.multiarray failed to import", "READ 0"]


@pytest.mark.parametrize("setup, printed", [
    (f"{NEW} = None\n{OLD} = None", "ModuleNotFoundError: import of numpy.core._multiarray_umath halted"),
    (f"{NEW} = stand_in(None)", "AttributeError: _ARRAY_API"),
    (f"{NEW} = stand_in(42)", "RuntimeError: _ARRAY_API is not PyCapsule object"),
    (f"{NEW} = stand_in(table(abi=0x2000001))",
     "RuntimeError: module compiled against ABI version 0x2000000 but this version of numpy is 0x2000001"),
    (f"{NEW} = stand_in(table(feature=0xc))",
     "RuntimeError: module was compiled against NumPy C-API version 0xd (NumPy 1.16) "
     "but the running NumPy has C-API version 0xc. Check the section C-API incompatibility"),
    (f"{NEW} = stand_in(table(byte_order=0))", "RuntimeError: FATAL: module compiled as unknown endian"),
    (f"{NEW} = stand_in(table(byte_order=2))",
     "RuntimeError: FATAL: module compiled as little endian, but detected different endianness at runtime"),
], ids=["no-numpy", "no-api", "not-capsule", "abi", "feature-0xc", "unknown-endian", "big-endian"])
def test_numpy_import_failure(setup, printed):
    stdout, stderr = run_import(setup)
    assert printed in stderr
    assert stdout.splitlines()[0] == "RAISED ImportError numpy._core.multiarray failed to import"


def test_numpy_import_oldest_accepted_feature_version():
    stdout, _ = run_import(f"{NEW} = stand_in(table(abi=0x1000009, feature=0xd))")
    assert stdout.splitlines() == ["IMPORTED Mono8 3", "READ 1"]
