"""Decoded pixels against pixels.json (psd-tools' decoders), and the sRGB arrays."""

import concurrent.futures
import hashlib

import numpy as np
import pytest

import psdkit
from conftest import EXPECTED, PIXELS, corpus_cases, corpus_path, require_reader_image_data


def stored_bytes(samples, depth):
    """A plane as the file stores it: 16 and 32 bits big-endian, 1 bit packed rows."""
    if depth == 1:
        return np.packbits(samples.astype(np.uint8), axis=1).tobytes()
    return samples.astype({8: "u1", 16: ">u2", 32: ">f4"}[depth]).tobytes()


def sha(samples, depth):
    return hashlib.sha256(stored_bytes(samples, depth)).hexdigest()


# Files psd-tools decoded and psdkit accepts (the PSB file is refused by design).
REFUSED = {e["file"] for e in EXPECTED if not e["valid"]}
DECODABLE = [p for p in PIXELS if "error" not in p and "error" not in p.get("composite", {}) and p["file"] not in REFUSED]


RAW_DTYPE = {1: np.uint8, 8: np.uint8, 16: np.uint16, 32: np.float32}


@pytest.mark.parametrize("entry", corpus_cases(DECODABLE))
def test_composite_planes_match_reference(entry):
    doc = psdkit.open(corpus_path(entry))
    require_reader_image_data(doc, entry)
    planes = doc.composite(raw=True)
    depth = entry["header"]["depth"]
    assert planes.shape == (entry["header"]["rows"], entry["header"]["columns"], entry["composite"]["channels"])
    assert planes.dtype == RAW_DTYPE[depth]
    assert [sha(planes[:, :, c], depth) for c in range(planes.shape[2])] == entry["composite"]["planes"]


@pytest.mark.parametrize("entry", corpus_cases(DECODABLE))
def test_composite_in_srgb(entry):
    doc = psdkit.open(corpus_path(entry))
    require_reader_image_data(doc, entry)
    try:
        rgb8 = doc.composite()
    except psdkit.Error as error:
        pytest.skip(f"no sRGB for this file: {error}")
    rgb16 = doc.composite(depth=16)
    h, w = entry["header"]["rows"], entry["header"]["columns"]
    assert rgb8.dtype == np.uint8 and rgb16.dtype == np.uint16
    assert rgb8.shape[:2] == (h, w) and rgb8.shape[2] in (3, 4) and rgb16.shape == rgb8.shape
    # The two depths are the same colours.
    assert np.abs(rgb16.astype(np.int32) / 257 - rgb8).max() <= 1

    raw = doc.composite(raw=True)
    mode, depth = entry["header"]["mode"], entry["header"]["depth"]
    if doc.icc_profile is None and depth == 8 and mode in (1, 3):
        # No profile: sRGB is the stored samples.
        colour = raw[:, :, :1].repeat(3, axis=2) if mode == 1 else raw[:, :, :3]
        assert np.array_equal(rgb8[:, :, :3], colour)
    if rgb8.shape[2] == 4 and depth == 8:
        assert np.array_equal(rgb8[:, :, 3], raw[:, :, -1])


def _layer_channel_cases():
    cases = []
    for entry in DECODABLE:
        for layer in entry.get("layers", []):
            for index, channel in enumerate(layer["channels"]):
                if "error" not in channel:
                    cases.append(pytest.param(entry, layer["index"], index, channel,
                                              id=f"{entry['file']}-{layer['index']}-{index}"))
    return cases or [pytest.param(None, None, None, None, marks=pytest.mark.skip(reason="corpus not found"))]


@pytest.mark.parametrize("entry,layer_index,channel_index,facts", _layer_channel_cases())
def test_layer_channels_match_reference(entry, layer_index, channel_index, facts):
    doc = psdkit.open(corpus_path(entry))
    layers = doc.tagged_layers if entry.get("layer_source", "layer_info") != "layer_info" else doc.layers
    channel = layers[layer_index].channels[channel_index]
    assert channel.id == facts["id"]
    samples = channel.pixels()
    if facts["length"] == 0:
        # An empty rectangle: psd-tools calls it 0 x 0, whatever its one non-zero side.
        assert samples.size == 0
    else:
        assert samples.shape == (facts["height"], facts["width"])
    if facts["id"] == -2 and samples.size:
        top, left, bottom, right = layers[layer_index].mask_rect
        assert (bottom - top, right - left) == samples.shape
    assert sha(samples, entry["header"]["depth"]) == facts["sha256"]


@pytest.mark.parametrize("entry", corpus_cases([e for e in DECODABLE if e.get("layer_source", "layer_info") == "layer_info"]))
def test_whole_layers_cover_their_rectangles(entry):
    doc = psdkit.open(corpus_path(entry))
    for layer, facts in zip(doc.layers, entry["layers"]):
        if layer.section_divider:
            continue
        raw = layer.pixels(raw=True)
        height, width = facts["bottom"] - facts["top"], facts["right"] - facts["left"]
        assert raw.shape[:2] == (height, width), layer
        rgb = layer.pixels(depth=16)
        assert rgb.dtype == np.uint16 and rgb.shape[:2] == (height, width) and rgb.shape[2] in (3, 4)
        colour = [c for c in facts["channels"] if c["id"] >= 0]
        alpha = [c for c in facts["channels"] if c["id"] == -1]
        assert raw.shape[2] == len(colour) + len(alpha)
        if height and width and alpha:
            # The transparency is the last plane, as its channel stores it.
            assert sha(raw[:, :, -1], entry["header"]["depth"]) == alpha[0]["sha256"]
        if height and width and any(c["id"] == -2 for c in facts["channels"]) and entry["header"]["depth"] == 8:
            # A mask only ever takes opacity away.
            masked = layer.pixels(raw=True, apply_mask=True)
            assert masked.shape[:2] == raw.shape[:2]
            if alpha:
                assert (masked[:, :, -1] <= raw[:, :, -1]).all()


def test_threads_decode_in_parallel_with_the_same_result():
    files = [corpus_path(e) for e in DECODABLE if psdkit.open(corpus_path(e)).compression <= 3]
    if not files:
        pytest.skip("corpus not found")
    serial = [psdkit.open(f).composite(raw=True) for f in files]
    shared = [psdkit.open(f) for f in files]
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        fresh = list(pool.map(lambda f: psdkit.open(f).composite(raw=True), files * 2))
        same_doc = list(pool.map(lambda d: d.composite(raw=True), shared * 2))
    for result in (fresh, same_doc):
        assert all(np.array_equal(a, b) for a, b in zip(serial * 2, result))


def test_depth_of_srgb_is_checked():
    entry = next((e for e in DECODABLE if e["header"]["mode"] == 3), None)
    if entry is None:
        pytest.skip("corpus not found")
    for depth in (1, 12, 32):
        with pytest.raises(ValueError):
            psdkit.open(corpus_path(entry)).composite(depth=depth)
