#!/usr/bin/env bash
# Builds the fuzz targets and runs each for a while:
#
#     fuzz/run.sh SECONDS [TARGET...]
#
# Targets are factory, reader, validate, and validate-NAME for a single validator, such as validate-zip.
# The corpora grow in build/fuzz/corpus; inputs that break a rule are left in build/fuzz/found.
set -euo pipefail

if [[ $# -lt 1 || ! $1 =~ ^[0-9]+$ ]]; then
    echo "usage: fuzz/run.sh SECONDS [factory|reader|validate|validate-NAME]..." >&2
    exit 2
fi
seconds=$1
shift
targets=("$@")
[[ ${#targets[@]} -gt 0 ]] || targets=(factory reader validate)

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source cmake/setup.sh
salvor_build fuzz fuzz_targets

salvor_fuzz_dir=build/fuzz
fuzz/make-seeds.py "$salvor_fuzz_dir/seeds"
mkdir -p "$salvor_fuzz_dir/found"
for target in "${targets[@]}"; do
    corpus=$salvor_fuzz_dir/corpus/$target
    mkdir -p "$corpus"
    options=(-max_total_time="$seconds" -rss_limit_mb=1024 -timeout=25 -max_len=65536 -print_final_stats=1
        -artifact_prefix="$salvor_fuzz_dir/found/$target-")
    if [[ -f fuzz/$target.dict ]]; then
        options+=(-dict="fuzz/$target.dict")
    fi
    echo "fuzz_$target: $seconds seconds"
    log=$salvor_fuzz_dir/$target.log
    binary=$salvor_fuzz_dir/bin/fuzz_${target%%-*}
    one=()
    [[ $target != validate-* ]] || one=(env "SALVOR_VALIDATOR=${target#*-}")
    if ! "${one[@]}" "$binary" "${options[@]}" "$corpus" "$salvor_fuzz_dir/seeds/${target%%-*}" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "fuzz_$target found a fault; the input is in $salvor_fuzz_dir/found" >&2
        exit 1
    fi
    grep -E '^stat::(number_of_executed_units|new_units_added|peak_rss_mb)' "$log"
done
