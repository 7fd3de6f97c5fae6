# Sourced by the scripts that make fixtures: a folder to work in, which is gone at the end, and the folder `out` to write to.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=$here/fixtures
mkdir -p "$out"

export LC_ALL=C.UTF-8 TZ=UTC

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# need PROGRAM...: ends the script if any of them is missing.
need() {
    local program missing=
    for program in "$@"; do
        command -v "$program" >/dev/null || missing+=" $program"
    done
    if [[ -n $missing ]]; then
        echo "${0##*/}: programs not found:$missing" >&2
        exit 1
    fi
}
