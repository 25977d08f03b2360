# What the program tells of its command line, for the scripts beside this file.
# shellcheck shell=sh

# subcommands PROGRAM [ARGUMENT...]
subcommands() {
  "$@" --help | awk '/^Subcommands:/ {inside = 1; next} /^$/ {inside = 0} inside && /^  [a-z]/ {print $1}'
}

# options PROGRAM [ARGUMENT...]: short and long ones, each on a line.
options() {
  "$@" --help | sed -nE 's/^  (-[A-Za-z],)?(--[a-z-]+).*/\1\2/p' | tr ',' '\n'
}

# Every command line: the program itself, its subcommands, and theirs behind an argument. Each is on
# a line, without the program; the first one is empty.
command_lines() {
  echo
  for subcommand in $(subcommands "$1"); do
    echo "$subcommand"
    for inner in $(subcommands "$1" "$subcommand"); do
      echo "$subcommand x $inner"
    done
  done
}
