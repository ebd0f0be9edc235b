#!/usr/bin/env bats
# The packages in build/package, in a Debian that holds nothing else: each test goes on where the one before it ended. What is
# typed are the commands of doc/installing.md.

bats_require_minimum_version 1.5.0
load ../support/await
load debianRoot
cd "$BATS_TEST_DIRNAME/../.."
root=$PWD/build/package-test/root
page=$PWD/doc/installing.md

setup_file() {
    echo "# making the Debian, $([ -f "$root.tar.zst" ] && echo again || echo for the first time)" >&3
    make_debian_root "$root" "$root.tar.zst"
    inside apt-get update -q
    inside useradd --create-home anna
    cp build/package/*.deb "$root/root"
}

teardown_file() {
    umount --quiet "$root/proc" "$root/sys" || true
    rm -rf --one-file-system "$root"
}

# --- what tests are written in --------------------------------------------------------------------

clean=(env --ignore-environment PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive)

# A command in the root, in the home of its root or of anna.
inside() { "${clean[@]}" HOME=/root chroot "$root" sh -c 'cd && exec "$@"' sh "$@" 3>&-; }
as_anna() { inside env HOME=/home/anna runuser -u anna -- sh -c 'cd && exec "$@"' sh "$@"; }

# page_says HEADING: the commands that stand under that heading of the page.
page_says() {
    awk -v heading="$1" '
        /^##/ { there = $0 ~ "^##+ " heading "$" }
        /^```/ { shell = $0 == "```sh-long"; next }
        there && shell' "$page" | grep .
}

# type_page inside|as_anna HEADING
type_page() {
    local commands
    commands=$(page_says "$2")
    "$1" sh -exc "$commands"
}

in_unit() { sed -n "s/^$1=//p" "$root/usr/lib/systemd/system/qdxd.service"; }

answers() {
    inside dch filter status >/dev/null 2>&1 || [ $? -ne 69 ]
}

# start COMMAND: the collector, by a command for the root's shell that becomes it.
start() {
    "${clean[@]}" chroot "$root" sh -c "exec $1" >"$BATS_TEST_TMPDIR/qdxd.log" 2>&1 3>&- &
    collector=$!
    await answers
}

# As systemd would.
start_service() {
    start "setpriv --reuid=$(in_unit User) --regid=$(in_unit Group) --clear-groups $(in_unit ExecStart)"
}

stop() {
    kill -TERM "$collector"
    wait "$collector"
    collector=''
}

setup() { collector=''; }

teardown() {
    [ -z "$collector" ] || kill -KILL "$collector" || true
}

# What apt would install besides what is named, which are this project's packages, as patterns, and some of Debian's.
dependencies_of() {
    inside sh -c "apt-get install --simulate $*" | sed -n 's/^Inst \([^ ]*\).*/\1/p' | grep -v '^qdx-'
}

# Each file of the root with its owner, its mode and the content of what is in etc. Left out is what apt and dpkg keep of their
# own work, the copies kept of the files of users, the linker's cache, and systemctl's mark of when units changed.
contents() {
    (
        cd "$root"
        find . -xdev \( -path ./var/lib/apt -o -path ./var/cache/apt -o -path ./var/log/apt -o -path ./var/log/dpkg.log \
            -o -path './var/lib/dpkg/*-old' -o -path './etc/*-' -o -path ./etc/ld.so.cache \
            -o -path ./var/cache/ldconfig/aux-cache -o -path ./run/systemd/systemd-units-load \) -prune -o -printf '%p %M %U %G %l\n'
        find etc -type f ! -name '*-' ! -name ld.so.cache -exec sha256sum {} +
    ) | sort
}

leaves_no_trace() { diff "$BATS_FILE_TMPDIR/before" <(contents); }

# --- tests ----------------------------------------------------------------------------------------

@test "lintian finds neither errors nor warnings" {
    lintian --fail-on error,warning build/package/*.deb
}

# One that no component has would be missing without a word.
@test "each file that is installed is in one of the packages" {
    DESTDIR=$BATS_TEST_TMPDIR/all cmake --install build/package >/dev/null
    diff <(cd "$BATS_TEST_TMPDIR/all" && find . ! -type d | sort) <(
        for package in build/package/*.deb; do
            dpkg-deb --fsys-tarfile $package | tar -t
        done | grep -v -e '/$' -e /doc/qdx- -e /lintian/ | sed '/\/man\//s/\.gz$//' | sort)
}

@test "collector and tools install with nothing but their dependencies" {
    dependencies=$(dependencies_of './qdx-collector_*.deb' './qdx-tools_*.deb')
    inside apt-get install $dependencies
    contents >"$BATS_FILE_TMPDIR/before"
    type_page inside "Install"
    [ -z "$(inside dpkg --audit)" ]
}

@test "every program tells its version and has a manual page" {
    for program in qdxd dch rodc dch-filter hostfe qdxview qfci qdx-replay; do
        [[ $(inside $program --version) == "$program 0".* ]]
        inside sh -c "zcat /usr/share/man/man[18]/$program.[18].gz" | grep -q '^\.Sh NAME'
    done
}

@test "the service has its user, its groups, its folders, and is enabled" {
    [[ $(inside getent passwd qdx) == qdx:*:/usr/sbin/nologin ]]
    inside getent group qdxop
    [ "$(inside stat -c '%U %G %a' /run/ozo/mbox)" = "qdx qdx 3770" ]
    [ "$(inside stat -c '%U %G %a' /run/tessel)" = "qdx qdxop 2750" ]
    inside systemctl is-enabled qdxd
    inside systemd-analyze verify --man=no qdxd.service
}

@test "apt removes the collector for the other dch" {
    inside apt-get install --simulate devscripts | grep '^Remv qdx-collector '
}

@test "a collector without configuration says that it is disabled" {
    start "$(page_says "Without systemd")"
    run inside dch filter status
    [ "$output" = "Since data collection is disabled, the functionality for this command is disabled." ]
    stop
}

@test "a collector with the example lets nobody in but the groups" {
    type_page inside "Configure"
    start_service
    run as_anna dch filter status
    [[ $status -eq 69 && $output == *"Permission denied"* ]]
    run as_anna qfci ping
    [[ $status -ne 0 && $output == *"Permission denied"* ]]
    type_page inside "Let people in"
    [ "$(as_anna dch filter status)" = "No filters found" ]
    as_anna qfci ping
    stop
}

@test "it collects from the machine, for operators and control clients" {
    start_service
    run --separate-stderr type_page as_anna "Try it"
    [ "$status" -eq 0 ]
    grep -E '^host:cpu:[a-z]+ +deviceId=0 +average count 10 +[1-9]' <<<"$output"
    as_anna qdxview --format text pull.bin >"$BATS_TEST_TMPDIR/pull.txt"
    grep -q . "$BATS_TEST_TMPDIR/pull.txt"
    rm "$root/home/anna/pull.bin"
    stop
}

@test "an upgrade leaves a service disabled that the administrator has disabled" {
    inside systemctl disable qdxd
    inside sh -c 'apt-get install --reinstall ./qdx-collector_*.deb'
    run ! inside systemctl is-enabled qdxd
}

@test "collector and tools leave no trace" {
    type_page inside "Remove"
    leaves_no_trace
}

@test "the development files install with nothing but their dependencies and a compiler" {
    words=$(page_says "Build frontends")
    dependencies=$(dependencies_of "${words#apt-get install}")
    inside apt-get install $dependencies
    contents >"$BATS_FILE_TMPDIR/before"
    type_page inside "Build frontends"
    type_page inside "Install"
}

# run_frontend PROGRAM: until the collector holds five of its samples; it must be content.
run_frontend() {
    run as_anna timeout 60 sh -c "frontend/build/$1 &
        until dch filter pull keep 11 | qdxview | grep -E 'list count 5 +5 '; do sleep 0.1; done >/dev/null 2>&1
        kill \$! && wait \$!"
    [ "$status" -eq 0 ]
    [[ $output =~ ^sent\ [1-9][0-9]*\ batches\;\ dropped\ 0\ without\ a\ collector,\ 0\ to\ a\ slow\ one$ ]]
}

@test "frontends in C++ and C are built with them and reach the collector" {
    type_page inside "Let people in"
    type_page inside "Configure"
    sed -i 's|examples/host|examples/frontend|' "$root/opt/zelvasw/srv/database/qdx/swdb.cfg"
    type_page as_anna "The example frontends"
    start_service
    as_anna sh -c 'printf "%s\n" "limit 0" "tags RADIO list count 5" "tags TRAFFIC sum count 1 5" | dch-filter -'
    for program in radio radioInC; do
        run_frontend $program
        pulled=$(as_anna sh -c "dch filter pull clear 11 |
            qdxview --ascii --catalogue /usr/share/doc/qdxbe/examples/frontend/infoObjectList.xml")
        grep -E '^radio:temperature +rfBranch=1 +list count 5 +5 +40\.' <<<"$pulled"
        grep -E '^radio:packets +rfBranch=1 +sum count 1 +[1-5] +7' <<<"$pulled"
    done
    stop
}

@test "a control client is built with them and pulls" {
    as_anna sh -exc 'cp -r /usr/share/doc/qdxbe/examples/control .
        cmake -S control -B control/build
        cmake --build control/build'
    start_service
    as_anna sh -c 'printf "%s\n" "limit 0" "tags TRAFFIC list count 5" | dch-filter -'
    run_frontend radio
    as_anna sh -c 'control/build/pullFilter 11 >pull.bin'
    as_anna qdxview --format text pull.bin | grep 'rfBranch=1 list count 5 7'
    rm "$root/home/anna/pull.bin"
    stop
}

@test "all of them leave no trace, even if a collector was left running" {
    start_service
    inside apt-get purge qdx-frontend-dev
    type_page inside "Remove"
    rm -r "$root/home/anna/frontend" "$root/home/anna/control"
    stop
    leaves_no_trace
}
