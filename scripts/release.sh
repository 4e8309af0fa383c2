#!/bin/sh
# Makes the source tarball of the last commit, dist/imgcnv-VERSION.tar.gz, and proves that it builds
# and passes the tests from inside itself. The same commit always gives the same bytes. From the
# tarball it makes the viewer, dist/imgcnv-VERSION-viewer.html. Arguments go to scripts/test.sh.
# docs/release.md has the whole list.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
[ -e "$root/.git" ] || die "a release is made from a git clone"

cd "$root"
[ -z "$(git status --porcelain --untracked-files=no)" ] ||
    say "Note: changes that are not committed are not in the tarball."
version=$(git show HEAD:include/imgcnv.h | version_in)
name=imgcnv-$version
mkdir -p dist
git archive --format=tar --prefix="$name/" HEAD | gzip -9 -n >"dist/$name.tar.gz"

unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
tar -C "$unpacked" -xzf "dist/$name.tar.gz"
say "Testing the tarball from inside itself"
"$unpacked/$name/scripts/test.sh" "$@"
"$unpacked/$name/scripts/build-web.sh"
cp "$unpacked/$name/dist/viewer.html" "dist/$name-viewer.html"

say ""
(cd dist && sha256sum "$name.tar.gz" "$name-viewer.html")
