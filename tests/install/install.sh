#!/bin/sh
# Installs the build into an empty place and builds a C11 and a C++17 program against it, found
# through the CMake package and through pkg-config, with the shared and the static library.
# Usage: install.sh BUILD-DIRECTORY CONSUMER-DIRECTORY CC CXX FLAGS CMAKE
set -eu
build=$1 consumer=$2 cc=$3 cxx=$4 flags=$5 cmake=$6
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree

"$cmake" --install "$build" --prefix "$tree" > /dev/null
# The tree must not depend on where it was first put.
mv "$tree" "$work/moved"
tree=$work/moved

echo "CMake package"
"$cmake" -S "$consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" > /dev/null
"$cmake" --build "$work/cmake" > /dev/null
for program in c-shared c-static cxx-shared cxx-static; do
  "$work/cmake/$program"
done

echo "pkg-config"
PKG_CONFIG_PATH=$(dirname "$(find "$tree" -name sprig.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046,SC2086
$cc $flags -std=c11 -Wall -Wextra -Wpedantic -Werror "$consumer/program.c" \
  $(pkg-config --cflags --libs sprig sprig-runtime) -o "$work/c-program"
# shellcheck disable=SC2046,SC2086
$cxx $flags -std=c++17 -Wall -Wextra -Wpedantic -Werror "$consumer/program.cpp" \
  $(pkg-config --cflags --libs sprig sprig-runtime) -o "$work/cxx-program"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir sprig)
export LD_LIBRARY_PATH
"$work/c-program"
"$work/cxx-program"
