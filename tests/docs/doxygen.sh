#!/bin/sh
# Everything in the public headers is documented, parameters and results included.
# Usage: doxygen.sh DOCS-DIRECTORY
set -eu
cd "$1"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
{
  cat Doxyfile
  echo "OUTPUT_DIRECTORY = $out"
} | doxygen -
