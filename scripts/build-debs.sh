#!/bin/sh
# Builds the Debian packages of this source tree into build/debs: those that packaging/debian/control
# names; imgcnv-web, which takes Emscripten, with --web. Tests are left to scripts/test.sh.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

case $*:$# in
    :0) ;;
    --web:1) export DEB_BUILD_PROFILES="${DEB_BUILD_PROFILES-} pkg.imgcnv.web" ;;
    *) die "usage: scripts/build-debs.sh [--web] [--yes]" ;;
esac

# What packaging/debian/control builds with, except the names that stand for debhelper and dh-python.
needed=$(sed -n '/^Build-Depends:/,/^[A-Z]/s/^ \([a-z0-9.+-]*\).*/\1/p' "$root/packaging/debian/control" |
    grep -v -e '^debhelper-compat$' -e '^dh-sequence-')
case ${DEB_BUILD_PROFILES-} in
    *pkg.imgcnv.web*) ;;
    *) needed=$(say "$needed" | grep -v '^emscripten$') ;;
esac
# shellcheck disable=SC2086 # a list of words
ensure_packages $debs_packages $needed

version=$(version_in <"$root/include/imgcnv.h")
out=$root/build/debs
source=$out/imgcnv-$version
rm -rf "$out"
mkdir -p "$source"
copy_tree "$source"
cp -r "$source/packaging/debian" "$source/debian"
cat >"$source/debian/changelog" <<CHANGELOG
imgcnv ($version-1) unstable; urgency=medium

  * Version $version; CHANGELOG.md has what changed.

 -- The imgcnv authors <imgcnv@example.org>  $(date -R -d "@$(source_date)")
CHANGELOG

say "Building the Debian packages of $version"
cd "$source"
export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-parallel=$(nproc)}"
quietly "$out/build.log" dpkg-buildpackage --build=binary --no-sign

# The one tag left out is for first uploads to Debian, which close a bug there.
lintian --fail-on error,warning --info --suppress-tags initial-upload-closes-no-bugs \
    "$out"/*.changes || die "lintian has complaints"
say "lintian has no complaints"
ls -1 "$out"/*.deb
