# Completion of `sprig` for bash.

# The options of a subcommand, or of what a depot or a property list is asked for.
_sprig_options() {
  case $1 in
    sprig) echo --help --version ;;
    pack) echo --help --output --id --segment-size --json ;;
    serve) echo --help --listen --receivers --count --session --json ;;
    receive)
      echo --help --into --from --distribution --depot --no-depot --depot-limit --keep --stall \
        --session --json --quiet
      ;;
    send) echo --help --to --offset --session --json ;;
    collect) echo --help --output --listen --buffer --limit --session --json ;;
    pause | cancel) echo --help --json ;;
    status) echo --help --watch --json ;;
    depot | props) echo --help ;;
    'depot describe' | 'depot show' | 'depot df' | 'depot expire' | 'depot help') echo --help --json ;;
    'depot list') echo --help --long --json ;;
    'depot add') echo --help --keep --json ;;
    'depot delete' | 'depot purge') echo --help --force --json ;;
    'depot verify') echo --help --repair --json ;;
    'props show' | 'props match') echo --help --layout --json ;;
    'props set') echo --help --type --layout --json ;;
    'props convert') echo --help --output --to --layout --json ;;
  esac
}

# What may be given first.
_sprig_subcommands() {
  case $1 in
    sprig) echo pack serve receive send collect pause cancel status depot props ;;
    depot) echo describe list show add delete purge expire verify df help ;;
    props) echo show set convert match ;;
  esac
}

# The distributions that status files tell of.
_sprig_distributions() {
  local file
  for file in "${KRT_WORKDIR:-${XDG_STATE_HOME:-$HOME/.local/state}/sprig}"/mstat/*.md[sf]; do
    file=${file##*/}
    [ "$file" = '*.md[sf]' ] || echo "${file%.*}"
  done
}

# The values of a subcommand's option.
_sprig_values() {
  case $1 in
    'receive --from') echo unix: tcp: fd: stdio: dir: files: remote-dir cd remote-dir+cd ;;
    'serve --listen' | 'collect --listen') echo unix: tcp: stdio: ;;
    'send --to') echo unix: tcp: fd: stdio: ;;
    'props convert --to' | props*' --layout') echo with-length improved bare json ;;
    'props set --type')
      echo string short long ulong boolean octets properties properties_list any object none encoded
      ;;
  esac
}

# Fills COMPREPLY with files (-f) or directories (-d).
_sprig_files() {
  mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
  compopt -o filenames 2> /dev/null
}

_sprig_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
  case ${COMPREPLY[*]} in
    *:) compopt -o nospace 2> /dev/null ;;
  esac
}

# What stands behind an option: nothing for those that take no value.
_sprig_value_kind() {
  case $1 in
    --into | --depot) echo directory ;;
    -o | --output | --distribution) echo file ;;
    --from | --listen | --to | --layout | --type) echo word ;;
    --id | --segment-size | --receivers | --count | --session | --depot-limit | --keep | --stall | \
      --offset | --buffer | --limit) echo text ;;
  esac
}

# Sets `command` to the subcommand in front of the cursor, with what a depot or a property list is
# asked for; `given` counts the arguments that are no options. Bash splits words at ":" and "=".
_sprig_find_command() {
  local word value=
  command=sprig given=0
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      : | =) value=expected; continue ;;
    esac
    if [ -n "$value" ]; then
      value=
      continue
    fi
    case $word in
      -*) value=$(_sprig_value_kind "$word"); continue ;;
    esac
    given=$((given + 1))
    case $command:$given in
      sprig:1) command=$word ;;
      depot:3 | props:3) command="$command $word" ;;
    esac
  done
}

# Completes the value of an option; false for what takes none.
_sprig_complete_value() {
  case $(_sprig_value_kind "$1") in
    directory) _sprig_files -d "$2" ;;
    file) _sprig_files -f "$2" ;;
    word) _sprig_words "$(_sprig_values "$command $1")" "$2" ;;
    text) ;;
    *) return 1 ;;
  esac
}

_sprig_complete_argument() {
  case $command:$given in
    sprig:*) _sprig_words "$(_sprig_subcommands sprig)" "$1" ;;
    pack:1 | serve:1 | depot:1) _sprig_files -d "$1" ;;
    depot:2 | props:2) _sprig_words "$(_sprig_subcommands "$command")" "$1" ;;
    status:1 | pause:1 | cancel:1) _sprig_words "$(_sprig_distributions)" "$1" ;;
    send:1 | props:1 | 'depot add':4) _sprig_files -f "$1" ;;
  esac
}

_sprig() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command given
  COMPREPLY=()
  _sprig_find_command
  if [ "$current" = : ] || [ "$previous" = : ]; then # behind "unix:" or "dir:"
    _sprig_files -f "${current#:}"
    return
  fi
  [ "$previous" != = ] || previous=${COMP_WORDS[COMP_CWORD - 2]}
  if [ "$current" = = ]; then
    current=
  fi
  _sprig_complete_value "$previous" "$current" && return
  case $current in
    -*) _sprig_words "$(_sprig_options "$command")" "$current" ;;
    *) _sprig_complete_argument "$current" ;;
  esac
}

complete -F _sprig sprig
