"""The plox-ipl command-line tool: library facts, file conversion and a demo."""

import argparse
import os
import sys

import numpy as np

from . import (ConversionMode_Classic, ConversionMode_Fast, ConversionMode_HighQuality, Exception as LibraryError,
               Image, ImageConverter, ImageFormatNotSupportedException, ImageReader, ImageWriter, Library,
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


def _load(path, args):
    if args.format is None:
        return ImageReader.Read(path)
    if args.width is None or args.height is None:
        raise UserError("--format needs --width and --height")
    try:
        fmt = pixel_format(args.format)
    except ValueError as e:
        raise UserError(str(e)) from None
    data = np.fromfile(path, np.uint8)
    needed = fmt.CalculateStorageSizeOfPixels(args.width * args.height)
    if data.size < needed:
        raise UserError(f"{path} has {data.size} bytes, a {args.width}x{args.height} {args.format} frame needs {needed}")
    return Image.CreateFromSizeAndPythonBuffer(fmt.PixelFormatName(), data, args.width, args.height)


def _fallback_format(image):
    """What to write when the file type cannot hold the image's own format."""
    fmt = image.PixelFormat()
    grey = fmt.NumChannels() == 1 and not fmt.IsBayered()
    return pixel_format("Mono8" if grey else "RGB8")


def _convert_one(source, target, args, converter):
    image = _load(source, args)
    if args.to is not None:
        try:
            image = converter.Convert(image, pixel_format(args.to))
        except ValueError as e:
            raise UserError(str(e)) from None
    try:
        ImageWriter.Write(target, image)
    except ImageFormatNotSupportedException:
        if args.to is not None:
            raise
        ImageWriter.Write(target, converter.Convert(image, _fallback_format(image)))


def _progress(done, total):
    width = 30
    filled = width * done // total
    sys.stderr.write(f"\r[{'#' * filled}{'.' * (width - filled)}] {done}/{total}")
    if done == total:
        sys.stderr.write("\n")
    sys.stderr.flush()


def _convert(args):
    converter = ImageConverter()
    converter.SetConversionMode(_MODES[args.mode])
    *sources, output = args.paths
    if not sources:
        raise UserError("convert needs an input and an output")
    if len(sources) == 1 and not os.path.isdir(output):
        _convert_one(sources[0], output, args, converter)
        return 0
    os.makedirs(output, exist_ok=True)
    for done, source in enumerate(sources, 1):
        stem = os.path.splitext(os.path.basename(source))[0]
        _convert_one(source, os.path.join(output, stem + args.ending), args, converter)
        _progress(done, len(sources))
    return 0


def _demo(args):
    from . import demo

    print("\n".join(_settings_lines()))
    print()
    demo.run(args.output)
    return 0


def _parser():
    parser = argparse.ArgumentParser(prog="plox-ipl", description="Camera image processing from the command line.")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("info", help="version, settings, every pixel format and the conversions").set_defaults(
        run=_info)
    convert = commands.add_parser(
        "convert", help="convert image files or raw camera dumps",
        description="Convert INPUT to OUTPUT (the file ending chooses the type), or several inputs into the folder "
                    "OUTPUT.")
    convert.add_argument("paths", nargs="+", metavar="INPUT... OUTPUT")
    convert.add_argument("--to", metavar="FORMAT", help="pixel format to convert to, e.g. RGB8 or Mono12")
    convert.add_argument("--mode", choices=sorted(_MODES), default="fast", help="demosaicing mode")
    convert.add_argument("--format", metavar="NAME", help="read inputs as headerless dumps of this pixel format")
    convert.add_argument("--width", type=int, help="width of a headerless dump")
    convert.add_argument("--height", type=int, help="height of a headerless dump")
    convert.add_argument("--ending", choices=_ENDINGS, default=".png", help="file type written into a folder")
    convert.set_defaults(run=_convert)
    demo = commands.add_parser("demo", help="convert a synthetic camera frame with each mode and write files")
    demo.add_argument("--output", default="plox-demo", help="folder for the files (default ./plox-demo)")
    demo.set_defaults(run=_demo)
    return parser


def main(argv=None):
    args = _parser().parse_args(argv)
    try:
        return args.run(args)
    except (UserError, LibraryError, OSError) as e:
        print(f"plox-ipl: error: {e}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
