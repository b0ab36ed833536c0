#!/bin/sh
# One version everywhere: the project's (CMake) names the packages
# (debian/changelog), qorl.pc, the library file, the manual pages and every
# program's --version.
# Usage: test_version.sh SOURCE-DIR BUILD-DIR VERSION
set -u
src=$1 build=$2 version=$3
passed=0 failed=0
check() {
	if [ "$2" = "$3" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAIL: $1: '$2', want '$3'"; fi
}

changelog=$(sed -n '1s/^qorl (\([^)]*\)).*/\1/p' "$src/debian/changelog")
check "debian/changelog's latest version (without a Debian revision)" "${changelog%-*}" "$version"
check "qorl.pc" "$(sed -n 's/^Version: //p' "$build/qorl.pc")" "$version"
check "the library file" "$(basename "$(readlink -f "$build/libqorl.so")")" "libqorl.so.$version"
check "mxt --version" "$("$build/mxt" --version)" "mxt $version"
check "qorsim --version" "$("$build/qorsim" --version)" "qorsim $version"
for page in mxt qorsim hbaapi-list; do
	check "docs/$page.1's source" "$(sed -n '1s/^\.TH [^ ]* [0-9]* "[^"]*" "\([^"]*\)".*/\1/p' "$src/docs/$page.1")" "qorl $version"
done
if [ -x "$build/hbaapi-list" ]; then
	check "hbaapi-list --version" "$("$build/hbaapi-list" --version)" "hbaapi-list $version"
fi

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
