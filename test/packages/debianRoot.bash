# A Debian of this machine's release in a folder, with as little in it as Debian allows, and its packages from the mirror that
# this machine's apt uses. What is mounted in it stays for the mount namespace to end.

# debian_sources: the lines of a sources.list for Debian's own packages, as apt is configured here.
debian_sources() {
    apt-get indextargets --format '$(ORIGIN) $(REPO_URI) $(CODENAME) $(COMPONENT)' 'Identifier: Packages' |
        sed -n 's/^Debian /deb /p' | sort -u
}

# make_debian_root FOLDER CACHE: anew, from the file CACHE if there is one.
make_debian_root() {
    local root=$1 cache=$2 mirror codename
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(debian_sources | awk -v codename="$codename" '$3 == codename && $4 == "main" { print $2; exit }')
    if [ -z "$mirror" ]; then
        echo "apt knows no mirror of Debian $codename here; mend its sources and run apt-get update" >&2
        return 1
    fi
    rm -rf "$root"
    mkdir -p "$root"
    if [ ! -f "$cache" ]; then
        if ! debootstrap --variant=minbase "$codename" "$root" "$mirror" >"$root.log" 2>&1; then
            tail -n 5 "$root.log" >&2
            echo "debootstrap cannot make a Debian $codename here; $root.log tells more" >&2
            return 1
        fi
        tar -C "$root" --zstd -cf "$cache.part" .
        mv "$cache.part" "$cache"
    else
        tar -C "$root" --zstd -xpf "$cache"
    fi
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    debian_sources >"$root/etc/apt/sources.list"
    configure_apt >"$root/etc/apt/apt.conf.d/test"
    # An abandoned folder needs no care for power cuts.
    echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/test"
    mount -t proc proc "$root/proc"
    mount -t sysfs -o ro sysfs "$root/sys"
}

configure_apt() {
    echo 'APT::Get::Assume-Yes "true"; APT::Install-Recommends "false"; Dpkg::Use-Pty "false";'
    echo 'Acquire::Languages "none";'
    apt-config dump Acquire::http::Proxy Acquire::https::Proxy
}
