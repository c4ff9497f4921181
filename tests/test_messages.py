"""The exact texts of refused calls (overload lists, element types) and the versions in the docstrings."""

import re

import pytest

import umb_plox_ipl as ipl

extension = ipl.umb_plox_ipl_python_interface._umb_plox_ipl_python_interface


def overloads(entry, *prototypes):
    lines = "".join(f"    {p}\n" for p in prototypes)
    return f"Wrong number or type of arguments for overloaded function '{entry}'.\n  Possible C/C++ prototypes are:\n{lines}"


READ = overloads("ImageReader_Read",
                 "plox::ipl::ImageReader::Read(std::string const &)",
                 "plox::ipl::ImageReader::Read(std::string const &,plox::ipl::PixelFormat const &)")


def write_as(kind, record):
    return overloads(
        f"ImageWriter_WriteAs{kind}",
        f"plox::ipl::ImageWriter::WriteAs{kind}(std::string const &,plox::ipl::Image const &,"
        f"plox::ipl::{record} const &)",
        f"plox::ipl::ImageWriter::plox_ipl_ImageWriter_WriteAs{kind}__SWIG_0(std::string const &,"
        "plox::ipl::Image const &)")


PNG, JPG = write_as("PNG", "ImageWriterPNGParameter"), write_as("JPG", "ImageWriterJPEGParameter")
image = ipl.Image.CreateFromSize(ipl.PixelFormatName_Mono8, 4, 4)
mono8 = ipl.PixelFormat(ipl.PixelFormatName_Mono8)


# Too many arguments gives the list alone, without the argument count's complaint in front.
@pytest.mark.parametrize("call, args, text", [
    (ipl.ImageReader.Read, (), READ),
    (ipl.ImageReader.Read, ("a.png", mono8, mono8), READ),
    (ipl.ImageReader.Read, ("a.png", 1), READ),
    (ipl.ImageReader.Read, (b"a.png",), READ),
    (ipl.ImageWriter.WriteAsPNG, ("a.png",), PNG),
    (ipl.ImageWriter.WriteAsPNG, ("a.png", image, ipl.ImageWriterJPEGParameter()), PNG),
    (ipl.ImageWriter.WriteAsPNG, ("a.png", image, ipl.ImageWriterPNGParameter(), 1), PNG),
    (ipl.ImageWriter.WriteAsJPG, ("a.jpg", image, ipl.ImageWriterPNGParameter()), JPG),
    (ipl.ImageWriter.WriteAsJPG, ("a.jpg", image, ipl.ImageWriterJPEGParameter(), 1), JPG),
    (ipl.ImageWriter.WriteAsJPG, (), JPG),
], ids=lambda x: getattr(x, "__name__", None) or repr(x)[:30])
def test_overload_lists(call, args, text, tmp_path):
    with pytest.raises(TypeError) as caught:
        call(*args)
    assert str(caught.value) == text


UINT64 = "std::vector< unsigned long long >::"
NAMES = "std::vector< enum plox::ipl::PixelFormatName >::"


# Element, index and count arguments of the scalar lists, refused by type or by range (methods
# without overloads: an overloaded one answers with its list of prototypes).
@pytest.mark.parametrize("make, method, args, error, position, type_", [
    (ipl.VectorUInt64, "append", ("1",), TypeError, 2, UINT64 + "value_type"),
    (ipl.VectorUInt64, "push_back", (-1,), OverflowError, 2, UINT64 + "value_type"),
    (ipl.VectorUInt64, "assign", (2, 2**64), OverflowError, 3, UINT64 + "value_type"),
    (ipl.VectorUInt64, "assign", (2, -1), OverflowError, 3, UINT64 + "value_type"),
    (ipl.VectorUInt64, "reserve", (-1,), OverflowError, 2, UINT64 + "size_type"),
    (ipl.VectorUInt64, "__getslice__", (2**70, 1), OverflowError, 2, UINT64 + "difference_type"),
    (ipl.PixelFormatList, "append", ("Mono8",), TypeError, 2, NAMES + "value_type"),
    (ipl.PixelFormatList, "push_back", (2**40,), OverflowError, 2, NAMES + "value_type"),
    (ipl.PixelFormatList, "assign", (2, 1.0), TypeError, 3, NAMES + "value_type"),
    (ipl.PixelFormatList, "assign", (2, None), TypeError, 3, NAMES + "value_type"),
], ids=lambda x: x.__name__ if isinstance(x, type) else None)
def test_scalar_list_argument_types(make, method, args, error, position, type_):
    v = make([1, 2])
    with pytest.raises(error) as caught:
        getattr(v, method)(*args)
    assert type(caught.value) is error
    assert str(caught.value) == f"in method '{make.__name__}_{method}', argument {position} of type '{type_}'"
    assert list(v) == [1, 2]


# VectorUInt64's element is spelled unsigned long long in every message, also where uint64_t
# resolves to unsigned long (64-bit Linux).
ULL = "std::vector< unsigned long long >"
ULL_LIST = "std::vector< unsigned long long,std::allocator< unsigned long long > > const &"


@pytest.mark.parametrize("method, args, error, text", [
    ("__setitem__", (slice(0, 1), None), ValueError,
     f"invalid null reference in method 'VectorUInt64___setitem__', argument 3 of type '{ULL_LIST}'"),
    ("__setslice__", (0, 1, None), ValueError,
     f"invalid null reference in method 'VectorUInt64___setslice__', argument 4 of type '{ULL_LIST}'"),
    ("erase", (None,), TypeError,
     "Wrong number or type of arguments for overloaded function 'VectorUInt64_erase'.\n"
     "  Possible C/C++ prototypes are:\n"
     f"    std::vector< uint64_t >::erase({ULL}::iterator)\n"
     f"    std::vector< uint64_t >::erase({ULL}::iterator,{ULL}::iterator)\n"),
    ("resize", ("1",), TypeError,
     "Wrong number or type of arguments for overloaded function 'VectorUInt64_resize'.\n"
     "  Possible C/C++ prototypes are:\n"
     f"    std::vector< uint64_t >::resize({ULL}::size_type)\n"
     f"    std::vector< uint64_t >::resize({ULL}::size_type,{ULL}::value_type const &)\n"),
])
def test_uint64_list_spelling(method, args, error, text):
    with pytest.raises(error) as caught:
        getattr(ipl.VectorUInt64([1, 2]), method)(*args)
    assert str(caught.value) == text


def assign(obj, field, value):
    setattr(obj, field, value)


# One refused argument of each kind of parameter, across the classes: the text names the entry,
# the position and the type as declared.
@pytest.mark.parametrize("call, error, text", [
    (lambda: ipl.Binning().SetBinningX(256), OverflowError,
     "in method 'Binning_SetBinningX', argument 2 of type 'uint8_t'"),
    (lambda: ipl.Binning().SetMode("Sum"), TypeError,
     "in method 'Binning_SetMode', argument 2 of type 'plox::ipl::Binning::BinningMode'"),
    (lambda: ipl.Gain().SetMasterGainValue(1e39), OverflowError,
     "in method 'Gain_SetMasterGainValue', argument 2 of type 'float'"),
    (lambda: ipl.GammaCorrector().SetGammaCorrectionValue("2"), TypeError,
     "in method 'GammaCorrector_SetGammaCorrectionValue', argument 2 of type 'float'"),
    (lambda: assign(ipl.ImageWriterJPEGParameter(), "Quality", -1), OverflowError,
     "in method 'ImageWriterJPEGParameter_Quality_set', argument 2 of type 'uint32_t'"),
    (lambda: assign(ipl.ImageWriterPNGParameter(), "Quality", 2**32), OverflowError,
     "in method 'ImageWriterPNGParameter_Quality_set', argument 2 of type 'uint32_t'"),
    (lambda: assign(ipl.PixelLineChannel(), "Values", 5), TypeError,
     "in method 'PixelLineChannel_Values_set', argument 2 of type 'std::vector< uint32_t,std::allocator< uint32_t > > *'"),
    (lambda: ipl.ImageWriter.WriteAsBMP(1, image), TypeError,
     "in method 'ImageWriter_WriteAsBMP', argument 1 of type 'std::string const &'"),
    (lambda: ipl.ImageWriter.WriteAsBMP("x.bmp", None), ValueError,
     "invalid null reference in method 'ImageWriter_WriteAsBMP', argument 2 of type 'plox::ipl::Image const &'"),
    (lambda: ipl.EdgeEnhancement().ProcessInPlace(None), ValueError,
     "invalid null reference in method 'EdgeEnhancement_ProcessInPlace', argument 2 of type 'plox::ipl::Image &'"),
    (lambda: extension.Image_Width(mono8), TypeError,
     "in method 'Image_Width', argument 1 of type 'plox::ipl::Image const *'"),
    (lambda: ipl.VectorInt32([1]).begin().advance("1"), TypeError,
     "in method 'SwigPyIterator_advance', argument 2 of type 'ptrdiff_t'"),
    (lambda: ipl.VectorVideo().append(70000), OverflowError,
     "in method 'VectorVideo_append', argument 2 of type 'std::vector< unsigned short >::value_type'"),
], ids=lambda x: x.split("'")[1] if isinstance(x, str) else None)
def test_argument_texts(call, error, text):
    with pytest.raises(error) as caught:
        call()
    assert type(caught.value) is error and str(caught.value) == text


def since(function):
    return re.findall(r"Since: ([0-9.]+)", function.__doc__ or "")


# A sample of every class: the version in which each method appeared, overload by overload.
@pytest.mark.parametrize("function, versions", [
    (ipl.Library.Version, ["1.9.2"]),
    (ipl.Library.SetSIMDEnabled, ["1.9.2"]),
    (ipl.PixelFormat.CalculateStorageSizeOfPixels, ["1.9.2"]),
    (ipl.ImageReader.Read, ["1.9.2", "1.9.2"]),
    (ipl.ImageWriter.WriteAsPNG, ["1.9.2", "1.9.2"]),
    (ipl.ImageWriter.WriteAsJPG, ["1.9.2", "1.9.2"]),
    (ipl.ImageTransformer.MirrorUpDown, ["1.0"]),
    (ipl.ImageTransformer.Rotate, ["1.2"]),
    (ipl.ImageTransformer.RotateInPlace, ["1.2"]),
    (ipl.ColorCorrector.Process, ["1.0"]),
    (ipl.ColorCorrector.SetSaturation, ["1.6"]),
    (ipl.ColorCorrector.Saturation, ["1.6"]),
    (ipl.ColorCorrector.ColorCorrectionFactors, ["1.0", "1.3.2"]),
    (ipl.GammaCorrector.Process, ["1.2.2"]),
    (ipl.Gain.Process, ["1.2.2"]),
    (ipl.Gain.SetMasterGainValue, ["1.3.2"]),
    (ipl.HotpixelCorrection.CorrectInPlace, ["1.7"]),
    (ipl.HotpixelCorrection.CorrectAdaptiveInPlace, ["1.7"]),
    (ipl.Sharpness.Measure, ["1.6"]),
    (ipl.EdgeEnhancement.SetFactor, ["1.7"]),
    (ipl.Binning.Process, ["1.3.3"]),
    (ipl.Binning.ExpectedOutputSize, ["1.3.4"]),
    (ipl.Decimation.ExpectedOutputSize, ["1.6.0"]),
    (ipl.MJPEGEncoder.SetQuality, ["1.5"]),
    (ipl.AVIContainer.SetFramerate, ["1.5"]),
    (ipl.VideoWriter.Append, ["1.5"]),
    (ipl.VideoWriter.Open, ["1.5", "1.5"]),
], ids=lambda x: getattr(x, "__qualname__", None))
def test_docstring_versions(function, versions):
    assert since(function) == versions


@pytest.mark.parametrize("cls", [ipl.ColorCorrector, ipl.GammaCorrector, ipl.Gain, ipl.Sharpness,
                                 ipl.EdgeEnhancement, ipl.Binning, ipl.Decimation, ipl.HotpixelCorrection])
def test_shallow_copies_appeared_in_1_8(cls):
    assert "1.8" in since(cls.__init__)
