"""Errors reach Python as the exceptions Python users expect, and damage never crashes."""

import pathlib
import warnings

import numpy as np
import pytest

import psdkit
from conftest import EXPECTED, corpus_cases, corpus_path


def test_error_is_an_exception_class_of_the_module():
    assert issubclass(psdkit.Error, Exception)
    assert psdkit.Error.__module__ == "psdkit"


@pytest.mark.parametrize("make,exception,reason", [
    (lambda d: d / "missing.psd", FileNotFoundError, "missing.psd"),
    (lambda d: d, IsADirectoryError, None),
    (lambda d: _file(d, b""), psdkit.Error, "not a PSD file"),
    (lambda d: _file(d, b"GIF89a" + bytes(40)), psdkit.Error, "not a PSD file"),
    (lambda d: _file(d, b"8BPS\x00\x02" + bytes(40)), psdkit.Error, "not a PSD file"),
])
def test_open_refuses(tmp_path, make, exception, reason):
    path = make(tmp_path)
    with pytest.raises(exception) as caught:
        psdkit.open(path)
    if reason:
        assert reason in str(caught.value)


def _file(directory, data):
    path = directory / "input.psd"
    path.write_bytes(data)
    return path


@pytest.mark.parametrize("array,options,exception", [
    (np.zeros((4, 4), np.float32), {}, TypeError),
    (np.zeros((4, 4), np.int16), {}, TypeError),
    (np.zeros((4,), np.uint8), {}, ValueError),
    (np.zeros((4, 4, 2), np.uint8), {}, ValueError),
    (np.zeros((4, 4, 5), np.uint8), {}, ValueError),
    (np.zeros((0, 4), np.uint8), {}, ValueError),
    (np.zeros((30001, 1), np.uint8), {}, ValueError),
    (np.zeros((4, 4), np.uint8), {"compression": "lzw"}, ValueError),
])
def test_write_refuses_bad_arrays(tmp_path, array, options, exception):
    path = tmp_path / "out.psd"
    with pytest.raises(exception):
        psdkit.write(path, array, **options)
    assert not path.exists()


def test_write_into_a_missing_directory(tmp_path):
    with pytest.raises(FileNotFoundError):
        psdkit.write(tmp_path / "no" / "out.psd", np.zeros((2, 2), np.uint8))


def _cut_points(size):
    """Cuts in every section of small files: the first bytes, then a spread to the end."""
    points = set(range(0, min(size, 64), 7)) | {size * k // 23 for k in range(1, 23)} | {size - 1}
    return sorted(p for p in points if 0 <= p < size)


@pytest.mark.parametrize("entry", corpus_cases([e for e in EXPECTED if e["valid"]]))
def test_truncated_files_raise_or_report(entry, tmp_path):
    data = pathlib.Path(corpus_path(entry)).read_bytes()
    path = tmp_path / "cut.psd"
    for cut in _cut_points(len(data)):
        path.write_bytes(data[:cut])
        try:
            doc = psdkit.open(path)
        except psdkit.Error as error:
            assert str(error).startswith(str(path))
            continue
        # Whatever was read stays usable; the composite is decoded or refused.
        assert not doc.intact or cut >= entry["image_data"]["offset"], cut
        if not doc.intact:
            assert doc.problems, cut
        [(layer.rect, layer.name, layer.channels, layer.info_keys) for layer in doc.layers]
        [(block.data, block.report()) for block in doc.resources]
        # Forgiving decoding gives the whole image (zeros where data is missing) and warns.
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", RuntimeWarning)
            try:
                planes = doc.composite(raw=True, strict=False)
            except psdkit.Error:
                continue
        assert planes.shape == (doc.height, doc.width, doc.channels), cut
