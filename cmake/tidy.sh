#!/usr/bin/env bash
# Runs clang-tidy over the sources of the library and the program; not over tests and benchmarks, whose libraries'
# headers take most of the time and find nothing: gtest's macros are checked as if they were our own code.
set -euo pipefail

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
build=${1:-build/release}
log=$build/tidy.log
# The analyzer, which follows all paths, takes as long in the JSON and command line libraries' templates as in all the
# rest: sources that instantiate them go without it.
templates='host/[a-z]+/(command_line|extract_run|journal|json_lines|out_folder|report)\.cpp$'

tidy() {
    # The release build's flags are those of g++, of which clang does not know all.
    if ! run-clang-tidy -p "$build" -j "$(nproc)" -quiet \
        -extra-arg=-Wno-unknown-warning-option -extra-arg=-Wno-ignored-optimization-argument "$@" 2>&1 |
        sed 's/\x1b\[[0-9;]*m//g' >"$log"; then
        grep -E -A 4 ' (error|warning): ' "$log" >&2
        echo "clang-tidy: the whole log is $log" >&2
        exit 1
    fi
}

tidy "^$PWD/(?!$templates)(containers|documents|formats|frame|host|images|media)/"
tidy -checks='-clang-analyzer-*' "^$PWD/$templates"
