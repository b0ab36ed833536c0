#!/bin/sh
# 'cmake --install' into a prefix of its own gives a tree that works there:
# the library with its SONAME link, headers and a qorl.pc naming that
# prefix (a C program builds against it with pkg-config and runs), the manual
# pages, and the installed qorsim running the installed mxt and hbaapi-list.
# Usage: test_install.sh BUILD-DIR VERSION
set -u
build=$1 version=$2
tmp=$(mktemp -d) || exit 1
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
passed=0 failed=0
check() {
	if [ "$2" = "$3" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAIL: $1: '$2', want '$3'"; fi
}

cmake --install "$build" --prefix "$prefix" >"$tmp/install.log" 2>&1 || { cat "$tmp/install.log"; exit 1; }
lib=$(dirname "$(find "$prefix" -name "libqorl.so.$version" | head -1)")
check "libqorl.so.1" "$(readlink "$lib/libqorl.so.1")" "libqorl.so.$version"
check "libqorl.so" "$(readlink "$lib/libqorl.so")" "libqorl.so.1"
check "SONAME" "$(objdump -p "$lib/libqorl.so.$version" | sed -n 's/ *SONAME *//p')" "libqorl.so.1"
for page in mxt qorsim hbaapi-list; do
	check "manual page $page.1" "$(test -f "$prefix/share/man/man1/$page.1" && echo yes)" yes
done

export PKG_CONFIG_PATH="$lib/pkgconfig"
check "qorl.pc prefix" "$(pkg-config --variable=prefix qorl)" "$prefix"
check "qorl.pc version" "$(pkg-config --modversion qorl)" "$version"
cat >"$tmp/count.c" <<'C'
#include <stdio.h>
#include <qorl.h>
#include <qorl_adapter.h>
int main(void)
{
	if (qorl_libinit(qor_aen_app_test) != QOR_STATUS_OK || qorl_libload() != QOR_STATUS_OK)
		return 1;
	printf("%d\n", qorl_adapter_scan());
	qorl_libexit();
	return 0;
}
C
# shellcheck disable=SC2046
if cc -std=c11 -Wall -o "$tmp/count" "$tmp/count.c" $(pkg-config --cflags --libs qorl) 2>"$tmp/cc.log"; then
	passed=$((passed + 1))
else
	failed=$((failed + 1))
	echo "FAIL: building against qorl.pc:"
	cat "$tmp/cc.log"
fi

# The installed tools, from the prefix alone (no build tree library on the path).
export HOME=$tmp/home
unset XDG_STATE_HOME QORSIM_TOPOLOGY LD_LIBRARY_PATH LD_PRELOAD
run() { "$prefix/bin/qorsim" --root "$tmp/root" -- "$@" 2>&1; }
check "installed mxt under the installed qorsim" "$(run "$prefix/bin/mxt" adapter list | grep -c QXA2210F001)" 1
check "installed hbaapi-list" "$(run "$prefix/bin/hbaapi-list" | head -1)" "2 adapters"
check "the root's hba.conf names the installed library" \
	"$(sed -n 's/^qorl\t//p' "$tmp/root/etc/hba.conf" | xargs readlink -f)" "$(readlink -f "$lib/libqorl.so.1")"
check "the program built against qorl.pc" "$(LD_LIBRARY_PATH=$lib run "$tmp/count")" 2

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
