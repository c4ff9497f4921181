"""ImageConverter: shared state between copies, pools, caller buffers, supported outputs."""

import numpy as np
import pytest

import umb_plox_ipl as ipl

MONO8 = ipl.PixelFormat(ipl.PixelFormatName_Mono8)
RGB8 = ipl.PixelFormat(ipl.PixelFormatName_RGB8)


def frame(value=0, width=64, height=48):
    data = np.full((height, width), value, dtype=np.uint8)
    return ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_Mono8, data, width, height)


def address(image):
    return ipl.get_numpy(image).ctypes.data


def test_copies_share_the_mode():
    a = ipl.ImageConverter()
    b = ipl.ImageConverter(a)
    assert a.ConversionMode() == ipl.ConversionMode_Fast
    a.SetConversionMode(ipl.ConversionMode_Classic)
    assert b.ConversionMode() == ipl.ConversionMode_Classic
    with pytest.raises(ipl.InvalidArgumentException, match="7"):
        b.SetConversionMode(7)
    assert a.ConversionMode() == ipl.ConversionMode_Classic


def test_pool_buffers_are_reused_while_few_results_live():
    converter = ipl.ImageConverter(MONO8, RGB8, 64, 48, 2)
    first = converter.Convert(frame(1), RGB8)
    second = converter.Convert(frame(2), RGB8)
    pooled = {address(first), address(second)}
    # Beyond the pool: still works, with fresh memory.
    third = converter.Convert(frame(3), RGB8)
    assert address(third) not in pooled
    assert (ipl.get_numpy(third) == 3).all() and (ipl.get_numpy(first) == 1).all()
    del first, second, third
    for value in range(10):  # a stream of frames, one result alive at a time
        result = converter.Convert(frame(value), RGB8)
        assert address(result) in pooled
        assert (ipl.get_numpy(result) == value).all()
        del result


def test_pool_is_shared_by_copies_and_only_used_for_its_key():
    converter = ipl.ImageConverter()
    converter.PreAllocateConversion(MONO8, RGB8, 64, 48, 1)
    copy = ipl.ImageConverter(converter)
    pooled = address(copy.Convert(frame(), RGB8))
    assert address(converter.Convert(frame(), RGB8)) == pooled
    assert address(converter.Convert(frame(width=32), RGB8)) != pooled


@pytest.mark.parametrize("count", [0])
def test_preallocation_is_checked(count):
    converter = ipl.ImageConverter()
    with pytest.raises(ipl.InvalidArgumentException, match="0"):
        converter.PreAllocateConversion(MONO8, RGB8, 64, 48, count)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match="RGB8.*BayerRG8"):
        converter.PreAllocateConversion(RGB8, ipl.PixelFormat(ipl.PixelFormatName_BayerRG8), 64, 48)


def test_convert_into_caller_buffer():
    converter = ipl.ImageConverter()
    out = bytearray(64 * 48 * 3)
    result = converter.Convert(frame(9), RGB8, out)
    assert out[:3] == b"\t\t\t" and address(result) == np.frombuffer(out, np.uint8).ctypes.data
    short = bytearray(100)
    with pytest.raises(ipl.Exception, match="BUFFER_TOO_SMALL.*100"):
        converter.Convert(frame(9), RGB8, short)
    assert short == bytearray(100)
    with pytest.raises(TypeError, match="argument 4 of type '\\(uint8_t\\* outputImageBuffer"):
        converter.Convert(frame(), RGB8, bytes(64 * 48 * 3))


def test_supported_outputs_are_the_convertible_ones():
    converter = ipl.ImageConverter()
    outputs = set(converter.SupportedOutputPixelFormatNames(ipl.PixelFormat(ipl.PixelFormatName_BayerRG12p)))
    image = ipl.Image.CreateFromSize(ipl.PixelFormatName_BayerRG12p, 8, 4)
    for name, code in ipl.pixel_format_names().items():
        if code in outputs:
            converter.Convert(image, ipl.PixelFormat(code))
        else:
            with pytest.raises(ipl.ImageFormatNotSupportedException):
                converter.Convert(image, ipl.PixelFormat(code))
    assert ipl.PixelFormatName_BayerRG8 in outputs and ipl.PixelFormatName_BayerGR8 not in outputs


def test_concurrent_python_threads_share_converter_and_pool():
    import threading

    width, height = 320, 240
    bayer = ipl.PixelFormat(ipl.PixelFormatName_BayerRG12p)
    raw = np.random.default_rng(2).integers(0, 256, bayer.CalculateStorageSizeOfPixels(width * height), np.uint8)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(ipl.PixelFormatName_BayerRG12p, raw, width, height)
    expected = bytes(image.ConvertTo(RGB8).DataView())
    converter = ipl.ImageConverter(bayer, RGB8, width, height, 2)
    failures = []

    def stream():
        for _ in range(30):
            if bytes(converter.Convert(image, RGB8).DataView()) != expected:
                failures.append("differs")

    threads = [threading.Thread(target=stream) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []
