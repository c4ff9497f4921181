"""The plox-ipl command-line tool."""

import argparse
import sys

from . import Library, pixel_format, pixel_format_names

_BAYER_NAMES = {0: "Unknown", 1: "-", 2: "GR", 3: "RG", 4: "GB", 5: "BG"}


def _settings_lines():
    version = Library.Version().ToString()
    threads = Library.MaxConcurrentThreads()
    return [
        f"umb_plox_ipl library {version}",
        f"  max concurrent threads: {threads if threads else 'one per core (0)'}",
        f"  multithreading: {'on' if Library.MultiThreadingEnabled() else 'off'}",
        f"  SIMD: {'on' if Library.SIMDEnabled() else 'off'}",
    ]


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
    widths = [max(len(str(row[i])) for row in [header, *rows]) for i in range(len(header))]
    lines = ["  ".join(str(cell).ljust(width) for cell, width in zip(row, widths)).rstrip()
             for row in [header, *rows]]
    lines.insert(1, "  ".join("-" * width for width in widths))
    return lines


def _info(_args):
    print("\n".join(_settings_lines()))
    print()
    print("\n".join(_pixel_format_table()))
    return 0


def _demo(args):
    from . import demo

    _info(args)
    print()
    demo.run()
    return 0


def main(argv=None):
    parser = argparse.ArgumentParser(prog="plox-ipl", description="Camera image processing from the command line.")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("info", help="library version, settings and every pixel format").set_defaults(run=_info)
    commands.add_parser("demo", help="show what the library does").set_defaults(run=_demo)
    args = parser.parse_args(argv)
    return args.run(args)


if __name__ == "__main__":
    sys.exit(main())
