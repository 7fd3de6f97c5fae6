#!/usr/bin/env bash
# Makes the small compiled help file in fixtures/. Other files in fixtures/ stay
# as they are.
#
# Debian packages needed:
#   fp-utils-3.2.2   chmcmd
#
# The program writes the time into the file, so every run gives other bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need chmcmd
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
