#!/usr/bin/env bats
# What all programs do alike: help, version, mistakes in one line with a status of <sysexits.h>, and plain text where nothing
# else is wanted. $BUILD is the build directory that has the programs.

bats_require_minimum_version 1.5.0
load support/await

setup_file() {
    export TOOLS=$BATS_FILE_TMPDIR/tools
    mkdir "$TOOLS"
    for program in sw/platform/qdxd/qdxd sw/tools/dch/dch sw/tools/dch/rodc sw/tools/dchFilter/dch-filter \
        sw/tools/hostfe/hostfe sw/tools/qdxview/qdxview sw/tools/qfci/qfci sw/tools/replay/qdx-replay bench/load/qdxload; do
        ln -s "$BUILD/$program" "$TOOLS/${program##*/}"
    done
}

setup() {
    PATH=$TOOLS:$PATH
    export UNIT_ROOT=$BATS_TEST_TMPDIR/unit
    mkdir -p "$UNIT_ROOT/run"
    cd "$BATS_TEST_TMPDIR"
    mkdir folder
    : >empty
    echo nonsense >nonsense
    printf 'limit 0\nlist count 1\n' >good.filter
    echo '<infoObjectList/>' >good.xml
    echo '<QdxOutput>CAESBggHEAEQAg==</QdxOutput>' >good.pull
    cp "${BATS_TEST_FILENAME%/*}/recordings/faulty.rec" good.rec
    touch secret
    chmod 0 secret
    qdxd=
}

teardown() {
    [ -z "$qdxd" ] || { kill -TERM "$qdxd" && wait "$qdxd"; }
}

start_collector() {
    qdxd --library "$BUILD/sw/backend/libqdxbe.so" 2>log 3>&- &
    qdxd=$!
    await grep -q '^qdxd: ready' log
}

programs=(qdxd dch rodc dch-filter hostfe qdxview qfci qdx-replay qdxload)

# Files refuse root nothing, unless root does without its privileges.
humbly() {
    if [ "$(id -u)" -eq 0 ]; then
        setpriv --bounding-set -all --inh-caps -all "$@"
    else
        "$@"
    fi
}

# Runs each line "STATUS | COMMAND | ERROR" of standard input and expects the status, and one line of error that begins with
# the program's name, or the file's, and matches the pattern.
expect_mistakes() {
    local status_wanted command pattern
    while IFS='|' read -r status_wanted command pattern; do
        read -ra words <<<"$command"
        read -r pattern <<<"$pattern"
        run --separate-stderr humbly timeout 20 "${words[@]}" </dev/null
        echo "$command: status $status, says: $stderr"
        [ "$status" -eq "$status_wanted" ]
        [ -z "$output" ]
        [ "${#stderr_lines[@]}" -eq 1 ]
        # shellcheck disable=SC2053
        [[ $stderr == $pattern ]]
    done
}

@test "help fits a screen, and succeeds" {
    for command in "${programs[@]}" 'qfci pull' 'qfci connect' 'qfci ping'; do
        for option in --help -h; do
            # shellcheck disable=SC2086
            run --separate-stderr $command $option
            [ "$status" -eq 0 ]
            [ "$(wc -l <<<"$output")" -le 24 ]
            [[ ${lines[0]} == "usage: $command "* ]]
            [ -z "$(grep -E '.{81}' <<<"$output")" ]
        done
    done
}

@test "help with the collector's subcommands fits a screen, too" {
    start_collector
    for program in dch rodc; do
        run -0 --separate-stderr "$program" --help
        [ -z "$stderr" ]
        [ "$(wc -l <<<"$output")" -ge 12 ]
        [ "$(wc -l <<<"$output")" -le 24 ]
        [ -z "$(grep -E '.{81}' <<<"$output")" ]
    done
}

@test "the version is one line" {
    for program in "${programs[@]}"; do
        run -0 --separate-stderr "$program" --version
        [[ $output =~ ^$program\ [0-9]+\.[0-9]+\.[0-9]+$ ]]
        [ -z "$stderr" ]
    done
}

@test "wrong usage is 64, and tells where to read on" {
    expect_mistakes <<'END'
64 | qdxd --bogus                             | qdxd: *--bogus; see qdxd --help
64 | qdxd --library                           | qdxd: --library: *; see qdxd --help
64 | qdxd word                                | qdxd: *word; see qdxd --help
64 | dch -k                                   | dch: --keep-going is for a session; add --interactive
64 | rodc -i word                             | rodc: 'word' does not go with a session; lines come from standard input
64 | dch-filter --bogus                       | dch-filter: *--bogus; see dch-filter --help
64 | dch-filter --rate nan --catalogue a good.filter | dch-filter: --rate: nan is not a number from *; see dch-filter --help
64 | dch-filter --budget 5 good.filter        | dch-filter: --budget requires --catalogue; see dch-filter --help
64 | hostfe --rate x                          | hostfe: --rate: x is not a number from 0.1 to 1000; see hostfe --help
64 | hostfe --host-root empty                 | hostfe: --host-root: *empty; see hostfe --help
64 | qdxview --bogus                          | qdxview: *--bogus; see qdxview --help
64 | qdxview --format xml good.pull           | qdxview: --format: 'xml' is none of csv,*; see qdxview --help
64 | qdxview --width 19 good.pull             | qdxview: --width: 19 is not a whole number from 20 to 1000; see qdxview --help
64 | qdxview --top --every 0.1                | qdxview: --every: 0.1 is not a number from 0.5 to 3600; see qdxview --help
64 | qdxview good.pull good.pull              | qdxview: *good.pull; see qdxview --help
64 | qfci                                     | qfci: A subcommand is required; see qfci --help
64 | qfci --bogus                             | qfci: *--bogus; see qfci --help
64 | qfci pull                                | qfci: FILTER is required; see qfci --help
64 | qfci pull 11 --format xml                | qfci: --format: 'xml' is none of csv,*; see qfci --help
64 | qfci ping --timeout soon                 | qfci: --timeout: soon is not a number of seconds*; see qfci --help
64 | qdx-replay --bogus                       | qdx-replay: *--bogus; see qdx-replay --help
64 | qdx-replay                               | qdx-replay: FILE is required; see qdx-replay --help
64 | qdx-replay --until x good.rec            | qdx-replay: *--until*; see qdx-replay --help
64 | qdxload --kinds quantity                 | qdxload: --kinds: 'quantity' is none of counter,*; see qdxload --help
64 | qdxload --check good.pull                | qdxload: --check needs --ledger; see qdxload --help
END
}

@test "a file that cannot be opened is 66, and told with the reason" {
    local command
    for command in dch-filter 'dch-filter good.filter --catalogue' qdxview 'qdxview good.pull --catalogue' qdx-replay 'qdx-replay good.rec --expect' \
        'qfci pull 11 --catalogue' 'qdxload --check good.pull --ledger'; do
        expect_mistakes <<END
66 | $command missing          | ${command%% *}: missing: No such file or directory
66 | $command folder           | ${command%% *}: folder: [iI]s a directory
66 | $command secret | ${command%% *}: secret: Permission denied
END
    done
}

@test "a file with faults is 65, and told with the place" {
    expect_mistakes <<'END'
65 | dch-filter empty                          | empty:1:1: no filter in this file; *
65 | dch-filter --catalogue empty good.filter  | dch-filter: empty: *
65 | dch-filter --catalogue nonsense good.filter | dch-filter: nonsense: *
65 | qdxview empty                             | qdxview: empty: empty; give it the output of a pull
65 | qdxview nonsense                          | qdxview: nonsense: no <QdxOutput> in it, and no raw message; *
65 | qdxview --catalogue nonsense good.pull    | qdxview: nonsense:1: *
65 | qfci pull 11 --catalogue nonsense         | qfci: nonsense:1: *
65 | qdx-replay nonsense                       | qdx-replay: nonsense: offset 0: *
65 | qdxload --check good.pull --ledger nonsense | qdxload: nonsense:1: not a ledger of qdxload
END
}

@test "without a collector the status is 69, and told where it was looked for" {
    expect_mistakes <<END
69 | dch filter status       | dch: no collector answers at $UNIT_ROOT/run/tessel/command.sock: No such file*; start qdxd, *
69 | rodc list               | rodc: no collector answers at *; start qdxd, or set UNIT_ROOT to the root of its unit
69 | dch-filter good.filter  | dch-filter: no collector answers at *; start qdxd, or set UNIT_ROOT to the root of its unit
69 | qfci ping               | qfci: there is no collector: *; start qdxd, or set UNIT_ROOT to the root of its unit
69 | qdxd --library missing  | qdxd: cannot load the library missing: *
END
}

@test "a unit that may not be used is told with the folder or its variable" {
    UNIT_ROOT=/proc/no expect_mistakes <<END
73 | qdxd --library $BUILD/sw/backend/libqdxbe.so | qdxd: cannot make /proc/no/run/tessel: No such file or directory
71 | qfci ping               | qfci: cannot create the mailbox *; is /run/ozo there (below UNIT_ROOT, if that is set), and are you in its group[?]
69 | hostfe                  | hostfe: cannot create the mailbox *; is /run/ozo there (below UNIT_ROOT, if that is set), and are you in its group[?]
END
    mkdir "$UNIT_ROOT/run/tessel"
    chmod 0 "$UNIT_ROOT/run/tessel"
    expect_mistakes <<'END'
69 | dch filter status | dch: no collector answers at *: Permission denied; only members of the group *
END
    chmod 700 "$UNIT_ROOT/run/tessel"
}

@test "a configuration that cannot be read is 78, and told with the place" {
    database=$UNIT_ROOT/opt/zelvasw/srv/database/qdx/swdb.cfg
    mkdir -p "${database%/*}"
    echo '[qdx' >"$database"
    expect_mistakes <<END
78 | qdxd --library $BUILD/sw/backend/libqdxbe.so | qdxd: $database, line 1, column 5: *
END
}

@test "output that cannot be created is 73, and told with the reason" {
    expect_mistakes <<'END'
73 | qdxview --output folder good.pull      | qdxview: folder: Is a directory
73 | qdxview --output no/file good.pull     | qdxview: no/file: No such file or directory
73 | qfci pull 11 --output no/file          | qfci: no/file: No such file or directory
73 | qdxd --record no/file                  | qdxd: cannot record to no/file: No such file or directory
73 | qdxload --list no/file                 | qdxload: no/file: No such file or directory
END
}

@test "output that is lost is 74, and told" {
    local command
    for command in '--help' '--version'; do
        for program in "${programs[@]}"; do
            lose_output "$program $command"
        done
    done
    for command in 'qdxview good.pull' 'dch-filter --check good.filter' 'dch-filter --catalogue good.xml good.filter' \
        'qdx-replay good.rec' 'qdx-replay --list good.rec'; do
        lose_output "$command"
    done
}

# Expects what is said of a full disk, and no word where nobody reads on.
lose_output() {
    run -74 --separate-stderr bash -c "$1 >/dev/full"
    echo "$1: $stderr"
    [[ $stderr == "${1%% *}: cannot write the output"* ]]
    [ "${#stderr_lines[@]}" -eq 1 ]
    run --separate-stderr bash -c "$1 | :; exit \${PIPESTATUS[0]}"
    [[ $status == @(0|141) ]]
    [[ $stderr != *"cannot write"* ]]
}

@test "terminals that are dumb, and people who want plain text, get no escapes" {
    for plain in 'TERM=dumb' 'TERM=xterm NO_COLOR=1'; do
        for command in 'qdxview good.pull' 'qdxview --help' 'dch --help' 'qfci ping' 'dch-filter nonsense'; do
            run env $plain script -qec "$command" /dev/null </dev/null
            [ -n "$output" ]
            [[ $output != *$'\e'* ]]
        done
    done
    # The library of terminals keeps what it took for one that it doesn't use.
    run -64 env ASAN_OPTIONS=detect_leaks=0 TERM=dumb script -qec 'qdxview --top' /dev/null </dev/null
    [ "${output%$'\r'}" = 'qdxview: no live view on a terminal of type dumb; set TERM, or give --once' ]
    run env TERM=dumb script -qec 'dch -i' /dev/null < <(printf 'filter status\rexit\r')
    [[ $output == *'dch: no collector answers'* && $output != *$'\e'* ]]
}

@test "output that is no terminal gets no escapes" {
    for command in 'qdxview good.pull' 'dch --help' 'dch -i'; do
        run env TERM=xterm NO_COLOR= bash -c "echo filter status | $command 2>&1"
        [ -n "$output" ]
        [[ $output != *$'\e'* ]]
    done
}

# Pulls at a terminal, with variables for its environment, for longer than a person waits without a word.
pull_slowly() {
    env "$@" script -qec 'qfci pull 11 --output pipe' shown </dev/null >/dev/null 3>&- &
    local pull=$! byte
    exec 9<pipe
    read -r -N 1 byte <&9
    sleep 0.6
    cat <&9 >/dev/null
    exec 9<&-
    wait "$pull"
}

@test "a long pull tells how far it is where it may renew a line" {
    local database=$UNIT_ROOT/opt/zelvasw/srv/database/qdx/swdb.cfg
    local load=(--objects 1 --contexts 1 --kinds record --record-size 50000)
    mkdir -p "${database%/*}"
    qdxload "${load[@]}" --list objects.xml
    printf '[qdx]\nenabled = 1\ninfoObjectListFilePath = "%s"\n' "$PWD/objects.xml" >"$database"
    start_collector
    printf 'limit 0\nlist count 20\n' | dch-filter
    qdxload "${load[@]}" --wait --rate 50 --seconds 0.5
    mkfifo pipe

    pull_slowly TERM=xterm NO_COLOR=
    grep -q $'\r\e\\[K  [0-9.]* MB, ' shown
    for plain in TERM=dumb 'TERM=xterm NO_COLOR=1'; do
        # shellcheck disable=SC2086
        pull_slowly $plain
        run ! grep -q $'\e' shown
    done
}
