#!/usr/bin/env bash
# The manual pages: their form, that orba(1) tells of every subcommand and every
# option, and that its examples still print what it shows.
#   man.sh ORBA MAN_FOLDER EXAMPLES
set -euo pipefail
orba=$1 man=$2 examples=$3
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

# Every line behind "$ orba ..." must be a line of what the command prints, in
# the same order; "..." stands for some.
cd "$examples"
count=0 said=
while IFS= read -r line; do
  case $line in
    '$ orba lab '* | '$ orba apply '*) said= ;;  # these need a lab
    '$ orba '*)
      said=$(eval "\"\$orba\" ${line#'$ orba '}" 2>&1) || true
      count=$((count + 1)) ;;
    '' | ...) ;;
    *)
      [ -n "$said" ] || continue
      rest=${said#*"$line"}
      [ "$rest" != "$said" ] || wrong "no example prints: $line"
      said=$rest$'\n' ;;
  esac
done < <(sed -n '/^\.Bd/,/^\.Ed/{/^\.Bd/d;s/^\.Ed//;s/^\\&//;p}' "$man/orba.1")
[ $count -gt 0 ] || wrong "orba(1) has no examples"
[ $status = 0 ] && echo "$count examples as printed"
exit $status
