#!/usr/bin/env bats
# The load as developers start it. $BUILD is the build directory whose programs run.

load=$BATS_TEST_DIRNAME/../../../scripts/load

# A build directory of the test's own, so that unit roots of other runs aren't met; the programs are those of $BUILD.
setup() {
    build=$BATS_TEST_TMPDIR/build
    mkdir -p "$build/sw/platform/qdxd" "$build/sw/backend"
    ln -s "$BUILD/sw/tools" "$build/sw/tools"
    ln -s "$BUILD/bench" "$build/bench"
    ln -s "$BUILD/sw/platform/qdxd/qdxd" "$build/sw/platform/qdxd/qdxd"
    ln -s "$BUILD/sw/backend/libqdxbe.so" "$build/sw/backend/libqdxbe.so"
}

no_root_is_left() { [ -z "$(find "$build" -maxdepth 1 -name 'load.*')" ]; }

@test "sends, pulls, checks, and leaves nothing behind" {
    run "$load" --build "$build" --frontends 2 --contexts 3 --rate 5000 --seconds 1
    echo "$output"
    [ "$status" -eq 0 ]
    grep -qE '^samples sent +[1-9][0-9]+ +[0-9]+/s$' <<<"$output"
    grep -qE '^collector +process [0-9]+: .* s of CPU, [0-9]+ ns a sample; peak memory [0-9]+ KiB$' <<<"$output"
    grep -qE '^OK: [0-9]+ values in [0-9]+ collections checked$' <<<"$output"
    no_root_is_left
}

@test "takes one kind alone" {
    run "$load" --build "$build" --objects 1 --kinds counter --rate 1000 --seconds 1
    echo "$output"
    [ "$status" -eq 0 ]
    [[ $output == *'OK: '* ]]
}

@test "follows each sample to its end" {
    run "$load" --build "$build" --rate 5000 --seconds 1 --follow --pressure --memory 100000
    echo "$output"
    [ "$status" -eq 0 ]
    grep -qE '^OK: [0-9]+ values in [0-9]+ pulls checked, of [0-9]+ operations$' <<<"$output"
    grep -qE '^samples +.*every sample' <<<"$output"
    no_root_is_left
}

@test "keeps what it has when something fails" {
    rm "$build/sw/backend/libqdxbe.so"
    echo nonsense >"$build/sw/backend/libqdxbe.so"
    run "$load" --build "$build" --seconds 1
    echo "$output"
    [ "$status" -eq 1 ]
    [[ $output == 'load: the collector ended: qdxd: cannot load the library '* ]]
    kept=$(sed -n 's/^load: what was pulled, the ledger and the log are in //p' <<<"$output")
    [ -s "$kept/qdxd.log" ]
}

@test "stops all when it is told to end" {
    "$load" --build "$build" --seconds 60 >"$BATS_TEST_TMPDIR/out" 2>&1 3>&- &
    script=$!
    deadline=$((SECONDS + 20))
    until grep -q '^qdxload: sending' "$BATS_TEST_TMPDIR/out"; do
        [ $SECONDS -lt $deadline ]
        sleep 0.05
    done
    kill -TERM "$script"
    status=0
    wait "$script" || status=$?
    cat "$BATS_TEST_TMPDIR/out"
    [ "$status" -eq 143 ]
    no_root_is_left
}

@test "refuses wrong usage with one line" {
    for words in --bogus '--rate 0' '--ledger file' '--check file' --build '--memory few'; do
        # shellcheck disable=SC2086
        run "$load" --build "$build" $words
        echo "$output"
        [ "$status" -eq 64 ]
        [ "${#lines[@]}" -eq 1 ]
        no_root_is_left
    done
}

@test "tells its options" {
    run "$load" --help
    [ "$status" -eq 0 ]
    [[ $output == 'usage: scripts/load '* ]]
}
