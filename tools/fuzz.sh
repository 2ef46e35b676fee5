#!/usr/bin/env bash
# Fuzzes every target in tests/fuzz for SECONDS (default 60), all at once:
# builds the fuzz targets (fuzz preset, build-fuzz/), seeds each with its
# corpus from tests/fuzz/corpus copied to a scratch folder outside the tree
# (FUZZ_DIR, else a new one under /tmp that goes when nothing was found),
# and prints one line per target. Exits non-zero on any finding, naming the
# input that triggers it.
#
#     tools/fuzz.sh [SECONDS]
#     FUZZ_DIR=~/fuzz-work tools/fuzz.sh 3600   # keeps and grows the corpora
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
targets=(fuzz_scenario_file fuzz_last_used fuzz_event_intake)
bin=$PWD/build-fuzz/bin

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

if [ -n "${FUZZ_DIR:-}" ]; then
    work=$FUZZ_DIR
    keep=1
else
    work=$(mktemp -d "${TMPDIR:-/tmp}/linkmarrow-fuzz.XXXXXX")
    keep=0
fi
mkdir -p "$work/runtime"
chmod 700 "$work/runtime"
# The targets' own files (the host's settings, the last-used record) on
# tmpfs when there is one: the settings are synced to disk at every write,
# which slows the event intake down by a third on a disk.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then
    scratch=$(mktemp -d /dev/shm/linkmarrow-fuzz.XXXXXX)
else
    scratch=$(mktemp -d "$work/tmp.XXXXXX")
fi
trap 'rm -rf "$scratch"' EXIT

# The targets run the plug-in headless on the virtual card.
export QT_QPA_PLATFORM=offscreen UTPS_BACKEND=sim XDG_RUNTIME_DIR=$work/runtime TMPDIR=$scratch
# Leak detection stays on; tests/fuzz/lsan.supp says what it leaves out.
export LSAN_OPTIONS=suppressions=$PWD/tests/fuzz/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1

# What libFuzzer writes for a finding, in a target's folder.
findings() {
    find "$1" -maxdepth 1 -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' \
        -o -name 'oom-*' \) | sort
}

declare -A pids
for target in "${targets[@]}"; do
    dir=$work/$target
    mkdir -p "$dir/corpus" "$dir/earlier"
    cp tests/fuzz/corpus/"$target"/* "$dir/corpus/"
    # A kept folder's findings of an earlier run stay, out of this run's way.
    findings "$dir" | xargs -r mv -t "$dir/earlier"
    # An event-intake input may wait out the fingerprint thread's pacing for
    # seconds; a minute means it hangs.
    (cd "$dir" && exec "$bin/$target" -max_total_time="$seconds" -timeout=60 \
        -print_final_stats=1 -artifact_prefix="$dir/" corpus >"$dir/log" 2>&1) &
    pids[$target]=$!
done

failed=0
for target in "${targets[@]}"; do
    dir=$work/$target
    status=0
    wait "${pids[$target]}" || status=$?
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -1)
    found=$(findings "$dir")
    if [ "$status" -eq 0 ] && [ -z "$found" ]; then
        echo "$target: ${runs:-?} executions in $seconds s, nothing found"
        continue
    fi
    failed=1
    echo "$target: FAILED (exit $status) after ${runs:-?} executions; report in $dir/log"
    for input in $found; do
        echo "  input: $input"
        echo "  replay: LSAN_OPTIONS=$LSAN_OPTIONS $bin/$target $input"
    done
done

if [ "$failed" -eq 0 ] && [ "$keep" -eq 0 ]; then
    rm -rf "$work"
fi
exit "$failed"
