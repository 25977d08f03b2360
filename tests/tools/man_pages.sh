#!/bin/sh
# Every subcommand has a manual page, which names every option and everything that can be asked for,
# describes no option that is not there, and is formatted without a warning.
# Usage: man_pages.sh PROJECT-DIRECTORY PROGRAM
set -eu
project=$1 program=$2
# shellcheck source=tests/tools/command_line.sh
. "$project/tests/tools/command_line.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
complain() { echo "$*"; failed=1; }

page_of() { echo "$project/docs/man/sprig${1:+-}${1%% *}.1"; }

command_lines "$program" > "$work/lines"
while read -r line; do
  page=$(page_of "$line")
  [ -e "$page" ] || { complain "there is no ${page##*/}"; continue; }
  # shellcheck disable=SC2086
  options "$program" $line > "$work/options"
  cat "$work/options" >> "$work/${page##*/}"
  while read -r option; do
    grep -qE -- "Fl .*${option#-}( |\$)" "$page" || complain "${page##*/} does not name $option"
  done < "$work/options"
  case $line in
    *' x '*) grep -qE "(Cm|\\|) .*${line##* }" "$page" || complain "${page##*/} does not name ${line##* }" ;;
  esac
done < "$work/lines"

for page in "$project"/docs/man/*.1; do
  name=${page##*/}
  [ -e "$work/$name" ] || { complain "$name: there is no such subcommand"; continue; }
  described=$(sed -nE 's/^\.It Fl //; t found; d; :found; s/ Ar .*//; s/ ,//g; p' "$page")
  for option in $described; do
    grep -qx -- "-$option" "$work/$name" || complain "$name: there is no option -$option"
  done
  for section in NAME SYNOPSIS DESCRIPTION ENVIRONMENT 'EXIT STATUS' EXAMPLES; do
    grep -qx "\.Sh $section" "$page" || complain "$name has no section $section"
  done
  warnings=$(groff -ww -z -mandoc -Tutf8 "$page" 2>&1)
  [ -z "$warnings" ] || complain "$name: $warnings"
done
exit $failed
