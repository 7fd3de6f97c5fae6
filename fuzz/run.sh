#!/usr/bin/env bash
# Builds the fuzz targets and runs all of them for a while:
#
#     fuzz/run.sh SECONDS [TARGET...]
#
# Targets are containers, media, images and documents, for the scanners of these rooms, factory for all of them, reader,
# disk for the readers of images, journals for those of a job's files, details for those of the details
# of files, validate, and validate-NAME for a single validator, such as validate-zip. SALVOR_FUZZ_SEED fixes the random
# numbers; without it they differ each time. The corpora grow in build/fuzz/corpus; inputs that break a rule are left in
# build/fuzz/found.
set -euo pipefail

if [[ $# -lt 1 || ! $1 =~ ^[0-9]+$ ]]; then
    echo "usage: fuzz/run.sh SECONDS [containers|media|images|documents|factory|reader|disk|journals|details|validate|validate-NAME]..." >&2
    exit 2
fi
seconds=$1
shift
targets=("$@")
[[ ${#targets[@]} -gt 0 ]] || targets=(containers media images documents reader disk journals details validate)

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source cmake/setup.sh
salvor_build sanitize fuzz_targets

salvor_fuzz_dir=build/fuzz
fuzz/make-seeds.py "$salvor_fuzz_dir/seeds"
mkdir -p "$salvor_fuzz_dir/found"

# fuzz TARGET
fuzz() {
    local target=$1 corpus=$salvor_fuzz_dir/corpus/$1 input=${1%%-*}
    case $input in containers | media | images | documents) input=factory ;; esac
    mkdir -p "$corpus"
    local options=(-max_total_time="$seconds" -rss_limit_mb=1024 -timeout=25 -max_len=65536 -print_final_stats=1
        -seed="${SALVOR_FUZZ_SEED:-0}"
        -artifact_prefix="$salvor_fuzz_dir/found/$target-")
    if [[ -f fuzz/$input.dict ]]; then
        options+=(-dict="fuzz/$input.dict")
    fi
    [[ $target != validate-* ]] || export SALVOR_VALIDATOR=${target#*-}
    exec "build/sanitize/bin/fuzz_${target%%-*}" "${options[@]}" "$corpus" "$salvor_fuzz_dir/seeds/$input" \
        >"$salvor_fuzz_dir/$target.log" 2>&1
}

# All run at once: with more targets than processors each gets less time, but the whole takes no longer.
declare -A runs
for target in "${targets[@]}"; do
    fuzz "$target" &
    runs[$target]=$!
done
status=0
for target in "${targets[@]}"; do
    echo "fuzz_$target: $seconds seconds"
    log=$salvor_fuzz_dir/$target.log
    if wait "${runs[$target]}"; then
        grep -E '^stat::(number_of_executed_units|new_units_added|peak_rss_mb)' "$log"
    else
        tail -n 60 "$log" >&2
        echo "fuzz_$target found a fault; the input is in $salvor_fuzz_dir/found" >&2
        status=1
    fi
done
exit "$status"
