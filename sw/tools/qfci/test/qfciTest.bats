#!/usr/bin/env bats
# The command line of qfci, where no collector is needed.

bats_require_minimum_version 1.5.0

setup() {
    export UNIT_ROOT=$BATS_TEST_TMPDIR
    mkdir -p "$UNIT_ROOT/run"
}

@test "help names the commands, and help of a command its options" {
    run -0 "$QFCI" --help
    for word in pull connect ping; do
        [[ $output == *"$word"* ]]
    done
    run -0 "$QFCI" pull --help
    for word in --clear --output --format --catalogue; do
        [[ $output == *"$word"* ]]
    done
}

@test "version is one line" {
    run -0 "$QFCI" --version
    [[ $output == "qfci "[0-9]* ]]
}

@test "wrong usage is said in one line" {
    for words in "" "pull" "push" "pull 11 --format html" "ping --timeout 0" "ping --timeout nan" "connect 1"; do
        # shellcheck disable=SC2086
        run -64 --separate-stderr "$QFCI" $words
        [ -z "$output" ]
        [ "${#stderr_lines[@]}" -eq 1 ]
        [[ $stderr == "qfci: "* ]]
    done
}

@test "without a collector every command says so" {
    for words in "ping" "connect" "connect --hold" "pull 11"; do
        # shellcheck disable=SC2086
        run -69 --separate-stderr "$QFCI" $words
        [ -z "$output" ]
        [ "$stderr" = "qfci: there is no collector: nobody has the mailbox QdxFilterCtrlI, or it may not be seen; start qdxd, or set UNIT_ROOT to the root of its unit" ]
    done
}

@test "a file that could not be filled is not there" {
    run -69 "$QFCI" pull 11 --output "$BATS_TEST_TMPDIR/pull.bin"
    [ ! -e "$BATS_TEST_TMPDIR/pull.bin" ]
}

@test "an output or a catalogue that cannot be used is said before anything is asked of a collector" {
    run -73 "$QFCI" pull 11 --output "$BATS_TEST_TMPDIR/no/pull.bin"
    [ "$output" = "qfci: $BATS_TEST_TMPDIR/no/pull.bin: No such file or directory" ]
    run -66 "$QFCI" pull 11 --format json --catalogue "$BATS_TEST_TMPDIR/no.xml"
    [[ $output == "qfci: $BATS_TEST_TMPDIR/no.xml"* ]]
}
