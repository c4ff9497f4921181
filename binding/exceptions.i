// Every class-layer exception reaches Python as the registered class of the same name.

%{
#include <cxxabi.h>

// None for a reference parameter is a wrong value, not a wrong type.
#undef SWIG_NullReferenceError
#define SWIG_NullReferenceError SWIG_ValueError

namespace {

// Raises the Python class registered for `type` (RuntimeError if there is none yet).
void plox_raise_registered(swig_type_info* type, const char* what) {
    SWIG_PYTHON_THREAD_BEGIN_BLOCK;
    PyObject* registered = SWIG_Python_ExceptionType(type);
    PyErr_SetString(registered != nullptr ? registered : PyExc_RuntimeError, what);
    SWIG_PYTHON_THREAD_END_BLOCK;
}

void plox_raise(PyObject* type, const char* what) {
    SWIG_PYTHON_THREAD_BEGIN_BLOCK;
    PyErr_SetString(type, what);
    SWIG_PYTHON_THREAD_END_BLOCK;
}

}  // namespace
%}

// BufferTooSmallException and InvalidHandleException have no clause of their own: they
// arrive as the base class, with their text.
%exception {
    try {
        $action
    } catch (abi::__forced_unwind&) {
        // A thread that Python ends at exit unwinds through here; swallowing that aborts.
        throw;
    } catch (const plox::ipl::OutOfRangeException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__OutOfRangeException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::InvalidArgumentException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__InvalidArgumentException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::ImageFormatNotSupportedException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__ImageFormatNotSupportedException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::ImageFormatInterpretationException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__ImageFormatInterpretationException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::IOException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__IOException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::BusyException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__BusyException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::NotPermittedException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__NotPermittedException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::TimeoutException& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__TimeoutException, e.what());
        SWIG_fail;
    } catch (const plox::ipl::Exception& e) {
        plox_raise_registered(SWIGTYPE_p_plox__ipl__Exception, e.what());
        SWIG_fail;
    } catch (const std::exception& e) {
        plox_raise(PyExc_RuntimeError, e.what());
        SWIG_fail;
    } catch (...) {
        plox_raise(PyExc_RuntimeError, "Unknown exception caught!");
        SWIG_fail;
    }
}

// The base derives from Python's Exception, so every subclass is raisable and catchable.
%exceptionclass plox::ipl::Exception;
%warnfilter(401) plox::ipl::Exception;

%ignore plox::ipl::BufferTooSmallException::BufferTooSmallException;
%ignore plox::ipl::InvalidHandleException::InvalidHandleException;
%ignore plox::ipl::ReturnCodeToString;
%ignore plox::ipl::detail::ThrowLastError;

%include "ipl/Exception.h"
