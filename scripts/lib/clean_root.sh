# A Debian system with nothing installed, to run commands in; sourced after common.sh. Takes root
# and debootstrap.

# The suite of this machine, as bookworm, trixie or noble.
own_suite() { (. /etc/os-release && echo "$VERSION_CODENAME"); }

# clean_root_possible: whether this machine can have one; if not, says why.
clean_root_possible() {
    if [ "$(id -u)" != 0 ]; then
        say "a clean system takes root: run this with sudo" >&2
    elif ! command -v debootstrap >/dev/null; then
        say "missing: debootstrap (apt-get install debootstrap)" >&2
    elif ! unshare --mount true 2>/dev/null; then
        say "a clean system needs mounts, which are forbidden here" >&2
    else
        return 0
    fi
    return 1
}

# clean_root_make FOLDER [SUITE]: a new minimal system in FOLDER (anything there is replaced), of
# this machine's suite and with its package sources, or of the suite named. The bootstrapped files
# are kept in build/clean-root-SUITE.tar.
clean_root_make() {
    clean_root_possible || die "there can be no clean system here"
    suite=${2:-$(own_suite)}
    archive=$root/build/clean-root-$suite.tar
    mkdir -p "$root/build"
    clean_root_remove "$1"
    if [ ! -f "$archive" ]; then
        # The mirror this machine itself uses, if it has that suite; else debootstrap's own.
        mirror=
        if [ "$suite" = "$(own_suite)" ] || grep -q '^ID=debian' /etc/os-release; then
            mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $(own_suite)" | head -n 1)
            [ -n "$mirror" ] || die "apt has no package lists: run apt-get update"
        fi
        say "Bootstrapping the suite $suite"
        # shellcheck disable=SC2086 # without a mirror there is no argument
        quietly "$root/build/debootstrap.log" debootstrap --variant=minbase "$suite" "$1" $mirror
        if [ "$suite" = "$(own_suite)" ]; then
            rm -f "$1"/etc/apt/sources.list
            for source in /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
                /etc/apt/sources.list.d/*.sources; do
                [ ! -f "$source" ] || cp "$source" "$1${source}"
            done
        fi
        apt-config dump Acquire >"$1/etc/apt/apt.conf.d/00-as-outside"
        tar -C "$1" -cf "$archive.part" . && mv "$archive.part" "$archive"
        rm -rf --one-file-system "$1"
    fi
    mkdir -p "$1"
    tar -C "$1" -xpf "$archive"
    # The system is thrown away: packages need not wait for the disk.
    mkdir -p "$1/etc/dpkg/dpkg.cfg.d"
    echo force-unsafe-io >"$1/etc/dpkg/dpkg.cfg.d/00-no-sync"
    cp -L /etc/resolv.conf "$1/etc/resolv.conf"
    mount -t proc proc "$1/proc"
    # Terminals of its own, for programs that open one.
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$1/dev/pts"
    ln -sf pts/ptmx "$1/dev/ptmx"
}

# clean_root_share_ccache FOLDER: compiling the same again takes seconds, where this machine has
# ccache.
clean_root_share_ccache() {
    command -v ccache >/dev/null || return 0
    mkdir -p "$1/ccache" "$(ccache --get-config cache_dir)"
    mount --bind "$(ccache --get-config cache_dir)" "$1/ccache"
    clean_root_run "$1" sh -c 'apt-get update && apt-get install -y --no-install-recommends ccache' \
        >"$root/build/clean-root-ccache.log" 2>&1 || die "see $root/build/clean-root-ccache.log"
}

# clean_root_run FOLDER COMMAND...: in the system, with nothing of this environment.
clean_root_run() {
    inside=$1
    shift
    chroot "$inside" /usr/bin/env -i HOME=/root LANG=C.UTF-8 ${CI:+"CI=$CI"} CCACHE_DIR=/ccache \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"
}

clean_root_remove() {
    for mounted in "$1/ccache" "$1/dev/pts" "$1/proc"; do
        if mountpoint -q "$mounted" 2>/dev/null; then umount "$mounted"; fi
    done
    # Should a mount be left after all, what lies in it is not ours to delete.
    rm -rf --one-file-system "$1"
}
