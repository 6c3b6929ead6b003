#!/usr/bin/python3
"""Writes a large RGB PPM for timing `psdkit export` against other readers.

Upper 60% gradients with noise (PackBits literals), lower 40% flat blocks
(long runs). Make the PSD from it with
    psdkit write big.psd --from big.ppm --compression rle
Usage: make_rgb_rle_input.py OUT.ppm [WIDTH HEIGHT]   (default 8000 6000)
"""
import sys

import numpy

out = sys.argv[1]
width, height = (int(sys.argv[2]), int(sys.argv[3])) if len(sys.argv) > 3 else (8000, 6000)
rng = numpy.random.default_rng(16)
image = numpy.empty((height, width, 3), dtype=numpy.uint8)
top = height * 6 // 10
x = numpy.arange(width, dtype=numpy.float32)[None, :]
y = numpy.arange(top, dtype=numpy.float32)[:, None]
for c, (fx, fy) in enumerate(((255.0, 0.0), (0.0, 255.0), (127.0, 127.0))):
    gradient = fx * x / width + fy * y / top
    noise = rng.integers(-12, 13, size=(top, width))
    image[:top, :, c] = numpy.clip(gradient + noise, 0, 255).astype(numpy.uint8)
blocks = rng.integers(0, 256, size=((height - top + 63) // 64, (width + 63) // 64, 3), dtype=numpy.uint8)
image[top:] = numpy.repeat(numpy.repeat(blocks, 64, axis=0), 64, axis=1)[: height - top, :width]
with open(out, "wb") as f:
    f.write(b"P6\n%d %d\n255\n" % (width, height))
    f.write(image.tobytes())
