#!/usr/bin/env bats
# The page that the program writes. $QDXVIEW is the program.

setup() {
    # Version 1, one measurement collection: id 7, values 1 and 2.
    pull_file=$BATS_TEST_TMPDIR/pull.txt
    echo '<QdxOutput>CAESBggHEAEQAg==</QdxOutput>' >"$pull_file"
    list=$BATS_TEST_TMPDIR/list.xml
    echo '<infoObjectList><objects><object id="7" name="a:b" type="meas"/></objects></infoObjectList>' >"$list"
}

view() { run "$QDXVIEW" "$@"; }

@test "writes a page that it reads again" {
    page=$BATS_TEST_TMPDIR/report.html
    view --html "$page" --catalogue "$list" "$pull_file"
    [ "$status" -eq 0 ]
    [ -z "$output" ]
    grep -q '^<!doctype html>' "$page"
    grep -q '"7":{"name":"a:b"}' "$page"
    view --format json "$page"
    [ "$output" = '{"version":1,"measurementCollections":[{"id":7,"values":["1","2"]}]}' ]
    view --html - "$page"
    [ "$status" -eq 0 ]
    [[ $output == '<!doctype html>'* ]]
}

@test "leaves an older page alone when the input is damaged or the disk is full" {
    page=$BATS_TEST_TMPDIR/report.html
    echo older >"$page"
    view --html "$page" <<<'<QdxOutput>'
    [ "$status" -eq 65 ]
    run bash -c 'ulimit -f 8; trap "" XFSZ; exec "$@"' - "$QDXVIEW" --html "$page" "$pull_file"
    [ "$status" -eq 74 ]
    [ "$output" = "qdxview: cannot write $page" ]
    [ "$(<"$page")" = older ]
    [ "$(ls "$BATS_TEST_TMPDIR" | grep -c report)" -eq 1 ]
}

@test "tells of a page that cannot be written" {
    view --html "$BATS_TEST_TMPDIR/missing/out" "$pull_file"
    [ "$status" -eq 73 ]
    [ "$output" = "qdxview: $BATS_TEST_TMPDIR/missing/out: No such file or directory" ]
    view --html '' "$pull_file"
    [ "$status" -eq 73 ]
    [ "$output" = "qdxview: : No such file or directory" ]
    view --html /dev/full "$pull_file"
    [ "$status" -eq 74 ]
    view --html "$BATS_TEST_TMPDIR/out" --format csv "$pull_file"
    [ "$status" -eq 64 ]
}
