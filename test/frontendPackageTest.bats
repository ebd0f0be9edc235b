#!/usr/bin/env bats
# The example frontends and control client, built outside the tree with the installed packages, against the installed collector. $BUILD is the
# build directory to install from, $SANITIZE what it was built with.

load support/await
page=$BATS_TEST_DIRNAME/../doc/frontend-authors.md
examples=$BATS_TEST_DIRNAME/../examples/frontend

setup_file() {
    export PREFIX=$BATS_FILE_TMPDIR/prefix OUTSIDE=$BATS_FILE_TMPDIR/outside
    cmake --install "$BUILD" --prefix "$PREFIX" >"$BATS_FILE_TMPDIR/log"
    cp -r "$PREFIX/share/doc/qdxbe/examples/frontend" "$OUTSIDE"
    build_outside "$OUTSIDE"
}

build_outside() {
    cmake -S "$1" -B "$1/build" -DCMAKE_PREFIX_PATH="$PREFIX" \
        -DCMAKE_C_FLAGS="-Wall -Wextra -Wpedantic -Werror ${SANITIZE:+-fsanitize=$SANITIZE}" \
        -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror ${SANITIZE:+-fsanitize=$SANITIZE}"
    cmake --build "$1/build"
}

setup() {
    export UNIT_ROOT=$BATS_TEST_TMPDIR
    database=$UNIT_ROOT/opt/zelvasw/srv/database/qdx/swdb.cfg
    mkdir -p "${database%/*}"
    sed "s|^infoObjectListFilePath = .*|infoObjectListFilePath = '$OUTSIDE/infoObjectList.xml'|" \
        "$PREFIX/share/doc/qdxbe/examples/host/swdb.cfg" >"$database"
    qdxd='' frontend=''
}

teardown() {
    for process in $qdxd $frontend; do
        kill -KILL "$process" 2>/dev/null || true
    done
}

answers() {
    "$PREFIX/bin/dch" filter status >/dev/null 2>&1 || [ $? -ne 69 ]
}

# Starts the collector with a filter for all that the examples report.
start_collector() {
    "$PREFIX/sbin/qdxd" >>"$UNIT_ROOT/qdxd.log" 2>&1 3>&- &
    qdxd=$!
    await answers
    "$PREFIX/bin/dch" fs create limit 0 >"$UNIT_ROOT/created"
    transaction=$(sed 's/Created transaction: //' "$UNIT_ROOT/created")
    "$PREFIX/bin/dch" fs add "$transaction" tags RADIO list count 5
    "$PREFIX/bin/dch" fs add "$transaction" tags TRAFFIC sum count 1 5
    [ "$("$PREFIX/bin/dch" fs commit "$transaction")" = "Filter ID is: 11" ]
}

start_frontend() {
    "$OUTSIDE/build/$1" >"$UNIT_ROOT/out" 2>&1 3>&- &
    frontend=$!
}

# Ends the frontend, which must be content, and has its output in $output.
stop_frontend() {
    kill -TERM "$frontend"
    wait "$frontend"
    frontend=''
    output=$(<"$UNIT_ROOT/out")
}

# What the filter holds, as a table with a row for each series.
pulled() {
    "$PREFIX/bin/dch" filter pull keep 11 | "$PREFIX/bin/qdxview" --ascii --width 120 --catalogue "$OUTSIDE/infoObjectList.xml"
}

shows() {
    pulled 2>/dev/null | grep -qE "$1"
}

is_content() {
    [[ $output =~ ^sent\ [1-9][0-9]*\ batches\;\ dropped\ 0\ without\ a\ collector,\ 0\ to\ a\ slow\ one$ ]]
}

@test "the example in C++ reaches the collector" {
    start_collector
    start_frontend radio
    await shows '^radio:temperature +rfBranch=0 +list count 5 +5 +40\.[0-9]+ .* C'
    shows '^radio:temperature +rfBranch=1 +list count 5 +5 +40\.[0-9]+ .* C'
    shows '^radio:packets +rfBranch=0 +sum count 1 +[1-5] +7'
    shows '^radio:packets +rfBranch=1 +sum count 1 +[1-5] +7'
    shows '^radio:event +carrierId=7 +list count 5 +1 +7 bytes 73746172746564'
    shows '^Radio: radio, serial number S123, hardware KRC1 revision R2B, software CXP1 revision R1A'
    stop_frontend
    is_content
}

@test "the example in C reaches the collector" {
    start_collector
    start_frontend radioInC
    await shows '^radio:temperature +rfBranch=1 +list count 5 +5 +40\.[0-9]+ .* C'
    shows '^radio:packets +rfBranch=1 +sum count 1 +[1-5] +7'
    shows '^radio:event +carrierId=7 +list count 5 +1 +7 bytes 73746172746564'
    shows '^Radio: radio, serial number S123, hardware KRC1 revision R2B, software CXP1 revision R1A'
    stop_frontend
    is_content
}

# The metadata are the other example's: they stay with the collector.
@test "ten lines are enough" {
    start_collector
    start_frontend radio
    await shows '^radio:packets +rfBranch=1'
    stop_frontend
    "$OUTSIDE/build/tenLines"
    shows '^radio:packets +rfBranch=1 +sum count 1 +[1-5] +100 100 100'
}

@test "the example waits for its collector, and goes on with the next one" {
    start_frontend radio
    start_collector
    await shows '^radio:packets'
    kill -TERM "$qdxd"
    wait "$qdxd"
    start_collector
    await shows '^radio:packets'
    stop_frontend
}

@test "the example control client is built with the installed library, and pulls" {
    cp -r "$PREFIX/share/doc/qdxbe/examples/control" "$BATS_TEST_TMPDIR/control"
    build_outside "$BATS_TEST_TMPDIR/control"
    start_collector
    start_frontend radio
    await shows '^radio:packets'
    "$BATS_TEST_TMPDIR/control/build/pullFilter" 11 >"$BATS_TEST_TMPDIR/pull.bin"
    "$PREFIX/bin/qdxview" --format text "$BATS_TEST_TMPDIR/pull.bin" | grep -q 'rfBranch=1 sum count 1 7'
    stop_frontend
}

@test "an example that has no unit says so" {
    for program in radio radioInC; do
        UNIT_ROOT=$UNIT_ROOT/missing run "$OUTSIDE/build/$program"
        [ "$status" -eq 1 ]
        [[ $output == "$program: cannot create the mailbox "* ]]
    done
}

# The block of code of a page that stands under a comment with that file's name.
shown() {
    awk -v mark="<!-- examples/frontend/$1 -->" '
        $0 == mark { marked = 1; next }
        marked && /^```/ { if (inside) exit; inside = 1; next }
        inside { print }' "$page"
}

@test "the page shows the examples as they stand" {
    for example in tenLines.cpp radio.cpp radioInC.c CMakeLists.txt; do
        diff <(shown "$example") "$examples/$example"
    done
}
