#!/usr/bin/env bats
# A program that was built without the page. $QDXVIEW is the program.

@test "says that it has no page, and leaves an older one alone" {
    echo older >"$BATS_TEST_TMPDIR/report.html"
    run "$QDXVIEW" --html "$BATS_TEST_TMPDIR/report.html" <<<'<QdxOutput>CAE=</QdxOutput>'
    [ "$status" -eq 69 ]
    [ "$output" = "qdxview: this build has no report page; --format gives the data in other forms" ]
    [ "$(<"$BATS_TEST_TMPDIR/report.html")" = older ]
}
