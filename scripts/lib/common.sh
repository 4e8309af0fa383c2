# Shared by the scripts of this folder; sourced, POSIX sh.
#
# Before sourcing, a script sets `root` to the top of the source tree.
# shellcheck disable=SC2154,SC2034

say() { printf '%s\n' "$*"; }

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

package_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Runs a command with its output kept in a file, which is shown when it fails.
quietly() {
    log=$1
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        die "failed: $* (all of its output: $log)"
    fi
}

apt_get() {
    # shellcheck disable=SC2086 # $as_root is a command prefix or nothing
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -q \
        -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "$@"
}

# Installs those of the named Debian packages that are not there yet, which
# takes root or a sudo that asks for no password.
ensure_packages() {
    missing=
    for package in "$@"; do
        package_installed "$package" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    command -v apt-get >/dev/null ||
        die "missing:$missing, and there is no apt-get to install them with.
Install these Debian packages, or what your system calls them, and run this again."
    if [ "$(id -u)" = 0 ]; then
        as_root=
    elif sudo -n true 2>/dev/null; then
        as_root='sudo -n'
    else
        die "missing:$missing, and this user may not install packages. Run

    sudo apt-get update && sudo apt-get install --no-install-recommends$missing

and then this again."
    fi
    say "Installing from Debian:$missing"
    mkdir -p "$root/build"
    quietly "$root/build/apt-update.log" apt_get update
    # shellcheck disable=SC2086 # a list of words
    quietly "$root/build/apt-install.log" apt_get install --no-install-recommends $missing
}

# What building the library and the command takes, and what the tests take on top.
build_packages='cmake ninja-build g++ libcli11-dev libpng-dev libtiff-dev'
test_packages="$build_packages libgtest-dev pkg-config qemu-user
    git python3 python3-pytest python3-numpy python3-pil python3-build python3-setuptools python3-wheel mypy"

# configure_and_build CMAKE_ARGUMENT...: the release preset, into build/release. Without the tests,
# which need more than build_packages, unless an argument says otherwise.
configure_and_build() {
    mkdir -p "$root/build"
    cd "$root"
    say "Building (Release) in build/release"
    quietly build/configure.log cmake --preset release -DIMGCNV_BUILD_TESTS=OFF "$@"
    quietly build/build.log cmake --build --preset release
}

# The version that imgcnv.h, given on standard input, states.
version_in() {
    sed -n 's/^#define IMGCNV_VERSION_[A-Z]* \([0-9]*\)$/\1/p' | paste -s -d . -
}

# When the sources were made, in seconds since 1970: the last commit, or what a release tarball says.
source_date() {
    if [ -e "$root/.git" ]; then
        git -C "$root" log -1 --format=%ct
    else
        stat -c %Y "$root/CHANGELOG.md"
    fi
}

# copy_tree FOLDER: the sources as they lie here, without what git does not keep.
copy_tree() {
    if [ -e "$root/.git" ]; then
        git -C "$root" ls-files -z | tar -C "$root" --null -T - -cf - | tar -C "$1" -xf -
    else
        tar -C "$root" --exclude=./build --exclude=./dist -cf - . | tar -C "$1" -xf -
    fi
}
