"""Conversion of Python arguments: accepted values, refused values and the exact messages."""

import pytest

import umb_plox_ipl as ipl

extension = ipl.umb_plox_ipl_python_interface._umb_plox_ipl_python_interface
mono8 = ipl.PixelFormat(ipl.PixelFormatName_Mono8)

# (call, error, entry, argument position, declared type)
REFUSED = [
    # bool takes only True and False
    (lambda: ipl.Library_SetSIMDEnabled(1), TypeError, "Library_SetSIMDEnabled", 1, "bool"),
    (lambda: ipl.Library_SetMultiThreadingEnabled(0), TypeError, "Library_SetMultiThreadingEnabled", 1, "bool"),
    (lambda: ipl.Library_SetMaxConcurrentThreads(-1), OverflowError, "Library_SetMaxConcurrentThreads", 1, "size_t"),
    (lambda: ipl.Library_SetMaxConcurrentThreads(2**64), OverflowError, "Library_SetMaxConcurrentThreads", 1, "size_t"),
    (lambda: ipl.Library_SetMaxConcurrentThreads(2.0), TypeError, "Library_SetMaxConcurrentThreads", 1, "size_t"),
    (lambda: setattr(ipl.Point2D(), "x", -1), OverflowError, "Point2D_x_set", 2, "size_t"),
    (lambda: ipl.Point2D_New(0, -1), OverflowError, "Point2D_New", 2, "size_t"),
    (lambda: setattr(ipl.Version_t(), "major", -1), OverflowError, "Version_t_major_set", 2, "std::uint32_t"),
    (lambda: setattr(ipl.Version_t(), "minor", 2**32), OverflowError, "Version_t_minor_set", 2, "std::uint32_t"),
    (lambda: setattr(ipl.Version_t(), "subminor", 2**32), OverflowError, "Version_t_subminor_set", 2, "std::uint32_t"),
    (lambda: setattr(ipl.Version_t(), "major", "1"), TypeError, "Version_t_major_set", 2, "std::uint32_t"),
    (lambda: ipl.RangeUint32(0, 2**32, 1), OverflowError, "new_RangeUint32", 2, "unsigned int"),
    (lambda: ipl.RangeUint32(0, 10, 1).InRange(-1), OverflowError, "RangeUint32_InRange", 2, "unsigned int"),
    (lambda: ipl.RangeUInt8(0, 256, 1), OverflowError, "new_RangeUInt8", 2, "unsigned char"),
    (lambda: ipl.RangeUInt8(-1, 10, 1), OverflowError, "new_RangeUInt8", 1, "unsigned char"),
    (lambda: ipl.RangeInt32(0, 2**31, 1), OverflowError, "new_RangeInt32", 2, "int"),
    (lambda: ipl.RangeInt32(-2**31 - 1, 0, 0), OverflowError, "new_RangeInt32", 1, "int"),
    (lambda: extension.RangeUint32_Minimum(1), TypeError, "RangeUint32_Minimum", 1,
     "plox::ipl::Range< uint32_t > const *"),
    (lambda: extension.RangeUInt8_InRange(ipl.RangeUint32(0, 10, 1), 1), TypeError, "RangeUInt8_InRange", 1,
     "plox::ipl::Range< uint8_t > const *"),
    (lambda: extension.RangeInt32_Maximum(ipl.RangeDouble(0.0, 1.0, 0.0)), TypeError, "RangeInt32_Maximum", 1,
     "plox::ipl::Range< int32_t > const *"),
    # enumerations: any 32-bit signed integer, nothing else
    (lambda: ipl.PixelFormatNameEnumEntryToString(2**31), OverflowError,
     "PixelFormatNameEnumEntryToString", 1, "plox::ipl::PixelFormatName"),
    (lambda: ipl.OrientationEnumEntryToString("Vertical"), TypeError,
     "OrientationEnumEntryToString", 1, "plox::ipl::Orientation"),
    (lambda: mono8.CalculateStorageSizeOfPixels(-1), OverflowError,
     "PixelFormat_CalculateStorageSizeOfPixels", 2, "uint64_t"),
    (lambda: mono8.CalculateStorageSizeOfPixels(2**64), OverflowError,
     "PixelFormat_CalculateStorageSizeOfPixels", 2, "uint64_t"),
    # double: an int too large for a double is a type error, not an overflow
    (lambda: ipl.ScaleFactor_New(1.0, "2"), TypeError, "ScaleFactor_New", 2, "double"),
    (lambda: ipl.ScaleFactor_New(2**1024, 1.0), TypeError, "ScaleFactor_New", 1, "double"),
]


@pytest.mark.parametrize("call, error, entry, position, type_", REFUSED, ids=[f"{r[2]}-{r[3]}" for r in REFUSED])
def test_refused(call, error, entry, position, type_):
    with pytest.raises(error) as caught:
        call()
    assert type(caught.value) is error
    assert str(caught.value) == f"in method '{entry}', argument {position} of type '{type_}'"


@pytest.mark.parametrize("make, read, value", [
    (ipl.RangeUInt8, None, (0, 255)),
    (ipl.RangeUint32, None, (0, 2**32 - 1)),
    (ipl.RangeInt32, None, (-2**31, 2**31 - 1)),
    *[(ipl.Version_t, field, (0, 4294967295)) for field in ("major", "minor", "subminor")],
])
def test_limits_accepted(make, read, value):
    if read is None:
        r = make(value[0], value[1], 0)
        assert (r.Minimum(), r.Maximum()) == value
    else:
        for limit in value:
            version = make()
            setattr(version, read, limit)
            assert getattr(version, read) == limit


def test_none_for_reference():
    with pytest.raises(ValueError) as caught:
        ipl.Rect2D(1, 2, 3, 4).setSize(None)
    expected = "invalid null reference in method 'Rect2D_setSize', argument 2 of type 'plox::ipl::Size2D const &'"
    assert str(caught.value) == expected


RECT2D_OVERLOADS = (
    "Wrong number or type of arguments for overloaded function 'new_Rect2D'.\n"
    "  Possible C/C++ prototypes are:\n"
    "    plox::ipl::Rect2D::Rect2D(size_t,size_t,size_t,size_t)\n"
    "    plox::ipl::Rect2D::Rect2D(plox::ipl::Point2D const &,plox::ipl::Size2D const &)\n"
)


@pytest.mark.parametrize("args", [
    (), (1, 2, 3), (1, 2, 3, "4"), (1, 2, 3, -4), (ipl.Size2D(), ipl.Point2D()), (None, ipl.Size2D()),
    (ipl.Point2D(), 5), (1, 2, 3, 4, 5),
], ids=repr)
def test_overload_failure(args):
    with pytest.raises(TypeError) as caught:
        ipl.Rect2D(*args)
    assert str(caught.value) == RECT2D_OVERLOADS




@pytest.mark.parametrize("entry, args, message", [
    ("Size2D_New", (1,), "Size2D_New expected 2 arguments, got 1"),
    ("Size2D_New", (1, 2, 3), "Size2D_New expected 2 arguments, got 3"),
    ("new_RangeInt32", (1, 2), "new_RangeInt32 expected 3 arguments, got 2"),
    ("RangeDouble_InRange", (ipl.RangeDouble(0.0, 1.0, 0.0),), "RangeDouble_InRange expected 2 arguments, got 1"),
])
def test_argument_count(entry, args, message):
    with pytest.raises(TypeError) as caught:
        getattr(extension, entry)(*args)
    assert str(caught.value) == message
