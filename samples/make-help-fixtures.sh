#!/bin/bash
# Makes the small compiled help file in fixtures/. Other files in fixtures/ stay
# as they are.
#
# Debian packages needed:
#   fp-utils-3.2.2   chmcmd
#
# The program writes the time into the file, so every run gives other bytes.

set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=$here/fixtures

export LC_ALL=C.UTF-8 TZ=UTC

if ! command -v chmcmd >/dev/null; then
    echo "make-help-fixtures.sh: program not found: chmcmd" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat >manual.hhp <<'END'
[OPTIONS]
Compiled file=manual.chm
Default topic=start.htm
Title=A manual
[FILES]
start.htm
END
cat >start.htm <<'END'
<html><head><title>Start</title></head><body><p>A page of a manual.</p></body></html>
END
chmcmd manual.hhp >/dev/null
mv manual.chm "$out/manual.chm"

"$here/check-fixtures.py"
