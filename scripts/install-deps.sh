#!/bin/sh
# Installs the Debian 12 packages the build needs, only those missing.
# Runs as root (apt-get update once); prints nothing when all are present.
set -eu
PKGS="build-essential cmake pkg-config g++ clang libclang-rt-dev \
  googletest libgtest-dev libgmock-dev libbenchmark-dev \
  nlohmann-json3-dev libcli11-dev libhbaapi-dev python3-jsonschema \
  libsystemd-dev libarchive-dev python3-prometheus-client \
  dpkg-dev debhelper fakeroot lintian mandoc groff-base"
missing=""
for p in $PKGS; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: missing Debian packages:$missing" >&2
  echo "install-deps: run as root, or install them with apt-get" >&2
  exit 1
fi
echo "install-deps: installing$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing
