#!/usr/bin/env bats
# What the kill rounds notice. $BUILD is the build directory whose programs run.

endure=$BATS_TEST_DIRNAME/../../scripts/endure

run_endure() {
    run "$endure" --build "$BUILD" --rounds 1 --growth 2000000 "$@"
    echo "$output"
}

@test "tells the seed, the moments and the recoveries" {
    run_endure --seed 5 --recovery 10 control-client
    [ "$status" -eq 0 ]
    [ "${lines[0]}" = 'seed 5' ]
    [[ ${lines[1]} == 'control-client killed 1 times: 1 '* ]]
    grep -qE '^  a pull is back after [0-9.]+ s \(median\), [0-9.]+ s at most$' <<<"$output"
    grep -qE '^  qdxd: [0-9]+ descriptors, [0-9]+ at the end; [0-9]+ KiB resident, [0-9]+ at the end$' <<<"$output"
}

@test "notices what takes too long" {
    run_endure --seed 5 --recovery 0.000001 control-client
    [ "$status" -eq 1 ]
    [[ $output == *'fault: control-client: a pull took more than 1e-06 s 1 times'* ]]
}

@test "refuses wrong usage with one line" {
    for words in nobody '--rounds 0' --bogus; do
        # shellcheck disable=SC2086
        run_endure $words
        [ "$status" -eq 64 ]
        [ "${#lines[@]}" -eq 1 ]
    done
}
