#!/usr/bin/env python3
"""Checks the files in fixtures/: sizes, structure and the place of their end.

Exit status 0 if every file is as it should be, 1 if any is not.
"""

import os
import struct
import sys
import zlib

# Loading the checks must not leave a __pycache__ beside them.
sys.dont_write_bytecode = True

from checks import Bad, FIXTURES, KINDS, check                  # noqa: E402

MAX_TOTAL = 2048 * 1024         # bytes, all files together


def main():
    bad = 0
    total = 0
    present = sorted(os.listdir(FIXTURES)) if os.path.isdir(FIXTURES) else []
    for name in sorted(set(KINDS) - set(present)):
        print("%-28s missing" % name)
        bad += 1
    for name in present:
        with open(os.path.join(FIXTURES, name), "rb") as file:
            data = file.read()
        total += len(data)
        try:
            check(name, data)
            print("%-28s %7d bytes  ok" % (name, len(data)))
        except (Bad, IndexError, KeyError, struct.error, zlib.error) as error:
            print("%-28s %7d bytes  BAD: %s" % (name, len(data), error))
            bad += 1
    print("%-28s %7d bytes" % ("together", total))
    if total > MAX_TOTAL:
        print("BAD: more than %d bytes together" % MAX_TOTAL)
        bad += 1
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
