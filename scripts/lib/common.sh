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

# What each part needs, as Debian packages. The names are those of Debian 12, Debian 13 and
# Ubuntu 24.04 alike; scripts/package-names.sh asks apt whether a system knows all of them.
build_packages='cmake ninja-build g++ pkg-config libcli11-dev libdeflate-dev libisal-dev libjpeg-dev libpng-dev libtiff-dev'
test_packages="$build_packages libgtest-dev qemu-user valgrind ffmpeg python3-opencv
    git python3 python3-pytest python3-numpy python3-pil python3-build python3-setuptools python3-wheel mypy
    bash-completion zsh fish libsimde-dev"
clang_packages='clang libclang-rt-dev'
names_packages='clang clang-tidy'
debs_packages="build-essential debhelper dh-python fakeroot lintian python3"
abi_packages="$build_packages abigail-tools"
bench_packages="$build_packages libbenchmark-dev pkg-config"
pictures_packages="$build_packages python3 python3-numpy python3-pil"
quality_packages="$pictures_packages python3-opencv python3-skimage python3-scipy libjxl-testdata"
bench_peers_packages='libopencv-dev libyuv-dev libswscale-dev libdc1394-dev'
gstreamer_packages='libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad python3-gi gir1.2-gst-plugins-base-1.0'
live_packages='libaravis-dev libusb-1.0-0-dev libsdl2-dev xvfb xdotool'
clusters_packages='python3-dask python3-distributed python3-zarr python3-fsspec python3-pil python3-xarray'
web_build_packages='cmake ninja-build emscripten python3'
web_packages="$web_build_packages $build_packages python3-numpy chromium"
arm_packages='g++-aarch64-linux-gnu qemu-user-static googletest'
all_packages="$test_packages $clang_packages $names_packages $debs_packages $abi_packages $bench_packages
    $quality_packages $bench_peers_packages $gstreamer_packages $live_packages $clusters_packages
    $web_packages $arm_packages debootstrap"

# Every script takes --yes: packages that are missing are installed without a question. Here it is
# taken out of the script's arguments, and handed on to scripts that it calls.
for argument in "$@"; do
    shift
    case $argument in
        --yes) export IMGCNV_YES=1 ;;
        *) set -- "$@" "$argument" ;;
    esac
done

# Builds again are quick where ccache is installed.
if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER="${CMAKE_C_COMPILER_LAUNCHER-ccache}"
    export CMAKE_CXX_COMPILER_LAUNCHER="${CMAKE_CXX_COMPILER_LAUNCHER-ccache}"
fi

# Installs those of the named Debian packages that are not there yet. It says which ones first. With
# a terminal it asks, unless --yes was given. Without a terminal root installs them, and any other
# user is told the command.
ensure_packages() {
    missing=
    for package in "$@"; do
        package_installed "$package" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    command -v apt-get >/dev/null ||
        die "missing:$missing, and there is no apt-get to install them with.
Install these Debian packages, or what your system calls them, and run this again."
    as_root=
    [ "$(id -u)" = 0 ] || as_root=sudo
    say "These packages are needed and not installed:$missing" >&2
    if [ -n "$as_root" ] && ! command -v sudo >/dev/null; then
        as_root=
        refuse_to_install 'there is no sudo: become root'
    elif [ -n "${IMGCNV_YES-}" ]; then
        : # was answered by --yes
    elif [ -t 0 ] && [ -t 2 ]; then
        printf 'Install them now%s? [Y/n] ' "${as_root:+ with sudo}" >&2
        read -r answer || answer=n
        case $answer in '' | [Yy]*) ;; *) refuse_to_install 'nothing was installed' ;; esac
    elif [ -n "$as_root" ]; then
        refuse_to_install 'there is no terminal to ask on (--yes installs without asking)'
    fi
    say "Installing them from the distribution" >&2
    mkdir -p "$root/build"
    quietly "$root/build/apt-update.log" apt_get update
    # shellcheck disable=SC2086 # a list of words
    quietly "$root/build/apt-install.log" apt_get install --no-install-recommends $missing
}

refuse_to_install() {
    die "$1. Run

    ${as_root:+sudo }apt-get update && ${as_root:+sudo }apt-get install --no-install-recommends$missing

and then this again."
}

apt_get() {
    # Without a terminal sudo must not wait for a password that nobody can give.
    [ "$as_root" != sudo ] || [ -t 0 ] || as_root='sudo -n'
    # shellcheck disable=SC2086 # $as_root is a command prefix or nothing
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -q \
        -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "$@"
}

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
