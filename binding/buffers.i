// Writable Python buffers as (pointer, size) pairs: the caller's bytearray, NumPy array or
// other writable buffer receives the result without a copy.

%{
namespace {

bool plox_interpreter_running() {
#if PY_VERSION_HEX >= 0x030D0000
    return Py_IsInitialized() && !Py_IsFinalizing();
#else
    return Py_IsInitialized() && !_Py_IsFinalizing();
#endif
}

// Gives a Python buffer back, with the GIL, when the library image over it is gone. At exit the
// interpreter may be past taking the GIL (a thread asking for it would be ended): leave it then.
void plox_release_python_buffer(void* context) {
    auto* view = static_cast<Py_buffer*>(context);
    if (plox_interpreter_running()) {
        PyGILState_STATE state = PyGILState_Ensure();
        PyBuffer_Release(view);
        PyGILState_Release(state);
    }
    delete view;
}

// A writable Python buffer held for as long as a result image lies over its memory: the object
// stays alive and cannot be resized meanwhile (a bytearray refuses to grow).
class PloxHeldBuffer {
public:
    PloxHeldBuffer() = default;
    PloxHeldBuffer(const PloxHeldBuffer&) = delete;
    PloxHeldBuffer& operator=(const PloxHeldBuffer&) = delete;
    ~PloxHeldBuffer() {
        if (view_ != nullptr) {
            PyBuffer_Release(view_);
            delete view_;
        }
    }

    bool Acquire(PyObject* object) {
        view_ = new Py_buffer;
        if (PyObject_GetBuffer(object, view_, PyBUF_WRITABLE) == 0) return true;
        delete view_;
        view_ = nullptr;
        return false;
    }
    uint8_t* Data() const { return static_cast<uint8_t*>(view_->buf); }
    size_t Size() const { return static_cast<size_t>(view_->len); }

    // Replaces `result` (an Image wrapper over the buffer) by an image over the same memory that
    // gives the buffer back when it and every view of it are gone. False with a Python error set.
    bool HandTo(PyObject* result, swig_type_info* image_type) {
        void* pointer = nullptr;
        if (!SWIG_IsOK(SWIG_ConvertPtr(result, &pointer, image_type, 0)) || pointer == nullptr) {
            PyErr_SetString(PyExc_RuntimeError, "the result is not an image");
            return false;
        }
        auto& image = *static_cast<plox::ipl::Image*>(pointer);
        try {
            const uint64_t timestamp = image.Timestamp();
            PLOX_IPL_IMAGE_HANDLE handle = nullptr;
            plox::ipl::ExecuteAndMapReturnCodes([&] {
                return PLOX_IPL_Image_ConstructFromBufferWithRelease(
                    static_cast<uint32_t>(image.PixelFormat().PixelFormatName()),
                    image.Data(), image.ByteCount(), image.Width(), image.Height(), plox_release_python_buffer, view_,
                    &handle);
            });
            // The library now releases the view, whatever happens next.
            view_ = nullptr;
            plox::ipl::Image held(handle);
            plox::ipl::ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Image_SetTimestamp(handle, timestamp); });
            image = std::move(held);
            return true;
        } catch (const std::exception& error) {
            PyErr_SetString(PyExc_RuntimeError, error.what());
            return false;
        }
    }

private:
    Py_buffer* view_ = nullptr;
};

}  // namespace
%}

%define PLOX_WRITABLE_BUFFER(POINTER, SIZE, DECLARED)
%typemap(in) (POINTER, SIZE) (PloxHeldBuffer held) {
    if (!held.Acquire($input)) {
        PyErr_Clear();
        SWIG_exception_fail(SWIG_TypeError, "in method '" "$symname" "', argument " "$argnum" " of type '" DECLARED "'");
    }
    $1 = held.Data();
    $2 = held.Size();
}
%typemap(argout) (POINTER, SIZE) {
    if (!held$argnum.HandTo($result, SWIGTYPE_p_plox__ipl__Image)) SWIG_fail;
}
%typemap(typecheck, precedence=SWIG_TYPECHECK_POINTER) (POINTER, SIZE) {
    $1 = PyObject_CheckBuffer($input) ? 1 : 0;
}
%enddef

PLOX_WRITABLE_BUFFER(uint8_t* outputImageBuffer, size_t outputImageBufferSize,
                     "(uint8_t* outputImageBuffer, size_t outputImageBufferSize)")
PLOX_WRITABLE_BUFFER(uint8_t* buffer, std::size_t bufferSize, "(uint8_t* buffer, std::size_t bufferSize)")

// A raw address from Python, as an integer (ctypes, NumPy's ctypes.data, another library).
%typemap(in) void* buffer {
    if (!PyLong_Check($input)) {
        SWIG_exception_fail(SWIG_TypeError, "in method '" "$symname" "', argument " "$argnum" " of type 'void *'");
    }
    $1 = PyLong_AsVoidPtr($input);
    if (PyErr_Occurred()) {
        PyErr_Clear();
        SWIG_exception_fail(SWIG_OverflowError, "in method '" "$symname" "', argument " "$argnum" " of type 'void *'");
    }
}
%typemap(typecheck, precedence=SWIG_TYPECHECK_POINTER) void* buffer {
    $1 = PyLong_Check($input) ? 1 : 0;
}
