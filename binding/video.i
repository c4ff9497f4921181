// Video encoders, containers and the video writer. Encoders and containers are shared between a
// writer and Python through shared pointers; factories and accessors hand out the concrete class.

typedef uint16_t PLOX_IPL_VIDEO_ENCODER;
typedef uint16_t PLOX_IPL_VIDEO_CONTAINER;
typedef uint16_t PLOX_IPL_VIDEO_ENCODER_OPTION;
typedef uint16_t PLOX_IPL_VIDEO_CONTAINER_OPTION;

%shared_ptr(plox::ipl::encoder::IEncoder)
%shared_ptr(plox::ipl::encoder::MJPEGEncoder)
%shared_ptr(plox::ipl::container::IContainer)
%shared_ptr(plox::ipl::container::AVIContainer)

// From Python, encoders and containers come from the factories; the constructors left take an
// object to move from.
%ignore plox::ipl::encoder::MJPEGEncoder::MJPEGEncoder();
%ignore plox::ipl::container::AVIContainer::AVIContainer();

// Moving from an encoder or container takes its attachment, as in C++; one that is shared (with a
// writer or another holder) cannot be given up. The moved-from object refuses later calls.
%define PLOX_VIDEO_MOVABLE(TYPE)
%typemap(in) TYPE && (void *argp = 0, int res = 0, std::shared_ptr<TYPE> moved) {
  res = SWIG_ConvertPtr($input, &argp, $descriptor(std::shared_ptr<TYPE>*), 0);
  if (!SWIG_IsOK(res)) {
    %argument_fail(res, "$type", $symname, $argnum);
  }
  if (!argp || !*%reinterpret_cast(argp, std::shared_ptr<TYPE>*)) {
    %argument_nullref("$type", $symname, $argnum);
  }
  if (%reinterpret_cast(argp, std::shared_ptr<TYPE>*)->use_count() > 1) res = SWIG_ERROR_RELEASE_NOT_OWNED;
  else res = SWIG_ConvertPtr($input, &argp, $descriptor(std::shared_ptr<TYPE>*), SWIG_POINTER_RELEASE);
  if (!SWIG_IsOK(res)) {
    SWIG_exception_fail(SWIG_ArgError(res), "in method '" "$symname" "', cannot release ownership as memory is not owned for argument " "$argnum" " of type '" "$type" "'");
  }
  moved = std::move(*%reinterpret_cast(argp, std::shared_ptr<TYPE>*));
  delete %reinterpret_cast(argp, std::shared_ptr<TYPE>*);
  $1 = moved.get();
}
%typemap(check) TYPE *self, TYPE const *self {
  if (!$1) SWIG_exception_fail(SWIG_ValueError, "in method '" "$symname" "', argument " "$argnum" " of type '" "$type" "': " "the object was deleted or moved from");
}
%enddef
PLOX_VIDEO_MOVABLE(plox::ipl::encoder::MJPEGEncoder)
PLOX_VIDEO_MOVABLE(plox::ipl::container::AVIContainer)
%typemap(check) plox::ipl::encoder::IEncoder *self, plox::ipl::encoder::IEncoder const *self,
                plox::ipl::container::IContainer *self, plox::ipl::container::IContainer const *self {
  if (!$1) SWIG_exception_fail(SWIG_ValueError, "in method '" "$symname" "', argument " "$argnum" " of type '" "$type" "': " "the object was deleted or moved from");
}

// The object of the concrete class, so that an encoder from CreateEncoder or Encoder() has
// SetQuality; an empty pointer is None.
%define PLOX_VIDEO_FAMILY(BASE, DERIVED)
%typemap(out) std::unique_ptr<BASE> {
  std::shared_ptr<BASE> base(std::move(*&$1));  // $1 may be SWIG's value wrapper
  std::shared_ptr<DERIVED> derived = std::dynamic_pointer_cast<DERIVED>(base);
  $result = derived ? SWIG_NewPointerObj(new std::shared_ptr<DERIVED>(derived), $descriptor(std::shared_ptr<DERIVED>*), SWIG_POINTER_OWN)
                    : SWIG_NewPointerObj(new std::shared_ptr<BASE>(base), $descriptor(std::shared_ptr<BASE>*), SWIG_POINTER_OWN);
}
%typemap(out) std::shared_ptr<BASE> Encoder, std::shared_ptr<BASE> Container {
  const std::shared_ptr<BASE>& base = $1;
  std::shared_ptr<DERIVED> derived = std::dynamic_pointer_cast<DERIVED>(base);
  if (derived)
    $result = SWIG_NewPointerObj(new std::shared_ptr<DERIVED>(derived), $descriptor(std::shared_ptr<DERIVED>*), SWIG_POINTER_OWN);
  else if (base)
    $result = SWIG_NewPointerObj(new std::shared_ptr<BASE>(base), $descriptor(std::shared_ptr<BASE>*), SWIG_POINTER_OWN);
  else
    $result = SWIG_Py_Void();
}
%enddef
PLOX_VIDEO_FAMILY(plox::ipl::encoder::IEncoder, plox::ipl::encoder::MJPEGEncoder)
PLOX_VIDEO_FAMILY(plox::ipl::container::IContainer, plox::ipl::container::AVIContainer)

// The lists arrive as wrapped vectors the caller owns.
%typemap(out) std::vector<PLOX_IPL_VIDEO_ENCODER> GetSupportedEncodersForAContainer,
              std::vector<PLOX_IPL_VIDEO_CONTAINER> GetSupportedContainersForAnEncoder {
  $result = SWIG_NewPointerObj(new std::vector<unsigned short>(static_cast<const std::vector<unsigned short>&>($1)),
                               $descriptor(std::vector<unsigned short>*), SWIG_POINTER_OWN);
}
%typemap(out) std::vector<plox::ipl::PixelFormatName> GetSupportedPixelFormats {
  $result = SWIG_NewPointerObj(
      new std::vector<plox::ipl::PixelFormatName>(static_cast<const std::vector<plox::ipl::PixelFormatName>&>($1)),
      $descriptor(std::vector<plox::ipl::PixelFormatName>*), SWIG_POINTER_OWN);
}

%ignore plox::ipl::detail::QueryList;
%ignore plox::ipl::VideoWriter::operator=;

// Only the waits block for long; they let other Python threads run meanwhile.
%thread plox::ipl::VideoWriter::WaitUntilFrameDone;
%thread plox::ipl::VideoWriter::WaitUntilQueueEmpty;

// writer << a << b: the same Python object comes back, not a second wrapper of it.
%pythonappend plox::ipl::VideoWriter::operator<< %{
    val = self
%}

%include "ipl/Video.h"
%include "ipl/VideoWriter.h"
