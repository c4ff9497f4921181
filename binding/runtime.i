// Standard library support, the NumPy C-API import and the headers every wrapper needs.

%begin %{
#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
// Built against NumPy 2 headers, runs on NumPy 1.16 and later.
#define NPY_TARGET_VERSION NPY_1_16_API_VERSION
%}

%{
#include <numpy/arrayobject.h>

#include "ipl/Exception.h"
#include "ipl/Binning.h"
#include "ipl/ColorCorrector.h"
#include "ipl/EdgeEnhancement.h"
#include "ipl/Decimation.h"
#include "ipl/Gain.h"
#include "ipl/GammaCorrector.h"
#include "ipl/Histogram.h"
#include "ipl/HotpixelCorrection.h"
#include "ipl/Image.h"
#include "ipl/ImageConverter.h"
#include "ipl/ImageReader.h"
#include "ipl/ImageTransformer.h"
#include "ipl/ImageWriter.h"
#include "ipl/Library.h"
#include "ipl/PixelFormat.h"
#include "ipl/PixelLine.h"
#include "ipl/Sharpness.h"
#include "ipl/Types.h"
#include "ipl/VideoWriter.h"
%}

// uint64_t is unsigned long on 64-bit Linux and unsigned long long elsewhere; SWIG writes the
// resolved type into VectorUInt64's messages, which name it unsigned long long everywhere.
%{
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

namespace {

std::string plox_spell_uint64(const char* message) {
    std::string text(message);
    if (!std::is_same<std::uint64_t, unsigned long>::value) return text;
    static const std::pair<std::string, std::string> spellings[] = {
        {"std::vector< unsigned long >", "std::vector< unsigned long long >"},
        {"std::vector< unsigned long,std::allocator< unsigned long > >",
         "std::vector< unsigned long long,std::allocator< unsigned long long > >"},
    };
    for (const auto& [resolved, spelled] : spellings)
        for (size_t at = text.find(resolved); at != std::string::npos; at = text.find(resolved, at + spelled.size()))
            text.replace(at, resolved.size(), spelled);
    return text;
}

}  // namespace

#undef SWIG_Error
#define SWIG_Error(code, msg) SWIG_Python_SetErrorMsg(SWIG_ErrorType(code), plox_spell_uint64(msg).c_str())
%}

// A call that fits none of the overloads is answered with the list of prototypes alone, even
// when unpacking the arguments already complained about their number.
%{
#define SWIG_Python_RaiseOrModifyTypeError(message) \
    PyErr_SetString(PyExc_TypeError, plox_spell_uint64(message).c_str())
%}

%include <stdint.i>
%include <std_string.i>
%include <std_except.i>
%include <std_shared_ptr.i>

%init %{
import_array();
%}
