"""Library failures as the module's exception classes, and the classes themselves."""

import builtins
import re

import pytest

import umb_plox_ipl as ipl

RETURN_CODE_NAMES = [
    "PLOX_IPL_RETURN_CODE_SUCCESS", "PLOX_IPL_RETURN_CODE_ERROR", "PLOX_IPL_RETURN_CODE_INVALID_HANDLE",
    "PLOX_IPL_RETURN_CODE_IO_ERROR", "PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL",
    "PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT", "PLOX_IPL_RETURN_CODE_OUT_OF_RANGE",
    "PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED", "PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR",
    "PLOX_IPL_RETURN_CODE_NOT_SUPPORTED", "PLOX_IPL_RETURN_CODE_NOT_PERMITTED", "PLOX_IPL_RETURN_CODE_BUSY",
    "PLOX_IPL_RETURN_CODE_TIMEOUT",
]
# Buffer-too-small and invalid-handle failures deliberately arrive as the base class.
RAISED_CLASS = {
    3: ipl.IOException, 5: ipl.InvalidArgumentException, 6: ipl.OutOfRangeException,
    7: ipl.ImageFormatNotSupportedException, 8: ipl.ImageFormatInterpretationException,
    10: ipl.NotPermittedException, 11: ipl.BusyException, 12: ipl.TimeoutException,
}
MESSAGE = re.compile(r"\[Error-Code: (-?\d+) \(([A-Z_]*)\) \| Error-Description: (.+)\]", re.DOTALL)

SUBCLASSES = [
    ipl.OutOfRangeException, ipl.BufferTooSmallException, ipl.InvalidArgumentException,
    ipl.ImageFormatNotSupportedException, ipl.ImageFormatInterpretationException, ipl.IOException,
    ipl.BusyException, ipl.NotPermittedException, ipl.TimeoutException, ipl.InvalidHandleException,
]
CONSTRUCTIBLE = [cls for cls in SUBCLASSES if cls not in (ipl.BufferTooSmallException, ipl.InvalidHandleException)]

QUERIES = [
    lambda f: f.NumChannels(), lambda f: f.NumSignificantBitsPerChannel(), lambda f: f.NumStorageBitsPerChannel(),
    lambda f: f.NumSignificantBitsPerPixel(), lambda f: f.NumStorageBitsPerPixel(),
    lambda f: f.MaximumValuePerChannel(), lambda f: f.Endianness(), lambda f: f.CalculateStorageSizeOfPixels(1),
    lambda f: f.IsPacked(), lambda f: f.IsBayered(), lambda f: f.IsYUV(), lambda f: f.IsCoord3D(),
    lambda f: f.IsFloat(), lambda f: f.BayerPattern(),
]


def check_library_error(error):
    """The message names the code, the code's name and a description; the class follows the code."""
    match = MESSAGE.fullmatch(str(error))
    assert match, str(error)
    code, name, description = int(match[1]), match[2], match[3]
    assert name == (RETURN_CODE_NAMES[code] if 0 <= code <= 12 else "")
    assert type(error) is RAISED_CLASS.get(code, ipl.Exception)
    return code, description


@pytest.mark.parametrize("query", QUERIES)
@pytest.mark.parametrize("value", [0, 12345, -1])
def test_unknown_pixel_format_query(value, query):
    pixel_format = ipl.PixelFormat(value)
    with pytest.raises(ipl.Exception) as caught:
        query(pixel_format)
    code, description = check_library_error(caught.value)
    assert code != 0
    # The description names the offending value, in decimal or hexadecimal.
    assert str(value) in description or f"{value & 0xFFFFFFFF:x}" in description.lower()
    # A failed call leaves the object usable.
    assert pixel_format.PixelFormatName() == value


def test_out_of_range_error():
    with pytest.raises(ipl.OutOfRangeException) as caught:
        ipl.PixelFormat(ipl.PixelFormatName_Mono16).CalculateStorageSizeOfPixels(2**64 - 1)
    assert check_library_error(caught.value)[0] == 6


def test_range_error_is_invalid_argument():
    with pytest.raises(ipl.InvalidArgumentException, match=r"^min == max is not allowed!$") as caught:
        ipl.RangeInt32(5, 5, 0)
    assert type(caught.value) is ipl.InvalidArgumentException


def test_hierarchy():
    assert ipl.Exception.__bases__ == (builtins.Exception,)
    for cls in SUBCLASSES:
        assert cls.__bases__ == (ipl.Exception,), cls


@pytest.mark.parametrize("cls", [ipl.Exception] + CONSTRUCTIBLE, ids=lambda cls: cls.__name__)
def test_raise_and_catch_from_python(cls):
    with pytest.raises(ipl.Exception) as caught:
        raise cls("raised by the test")
    assert type(caught.value) is cls
    assert str(caught.value) == "raised by the test"
    assert isinstance(caught.value, builtins.Exception)


@pytest.mark.parametrize("cls", [ipl.BufferTooSmallException, ipl.InvalidHandleException],
                         ids=lambda cls: cls.__name__)
def test_no_constructor(cls):
    with pytest.raises((TypeError, AttributeError), match="No constructor defined"):
        cls("text")


def test_library_cannot_be_instantiated():
    with pytest.raises((TypeError, AttributeError), match="No constructor defined"):
        ipl.Library()
