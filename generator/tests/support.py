"""Shared by the tests: the metamodel of the repository, loaded once."""

import functools
from pathlib import Path

from zorbel_model import load_metamodel

METAMODEL = Path(__file__).resolve().parents[2] / "metamodel"


@functools.lru_cache(maxsize=None)
def model():
    return load_metamodel(METAMODEL)


def names(items):
    return [item.name for item in items]
