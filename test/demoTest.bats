#!/usr/bin/env bats
# The demonstration, whole and when something goes wrong. $BUILD is the build directory whose programs run.

load support/await
demo=$BATS_TEST_DIRNAME/../scripts/demo

# A build directory of the test's own, so that unit roots of other runs aren't met; the programs are those of $BUILD.
setup() {
    build=$BATS_TEST_TMPDIR/build
    mkdir -p "$build/sw/platform/qdxd" "$build/sw/backend"
    ln -s "$BUILD/sw/tools" "$build/sw/tools"
    ln -s "$BUILD/sw/platform/qdxd/qdxd" "$build/sw/platform/qdxd/qdxd"
    ln -s "$BUILD/sw/backend/libqdxbe.so" "$build/sw/backend/libqdxbe.so"
    out=$BATS_TEST_TMPDIR/out
}

# Whatever a failed test leaves running.
teardown() {
    local process
    for process in $(started); do
        kill -KILL "$process" 2>/dev/null || true
    done
}

# The ids of the processes that all runs in $out started.
started() { sed -nE 's/^qdxd is process ([0-9]+), hostfe is process ([0-9]+),.*/\1 \2/p' "$out"* 2>/dev/null; }

qdxd_process() { started | cut -d ' ' -f 1; }
hostfe_process() { started | cut -d ' ' -f 2; }

are_gone() {
    local process
    for process in "$@"; do
        ! kill -0 "$process" 2>/dev/null || return 1
    done
}

still_runs() { kill -0 "$@"; }

nothing_runs() { [ -n "$(started)" ] && await are_gone $(started); }
no_root_is_left() { [ -z "$(find "$build" -maxdepth 1 -name 'demo.*')" ]; }

start_demo() {
    env --default-signal=INT "$demo" --build "$build" --seconds 60 >"$out" 2>&1 3>&- &
    demo_process=$!
    await grep -q '^1 of 60 s' "$out"
}

@test "collects, shows what was captured, and leaves nothing behind" {
    run "$demo" --build "$build" --seconds 3
    echo "$output" | tee "$out"
    [ "$status" -eq 0 ]
    [[ $output == *'Filter ID is: 11'* && $output == *'Filter ID is: 12'* ]]
    grep -qE '^3 of 3 s: [0-9]+ series, [0-9]+ values$' "$out"
    grep -qE '^ Filter 11 \(11\): Enabled: Yes, FilterTag\(s\): CPU' "$out"
    grep -qE '^host:cpu:load +deviceId=0 +max count 2 +[0-9]+ +[0-9.]+ ' "$out"
    grep -qE '^host:cpu:load +deviceId=0 +average count 2 ' "$out"
    grep -qE '^host:net:receivedBytes +deviceId=[0-9]+ +sum count 10 ' "$out"
    grep -qE '^host:load:oneMinute +list count 100 +[0-9]+ .*[▁▂▃▄▅▆▇█]$' "$out"
    [[ $output == *$'hostfe stopped\nqdxd stopped' ]]
    nothing_runs
    no_root_is_left
}

@test "draws in ASCII when asked" {
    run "$demo" --build "$build" --seconds 1 --ascii
    echo "$output" | tee "$out"
    [ "$status" -eq 0 ]
    LC_ALL=C run grep '[^ -~]' "$out"
    [ "$status" -eq 1 ]
    nothing_runs
}

@test "renews one line of progress on a terminal" {
    TERM=xterm NO_COLOR='' script -qec "$demo --build $build --seconds 2" "$out" </dev/null
    grep -q $'\r\033\\[K1 of 2 s: .*\r\033\\[K2 of 2 s: ' "$out"
    nothing_runs
}

@test "writes plain lines on a terminal where nothing else is wanted" {
    TERM=xterm NO_COLOR=1 script -qec "$demo --build $build --seconds 1" "$out" </dev/null
    grep -q '^1 of 1 s: ' "$out"
    [ "$(grep -c $'\033' "$out")" -eq 0 ]
    nothing_runs
}

@test "stays when asked to, takes the lines that it prints, and lets others run beside it" {
    run "$demo" --build "$build" --seconds 1 --keep
    echo "$output" | tee "$out"
    [ "$status" -eq 0 ]
    still_runs $(started)

    # A line that looks things up, and the lines that stop it, exactly as printed.
    next=$(sed -n '/^== Left running/,$p' "$out" | grep -E '^(export|dch filter)')
    bash -ec "$next" | grep -q '^host:cpu:load '
    bash -ec "$(grep '^export' <<<"$next"); qfci ping; dch-filter --check $BATS_TEST_DIRNAME/../examples/filters/cores.filter"

    run "$demo" --build "$build" --seconds 1
    echo "$output" >"$out.second"
    [ "$status" -eq 0 ]
    still_runs $(started | head -n 1)

    bash -ec "$(grep '^kill ' "$out")"
    nothing_runs
    bash -ec "$(grep '^rm ' "$out")"
    no_root_is_left
}

@test "tells of a collector that is killed, and stops the frontend" {
    start_demo
    kill -KILL "$(qdxd_process)"
    status=0
    wait "$demo_process" || status=$?
    cat "$out"
    [ "$status" -eq 1 ]
    grep -q '^demo: qdxd was ended by SIGKILL$' "$out"
    grep -q '^qdxd: ready, commands at ' "$out"
    nothing_runs
}

@test "tells of a frontend that is killed, and stops the collector" {
    start_demo
    kill -KILL "$(hostfe_process)"
    status=0
    wait "$demo_process" || status=$?
    cat "$out"
    [ "$status" -eq 1 ]
    grep -q '^demo: hostfe was ended by SIGKILL$' "$out"
    grep -q '^hostfe: connected to the collector$' "$out"
    nothing_runs
}

@test "keeps the logs of a failure and tells where" {
    start_demo
    kill -KILL "$(qdxd_process)"
    wait "$demo_process" || true
    logs=$(sed -n 's/^demo: the logs are in //p' "$out")
    [ -s "$logs/qdxd.log" ]
    [ -s "$logs/hostfe.log" ]
}

@test "stops all on Ctrl-C" {
    start_demo
    kill -INT "$demo_process"
    status=0
    wait "$demo_process" || status=$?
    [ "$status" -eq 130 ]
    nothing_runs
    no_root_is_left
}

@test "stops all when it is told to end" {
    start_demo
    kill -TERM "$demo_process"
    status=0
    wait "$demo_process" || status=$?
    [ "$status" -eq 143 ]
    nothing_runs
    no_root_is_left
}

@test "shows why a library cannot be loaded" {
    rm "$build/sw/backend/libqdxbe.so"
    echo nonsense >"$build/sw/backend/libqdxbe.so"
    run "$demo" --build "$build" --seconds 1
    [ "$status" -eq 1 ]
    [[ $output =~ 'demo: qdxd ended with status '[1-9] ]]
    [[ $output == *"qdxd: cannot load the library $build/sw/backend/libqdxbe.so"* ]]
}

@test "tells which file is missing and how to build it" {
    rm "$build/sw/backend/libqdxbe.so"
    run "$demo" --build "$build"
    [ "$status" -eq 1 ]
    [ "$output" = "demo: $build/sw/backend/libqdxbe.so is not there; build it with: scripts/build release" ]
}

@test "refuses wrong usage with one line" {
    for words in --bogus --seconds '--seconds 0' '--seconds 3601' '--seconds x' --build; do
        # shellcheck disable=SC2086
        run "$demo" $words
        [ "$status" -eq 64 ]
        [ "${#lines[@]}" -eq 1 ]
    done
}

@test "tells its options" {
    run "$demo" --help
    [ "$status" -eq 0 ]
    [[ $output == 'usage: scripts/demo '* ]]
}
