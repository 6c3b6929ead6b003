#!/usr/bin/python3
"""psdkit against psd-tools: the composite of a large RGB RLE file as a numpy array.

Writes an 8000x6000 RGB file with psdkit.write(..., compression="rle") into a
temporary directory, then times psdkit.open(path).composite() and psd-tools'
PSDImage.open(path).numpy() on it in this one process and prints the ratio.
Run with PYTHONPATH pointing at the built module (build/python/module).
"""

import argparse
import os
import tempfile
import time

import numpy as np

import psdkit


def make_image(width, height):
    """Smooth gradients with noise and flat areas, as photographs and artwork mix them."""
    y, x = np.mgrid[0:height, 0:width]
    image = np.empty((height, width, 3), np.uint8)
    image[..., 0] = (x * 255 // max(width - 1, 1)).astype(np.uint8)
    image[..., 1] = (y * 255 // max(height - 1, 1)).astype(np.uint8)
    image[..., 2] = ((x // 64 + y // 64) % 2 * 200).astype(np.uint8)
    rng = np.random.default_rng(1)
    noisy = slice(0, height // 3)
    image[noisy] ^= rng.integers(0, 4, size=image[noisy].shape, dtype=np.uint8)
    return image


def best_of(runs, call):
    """The best wall and CPU time of `runs` calls (CPU time says more on a busy machine)."""
    walls, cpus = [], []
    result = None
    for _ in range(runs):
        result = None
        wall, cpu = time.perf_counter(), time.process_time()
        result = call()
        walls.append(time.perf_counter() - wall)
        cpus.append(time.process_time() - cpu)
    return (min(walls), min(cpus)), result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--width", type=int, default=8000)
    parser.add_argument("--height", type=int, default=6000)
    parser.add_argument("--runs", type=int, default=3, help="psdkit runs (the best counts)")
    parser.add_argument("--peer-runs", type=int, default=1, help="psd-tools runs (the best counts)")
    args = parser.parse_args()

    from psd_tools import PSDImage

    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "bench.psd")
        image = make_image(args.width, args.height)
        psdkit.write(path, image, compression="rle")
        print(f"file: {args.width}x{args.height} RGB/8 RLE, {os.path.getsize(path) / 1e6:.1f} MB")

        ours, array = best_of(args.runs, lambda: psdkit.open(path).composite())
        assert np.array_equal(array[..., :3], image), "psdkit decoded other pixels"
        del array
        theirs, peer = best_of(args.peer_runs, lambda: PSDImage.open(path).numpy())
        assert np.array_equal(np.rint(peer[..., :3] * 255).astype(np.uint8), image), "psd-tools decoded other pixels"
        del peer

    print(f"{'':28}{'wall':>10}{'cpu':>10}")
    print(f"{'psdkit.open().composite()':28}{ours[0] * 1000:8.0f}ms{ours[1] * 1000:8.0f}ms")
    print(f"{'psd-tools PSDImage.numpy()':28}{theirs[0] * 1000:8.0f}ms{theirs[1] * 1000:8.0f}ms")
    print(f"psdkit is {theirs[0] / ours[0]:.1f}x faster (wall), {theirs[1] / ours[1]:.1f}x (cpu)")


if __name__ == "__main__":
    main()
