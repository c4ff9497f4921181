"""The plox-ipl command-line tool: library facts, file conversion, videos and a demo."""

import argparse
import os
import re
import sys

import numpy as np

from . import (BusyException, ConversionMode_Classic, ConversionMode_Fast, ConversionMode_HighQuality,
               Exception as LibraryError, Image, ImageConverter, ImageFormatNotSupportedException, ImageReader,
               ImageWriter, ImageWriterJPEGParameter, ImageWriterPNGParameter, Library, VideoWriter, __version__,
               pixel_format, pixel_format_names)

_BAYER_NAMES = {0: "Unknown", 1: "-", 2: "GR", 3: "RG", 4: "GB", 5: "BG"}
_MODES = {"fast": ConversionMode_Fast, "hq": ConversionMode_HighQuality, "classic": ConversionMode_Classic}
_ENDINGS = (".png", ".jpg", ".jpeg", ".bmp", ".raw")


class UserError(RuntimeError):
    """A mistake of the caller's, told in one line."""


def _settings_lines():
    threads = Library.MaxConcurrentThreads()
    return [
        f"umb_plox_ipl library {Library.Version().ToString()}",
        f"  max concurrent threads: {threads if threads else 'one per core (0)'}",
        f"  multithreading: {'on' if Library.MultiThreadingEnabled() else 'off'}",
        f"  SIMD: {'on' if Library.SIMDEnabled() else 'off'}",
    ]


def _table(header, rows):
    widths = [max(len(str(row[i])) for row in [header, *rows]) for i in range(len(header))]
    lines = ["  ".join(str(cell).ljust(width) for cell, width in zip(row, widths)).rstrip() for row in [header, *rows]]
    lines.insert(1, "  ".join("-" * width for width in widths))
    return lines


def _pixel_format_table():
    header = ("format", "code", "ch", "sig/ch", "sto/ch", "sig/px", "sto/px", "max", "packed", "bayer",
              "yuv", "3d", "float", "bytes(1000px)")
    rows = []
    for name, code in sorted(pixel_format_names().items(), key=lambda item: item[1]):
        f = pixel_format(code)
        rows.append((name, f"0x{code:08X}", f.NumChannels(), f.NumSignificantBitsPerChannel(),
                     f.NumStorageBitsPerChannel(), f.NumSignificantBitsPerPixel(), f.NumStorageBitsPerPixel(),
                     f.MaximumValuePerChannel(), "yes" if f.IsPacked() else "", _BAYER_NAMES[f.BayerPattern()],
                     "yes" if f.IsYUV() else "", "yes" if f.IsCoord3D() else "", "yes" if f.IsFloat() else "",
                     f.CalculateStorageSizeOfPixels(1000)))
    return _table(header, rows)


def _conversion_lines():
    converter = ImageConverter()
    names = {code: name for name, code in pixel_format_names().items()}
    lines = ["Conversions (source -> targets):"]
    for code in sorted(names):
        targets = [names[t] for t in converter.SupportedOutputPixelFormatNames(pixel_format(code)) if t != code]
        lines.append(f"  {names[code]:<29} -> {' '.join(targets) if targets else '(none)'}")
    return lines


def _info(_args):
    print("\n".join(_settings_lines() + [""] + _pixel_format_table() + [""] + _conversion_lines()))
    return 0


def _number(low, high=None):
    """An argparse type for whole numbers from `low` (to `high`)."""

    def parse(text):
        try:
            value = int(text)
        except ValueError:
            raise argparse.ArgumentTypeError(f"expected a whole number, not {text!r}") from None
        if value < low or (high is not None and value > high):
            span = f"{low} to {high}" if high is not None else f"at least {low}"
            raise argparse.ArgumentTypeError(f"must be {span}, not {value}")
        return value

    return parse


def _message(error):
    """The library's description without its "[Error-Code: ... | Error-Description: ...]" frame."""
    text = str(error)
    match = re.fullmatch(r"\[Error-Code: [^|]*\| Error-Description: (.*)\]", text, re.DOTALL)
    return match.group(1) if match else text


def _load(path, args):
    if args.format is None:
        return ImageReader.Read(path)
    if args.width is None or args.height is None:
        raise UserError("--format needs --width and --height")
    try:
        fmt = pixel_format(args.format)
    except ValueError as e:
        raise UserError(str(e)) from None
    size = os.path.getsize(path)
    needed = fmt.CalculateStorageSizeOfPixels(args.width * args.height)
    # A dump is exactly one frame: any other size means the geometry or format is wrong.
    if size - args.offset != needed:
        skipped = f" after the {args.offset}-byte offset" if args.offset else ""
        raise UserError(f"{path} has {max(size - args.offset, 0)} bytes{skipped}; a {args.width}x{args.height} "
                        f"{fmt.Name()} frame needs {needed}")
    data = np.fromfile(path, np.uint8, offset=args.offset)
    return Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), data, args.width, args.height)


def _picture_format(image, ending):
    """What a file gets when --to does not say: colour for a mosaic, the image's own format otherwise."""
    fmt = image.PixelFormat()
    if not fmt.IsBayered():
        return None
    # PNG and RAW keep 10 and 12 bits; the other types hold 8.
    bits = fmt.NumSignificantBitsPerChannel()
    return pixel_format(f"RGB{bits}" if ending in (".png", ".raw") and bits in (10, 12) else "RGB8")


def _fallback_format(image):
    """What to write when the file type cannot hold the image's own format."""
    fmt = image.PixelFormat()
    grey = fmt.NumChannels() == 1 and not fmt.IsBayered()
    return pixel_format("Mono8" if grey else "RGB8")


def _write(target, image, quality):
    ending = os.path.splitext(target)[1].lower()
    if quality is not None and ending in (".jpg", ".jpeg"):
        parameter = ImageWriterJPEGParameter()
        parameter.Quality = quality
        ImageWriter.WriteAsJPG(target, image, parameter)
    elif quality is not None and ending == ".png":
        parameter = ImageWriterPNGParameter()
        parameter.Quality = quality
        ImageWriter.WriteAsPNG(target, image, parameter)
    else:
        ImageWriter.Write(target, image)


def _convert_one(source, target, args, converter):
    image = _load(source, args)
    wanted = pixel_format(args.to) if args.to is not None else _picture_format(image, _ending_of(target))
    if wanted is not None and wanted.PixelFormatName() != image.PixelFormat().PixelFormatName():
        image = converter.Convert(image, wanted)
    try:
        _write(target, image, args.quality)
    except ImageFormatNotSupportedException:
        if args.to is not None:
            raise
        _write(target, converter.Convert(image, _fallback_format(image)), args.quality)


def _ending_of(path):
    return os.path.splitext(path)[1].lower()


class _Progress:
    """A bar on stderr when it is a terminal; every message starts on a line of its own."""

    def __init__(self, total):
        self.total = total
        self.shown = sys.stderr.isatty() and total > 1
        self.open = False

    def step(self, done):
        if not self.shown:
            return
        width = 30
        filled = width * done // self.total
        sys.stderr.write(f"\r[{'#' * filled}{'.' * (width - filled)}] {done}/{self.total}")
        sys.stderr.flush()
        self.open = done < self.total
        if not self.open:
            sys.stderr.write("\n")

    def say(self, line):
        if self.open:
            sys.stderr.write("\n")
            self.open = False
        print(line, file=sys.stderr)


def _is_folder(output, sources):
    # An output without a file ending, or ending in a separator, names a folder (made if new).
    return len(sources) > 1 or os.path.isdir(output) or output.endswith(os.sep) or not _ending_of(output)


def _convert(args):
    converter = ImageConverter()
    converter.SetConversionMode(_MODES[args.mode])
    if args.to is not None:
        try:
            pixel_format(args.to)
        except ValueError as e:
            raise UserError(str(e)) from None
    *sources, output = args.paths
    if not sources:
        raise UserError("convert needs an input and an output")
    if not _is_folder(output, sources):
        _convert_one(sources[0], output, args, converter)
        return 0
    targets = [os.path.join(output, os.path.splitext(os.path.basename(s))[0] + args.ending) for s in sources]
    first = {}
    for source, target in zip(sources, targets):
        if target in first:
            raise UserError(f"{first[target]} and {source} would both write {target}")
        first[target] = source
    os.makedirs(output, exist_ok=True)
    progress = _Progress(len(sources))
    failures = []
    for done, (source, target) in enumerate(zip(sources, targets), 1):
        try:
            _convert_one(source, target, args, converter)
        except (UserError, LibraryError, OSError) as e:
            failures.append((source, _message(e)))
            progress.say(f"plox-ipl: error: {_message(e)}")
        progress.step(done)
    if failures:
        print(f"plox-ipl: {len(failures)} of {len(sources)} inputs failed:", file=sys.stderr)
        for source, _ in failures:
            print(f"  {source}", file=sys.stderr)
        return 1
    return 0


def _frame_files(paths):
    """The image files named; a folder stands for the picture files in it, in name order."""
    files = []
    for path in paths:
        if os.path.isdir(path):
            files += sorted(os.path.join(path, name) for name in os.listdir(path) if _ending_of(name) in _ENDINGS)
        else:
            files.append(path)
    if not files:
        raise UserError(f"no image files in {' '.join(paths)}")
    return files


def _video(args):
    *sources, output = args.paths
    if not sources:
        raise UserError("video needs frames and an output file")
    if _ending_of(output) != ".avi":
        raise UserError(f"the video is written as AVI: {output} must end in .avi")
    files = _frame_files(sources)
    writer = VideoWriter()
    writer.Open(output)
    progress = _Progress(len(files))
    try:
        writer.Container().SetFramerate(args.fps)
        writer.Encoder().SetQuality(args.quality)
        for done, path in enumerate(files, 1):
            image = ImageReader.Read(path)
            while True:
                try:
                    writer.Append(image)
                    break
                except BusyException:
                    writer.WaitUntilFrameDone(60000)
                except LibraryError as e:
                    raise UserError(f"{path}: {_message(e)}") from None
            progress.step(done)
        writer.Close()
    except BaseException:
        # No half-made video stays behind when a frame or the disk fails, or the user interrupts.
        if writer.IsOpen():
            writer.Close()
        if os.path.exists(output):
            os.remove(output)
        raise
    print(f"{output}: {len(files)} frames at {args.fps:g} frames per second")
    return 0


def _demo(args):
    from . import demo

    print("\n".join(_settings_lines()))
    print()
    demo.run(args.output)
    return 0


class _Parser(argparse.ArgumentParser):
    """Usage mistakes in one line, like every other error of the tool."""

    def error(self, message):
        self.exit(2, f"plox-ipl: error: {message} (see {self.prog} --help)\n")


def _parser():
    parser = _Parser(prog="plox-ipl", description="Camera image processing from the command line.")
    parser.add_argument("--version", action="version",
                        version=f"plox-ipl {__version__} (library {Library.Version().ToString()})")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("info", help="version, settings, every pixel format and the conversions").set_defaults(
        run=_info)
    convert = commands.add_parser(
        "convert", help="convert image files or raw camera dumps",
        description="Convert INPUT to OUTPUT (the file ending chooses the type), or several inputs into the folder "
                    "OUTPUT. A Bayer mosaic becomes colour unless --to asks for a Bayer format.")
    convert.add_argument("paths", nargs="+", metavar="INPUT... OUTPUT")
    convert.add_argument("--to", metavar="FORMAT", help="pixel format to convert to, e.g. RGB8 or Mono12")
    convert.add_argument("--mode", choices=sorted(_MODES), default="fast", help="demosaicing mode")
    convert.add_argument("--format", metavar="NAME", help="read inputs as headerless dumps of this pixel format")
    convert.add_argument("--width", type=_number(1), help="width of a headerless dump")
    convert.add_argument("--height", type=_number(1), help="height of a headerless dump")
    convert.add_argument("--offset", type=_number(0), default=0, help="header bytes to skip in a dump")
    convert.add_argument("--quality", type=_number(0, 100),
                         help="JPEG quality 1-100 (default 75), PNG compression effort 0-100 (default 100)")
    convert.add_argument("--ending", choices=_ENDINGS, default=".png", help="file type written into a folder")
    convert.set_defaults(run=_convert)
    video = commands.add_parser(
        "video", help="make a Motion-JPEG AVI video of image files",
        description="Append the image files FRAMES (a folder stands for its picture files in name order) to the "
                    "video OUTPUT.avi. Every frame must have the first one's size and format, sides divisible by 8.")
    video.add_argument("paths", nargs="+", metavar="FRAMES... OUTPUT.avi")
    video.add_argument("--fps", type=float, default=25.0, help="frames per second, 0.01 to 1000 (default 25)")
    video.add_argument("--quality", type=_number(1, 100), default=90, help="JPEG quality 1-100 (default 90)")
    video.set_defaults(run=_video)
    demo = commands.add_parser("demo", help="convert a synthetic camera frame with each mode and write files")
    demo.add_argument("--output", default="plox-demo", help="folder for the files (default ./plox-demo)")
    demo.set_defaults(run=_demo)
    return parser


def main(argv=None):
    args = _parser().parse_args(argv)
    try:
        return args.run(args)
    except (UserError, LibraryError, OSError) as e:
        print(f"plox-ipl: error: {_message(e)}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
