#!/bin/sh
# The C program in the guide to the depot compiles as it stands and prints what the guide says.
# Usage: depot_guide.sh PROJECT-DIRECTORY LIBRARY RUNTIME-LIBRARY CC FLAGS
set -eu
project=$1 library=$2 runtime=$3 cc=$4 flags=$5
work=$(mktemp -d)

# The semaphores outlive their key files, and could then be found no more.
clean_up() {
  for key_file in "$work"/run/*.lk; do
    [ -e "$key_file" ] || continue
    device=$(stat -c %d "$key_file")
    inode=$(stat -c %i "$key_file")
    ipcrm -S $((1 << 24 | (device & 0xff) << 16 | (inode & 0xffff)))
  done
  rm -rf "$work"
}
trap clean_up EXIT

block() {
  sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$project/docs/guide/depot.md" | grep -v '^```'
}

block c > "$work/receive.c"
block text > "$work/expected"
# shellcheck disable=SC2086
$cc $flags -std=c11 -Wall -Wextra -Werror -I"$project/include" "$work/receive.c" "$library" \
  "$runtime" -Wl,-rpath,"$(dirname "$library")" -Wl,-rpath,"$(dirname "$runtime")" \
  -o "$work/receive"
mkdir "$work/run"
cd "$work/run"
../receive > ../printed
diff ../expected ../printed
[ -z "$(ls depot)" ]
