"""The checks of the files in fixtures/: `check` raises `Bad` with what is wrong with one."""

import os

from . import archives, documents, media, photos, pictures
from .common import Bad, want

FIXTURES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "fixtures")
MIN_SIZE = 512                  # bytes, each file
MAX_SIZE = 120 * 1024           # bytes, each file

# Every file of fixtures/, whichever script makes it.
KINDS = {**photos.KINDS, **archives.KINDS, **media.KINDS, **pictures.KINDS, **documents.KINDS}


def check(name, data):
    want(MIN_SIZE <= len(data) <= MAX_SIZE, "size %d" % len(data))
    if name not in KINDS:
        raise Bad("not a known fixture")
    KINDS[name](data)
