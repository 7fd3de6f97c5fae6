"""What the checks of several formats use."""

import struct

SECTOR = 512                    # bytes


class Bad(Exception):
    """A file is not what it should be."""


def want(condition, text):
    if not condition:
        raise Bad(text)


def little(data, form, at):
    return struct.unpack_from("<" + form, data, at)
