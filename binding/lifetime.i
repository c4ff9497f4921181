// Wrappers of deleted or moved-from objects: an error, never a dangling or null pointer.
//
// Deleting an object clears the wrapper's pointer (as moving from it already does), so the
// object can be deleted only once and any later call finds the pointer null and raises.

%typemap(in, noblock=1) SWIGTYPE *self (void *argp = 0, int res = 0) {
  res = SWIG_ConvertPtr($input, &argp, $descriptor, 0);
  // A deleting call also clears the pointer, and deletes nothing the second time; deleting an
  // object the wrapper does not own (an element of a container, say) is refused instead of
  // freeing another owner's memory.
  if (SWIG_IsOK(res) && argp && ($disown)) res = SWIG_ConvertPtr($input, &argp, $descriptor, SWIG_POINTER_RELEASE);
  if (res == SWIG_ERROR_RELEASE_NOT_OWNED) {
    SWIG_exception_fail(SWIG_ValueError, "in method '" "$symname" "', argument " "$argnum" " of type '" "$type" "': " "the object belongs to another and cannot be deleted through this reference");
  }
  if (!SWIG_IsOK(res)) {
    %argument_fail(res, "$type", $symname, $argnum);
  }
  if (!argp && !($disown)) {
    SWIG_exception_fail(SWIG_ValueError, "in method '" "$symname" "', argument " "$argnum" " of type '" "$type" "': " "the object was deleted or moved from");
  }
  $1 = %reinterpret_cast(argp, $ltype);
}
