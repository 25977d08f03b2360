#!/usr/bin/env bash
# The completion offers every subcommand and every long option, and nothing that is not there.
# Usage: completion.sh PROJECT-DIRECTORY PROGRAM
set -eu
project=$1 program=$2
# shellcheck source=tests/tools/command_line.sh
. "$project/tests/tools/command_line.sh"
# shellcheck source=packaging/completion/sprig.bash
. "$project/packaging/completion/sprig.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0

# What is offered behind these words, of which the last one is begun.
offered() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _sprig
  printf '%s\n' "${COMPREPLY[@]}"
}

# agree TITLE OFFERED WANTED
agree() {
  diff <(sort <<< "$2") <(sort <<< "$3") > difference && return
  echo "$1 (< offered, > wanted)"
  cat difference
  failed=1
}

mapfile -t lines < <(command_lines "$program")
for line in "${lines[@]}"; do
  read -ra words <<< "$line"
  agree "options of sprig $line" "$(offered sprig "${words[@]}" --)" \
    "$(options "$program" "${words[@]}" | grep -- '^--')"
done
for words in '' 'depot x' 'props x'; do
  # shellcheck disable=SC2086
  agree "subcommands of sprig $words" "$(offered sprig $words '')" "$(subcommands "$program" ${words% x})"
done

touch file.props
mkdir distribution
agree 'files' "$(offered sprig props file)" file.props
agree 'directories' "$(offered sprig serve '')" distribution
agree 'a file behind "="' "$(offered sprig pack x --output = file)" file.props
agree 'a directory behind ":"' "$(offered sprig receive --from dir : dist)" distribution
agree 'sources' "$(offered sprig receive --from remote)" $'remote-dir\nremote-dir+cd'
agree 'layouts' "$(offered sprig props x convert --to b)" bare
agree 'no option for a value' "$(offered sprig receive --keep '')" ''
mkdir -p state/sprig/mstat
touch state/sprig/mstat/{one.mds,two.mdf}
XDG_STATE_HOME=$work/state
unset KRT_WORKDIR
agree 'distributions' "$(offered sprig status '')" $'one\ntwo'
exit $failed
