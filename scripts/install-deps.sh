#!/bin/sh
# Installs the Debian packages that QEL builds and tests with, when missing.
set -eu

packages="build-essential cmake make pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libeigen3-dev libssl-dev libfast-float-dev libmeshoptimizer-dev
  clang clang-format libclang-rt-14-dev clang-16 libclang-rt-16-dev"

missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0

echo "Installing:$missing"
if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# shellcheck disable=SC2086
$sudo apt-get install -y -qq --no-install-recommends $missing
