#!/usr/bin/env bash
# Runs clang-tidy over the sources of the library and the program:
#
#     cmake/tidy.sh [--all] [BASE]
#
# All sources get the plain checks. The analyzer, which follows all paths and takes longer than all the rest, looks at
# what differs from the commit BASE, or at everything with --all. Without BASE that is the commit at which this history
# left origin/main or main, and the commit in front of the last one on main itself; where none of these is known, the
# analyzer looks at everything.
#
# Tests and benchmarks are left out: gtest's macros are checked as if they were our own code.
set -euo pipefail

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
build=build/sanitize
log=$build/tidy.log
rooms='(containers|documents|formats|frame|host|images|media)/'
# Sources that instantiate the templates of the JSON and command line libraries, in which the analyzer takes as long as
# in all the rest.
templates='host/[a-z/]+/([a-z_]+_command|command_line|extract_run|journal|json_lines|out_folder|report)\.cpp$'

base_commit() {
    local main head
    head=$(git rev-parse HEAD 2>/dev/null) || return 1
    for main in origin/main main; do
        if base=$(git merge-base HEAD "$main" 2>/dev/null); then
            [[ $base != "$head" ]] || base=$(git rev-parse -q --verify HEAD^) || return 1
            echo "$base"
            return
        fi
    done
    return 1
}

# The sources that differ from a commit, and those whose own header does.
changed_since() {
    { git diff --name-only --diff-filter=d "$1" && git ls-files --others --exclude-standard; } |
        grep -E "^$rooms.*\.(h|cpp)\$" | sed 's/\.h$/.cpp/' | sort -u | while IFS= read -r source; do
        [[ ! -f $source ]] || echo "$source"
    done
}

# tidy OPTIONS... PATTERN: PATTERN chooses from the sources of the build.
tidy() {
    if ! run-clang-tidy -p "$build" -j "$(nproc)" -quiet "$@" 2>&1 | sed 's/\x1b\[[0-9;]*m//g' >>"$log"; then
        grep -E -A 4 ' (error|warning): ' "$log" >&2
        echo "clang-tidy: the whole log is $log" >&2
        exit 1
    fi
}

: >"$log"
analyzed="$rooms"
if [[ ${1:-} != --all ]] && base=${1:-$(base_commit)}; then
    mapfile -t sources < <(changed_since "$base")
    # Nothing matches the empty list.
    analyzed="($(printf '%s|' "${sources[@]//./\\.}")//)$"
    echo "The analyzer looks at ${#sources[@]} sources that differ from $base"
fi
tidy "^$PWD/(?!$templates)$analyzed"
tidy -checks='-clang-analyzer-*' "^$PWD/(?!(?!$templates)$analyzed)$rooms"
echo "clang-tidy: $(grep -c '^clang-tidy' "$log") sources"
