#!/usr/bin/env bats
# The command line of qdx-replay, on recordings of the tests.

bats_require_minimum_version 1.5.0

@test "help names the options" {
    run -0 "$QDX_REPLAY" --help
    for word in --list --until --expect; do
        [[ $output == *"$word"* ]]
    done
}

@test "version is one line" {
    run -0 "$QDX_REPLAY" --version
    [[ $output == "qdx-replay "[0-9]* ]]
}

@test "wrong usage is said in one line" {
    for words in "" "--until x $RECORDINGS/faulty.rec" "--list --expect a b" "a b"; do
        # shellcheck disable=SC2086
        run -64 --separate-stderr "$QDX_REPLAY" $words
        [ -z "$output" ]
        [ "${#stderr_lines[@]}" -eq 1 ]
        [[ $stderr == "qdx-replay: "* ]]
    done
}

@test "events are listed with their times" {
    run -0 "$QDX_REPLAY" --list "$RECORDINGS/oddMessages.rec"
    [[ ${lines[0]} =~ ^1\ [0-9]+\.[0-9]{9}\ dch\ fs\ create\ limit\ 0$ ]]
    [[ $output == *" BeProcessBatchesUreq of "*" bytes from 1"* ]]
    run -0 "$QDX_REPLAY" --list --until 2 "$RECORDINGS/oddMessages.rec"
    [ "${#lines[@]}" -eq 2 ]
}

@test "a replay stops where it is told" {
    run -0 "$QDX_REPLAY" --until 1 "$RECORDINGS/oddMessages.rec"
    [ "$output" = $'1 dch fs create limit 0\nCreated transaction: 0\n1 status 0' ]
}

@test "standard input is played" {
    run -0 "$QDX_REPLAY" - < "$RECORDINGS/faulty.rec"
    [ "$output" = "$(cat "$RECORDINGS/faulty.txt")" ]
}

@test "another output than expected is told with its first line that differs" {
    sed 's/^2 status 1$/2 status 0/' "$RECORDINGS/faulty.txt" > "$BATS_TEST_TMPDIR/expected"
    run ! cmp -s "$RECORDINGS/faulty.txt" "$BATS_TEST_TMPDIR/expected"
    run -1 "$QDX_REPLAY" "$RECORDINGS/faulty.rec" --expect "$BATS_TEST_TMPDIR/expected"
    [[ ${lines[0]} =~ ^"qdx-replay: $BATS_TEST_TMPDIR/expected: line "[0-9]+" differs"$ ]]
    [ "${lines[1]}" = "  expected: 2 status 0" ]
    [ "${lines[2]}" = "  came:     2 status 1" ]
    run -0 "$QDX_REPLAY" "$RECORDINGS/faulty.rec" --expect "$RECORDINGS/faulty.txt"
    [ -z "$output" ]
}

@test "what a terminal would act on isn't shown" {
    printf '0 \x1b[2J\xff\n' > "$BATS_TEST_TMPDIR/expected"
    run -1 "$QDX_REPLAY" "$RECORDINGS/faulty.rec" --expect "$BATS_TEST_TMPDIR/expected"
    [ "${lines[1]}" = "  expected: 0 ?[2J?" ]
}

@test "a missing end is told, and what is there is played" {
    head -c -1 "$RECORDINGS/oddMessages.rec" > "$BATS_TEST_TMPDIR/cut.rec"
    run -0 --separate-stderr "$QDX_REPLAY" "$BATS_TEST_TMPDIR/cut.rec"
    [ "$stderr" = "qdx-replay: $BATS_TEST_TMPDIR/cut.rec: ends inside an entry, which is left out" ]
    [[ $output == "1 dch fs create limit 0"* ]]
}

@test "what is no recording is told with its offset" {
    printf 'QDXREC9\n' > "$BATS_TEST_TMPDIR/other"
    run -65 "$QDX_REPLAY" "$BATS_TEST_TMPDIR/other"
    [ "$output" = "qdx-replay: $BATS_TEST_TMPDIR/other: offset 6: no recording that this program can read" ]
    { cat "$RECORDINGS/faulty.rec"; printf 'X\0'; } > "$BATS_TEST_TMPDIR/goesBad"
    run -65 --separate-stderr "$QDX_REPLAY" "$BATS_TEST_TMPDIR/goesBad"
    [ "$output" = "$(cat "$RECORDINGS/faulty.txt")" ]
    [ "$stderr" = "qdx-replay: $BATS_TEST_TMPDIR/goesBad: offset $(stat -c %s "$RECORDINGS/faulty.rec"): no entry begins with byte 88" ]
}

@test "a file that is not there, empty or a folder is told" {
    : > "$BATS_TEST_TMPDIR/empty"
    refuses() {
        run -66 "$QDX_REPLAY" "$1"
        [ "$output" = "qdx-replay: $1: $2" ]
    }
    refuses "$BATS_TEST_TMPDIR/no" "No such file or directory"
    refuses "$BATS_TEST_TMPDIR/empty" "is empty"
    refuses "$BATS_TEST_TMPDIR" "is a directory"
    run -66 "$QDX_REPLAY" "$RECORDINGS/faulty.rec" --expect "$BATS_TEST_TMPDIR/no"
    [ "$output" = "qdx-replay: $BATS_TEST_TMPDIR/no: No such file or directory" ]
}

@test "output that is lost is told" {
    run -74 bash -c '"$QDX_REPLAY" "$RECORDINGS/churn.rec" > /dev/full'
    [ "$output" = "qdx-replay: cannot write the output" ]
}
