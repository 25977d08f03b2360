#!/bin/sh
# The C and C++ examples of a page of the guide compile as they stand. Those that are whole programs
# also run, each in a directory of its own, and print what the next text block says; a depot that one
# of them opens is empty at the end.
# Usage: guide_examples.sh PAGE PROJECT-DIRECTORY LIBRARY RUNTIME-LIBRARY CC CFLAGS CXX CXXFLAGS
set -eu
page=$1 project=$2 library=$3 runtime=$4 cc=$5 cflags=$6 cxx=$7 cxxflags=$8
work=$(mktemp -d)

# The semaphores outlive their key files, and could then be found no more.
clean_up() {
  for key_file in "$work"/*/*.lk; do
    [ -e "$key_file" ] || continue
    device=$(stat -c %d "$key_file")
    inode=$(stat -c %i "$key_file")
    ipcrm -S $((1 << 24 | (device & 0xff) << 16 | (inode & 0xffff)))
  done
  rm -rf "$work"
}
trap clean_up EXIT

# The fenced blocks, in order: 01.c, 02.text and so on.
awk -v work="$work" '
  /^```/ && file != "" { close(file); file = ""; next }
  /^```/ { file = sprintf("%s/%02d.%s", work, ++count, substr($0, 4)); next }
  file != "" { print > file }' "$project/docs/guide/$page.md"

# compile SOURCE ARGUMENT...
compile() {
  case $1 in
    *.c) compiler="$cc $cflags -std=c11" ;;
    *.cpp) compiler="$cxx $cxxflags -std=c++17" ;;
  esac
  # shellcheck disable=SC2086
  $compiler -Wall -Wextra -Werror -D_FILE_OFFSET_BITS=64 -I"$project/include" "$@"
}

# A part of a program: declarations, or statements like those in a function.
check_part() {
  if grep -q '^#include' "$1"; then
    compile "$1" -fsyntax-only
    return
  fi
  part="$work/part.${1##*.}"
  { echo '#include <sprig/sprig.h>'; echo 'void example(void);'; echo 'void example(void) {'
    cat "$1"; echo '}'; } > "$part"
  compile "$part" -fsyntax-only
}

run_program() {
  compile "$1" "$library" "$runtime" -Wl,-rpath,"$(dirname "$library")" \
    -Wl,-rpath,"$(dirname "$runtime")" -o "$1.program"
  mkdir "$1.run"
  (cd "$1.run" && "$1.program") > "$1.printed"
  [ ! -d "$1.run/depot" ] || [ -z "$(ls "$1.run/depot")" ]
}

programs=0 program=
for block in "$work"/[0-9]*; do
  case $block in
    *.c | *.cpp)
      [ -z "$program" ] || { echo "$page: the guide does not say what a program prints"; exit 1; }
      if grep -q '^int main(' "$block"; then
        run_program "$block"
        program=$block
        programs=$((programs + 1))
      else
        check_part "$block"
      fi ;;
    *.text)
      [ -z "$program" ] || diff "$block" "$program.printed"
      program= ;;
  esac
done
[ "$programs" -gt 0 ] && [ -z "$program" ]
