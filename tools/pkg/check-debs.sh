#!/bin/sh
# Checks the built packages in DIR (default build-deb): their contents,
# lintian, and, unpacked into a scratch directory with dpkg-deb -x, that
# they work from there: mxt under qorsim, the Prometheus output through the
# Prometheus client's parser, a support bundle, and an external C program
# built with pkg-config against the unpacked headers and library. Last, the
# library package's maintainer scripts, installed and removed with dpkg in a
# scratch root: its hba.conf line added once and removed, others untouched.
set -eu
cd "$(dirname "$0")/../.."
dir=${1:-build-deb}
ma=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
arch=$(dpkg-architecture -qDEB_HOST_ARCH)
version=$(sed -n '1s/^qorl (\([^)]*\)).*/\1/p' debian/changelog)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
deb() { echo "$dir/${1}_${version}_$arch.deb"; }
fail() { echo "check-debs: $*" >&2; exit 1; }

echo "== packages and their contents"
for p in libqorl1 libqorl-dev qorl-tools qorl-sim; do
	[ -f "$(deb $p)" ] || fail "$(deb $p) was not built"
	echo "-- $(basename "$(deb $p)")"
	dpkg-deb -f "$(deb $p)" Package Version Architecture Depends
	dpkg-deb -c "$(deb $p)" | awk '{ print "   " $NF }'
done

# The files each package must hold.
holds() {
	pkg=$1
	shift
	list=$(dpkg-deb -c "$(deb "$pkg")" | awk '{ print $6 }')
	for f in "$@"; do
		echo "$list" | grep -qx "\./$f" || fail "$pkg lacks /$f"
	done
}
holds libqorl1 "usr/lib/$ma/libqorl.so.1" "usr/lib/$ma/libqorl.so.1.0.0" usr/libexec/qorl/hba-conf
holds libqorl-dev usr/include/qorl/qorl.h usr/include/qorl/qorl_adapter.h usr/include/qorl/defs/qor_defs_status.h \
	"usr/lib/$ma/libqorl.so" "usr/lib/$ma/pkgconfig/qorl.pc"
holds qorl-tools usr/bin/mxt usr/bin/hbaapi-list usr/share/man/man1/mxt.1.gz usr/share/man/man1/hbaapi-list.1.gz \
	usr/share/bash-completion/completions/mxt \
	lib/systemd/system/qorl-prometheus.service lib/systemd/system/qorl-prometheus.timer \
	lib/systemd/system/qorl-events.service
holds qorl-sim usr/bin/qorsim "usr/lib/$ma/qorl/libqorsim.so" usr/share/man/man1/qorsim.1.gz
dpkg-deb -I "$(deb libqorl1)" symbols | grep -q '^ qorl_adapter_scan@QORL_1 ' || fail "libqorl1 has no symbols file"
dpkg-deb -I "$(deb libqorl1)" shlibs | grep -qx "libqorl 1 libqorl1 (>= $version)" ||
	dpkg-deb -I "$(deb libqorl1)" shlibs
echo "contents as expected"

echo "== lintian"
lintian --fail-on error --info "$dir"/*.changes
echo "lintian: no errors"

echo "== unpacked into $scratch/x"
x=$scratch/x
for p in libqorl1 libqorl-dev qorl-tools qorl-sim; do
	dpkg-deb -x "$(deb $p)" "$x"
done
export LD_LIBRARY_PATH="$x/usr/lib/$ma"
sim() { "$x/usr/bin/qorsim" --root "$scratch/root" -- "$@"; }
for prog in mxt qorsim hbaapi-list; do
	[ "$("$x/usr/bin/$prog" --version)" = "$prog $version" ] || fail "$prog --version is not '$prog $version'"
done
echo "-- qorsim -- mxt ioc list"
sim "$x/usr/bin/mxt" ioc list
[ "$(sim "$x/usr/bin/mxt" --json ioc list | grep -c '"id":')" = 6 ] || fail "mxt ioc list does not list 6 controllers"

echo "-- qorsim -- hbaapi-list (the system's SNIA wrapper loading the unpacked library)"
sim "$x/usr/bin/hbaapi-list" | tee "$scratch/hbaapi.txt" | head -3
[ "$(head -1 "$scratch/hbaapi.txt")" = "2 adapters" ] || fail "hbaapi-list does not list the 2 emulated adapters"

echo "-- qorsim -- mxt stats --prometheus --rports, through the Prometheus client's parser"
sim "$x/usr/bin/mxt" stats --prometheus --rports >"$scratch/stats.prom"
sim "$x/usr/bin/mxt" --json stats --rports >"$scratch/stats.json"
/usr/bin/python3 tests/prometheus_check.py "$scratch/stats.prom" "$scratch/stats.json"

echo "-- qorsim -- mxt report"
sim "$x/usr/bin/mxt" report -o "$scratch/bundle.tar.gz"
tar -tzf "$scratch/bundle.tar.gz" | grep -q '^bundle/versions.json$' || fail "the bundle has no versions.json"

echo "-- an external C program built with pkg-config --cflags --libs qorl"
cat >"$scratch/probe.c" <<'C'
#include <stdio.h>
#include "qorl.h"
#include "qorl_adapter.h"

int main(void)
{
	qorl_libinit(qor_aen_app_mxt);
	qorl_libload();
	int n = qorl_adapter_scan();
	printf("adapters: %d\n", n);
	qorl_libexit();
	return n > 0 ? 0 : 1;
}
C
flags=$(PKG_CONFIG_PATH="$x/usr/lib/$ma/pkgconfig" pkg-config --define-variable=prefix="$x/usr" --cflags --libs qorl)
echo "cc -std=c11 -Wall -Werror probe.c $flags"
# shellcheck disable=SC2086
cc -std=c11 -Wall -Werror -o "$scratch/probe" "$scratch/probe.c" $flags
out=$(sim "$scratch/probe")
echo "$out"
[ "$out" = "adapters: 2" ] || fail "the external program did not find the 2 emulated adapters"

echo "== maintainer scripts: dpkg installs and removes libqorl1 in a scratch root"
r=$scratch/root-dpkg
mkdir -p "$r/etc" "$r/var/lib/dpkg/info" "$r/var/lib/dpkg/updates" "$r/var/lib/dpkg/triggers"
touch "$r/var/lib/dpkg/status" "$r/var/lib/dpkg/available"
printf '# SNIA HBA API vendor libraries\ncom.example.other /usr/lib/libother.so.2\n#debuglevel 3\n' >"$r/etc/hba.conf"
cp "$r/etc/hba.conf" "$scratch/hba.conf.orig"
line="org.qorl.libqorl-$arch /usr/lib/$ma/libqorl.so.1"
dpkgr() { dpkg --root="$r" --force-script-chrootless --force-depends --force-not-root --log=/dev/null "$@" >/dev/null; }
dpkgr -i "$(deb libqorl1)"
{ cat "$scratch/hba.conf.orig"; echo "$line"; } >"$scratch/hba.conf.want"
cmp "$scratch/hba.conf.want" "$r/etc/hba.conf" || fail "install: hba.conf is not the old file plus '$line'"
dpkgr -i "$(deb libqorl1)"
cmp "$scratch/hba.conf.want" "$r/etc/hba.conf" || fail "reinstall changed hba.conf"
dpkgr -r libqorl1
cmp "$scratch/hba.conf.orig" "$r/etc/hba.conf" || fail "removal did not leave hba.conf as it was"
echo "hba.conf: line added on install, kept once on reinstall, removed on removal; other lines untouched"
echo "== packages checked"
