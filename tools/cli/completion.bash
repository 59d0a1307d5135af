# Completes the words of orba in bash. Subcommands and options are read from
# orba's own help, entry points from its list, so this needs no change with them.

# What the help of "orba WORD..." has in a section, a line each:
# _orba_help SECTION WORD...
_orba_help() {
  local section=$1 line
  shift
  "$orba" "$@" --help 2>/dev/null | while IFS= read -r line; do
    case $line in
      "$section:") local here=1 ;;
      '') here= ;;
      "  "[![:blank:]]*) [ -z "$here" ] || printf '%s\n' "${line#  }" ;;
    esac
  done
}

# The first column of a list, its alternatives apart: "-c,--config TEXT" is two words.
_orba_words() {
  local line word
  while IFS= read -r line; do
    line=${line%%[[:blank:]]*}
    for word in ${line//,/ }; do printf '%s\n' "$word"; done
  done
}

# What a list of the tool's names: entry points, or settings.
_orba_names() { "$orba" "$1" | sed -n 's/^  \([^ ]*\).*/\1/p'; }

_orba_files() {  # -f files or -d folders, the word
  mapfile -t COMPREPLY < <(compgen "$1" -- "$2")
  compopt -o filenames 2>/dev/null || true
}

# Whether the cursor is on the first word behind the subcommand that is no option and no option's
# value.
_orba_first_positional() {
  local i
  for ((i = 2; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --why | --json | --lab) ;;
      -*) i=$((i + 1)) ;;
      *) return 1 ;;
    esac
  done
}

_orba() {
  local orba=$1 word=$2 before=$3
  local commands=() i part
  COMPREPLY=()
  # The subcommands in front of the cursor: the first word, and the second of "lab".
  for ((i = 1; i < COMP_CWORD && ${#commands[@]} < 2; i++)); do
    part=${COMP_WORDS[i]}
    [[ $part == -* ]] && continue
    commands+=("$part")
    [ "$part" = lab ] || break
  done

  local offered=
  case $before in
    -c | --config | -d | --device | --picture) _orba_files -f "$word"; return ;;
    -r | --root | -o | --out) _orba_files -d "$word"; return ;;
    --state) offered='new established related invalid' ;;
    -p | --port | --address | --at | --ticks | --mac | --flags | --source-port | --length | -s | --space | --jobs | --shard | --set | \
      --default | --unset | --replace-record) return ;;
    --entry) offered=$(_orba_names list) ;;
    --from | --to) offered='router lan wifi wan wan2 wan3 wan4' ;;
  esac
  if [ -n "$offered" ]; then
    :
  elif [[ $word == -* ]]; then
    offered=$(_orba_help Options "${commands[@]}" | _orba_words)
  else
    case "${commands[*]}" in
      '' | lab) offered=$(_orba_help Subcommands "${commands[@]}" | _orba_words) ;;
      'lab shell') [ "$before" = shell ] && offered='router lan internet' ;;
      diff)
        # Two files, then an entry point.
        if ((COMP_CWORD < 4)); then
          _orba_files -f "$word"
          return
        fi
        ((COMP_CWORD > 4)) || offered=$(_orba_names list) ;;
      trace)
        # The first positional; files of settings stand behind options.
        _orba_first_positional && offered='lan wifi wan wan2 wan3 wan4 router' ;;
      check | serve | import | export | expect | rehearse) _orba_files -f "$word"; return ;;
      explain) offered=$(_orba_names explain; _orba_names list) ;;
      *)
        # A subcommand's first positional may be an entry point. The help is read to its end: a
        # reader that leaves at the match fails the line in a shell with pipefail.
        if [ "$before" = "${commands[0]}" ] &&
          [ -n "$(_orba_help Positionals "${commands[@]}" | grep -E '^(ENTRY|GETTER) ')" ]; then
          offered=$(_orba_names list)
          [ "${commands[0]}" = show ] && offered+=' schedule'
        fi ;;
    esac
  fi
  mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$word")
}
complete -F _orba orba
