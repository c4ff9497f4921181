"""ImageTransformer: mirrors and quarter turns against NumPy, Bayer patterns against OpenCV's
demosaicing, in-place forms, refusals that leave the image alone, threads and SIMD."""

import cv2
import numpy as np
import pytest

import umb_plox_ipl as ipl
from umb_plox_ipl import umb_plox_ipl_python_interface as interface

CCW90 = ipl.ImageTransformer_RotationAngle_Degree90Counterclockwise
CW90 = ipl.ImageTransformer_RotationAngle_Degree90Clockwise
HALF = ipl.ImageTransformer_RotationAngle_Degree180

# Every format whose pixels sit in their own bytes.
WHOLE = [name for name, code in ipl.pixel_format_names().items()
         if not ipl.PixelFormat(code).IsPacked() and not ipl.PixelFormat(code).IsYUV()]
PACKED = [name for name, code in ipl.pixel_format_names().items() if ipl.PixelFormat(code).IsPacked()]
YUV = [name for name, code in ipl.pixel_format_names().items() if ipl.PixelFormat(code).IsYUV()]

# Operation name -> (how to call it, its NumPy reference on (rows, columns, ...) arrays).
OPERATIONS = {
    "MirrorUpDown": (lambda t, im: t.MirrorUpDown(im), lambda a: a[::-1]),
    "MirrorLeftRight": (lambda t, im: t.MirrorLeftRight(im), lambda a: a[:, ::-1]),
    "MirrorUpDownLeftRight": (lambda t, im: t.MirrorUpDownLeftRight(im), lambda a: a[::-1, ::-1]),
    "Rotate90": (lambda t, im: t.Rotate(im, CCW90), lambda a: np.rot90(a, 1)),
    "Rotate180": (lambda t, im: t.Rotate(im, HALF), lambda a: np.rot90(a, 2)),
    "Rotate270": (lambda t, im: t.Rotate(im, CW90), lambda a: np.rot90(a, 3)),
}
IN_PLACE = {
    "MirrorUpDown": lambda t, im: t.MirrorUpDownInPlace(im),
    "MirrorLeftRight": lambda t, im: t.MirrorLeftRightInPlace(im),
    "MirrorUpDownLeftRight": lambda t, im: t.MirrorUpDownLeftRightInPlace(im),
    "Rotate90": lambda t, im: t.RotateInPlace(im, CCW90),
    "Rotate180": lambda t, im: t.RotateInPlace(im, HALF),
    "Rotate270": lambda t, im: t.RotateInPlace(im, CW90),
}


def pixels(name, width, height, seed=0):
    """Random samples of the format's container type, shaped (rows, columns[, channels])."""
    fmt = ipl.PixelFormat(ipl.pixel_format_names()[name])
    channels = fmt.NumChannels()
    shape = (height, width) if channels == 1 else (height, width, channels)
    rng = np.random.default_rng(seed)
    if fmt.IsFloat():
        return rng.standard_normal(shape).astype(np.float32) * 1000
    dtype = np.uint8 if fmt.NumStorageBitsPerChannel() == 8 else np.uint16
    return rng.integers(0, fmt.MaximumValuePerChannel() + 1, shape).astype(dtype)


def image_of(name, array):
    return ipl.Image.CreateFromSizeAndPythonBuffer(ipl.pixel_format_names()[name], array, array.shape[1],
                                                   array.shape[0])


def format_name(image):
    return image.PixelFormat().Name()


@pytest.mark.parametrize("name", WHOLE)
@pytest.mark.parametrize("operation", OPERATIONS)
@pytest.mark.parametrize("width, height", [(7, 5), (64, 33), (203, 2)])
def test_new_image_moves_every_pixel_like_numpy(name, operation, width, height):
    source = pixels(name, width, height)
    kept = source.copy()
    call, reference = OPERATIONS[operation]
    result = call(ipl.ImageTransformer(), image_of(name, source))
    expected = reference(source)
    assert (result.Width(), result.Height()) == (expected.shape[1], expected.shape[0])
    assert ipl.get_numpy(result).tobytes() == np.ascontiguousarray(expected).tobytes()
    np.testing.assert_array_equal(source, kept)


@pytest.mark.parametrize("name", ["Mono8", "RGB12", "BGRa8", "Coord3D_ABC32f", "BayerGB10"])
@pytest.mark.parametrize("operation", OPERATIONS)
@pytest.mark.parametrize("width, height", [(9, 4), (6, 6)])
def test_in_place_equals_new_image_and_keeps_the_memory(name, operation, width, height):
    source = pixels(name, width, height)
    image = image_of(name, source)
    expected = OPERATIONS[operation][0](ipl.ImageTransformer(), image)
    view = image.get_numpy_1D()  # taken before: same memory, old shape
    address = view.ctypes.data
    IN_PLACE[operation](ipl.ImageTransformer(), image)
    assert (image.Width(), image.Height(), format_name(image)) == (expected.Width(), expected.Height(),
                                                                   format_name(expected))
    assert image.ByteCount() == expected.ByteCount() == view.size
    assert ipl.get_numpy(image).ctypes.data == address == source.ctypes.data
    assert view.tobytes() == source.tobytes() == ipl.get_numpy(expected).tobytes()


def demosaic(mosaic, name):
    # Our BayerXY is the pattern of the top-left cell; OpenCV names Bayer codes by the second row.
    code = {"RG": cv2.COLOR_BayerBG2RGB, "GR": cv2.COLOR_BayerGB2RGB, "GB": cv2.COLOR_BayerGR2RGB,
            "BG": cv2.COLOR_BayerRG2RGB}[name[5:7]]
    return cv2.cvtColor(mosaic, code)


@pytest.mark.parametrize("pattern", ["BayerRG8", "BayerGR8", "BayerGB8", "BayerBG8"])
@pytest.mark.parametrize("operation", OPERATIONS)
@pytest.mark.parametrize("width, height", [(16, 12), (17, 12), (16, 11), (17, 13)])
def test_demosaicing_the_result_gives_the_transformed_picture(pattern, operation, width, height):
    mosaic = pixels(pattern, width, height, seed=width * height)
    call, reference = OPERATIONS[operation]
    result = call(ipl.ImageTransformer(), image_of(pattern, mosaic))
    ours = demosaic(np.ascontiguousarray(ipl.get_numpy(result)), format_name(result))
    theirs = reference(demosaic(mosaic, pattern))
    # Bilinear demosaicing commutes with mirrors and turns away from the border.
    np.testing.assert_array_equal(ours[2:-2, 2:-2], theirs[2:-2, 2:-2])


@pytest.mark.parametrize("height, expected", [(4, "BayerGR8"), (5, "BayerBG8")])
def test_up_down_mirror_names_the_new_cell(height, expected):
    image = image_of("BayerBG8", pixels("BayerBG8", 6, height))
    assert format_name(ipl.ImageTransformer().MirrorUpDown(image)) == expected
    ipl.ImageTransformer().MirrorUpDownInPlace(image)
    assert format_name(image) == expected


@pytest.mark.parametrize("name", PACKED + YUV)
@pytest.mark.parametrize("operation", OPERATIONS)
def test_packed_and_yuv_formats_are_refused_and_left_alone(name, operation):
    code = ipl.pixel_format_names()[name]
    size = ipl.PixelFormat(code).CalculateStorageSizeOfPixels(8 * 4)
    data = bytearray(np.random.default_rng(3).integers(0, 256, size, dtype=np.uint8).tobytes())
    kept = bytes(data)
    image = ipl.Image.CreateFromSizeAndPythonBuffer(code, data, 8, 4)
    kind = "packed" if name in PACKED else "YUV"
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=f"inputImage has a {kind} pixel format: {name}"):
        OPERATIONS[operation][0](ipl.ImageTransformer(), image)
    with pytest.raises(ipl.ImageFormatNotSupportedException, match=f"image has a {kind} pixel format: {name}"):
        IN_PLACE[operation](ipl.ImageTransformer(), image)
    assert bytes(data) == kept and (image.Width(), image.Height(), format_name(image)) == (8, 4, name)


@pytest.mark.parametrize("angle", [0, 45, -90, 360, 2**31 - 1])
def test_other_angles_are_refused_by_value(angle):
    source = pixels("Mono8", 5, 3)
    kept = source.copy()
    image = image_of("Mono8", source)
    transformer = ipl.ImageTransformer()
    with pytest.raises(ipl.InvalidArgumentException, match=f"rotation angle {angle} "):
        transformer.Rotate(image, angle)
    with pytest.raises(ipl.InvalidArgumentException, match=f"rotation angle {angle} "):
        transformer.RotateInPlace(image, angle)
    np.testing.assert_array_equal(source, kept)
    assert (image.Width(), image.Height()) == (5, 3)
    with pytest.raises(TypeError, match="in method 'ImageTransformer_Rotate', argument 3 of type "
                                        "'plox::ipl::ImageTransformer::RotationAngle'"):
        transformer.Rotate(image, 90.0)
    with pytest.raises(ValueError, match="invalid null reference in method 'ImageTransformer_MirrorUpDownInPlace'"):
        transformer.MirrorUpDownInPlace(None)


@pytest.mark.parametrize("name", ["Mono8", "Mono12", "RGB8"])
@pytest.mark.parametrize("operation", OPERATIONS)
def test_same_bytes_for_every_thread_count_and_simd_setting(name, operation, restore_settings):
    # Large enough for many strips; odd sides leave tails after whole vectors, blocks and tiles.
    source = pixels(name, 1001, 777)
    results = set()
    for threads, simd in [(1, False), (1, True), (2, True), (3, False), (8, True)]:
        ipl.Library.SetMaxConcurrentThreads(threads)
        ipl.Library.SetSIMDEnabled(simd)
        image = image_of(name, source.copy())
        results.add(ipl.get_numpy(OPERATIONS[operation][0](ipl.ImageTransformer(), image)).tobytes())
        IN_PLACE[operation](ipl.ImageTransformer(), image)
        results.add(ipl.get_numpy(image).tobytes())
    assert results == {np.ascontiguousarray(OPERATIONS[operation][1](source)).tobytes()}


def test_mirroring_twice_and_four_quarter_turns_are_identity():
    source = pixels("BayerRG12", 35, 22)
    image = image_of("BayerRG12", source.copy())
    transformer = ipl.ImageTransformer()
    for _ in range(4):
        transformer.RotateInPlace(image, CCW90)
    transformer.MirrorLeftRightInPlace(image)
    transformer.MirrorLeftRightInPlace(image)
    assert format_name(image) == "BayerRG12"
    np.testing.assert_array_equal(ipl.get_numpy(image), source)


def test_copies_share_the_transformer_and_outlive_the_original():
    original = ipl.ImageTransformer()
    copy = ipl.ImageTransformer(original)
    del original
    source = pixels("Mono16", 4, 3)
    np.testing.assert_array_equal(ipl.get_numpy(copy.MirrorLeftRight(image_of("Mono16", source))), source[:, ::-1])


def test_constants_and_entries():
    assert (ipl.ImageTransformer_RotationAngle_Degree90Counterclockwise,
            ipl.ImageTransformer_RotationAngle_Degree90Clockwise,
            ipl.ImageTransformer_RotationAngle_Degree180) == (90, 270, 180)
    extension = interface._umb_plox_ipl_python_interface
    entries = [n for n in dir(extension) if n.startswith("ImageTransformer_") and callable(getattr(extension, n))]
    assert len(entries) == 10
    with pytest.raises(TypeError, match=r"ImageTransformer\(plox::ipl::ImageTransformer &&\)"):
        ipl.ImageTransformer(1)
