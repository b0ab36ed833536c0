#!/bin/sh
# Builds the Debian packages with dpkg-buildpackage in a copy of the tree
# under OUT (default build-deb), so that its results stay there and not in
# the tree's parent directory. The packages end in OUT; the copy's build
# directory is removed, so that nothing can find the build tree later.
set -eu
cd "$(dirname "$0")/../.."
out=${1:-build-deb}
version=$(sed -n '1s/^qorl (\([^)]*\)).*/\1/p' debian/changelog)
[ -n "$version" ] || { echo "build-debs: no version in debian/changelog" >&2; exit 1; }
src=$out/qorl-$version
rm -rf "$out"
mkdir -p "$src"
tar -cf - --exclude='./build*' --exclude='./.git' --exclude='./fuzz-corpus-run' --exclude="./$out" . |
	tar -xf - -C "$src"
(cd "$src" && dpkg-buildpackage -us -uc -b -j"${JOBS:-$(nproc)}")
rm -rf "$src"
ls -1 "$out"/*.deb
