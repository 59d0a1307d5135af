#!/usr/bin/env bash
# The manual pages: their form, and that orba(1) tells of every subcommand and every
# option. Its examples are tried by tests/tool/documents.py.
#   man.sh ORBA MAN_FOLDER
set -euo pipefail
orba=$1 man=$2
status=0
wrong() { echo "$*"; status=1; }

mandoc -T lint -W warning "$man"/*.[0-9] || status=1
page=$(mandoc -T ascii -O width=200 "$man/orba.1" | col -bx)

# The subcommands and options that the help of a command names.
named() { sed -n "/^$1:/,/^\$/s/^  \([^ ]\{1,\}\).*/\1/p" <<<"$help"; }
tell_all() {  # word...
  local help word
  help=$("$orba" "$@" --help)
  for word in $(named Options | tr ',' ' '); do
    grep -qE -- "(^|[^[:alnum:]-])$word([^[:alnum:]-]|\$)" <<<"$page" ||
      wrong "orba(1) does not tell of: orba $* $word"
  done
  for word in $(named Subcommands); do
    grep -qE "^ +${*:+$* }$word( |\$)" <<<"$page" || wrong "orba(1) does not tell of: orba $* $word"
    tell_all "$@" "$word"
  done
}
tell_all

[ $status = 0 ] && echo "orba(1) tells of every subcommand and option"
exit $status
