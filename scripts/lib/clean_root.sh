# A Debian system with nothing installed, to run commands in; sourced after common.sh. Takes root
# and debootstrap.

# clean_root_make FOLDER: a new minimal system in FOLDER (anything there is replaced), with this
# machine's package sources. The bootstrapped files are kept in build/clean-root.tar.
clean_root_make() {
    [ "$(id -u)" = 0 ] || die "a clean system takes root: run this with sudo"
    command -v debootstrap >/dev/null || die "missing: debootstrap (apt-get install debootstrap)"
    archive=$root/build/clean-root.tar
    mkdir -p "$root/build"
    if [ ! -f "$archive" ]; then
        # The suite and mirror this machine itself uses.
        suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
        mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $suite" | head -n 1)
        [ -n "$mirror" ] || die "apt has no package lists of $suite: run apt-get update"
        say "Bootstrapping Debian $suite"
        rm -rf "$1"
        quietly "$root/build/debootstrap.log" \
            debootstrap --variant=minbase "$suite" "$1" "$mirror"
        rm -f "$1"/etc/apt/sources.list
        for source in /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
            /etc/apt/sources.list.d/*.sources; do
            [ ! -f "$source" ] || cp "$source" "$1${source}"
        done
        apt-config dump Acquire >"$1/etc/apt/apt.conf.d/00-as-outside"
        tar -C "$1" -cf "$archive.part" . && mv "$archive.part" "$archive"
    fi
    clean_root_remove "$1"
    mkdir -p "$1"
    tar -C "$1" -xpf "$archive"
    cp -L /etc/resolv.conf "$1/etc/resolv.conf"
    mount -t proc proc "$1/proc"
    # Terminals of its own, for programs that open one.
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$1/dev/pts"
    ln -sf pts/ptmx "$1/dev/ptmx"
}

# clean_root_run FOLDER COMMAND...: in the system, with nothing of this environment.
clean_root_run() {
    inside=$1
    shift
    chroot "$inside" /usr/bin/env -i HOME=/root LANG=C.UTF-8 \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"
}

clean_root_remove() {
    for mounted in "$1/dev/pts" "$1/proc"; do
        if mountpoint -q "$mounted" 2>/dev/null; then umount "$mounted"; fi
    done
    # Should a mount be left after all, what lies in it is not ours to delete.
    rm -rf --one-file-system "$1"
}
