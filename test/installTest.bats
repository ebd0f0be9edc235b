#!/usr/bin/env bats
# An installed system, in a folder of the test's own. $BUILD is the build directory to install from.

load support/await

setup_file() {
    export PREFIX=$BATS_FILE_TMPDIR/prefix
    cmake --install "$BUILD" --prefix "$PREFIX" >"$BATS_FILE_TMPDIR/log"
}

setup() {
    export UNIT_ROOT=$BATS_TEST_TMPDIR
    qdxd=
}

teardown() {
    [ -z "$qdxd" ] || kill -KILL "$qdxd" 2>/dev/null || true
}

answers() {
    status=0
    output=$("$PREFIX/bin/dch" filter status 2>&1) || status=$?
    [ $status -ne 69 ]
}

@test "the installed daemon finds the installed library" {
    database=$UNIT_ROOT/opt/zelvasw/srv/database/qdx/swdb.cfg
    list=$PREFIX/share/doc/qdxbe/examples/host/infoObjectList.xml
    mkdir -p "${database%/*}"
    # It names the list in the folder that was configured for the installation.
    grep -qx 'infoObjectListFilePath = "/.*/share/doc/qdxbe/examples/host/infoObjectList.xml"' \
        "$PREFIX/share/doc/qdxbe/examples/host/swdb.cfg"
    sed "s|\"/.*/share|\"$PREFIX/share|" "$PREFIX/share/doc/qdxbe/examples/host/swdb.cfg" >"$database"
    "$PREFIX/sbin/qdxd" >"$UNIT_ROOT/log" 2>&1 3>&- &
    qdxd=$!
    await answers
    [ "$output" = "No filters found" ]
    [ -f "$list" ]
    library=$(find "$PREFIX" -name libqdxbe.so)
    grep -q "$library" "/proc/$qdxd/maps"
    kill -TERM "$qdxd"
    wait "$qdxd"
    qdxd=
}

@test "the trace provider stands beside the library" {
    library=$(find "$PREFIX" -name libqdxbe.so)
    [ -f "${library%/*}/libqdxbe_lttng.so" ]
}

programs=(bin/dch bin/rodc bin/dch-filter bin/hostfe bin/qdx-replay bin/qdxview bin/qfci sbin/qdxd)

@test "every installed program tells its version, and has a manual page" {
    for program in "${programs[@]}"; do
        run "$PREFIX/$program" --version
        [ "$status" -eq 0 ]
        [[ $output == "${program#*/} "[0-9]* ]]
        mandoc -T lint -W error "$PREFIX"/share/man/man*/"${program#*/}".[18]
    done
}

@test "the files and languages have manual pages" {
    for page in qdx-database.5 qdx-filter.5 qdx-objects.5 qdx-output.5 qdx-capture.7; do
        mandoc -T lint -W error "$PREFIX/share/man/man${page#*.}/$page"
    done
}

@test "the completions are installed where each shell looks for that of a program" {
    for program in "${programs[@]##*/}"; do
        run bash --norc -c "source '$PREFIX/share/bash-completion/completions/$program' && complete -p $program"
        [ "$status" -eq 0 ]
        [[ $output == "complete -F _"*" $program" ]]
        run zsh -f -c "fpath=('$PREFIX/share/zsh/vendor-completions' \$fpath); autoload -Uz compinit; compinit -u -D
            print \${_patcomps[$program]-\$_comps[$program]}"
        [[ $program == rodc || $output == "_$program" ]]
        [[ $program != rodc || $output == _dch ]]
    done
}

@test "the schemas that decode a pull and its records are installed" {
    protoc -I "$PREFIX/share/qdxbe" --descriptor_set_out=/dev/null InfoObjectCollections.proto carrierEvent.proto \
        registerInfo.proto
}

@test "the service starts the installed daemon as its user, in folders that are laid for that user" {
    grep -qx "ExecStart=.*/sbin/qdxd" "$PREFIX/lib/systemd/system/qdxd.service"
    ! grep -q @ "$PREFIX/lib/systemd/system/qdxd.service"
    user=$(sed -n 's/^User=//p' "$PREFIX/lib/systemd/system/qdxd.service")
    mkdir "$UNIT_ROOT/etc"
    systemd-sysusers --root="$UNIT_ROOT" "$PREFIX/lib/sysusers.d/qdx.conf"
    grep -q "^$user:" "$UNIT_ROOT/etc/passwd"
    for folder in /run/ozo /run/tessel; do
        grep -qE "^d +$folder +[0-9]+ $user " "$PREFIX/lib/tmpfiles.d/qdx.conf"
        grep -qE "^ReadWritePaths=.*$folder\>" "$PREFIX/lib/systemd/system/qdxd.service"
    done
}

# Who follows a page has no sources: what is linked and what the commands read is installed with it.
@test "the pages are installed, with what they link to and the examples that their commands name" {
    local documents=$PREFIX/share/doc/qdxbe
    for page in installing operators capture-language trouble-shooting frontend-authors control-clients report; do
        [ -f "$documents/pages/$page.md" ]
    done
    for page in "$documents"/pages/*.md; do
        for target in $(grep -o ']([^)]*)' "$page" | sed 's/^](//; s/)$//; s/#.*//' | grep -E '[.](md|svg|png|cpp)$'); do
            [ -e "$documents/pages/$target" ] || { echo "${page##*/} links to $target"; return 1; }
        done
    done
    for page in operators capture-language control-clients report; do
        for example in $(grep -E '^\$|^ +dch' "$documents/pages/$page.md" | grep -oE 'examples/[a-zA-Z/.]+'); do
            [ -e "$documents/$example" ] || { echo "$page.md reads $example"; return 1; }
        done
    done
}
