#!/bin/sh
# Installs those of the named Debian packages that are missing. Usage: install-packages.sh PACKAGE...
set -eu

missing=
for package in "$@"; do
  status=$(dpkg-query -W -f '${Status}' "$package" 2> /dev/null || true)
  [ "$status" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
[ "$(id -u)" -eq 0 ] || as_root=sudo
echo "Installing:$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get -qq update
# shellcheck disable=SC2086
$as_root apt-get -qq install -y --no-install-recommends $missing > /dev/null
