#!/bin/sh
# Installs what is missing (Debian 12), builds the library and runs all of its tests.
set -eu
cd "$(dirname "$0")"

scripts/install-packages.sh g++ make cmake googletest doxygen pkg-config \
  libcli11-dev nlohmann-json3-dev libssl-dev groff-base
cmake --preset release
cmake --build --preset release --parallel "$(nproc)"
ctest --preset release --parallel "$(nproc)" "$@"
