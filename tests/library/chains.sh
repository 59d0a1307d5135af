#!/usr/bin/env bash
# The chains that the library's commands name are those that chains.h tells of.
#   chains.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"

not_ours='INPUT|FORWARD|OUTPUT|PREROUTING|POSTROUTING|BROUTING|ACCEPT|DROP|RETURN|REJECT|LOG|DNAT|TCPMSS|mark'
literal='"(?:[^"\\]|\\.)*"'
told=$(grep -oP '^// \K\w+(?=  )' firewall/chains.h | sort)
named=$(grep -rhoP --include='*.cpp' "$literal" . |
  grep -oP '(?:tables (?:-t \w+ )?-(?:[A-Z]|%c) |-j )\K\w+' | grep -vxE "$not_ours" | sort -u)
differences=$(diff <(echo "$told") <(echo "$named") || true)
if [ -n "$differences" ]; then
  printf 'chains that chains.h has (<) and that commands name (>) differ:\n%s\n' "$differences"
  exit 1
fi
# A chain that is a %s is found by nobody who looks for its command.
if grep -rnE --include='*.cpp' 'tables (-t [a-z]+ )?-([A-Z]|%c) %s' .; then
  echo 'these commands do not spell their chain out'
  exit 1
fi
echo "$(wc -l <<<"$told") chains"
