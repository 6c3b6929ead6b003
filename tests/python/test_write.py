"""Arrays written by psdkit.write come back the same, through psdkit and through psd-tools."""

import numpy as np
import pytest

import psdkit

SHAPES = [(5, 7), (5, 7, 3), (5, 7, 4), (1, 1, 3), (3, 300, 3)]
DTYPES = [np.uint8, np.uint16]
COMPRESSIONS = ["raw", "rle", "zip", "zip_prediction"]
CODES = {"raw": 0, "rle": 1, "zip": 2, "zip_prediction": 3}


def sample_array(shape, dtype):
    """Noise, flat runs and a ramp: literal spans and repeats for the RLE coder."""
    rng = np.random.default_rng(sum(shape))
    top = np.iinfo(dtype).max
    array = rng.integers(0, top, size=shape, dtype=np.uint64).astype(dtype)
    array[: shape[0] // 2, : shape[1] // 2] = top
    array[-1] = (np.arange(shape[1]) * 37 % (top + 1)).astype(dtype).reshape((shape[1],) + (1,) * (len(shape) - 2))
    return array


def cases():
    for shape in SHAPES:
        for dtype in DTYPES:
            for compression in COMPRESSIONS:
                yield pytest.param(shape, dtype, compression, id=f"{shape}-{np.dtype(dtype).name}-{compression}")


@pytest.mark.parametrize("shape,dtype,compression", cases())
def test_written_array_reads_back(tmp_path, shape, dtype, compression):
    array = sample_array(shape, dtype)
    path = tmp_path / "out.psd"
    psdkit.write(path, array, compression=compression)

    doc = psdkit.open(path)
    channels = 1 if len(shape) == 2 else shape[2]
    assert (doc.height, doc.width, doc.channels, doc.depth) == (shape[0], shape[1], channels, 8 * array.itemsize)
    assert doc.mode == (1 if channels == 1 else 3)
    assert doc.compression == CODES[compression]
    assert doc.intact, doc.problems
    ids = [r.id for r in doc.resources]
    assert 1005 in ids and 1039 in ids
    assert doc.resources[ids.index(1005)].horiz_resolution == 300

    assert np.array_equal(doc.composite(raw=True), array.reshape(shape[0], shape[1], channels))


@pytest.mark.parametrize("shape,dtype,compression", [c for c in cases() if c.values[2] in ("raw", "rle")])
def test_psd_tools_reads_written_array(tmp_path, shape, dtype, compression):
    peer = pytest.importorskip("psd_tools.psd", reason="psd-tools (python3-psd-tools) is not installed")
    array = sample_array(shape, dtype)
    path = tmp_path / "out.psd"
    psdkit.write(path, array, compression=compression)

    # psd-tools' own reader and decoder, without its blending: planes as stored.
    with open(path, "rb") as f:
        record = peer.PSD.read(f)
    header = record.header
    assert (header.height, header.width, header.depth, header.channels) == (
        shape[0], shape[1], 8 * array.itemsize, 1 if len(shape) == 2 else shape[2])
    planes = record.image_data.get_data(header, split=True)
    stored = array.astype(">u2" if array.itemsize == 2 else "u1").reshape(shape[0], shape[1], -1)
    assert [bytes(p) for p in planes] == [stored[:, :, c].tobytes() for c in range(stored.shape[2])]

def test_write_takes_any_layout_and_path_like(tmp_path):
    # A strided view and a pathlib path: the file holds the view's values.
    array = sample_array((8, 6, 3), np.uint8)
    view = np.asfortranarray(array)[::2, ::-1]
    path = tmp_path / "view.psd"
    psdkit.write(path, view)
    assert np.array_equal(psdkit.open(str(path)).composite(raw=True), view)
