#!/bin/sh
# The C program in the README compiles as it stands and does what it says.
# Usage: readme.sh PROJECT-DIRECTORY LIBRARY RUNTIME-LIBRARY CC FLAGS
set -eu
project=$1 library=$2 runtime=$3 cc=$4 flags=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed -n '/^```c$/,/^```$/p' "$project/README.md" | grep -v '^```' > "$work/note.c"
cd "$work"
# shellcheck disable=SC2086
$cc $flags -std=c11 -Wall -Wextra -Werror -D_FILE_OFFSET_BITS=64 -I"$project/include" note.c "$library" "$runtime" \
  -Wl,-rpath,"$(dirname "$library")" -Wl,-rpath,"$(dirname "$runtime")" -o note
./note
grep -qx 'from the portable runtime' note.txt
