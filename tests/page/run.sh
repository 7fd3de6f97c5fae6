#!/usr/bin/env bash
# Runs the test of the page; 77 where what it needs is not there. Arguments: the program, the samples, a folder to write
# into, and the folder with the browser's driver.
set -euo pipefail

skip() {
    echo "skipped: $1; SALVOR_BROWSER=1 ./test installs what is missing"
    exit 77
}
command -v node >/dev/null || skip "there is no node"
SALVOR_CHROMIUM=$(command -v chromium) || skip "there is no chromium"
[[ -d $4/node_modules/puppeteer-core && -d $4/node_modules/axe-core ]] || skip "the driver of the browser or axe-core is missing in $4"
export SALVOR_CHROMIUM SALVOR_PROGRAM=$1 SALVOR_SAMPLES=$2 SALVOR_WORK=$3 SALVOR_TOOLS=$4
exec node --test "$(dirname "$0")/page_test.mjs"
