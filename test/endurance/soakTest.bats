#!/usr/bin/env bats
# Short soaks: one that passes, and those that must not. $BUILD is the build directory whose programs run.

soak=$BATS_TEST_DIRNAME/../../scripts/soak

# A build directory of the test's own, in which programs can be replaced by worse ones.
setup() {
    build=$BATS_TEST_TMPDIR/build
    csv=$BATS_TEST_TMPDIR/soak.csv
    recording=$BATS_TEST_TMPDIR/soak.rec.zst
    for folder in sw/platform/qdxd sw/backend sw/tools/dch sw/tools/dchFilter sw/tools/qfci sw/tools/qdxview sw/tools/hostfe \
        bench/load; do
        mkdir -p "$build/$folder"
        find "$BUILD/$folder" -maxdepth 1 \( -type f -o -type l \) -exec ln -s {} "$build/$folder/" \;
    done
}

# replace PROGRAM SCRIPT: the script finds the true one in $true.
replace() {
    local true
    true=$(readlink "$build/$1")
    rm "$build/$1"
    printf '#!/bin/bash\ntrue=%q\n%s\n' "$true" "$2" >"$build/$1"
    chmod +x "$build/$1"
}

# Memory is not judged in so short a time.
run_soak() {
    run "$soak" --build "$build" --csv "$csv" --recording "$recording" --rate 5000 --growth 2000000 "$@"
    echo "$output"
}

@test "passes a collector that loses nothing, and writes a line a second" {
    run_soak --minutes 0.4
    [ "$status" -eq 0 ]
    [[ $output == *'verdict: passed' ]]
    grep -qE '^[1-9][0-9]* pulls with [1-9][0-9]+ values .*, [1-9][0-9]+ values checked with the ledger' <<<"$output"
    [[ $(head -n 1 "$csv") == seconds,resident_kib,* ]]
    [ "$(wc -l <"$csv")" -gt 3 ]
    [ -z "$(find "$build" -maxdepth 1 -name 'endurance.*')" ]
    [ ! -e "$recording" ]
}

@test "notices a reply that is lost" {
    replace sw/tools/dch/dch '[ "$*" = "filter status" ] || exec "$true" "$@"'
    run_soak --minutes 0.1
    [ "$status" -eq 1 ]
    [[ $output == *'fault: dch filter status: status 0: '* ]]
}

@test "notices a value that is lost in a pull" {
    replace sw/tools/qfci/qfci 'set -o pipefail; "$true" "$@" | sed 3d'
    run_soak --minutes 0.2
    [ "$status" -eq 1 ]
    [[ $output == *'some are lost, repeated or out of order'* ]]
}

@test "notices a collector that dies" {
    replace sw/platform/qdxd/qdxd 'exec timeout --signal=KILL 3 "$true" "$@"'
    run_soak --minutes 0.3
    [ "$status" -eq 1 ]
    [[ $output == *'the collector ended with -9'* ]]
}

@test "leaves a recording of a run that failed, which plays" {
    replace sw/tools/dch/dch '[ "$*" = "filter status" ] || exec "$true" "$@"'
    run_soak --minutes 0.1
    [ "$status" -eq 1 ]
    [[ $output == *"zstd -dc $recording | qdx-replay -"* ]]
    zstd -dc "$recording" | "$BUILD/sw/tools/replay/qdx-replay" - >"$BATS_TEST_TMPDIR/played"
    grep -q 'filter pull' "$BATS_TEST_TMPDIR/played"
}

@test "tells what is missing, and refuses wrong usage" {
    rm "$build/sw/tools/qfci/qfci"
    run_soak
    [ "$status" -eq 1 ]
    [[ $output == "soak: $build/sw/tools/qfci/qfci is not there; build it with: "* ]]
    run_soak --bogus
    [ "$status" -eq 64 ]
    [ "${#lines[@]}" -eq 1 ]
    run_soak --minutes 0
    [ "$status" -eq 64 ]
}
