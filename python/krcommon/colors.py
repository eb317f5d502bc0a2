"""Colours: conversions, the named colours (presets) of single ones, of many and of pictures.

    masks = presets_of_pixels(image)             # image: (height, width, 3) of uint8, red first
    red = (masks >> Preset.RED) & 1

The library's own classifier is of the file KRCommon.xml beside the library; another comes of
configuration.check(). Each function takes any classifier, None for the library's own.
"""

from __future__ import annotations

import ctypes
import enum
from typing import Any, Callable, FrozenSet, List, NamedTuple, Optional, Tuple

from . import _declarations as c
from ._native import Buffer, Handle, Text, bytes_at, check, fill, get_number, library, sized, utf8
from .enums import Preset
from .errors import ArgumentError

try:
    import numpy
except ImportError:  # batches want it
    numpy = None  # type: ignore[assignment]

__all__ = [
    "Classifier",
    "Histogram",
    "HSV",
    "PixelFormat",
    "Preset",
    "RGB",
    "angle_distance",
    "count_presets",
    "hsv_to_rgb",
    "hsv_to_rgb_batch",
    "is_similar",
    "palette",
    "preset_name",
    "preset_of_name",
    "presets",
    "presets_batch",
    "presets_of_mask",
    "presets_of_pixels",
    "rgb_to_hsv",
    "rgb_to_hsv_batch",
]

# A NumPy array.
Array = Any


class RGB(NamedTuple):
    """0 to 255 each."""

    red: int
    green: int
    blue: int


class HSV(NamedTuple):
    """Whole degrees, 0 to 359, -1 for none; saturation and value from 0 to 1."""

    hue: int
    saturation: float
    value: float


class Classifier(Handle):
    """Tells presets by the ranges of a configuration: Configuration.colors() makes one. Any threads may use
    it at once."""

    _destroy = library.kr_c_colors_destroy

    def native(self) -> ctypes.c_void_p:
        """The handle; ArgumentError when it was closed."""
        if not self._handle:
            raise ArgumentError("the classifier is closed", c.KR_C_NULL_ARGUMENT)
        return ctypes.c_void_p(self._handle.value)


def native_classifier(classifier: Optional[Classifier]) -> Optional[ctypes.c_void_p]:
    """As a parameter; null is the library's own."""
    return None if classifier is None else classifier.native()


# ---- Names ----


def preset_name(preset: int) -> str:
    """The name in the configuration: "white" to "purple"; "" for other numbers."""
    return str(library.kr_c_preset_name(preset).decode())


def preset_of_name(name: Text) -> Preset:
    """NotFoundError for a name that there is not. Letters are in lower case."""
    given = utf8(name)
    return Preset(get_number(ctypes.c_int32, library.kr_c_preset_number, given, len(given)))


def presets_of_mask(mask: int) -> FrozenSet[Preset]:
    """The presets of a mask, in which bit n stands for preset n. Bit 0 is no preset."""
    return frozenset(preset for preset in Preset if mask >> preset & 1)


# ---- Single colours ----


def _rgb(color: Tuple[int, int, int]) -> c.kr_c_rgb:
    if not all(0 <= component <= 255 for component in color):
        raise ValueError(f"components are 0 to 255, not {tuple(color)}")
    return c.kr_c_rgb(*color)


def _hsv(color: Tuple[int, float, float]) -> c.kr_c_hsv:
    return fill(c.kr_c_hsv(), **HSV(*color)._asdict())


def rgb_to_hsv(color: Tuple[int, int, int]) -> HSV:
    """Hues are truncated to degrees."""
    hsv = c.kr_c_hsv()
    check(library.kr_c_rgb_to_hsv(ctypes.byref(_rgb(color)), ctypes.byref(hsv)))
    return HSV(hsv.hue, hsv.saturation, hsv.value)


def hsv_to_rgb(color: Tuple[int, float, float]) -> RGB:
    """Components are truncated to whole numbers. Numbers outside of their ranges are calculated with."""
    rgb = c.kr_c_rgb()
    check(library.kr_c_hsv_to_rgb(ctypes.byref(_hsv(color)), ctypes.byref(rgb)))
    return RGB(rgb.red, rgb.green, rgb.blue)


def angle_distance(a: float, b: float) -> float:
    """The difference of two hues. Quirk: not symmetric; (350, 10) gives 20, (10, 350) gives -340."""
    return float(library.kr_c_angle_distance(a, b))


def is_similar(
    a: Tuple[int, float, float],
    b: Tuple[int, float, float],
    tolerance: Tuple[int, float, float],
    use_hue: bool = True,
) -> bool:
    """Whether b is like a; not symmetric."""
    colors = [ctypes.byref(_hsv(color)) for color in (a, b, tolerance)]
    return bool(
        get_number(
            ctypes.c_int32, library.kr_c_is_color_similar, colors[0], colors[1], use_hue, colors[2]
        )
    )


def presets(
    color: Tuple[int, float, float], classifier: Optional[Classifier] = None
) -> FrozenSet[Preset]:
    """The presets that a colour (hue, saturation, value) falls into."""
    mask = get_number(
        ctypes.c_uint32,
        library.kr_c_color_presets,
        native_classifier(classifier),
        ctypes.byref(_hsv(color)),
    )
    return presets_of_mask(mask)


def palette(classifier: Optional[Classifier] = None) -> List[RGB]:
    """A colour for each configured range, in the order of the file."""
    room, count = 64, ctypes.c_size_t()
    while True:
        out = (c.kr_c_rgb * room)()
        code = library.kr_c_color_palette(
            native_classifier(classifier), out, room, ctypes.byref(count)
        )
        if code != c.KR_C_BUFFER_TOO_SMALL:
            break
        room = count.value
    check(code)
    return [RGB(color.red, color.green, color.blue) for color in out[: count.value]]


# ---- Many colours ----


def _need_numpy() -> None:
    if numpy is None:
        raise ImportError("batches of colours need NumPy")


def _pixels(pixels: Array) -> Array:
    """Of shape (..., 3) and uint8, its bytes one behind the other; copied only where they are not."""
    _need_numpy()
    array = numpy.asarray(pixels)
    if array.dtype != numpy.uint8 or array.ndim < 1 or array.shape[-1] != 3:
        raise ValueError(f"pixels are uint8 of shape (..., 3), not {array.dtype} {array.shape}")
    return numpy.ascontiguousarray(array)


def rgb_to_hsv_batch(pixels: Array) -> Tuple[Array, Array, Array]:
    """Hue (int32), saturation and value (float32) of an array of shape (..., 3) of uint8, red first. They
    have its shape without the last dimension."""
    array = _pixels(pixels)
    shape = array.shape[:-1]
    hue = numpy.empty(shape, numpy.int32)
    saturation, value = numpy.empty(shape, numpy.float32), numpy.empty(shape, numpy.float32)
    red = array.ctypes.data
    check(
        library.kr_c_rgb_to_hsv_batch(
            red,
            red + 1,
            red + 2,
            3,
            hue.size,
            hue.ctypes.data,
            saturation.ctypes.data,
            value.ctypes.data,
            4,
        )
    )
    return hue, saturation, value


def _planes(hue: Array, saturation: Array, value: Array) -> Tuple[Array, Array, Array]:
    _need_numpy()
    planes = (
        numpy.asarray(hue, numpy.int32, order="C"),
        numpy.asarray(saturation, numpy.float32, order="C"),
        numpy.asarray(value, numpy.float32, order="C"),
    )
    if not planes[0].shape == planes[1].shape == planes[2].shape:
        raise ValueError("hue, saturation and value are of one shape")
    return planes


def hsv_to_rgb_batch(hue: Array, saturation: Array, value: Array) -> Array:
    """An array of shape (..., 3) of uint8, red first."""
    planes = _planes(hue, saturation, value)
    result = numpy.empty((*planes[0].shape, 3), numpy.uint8)
    red = result.ctypes.data
    check(
        library.kr_c_hsv_to_rgb_batch(
            *(plane.ctypes.data for plane in planes), 4, planes[0].size, red, red + 1, red + 2, 3
        )
    )
    return result


def presets_batch(
    hue: Array, saturation: Array, value: Array, classifier: Optional[Classifier] = None
) -> Array:
    """Masks (uint32) of the presets, in which bit n stands for preset n."""
    planes = _planes(hue, saturation, value)
    masks = numpy.empty(planes[0].shape, numpy.uint32)
    check(
        library.kr_c_color_presets_batch(
            native_classifier(classifier),
            *(plane.ctypes.data for plane in planes),
            4,
            masks.size,
            masks.ctypes.data,
        )
    )
    return masks


def presets_of_pixels(pixels: Array, classifier: Optional[Classifier] = None) -> Array:
    """The same of an array of shape (..., 3) of uint8, red first."""
    return presets_batch(*rgb_to_hsv_batch(pixels), classifier)


# ---- Pictures ----


class PixelFormat(enum.IntEnum):
    """The order of a pixel's bytes; "X" is a byte that is not looked at."""

    RGB24 = c.KR_C_RGB24
    BGR24 = c.KR_C_BGR24
    RGBX32 = c.KR_C_RGBX32
    BGRX32 = c.KR_C_BGRX32

    @property
    def size(self) -> int:
        """Bytes of a pixel."""
        return 3 if self in (PixelFormat.RGB24, PixelFormat.BGR24) else 4


class Histogram(NamedTuple):
    """How many pixels were counted, and how many fall into each preset, by its number from 0 on."""

    pixels: int
    presets: Tuple[int, ...]


def count_presets(
    pixels: Buffer,
    width: int,
    height: int,
    format: PixelFormat = PixelFormat.RGB24,
    mask: Optional[Buffer] = None,
    classifier: Optional[Classifier] = None,
) -> Histogram:
    """How many pixels of a picture fall into each preset.

    pixels  row after row, nothing between them
    mask    a byte for each pixel, not 0 if it counts; None: all do
    """
    region = sized(c.kr_c_color_region)
    fill(region, format=PixelFormat(format), width=width, height=height)
    fill(region, stride=width * PixelFormat(format).size, mask_stride=width)
    histogram = sized(c.kr_c_preset_histogram)
    count: Callable[..., int] = library.kr_c_count_color_presets
    given_mask = b"" if mask is None else mask
    if width < 0 or height < 0:
        raise ValueError(f"no picture has {width} x {height} pixels")
    with bytes_at(pixels) as (address, size), bytes_at(given_mask) as (mask_address, mask_size):
        if size < width * height * PixelFormat(format).size or (mask is not None and mask_size < width * height):
            raise ValueError(f"{width} x {height} pixels need more bytes")
        region.pixels = address
        region.mask = mask_address if mask is not None else None
        check(count(native_classifier(classifier), ctypes.byref(region), ctypes.byref(histogram)))
    return Histogram(histogram.pixels, tuple(histogram.presets))
