#!/usr/bin/env bats
# The program by its command line. $QDXVIEW is the program.

setup() {
    # Version 1, one measurement collection: id 7, values 1 and 2.
    pull='<QdxOutput>CAESBggHEAEQAg==</QdxOutput>'
    pull_file=$BATS_TEST_TMPDIR/pull.txt
    echo "$pull" >"$pull_file"
    list=$BATS_TEST_TMPDIR/list.xml
    echo '<infoObjectList><objects><object id="7" name="a:b" type="meas"/></objects></infoObjectList>' >"$list"
}

# Runs the program; $output is what it writes to either stream.
view() { run "$QDXVIEW" "$@"; }

@test "shows a pull from a file" {
    view "$pull_file"
    [ "$status" -eq 0 ]
    [ "${lines[0]}" = "Radio: unknown" ]
    [ "${lines[1]}" = "1 series, 2 values" ]
    [[ ${lines[3]} =~ ^7\ +\?\ +2\ +2\ 1\ +▁█$ ]]
}

@test "shows a pull from standard input" {
    run "$QDXVIEW" <"$pull_file"
    [ "$status" -eq 0 ]
    [ "${lines[1]}" = "1 series, 2 values" ]
}

@test "shows several pulls" {
    run "$QDXVIEW" - < <(echo "$pull$pull")
    [ "$status" -eq 0 ]
    [ "$(grep -c '^Radio' <<<"$output")" -eq 2 ]
}

@test "takes names from a catalogue" {
    view --catalogue "$list" "$pull_file"
    [ "$status" -eq 0 ]
    [[ ${lines[3]} == a:b\ * ]]
}

@test "draws in ASCII when asked" {
    view --ascii "$pull_file"
    [ "$status" -eq 0 ]
    [[ ${lines[3]} == *' _#' ]]
}

@test "fills the width that is asked for" {
    view --width 20 "$pull_file"
    [ "$status" -eq 0 ]
    [[ ${lines[2]} != *PLOT ]]
}

@test "fills the terminal" {
    for columns in 42 60; do
        run script -qec "stty cols $columns; $QDXVIEW $pull_file" /dev/null </dev/null
        [ "$status" -eq 0 ]
        [[ $columns -eq 42 || $output == *PLOT* ]]
        [[ $columns -eq 60 || $output == *NEWEST* && $output != *PLOT* ]]
    done
}

@test "writes each format" {
    view --format table "$pull_file"
    [ "${lines[0]}" = "Radio: unknown" ]
    view --format text --catalogue "$list" "$pull_file"
    [ "$output" = "- a:b - ? 1"$'\n'"- a:b - ? 2" ]
    view --format csv --catalogue "$list" "$pull_file"
    [ "${lines[0]}" = time,id,name,tags,kind,context,value,unit,raw,aggregation,scope,size ]
    [ "${lines[2]}" = ,7,a:b,,measurement,,2,,2,,, ]
    view --format json "$pull_file"
    [ "$output" = '{"version":1,"measurementCollections":[{"id":7,"values":["1","2"]}]}' ]
    [ "$("$QDXVIEW" --format raw "$pull_file" | base64)" = CAESBggHEAEQAg== ]
}

@test "draws a table in a pipe and in a file too" {
    view --output "$BATS_TEST_TMPDIR/out" "$pull_file"
    [ "$status" -eq 0 ]
    [ -z "$output" ]
    [ "$(head -n 1 "$BATS_TEST_TMPDIR/out")" = "Radio: unknown" ]
}

@test "reads raw bytes as it wrote them" {
    raw=$BATS_TEST_TMPDIR/pull.raw
    "$QDXVIEW" --format raw --output "$raw" "$pull_file"
    cmp "$raw" <(echo CAESBggHEAEQAg== | base64 -d)
    for options in '' --raw; do
        run "$QDXVIEW" $options --format json "$raw"
        [ "$status" -eq 0 ]
        [ "$output" = '{"version":1,"measurementCollections":[{"id":7,"values":["1","2"]}]}' ]
    done
    run "$QDXVIEW" --format json <"$raw"
    [ "$status" -eq 0 ]
}

@test "reads bytes that begin with no version when told that they are raw" {
    printf '\x12\x02\x08\x07\x08\x01' >"$BATS_TEST_TMPDIR/pull.raw"
    view --format json "$BATS_TEST_TMPDIR/pull.raw"
    [ "$status" -eq 65 ]
    view --raw --format json "$BATS_TEST_TMPDIR/pull.raw"
    [ "$status" -eq 0 ]
    [ "$output" = '{"version":1,"measurementCollections":[{"id":7}]}' ]
}

@test "keeps raw bytes off a terminal" {
    run script -qec "$QDXVIEW --format raw $pull_file" /dev/null </dev/null
    [ "$status" -eq 64 ]
    [[ $output == "qdxview: raw bytes are not for a terminal; redirect them or give --output FILE"* ]]
    run script -qec "$QDXVIEW --format raw --output $BATS_TEST_TMPDIR/out $pull_file" /dev/null </dev/null
    [ "$status" -eq 0 ]
    [ "$(base64 "$BATS_TEST_TMPDIR/out")" = CAESBggHEAEQAg== ]
}

@test "writes its output over its input" {
    view --format csv --output "$pull_file" "$pull_file"
    [ "$status" -eq 0 ]
    [ "$(wc -l <"$pull_file")" -eq 3 ]
}

@test "leaves an older output alone when the input is damaged" {
    echo older >"$BATS_TEST_TMPDIR/out"
    run "$QDXVIEW" --format csv --output "$BATS_TEST_TMPDIR/out" <<<'<QdxOutput>'
    [ "$status" -eq 65 ]
    [ "$(<"$BATS_TEST_TMPDIR/out")" = older ]
}

@test "leaves an older output alone when the disk is full" {
    out=$BATS_TEST_TMPDIR/out
    echo older >"$out"
    for _ in {1..2000}; do echo "$pull"; done >"$pull_file"
    run bash -c 'ulimit -f 8; trap "" XFSZ; exec "$@"' - "$QDXVIEW" --format csv --output "$out" "$pull_file"
    [ "$status" -eq 74 ]
    [ "$output" = "qdxview: cannot write $out" ]
    [ "$(<"$out")" = older ]
    [ "$(find "$BATS_TEST_TMPDIR" -name 'out*' | wc -l)" -eq 1 ]
}

@test "writes into a pipe" {
    mkfifo "$BATS_TEST_TMPDIR/pipe"
    "$QDXVIEW" --format raw --output "$BATS_TEST_TMPDIR/pipe" "$pull_file" 3>&- &
    [ "$(timeout 20 base64 "$BATS_TEST_TMPDIR/pipe")" = CAESBggHEAEQAg== ]
    wait "$!"
    [ -p "$BATS_TEST_TMPDIR/pipe" ]
}

@test "refuses damaged raw bytes with 65 and one line" {
    printf '\x08\x01\x12\x05' >"$BATS_TEST_TMPDIR/pull.raw"
    view "$BATS_TEST_TMPDIR/pull.raw"
    [ "$status" -eq 65 ]
    [ "$output" = "qdxview: $BATS_TEST_TMPDIR/pull.raw: 4 bytes that are no collections" ]
}

@test "tells of an output that cannot be created with 73" {
    view --output "$BATS_TEST_TMPDIR/missing/out" "$pull_file"
    [ "$status" -eq 73 ]
    [ "$output" = "qdxview: $BATS_TEST_TMPDIR/missing/out: No such file or directory" ]
    view --output '' "$pull_file"
    [ "$status" -eq 73 ]
    [ "$output" = "qdxview: : No such file or directory" ]
}

@test "tells its options and its version" {
    view --help
    [ "$status" -eq 0 ]
    [[ $output == *--catalogue* ]]
    view --version
    [ "$status" -eq 0 ]
    [[ $output =~ ^qdxview\ [0-9.]+$ ]]
}

@test "refuses wrong usage with 64" {
    view --bogus
    [ "$status" -eq 64 ]
    view --format xml "$pull_file"
    [ "$status" -eq 64 ]
    view --width 3 "$pull_file"
    [ "$status" -eq 64 ]
    view "$pull_file" "$pull_file"
    [ "$status" -eq 64 ]
}

@test "refuses damaged input with 65 and one line" {
    run "$QDXVIEW" < <(echo 'No entry with this filterID')
    [ "$status" -eq 65 ]
    [ "$output" = 'qdxview: standard input: no <QdxOutput> in it, and no raw message; it starts with "No entry with this filterID"' ]
}

@test "refuses a message that protobuf would also complain about with one line" {
    run "$QDXVIEW" < <(echo '<QdxOutput>CA==</QdxOutput>')
    [ "$status" -eq 65 ]
    [ "${#lines[@]}" -eq 1 ]
}

@test "refuses a damaged catalogue with 65" {
    echo '<infoObjectList>' >"$list"
    view --catalogue "$list" "$pull_file"
    [ "$status" -eq 65 ]
    [ "${#lines[@]}" -eq 1 ]
    [[ $output == "qdxview: $list:2: "* ]]
}

@test "tells of a missing file with 66" {
    view "$BATS_TEST_TMPDIR/missing"
    [ "$status" -eq 66 ]
    [ "$output" = "qdxview: $BATS_TEST_TMPDIR/missing: No such file or directory" ]
    view --catalogue "$BATS_TEST_TMPDIR/missing" "$pull_file"
    [ "$status" -eq 66 ]
}

@test "tells of lost output with 74" {
    run bash -c '"$0" "$1" >/dev/full' "$QDXVIEW" "$pull_file"
    [ "$status" -eq 74 ]
    [ "$output" = "qdxview: cannot write the output" ]
    view --format csv --output /dev/full "$pull_file"
    [ "$status" -eq 74 ]
    [ "$output" = "qdxview: cannot write /dev/full" ]
}

@test "ends cleanly on an endless input" {
    view /dev/zero
    [ "$status" -eq 65 ]
    [ "$output" = "qdxview: /dev/zero: longer than 134217728 bytes" ]
}

@test "has no live view without a terminal" {
    view --top
    [ "$status" -eq 64 ]
    [ "$output" = "qdxview: the live view needs a terminal; give --once to print it once" ]
}

@test "prints no live view without a collector" {
    UNIT_ROOT=$BATS_TEST_TMPDIR view --top --once
    [ "$status" -eq 69 ]
    [[ $output == "qdxview: no collector answers at $BATS_TEST_TMPDIR/run/tessel/command.sock: "* ]]
    [ "${#lines[@]}" -eq 1 ]
}

@test "refuses to mix the live view with a pull" {
    for options in "--top $pull_file" "--top --format csv" "--top --output x" "--once" "--every 2" "--filter 11" \
        "--top --every 0" "--top --every 3601" "--top --every x"; do
        view $options
        [ "$status" -eq 64 ]
    done
}

@test "needs the catalogue that the live view is given" {
    UNIT_ROOT=$BATS_TEST_TMPDIR view --top --once --catalogue "$BATS_TEST_TMPDIR/none.xml"
    [ "$status" -eq 66 ]
}
