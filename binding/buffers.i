// Writable Python buffers as (pointer, size) pairs: the caller's bytearray, NumPy array or
// other writable buffer receives the result without a copy.

%define PLOX_WRITABLE_BUFFER(POINTER, SIZE, DECLARED)
%typemap(in) (POINTER, SIZE) {
    Py_buffer view;
    if (PyObject_GetBuffer($input, &view, PyBUF_WRITABLE) != 0) {
        PyErr_Clear();
        SWIG_exception_fail(SWIG_TypeError, "in method '" "$symname" "', argument " "$argnum" " of type '" DECLARED "'");
    }
    $1 = static_cast<uint8_t*>(view.buf);
    $2 = static_cast<size_t>(view.len);
    // The object keeps owning the memory; holding the view would forbid nothing the caller needs.
    PyBuffer_Release(&view);
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
