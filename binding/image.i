// Image: factories, queries, conversions, scaling, cropping, comparison, and views of its
// memory as a memoryview and as NumPy arrays.

%{
#include "ipl/Image.h"

namespace {

const char* const kImageCapsule = "umb_plox_ipl.image";

void plox_release_image_reference(PyObject* capsule) {
    PLOX_IPL_Image_Destruct(static_cast<PLOX_IPL_IMAGE_HANDLE>(PyCapsule_GetPointer(capsule, kImageCapsule)));
}

// An array over the image's memory (dimensions 0: the whole byte range, no format check). Its
// base holds a library reference to the image, so the memory outlives the Image wrapper for as
// long as the array does.
PyObject* plox_image_array(const plox::ipl::Image& image, const char* method, int dimensions, bool wide,
                           bool writeable) {
    const plox::ipl::PixelFormat format = image.PixelFormat();
    const size_t significant = format.NumSignificantBitsPerPixel();
    const size_t storage = format.NumStorageBitsPerPixel();
    // Semiplanar YUV has 12 bits per pixel too, but whole bytes: its planes are viewable.
    if (dimensions > 0 && significant % 8 != 0 && significant == storage && format.IsPacked())
        throw plox::ipl::Exception(std::string(method) + "() does not support packed pixel formats like " +
                                   format.Name());
    const size_t bytes = image.ByteCount();
    const size_t bytes_per_pixel = storage / 8;
    const size_t per_pixel = wide ? storage / 16 + (bytes_per_pixel % 2) : bytes_per_pixel;
    const size_t item = wide ? 2 : 1;
    npy_intp shape[3] = {0, 0, 0};
    dimensions = dimensions > 0 ? dimensions : 1;
    if (dimensions == 1) {
        shape[0] = static_cast<npy_intp>(bytes / item);
    } else {
        const size_t width = image.Width();
        shape[0] = static_cast<npy_intp>(image.Height());
        shape[1] = static_cast<npy_intp>(dimensions == 2 ? width * per_pixel : width);
        shape[2] = static_cast<npy_intp>(per_pixel);
    }
    size_t view_bytes = item;
    for (int d = 0; d < dimensions; ++d) view_bytes *= static_cast<size_t>(shape[d]);
    // A view wider than the image would let Python read and write past its memory.
    if (view_bytes > bytes)
        throw plox::ipl::Exception(std::string(method) + "() needs " + std::to_string(view_bytes) + " bytes but the " +
                                   format.Name() + " image has " + std::to_string(bytes));

    PLOX_IPL_IMAGE_HANDLE reference = nullptr;
    plox::ipl::ExecuteAndMapReturnCodes(
        [&] { return PLOX_IPL_Image_AcquireReference(image.GetBackendHandle(), &reference); });
    PyObject* capsule = PyCapsule_New(reference, kImageCapsule, plox_release_image_reference);
    if (capsule == nullptr) {
        PLOX_IPL_Image_Destruct(reference);
        return nullptr;
    }
    PyObject* array = PyArray_New(&PyArray_Type, dimensions, shape, wide ? NPY_UINT16 : NPY_UINT8, nullptr,
                                  image.Data(), 0, writeable ? NPY_ARRAY_CARRAY : NPY_ARRAY_CARRAY_RO, nullptr);
    if (array == nullptr || PyArray_SetBaseObject(reinterpret_cast<PyArrayObject*>(array), capsule) != 0) {
        Py_XDECREF(array);
        Py_DECREF(capsule);
        return nullptr;
    }
    return array;
}

}  // namespace
%}

// The raw handle types, so that GetBackendHandle gives an unowned pointer.
%import "umb_plox_ipl/export.h"
%import "umb_plox_ipl/return_codes.h"
%import "umb_plox_ipl/image.h"
%import "umb_plox_ipl/image_converter.h"

// Images come from factories and results only: no Python constructor, so no way to move an
// image out from under its wrapper.
%ignore plox::ipl::Image::Image;
%ignore plox::ipl::Image::operator=;
%ignore plox::ipl::Image::Data;

%thread plox::ipl::Image::Clone;
%thread plox::ipl::Image::ConvertTo;
%thread plox::ipl::Image::Crop;
%thread plox::ipl::Image::Scale;
%thread plox::ipl::Image::ScaleInto;

// Comparing with anything but an image is not an error; Python falls back to identity.
%pythonprepend plox::ipl::Image::operator== %{
    if not isinstance(other, Image):
        return NotImplemented
%}
%pythonprepend plox::ipl::Image::operator!= %{
    if not isinstance(other, Image):
        return NotImplemented
%}

// Checked here so that a read-only buffer gets the usual argument message.
%typemap(in) PyObject* writableBuffer {
    Py_buffer probe;
    if (PyObject_GetBuffer($input, &probe, PyBUF_WRITABLE) != 0) {
        PyErr_Clear();
        SWIG_exception_fail(SWIG_TypeError, "in method '" "$symname" "', argument " "$argnum" " of type '" "(uint8_t* buffer, size_t bufferSize_bytes)" "'");
    }
    PyBuffer_Release(&probe);
    $1 = $input;
}

%extend plox::ipl::Image {
    /**
     * \brief Creates an image over the memory of a writable Python buffer, without copying it.
     * \param pixelFormatName The pixel format
     * \param buffer A writable buffer: bytearray, NumPy array, memoryview ...
     * \param width Width in pixels
     * \param height Height in pixels
     * \return The new image
     * \throws BufferTooSmallException The buffer is smaller than the image.
     * \since 1.9.2
     */
    static plox::ipl::Image CreateFromSizeAndPythonBuffer(plox::ipl::PixelFormatName pixelFormatName,
                                                          PyObject* writableBuffer, size_t width, size_t height) {
        // The library image holds the buffer (and so its memory, which cannot be resized meanwhile)
        // until the image and every view of it are gone.
        auto* view = new Py_buffer;
        if (PyObject_GetBuffer(writableBuffer, view, PyBUF_WRITABLE) != 0) {
            delete view;
            PyErr_Clear();
            throw plox::ipl::InvalidArgumentException("the buffer is not writable");
        }
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        plox::ipl::ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Image_ConstructFromBufferWithRelease(
                static_cast<uint32_t>(pixelFormatName), static_cast<uint8_t*>(view->buf),
                static_cast<uint64_t>(view->len), width, height, plox_release_python_buffer, view, &handle);
        });
        return plox::ipl::Image(handle);
    }

    /** \brief Get the buffer protocol view of the image buffer. */
    PyObject* DataView() {
        PyObject* array = plox_image_array(*$self, "DataView", 0, false, false);
        if (array == nullptr) {
            PyErr_Clear();
            PyErr_SetString(PyExc_RuntimeError, "Can't create buffer view!");
            return nullptr;
        }
        PyObject* view = PyMemoryView_FromObject(array);
        Py_DECREF(array);
        return view;
    }

    /**
     * \brief A writable uint8 NumPy array over the image bytes, shape (byte count,).
     *
     * No checks are done, if this is the "correct" format. Packed formats are refused.
     */
    PyObject* get_numpy_1D() { return plox_image_array(*$self, "get_numpy_1D", 1, false, true); }
    /** \brief A writable uint8 NumPy array, shape (height, width * bytes per pixel). */
    PyObject* get_numpy_2D() { return plox_image_array(*$self, "get_numpy_2D", 2, false, true); }
    /** \brief A writable uint8 NumPy array, shape (height, width, bytes per pixel). */
    PyObject* get_numpy_3D() { return plox_image_array(*$self, "get_numpy_3D", 3, false, true); }
    /** \brief A writable uint16 NumPy array over the image bytes, shape (byte count / 2,). */
    PyObject* get_numpy_1D_16() { return plox_image_array(*$self, "get_numpy_1D_16", 1, true, true); }
    /** \brief A writable uint16 NumPy array, shape (height, width * 16-bit values per pixel). */
    PyObject* get_numpy_2D_16() { return plox_image_array(*$self, "get_numpy_2D_16", 2, true, true); }
    /** \brief A writable uint16 NumPy array, shape (height, width, 16-bit values per pixel). */
    PyObject* get_numpy_3D_16() { return plox_image_array(*$self, "get_numpy_3D_16", 3, true, true); }
}

%include "ipl/Image.h"
