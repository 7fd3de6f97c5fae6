#!/usr/bin/env bash
# Runs clang-tidy over the sources of the library and the program:
#
#     cmake/tidy.sh [--all | NUMBER]
#
# A source takes some seconds, most of them in the headers of libraries, so the plain checks look at the NUMBER of
# sources that changed last (24 if not given), including sources whose own header changed. The analyzer, which follows
# all paths and takes longer than all other checks, looks only at those of the last commit and at uncommitted ones. With
# --all everything is checked, which takes half an hour on two cores.
#
# Tests and benchmarks are left out: gtest's macros would be checked as if they were our own code.
set -euo pipefail

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
build=build/sanitize
log=$build/tidy.log
rooms='(containers|documents|formats|frame|host|images|media)/'
# Sources that instantiate the templates of the JSON and command line libraries. The analyzer takes as long for them as
# for all other sources.
templates='host/[a-z/]+/(command_line|extract_run|journal|json_lines|out_folder|report)\.cpp'

# Sources of a list of changed files, and those whose own header is on it; each once, in the list's order.
sources_of() {
    grep -E "^$rooms.*\.(h|cpp)\$" | sed 's/\.h$/.cpp/' | awk '!seen[$0]++' | while IFS= read -r source; do
        [[ ! -f $source ]] || echo "$source"
    done
}

uncommitted() { git status --porcelain --no-renames --untracked-files=all | cut -c 4-; }

# tidy CHECKS SOURCE...: CHECKS are added to those of .clang-tidy.
tidy() {
    local checks=$1 pattern
    shift
    [[ $# -gt 0 ]] || return 0
    pattern=$(printf '%s|' "${@//./\\.}")
    if ! run-clang-tidy -p "$build" -j "$(nproc)" -quiet -checks="$checks" "^$PWD/(${pattern%|})\$" 2>&1 |
        sed 's/\x1b\[[0-9;]*m//g' >>"$log"; then
        grep -E -A 4 ' (error|warning): ' "$log" >&2
        echo "clang-tidy: the whole log is $log" >&2
        exit 1
    fi
}

: >"$log"
if [[ ${1:-} == --all ]]; then
    mapfile -t changed < <(git ls-files --cached --others --exclude-standard | sources_of)
    newest=("${changed[@]}")
else
    mapfile -t newest < <({ uncommitted && git show --format= --name-only HEAD; } | sources_of)
    # Reading a long history ends when head has enough.
    mapfile -t changed < <({ uncommitted && git log --format= --name-only; } 2>/dev/null | sources_of | head -n "${1:-24}")
fi
mapfile -t analyzed < <(printf '%s\n' "${newest[@]}" | grep -vE "^($templates|)\$" || true)
mapfile -t plain < <(printf '%s\n' "${changed[@]}" | grep -vxF -f <(printf '%s\n' "${analyzed[@]:-none}") || true)
tidy '' "${analyzed[@]}"
tidy '-clang-analyzer-*' "${plain[@]}"
echo "clang-tidy: $(grep -c '^clang-tidy' "$log") sources"
