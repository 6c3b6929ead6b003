"""Shared parts of the Python module's tests: the corpus and its facts."""

import json
import os
import pathlib

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def corpus_dir():
    """The corpus: $PSDKIT_CORPUS, else ../shared/corpus from the project root."""
    configured = os.environ.get("PSDKIT_CORPUS")
    path = pathlib.Path(configured) if configured else ROOT.parent / "shared" / "corpus"
    return path if (path / "expected.json").is_file() else None


def _load(name):
    directory = corpus_dir()
    if directory is None or not (directory / name).is_file():
        return []
    with open(directory / name, encoding="utf-8") as f:
        return json.load(f)


# Loaded at collection time so that each file is a test case of its own.
EXPECTED = _load("expected.json")
PIXELS = _load("pixels.json")
NO_CORPUS = "corpus not found: set PSDKIT_CORPUS or put it at ../shared/corpus"


def corpus_cases(entries):
    """One parameter per corpus entry, or one skipped case when there is no corpus."""
    if not entries:
        return [pytest.param(None, marks=pytest.mark.skip(reason=NO_CORPUS), id="no-corpus")]
    return [pytest.param(entry, id=entry["file"]) for entry in entries]


def corpus_path(entry):
    return str(corpus_dir() / entry["file"])


def require_reader_image_data(doc, entry):
    """The composite tests stand on the reader: where it finds other image data than the facts, it is at fault."""
    facts = next((e for e in EXPECTED if e["file"] == entry["file"]), {}).get("image_data")
    if facts and doc.compression != facts["compression"]:
        pytest.xfail(f"the reader finds compression {doc.compression} where the file has {facts['compression']}")
