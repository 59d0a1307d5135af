#!/bin/sh
# shell.sh [HOST [COMMAND...]]: a shell, or one command, on the router, the lan
# or the internet host.
. "$(dirname "$0")/state.sh"
host=${1:-router}
[ $# -eq 0 ] || shift
case $host in
  router | lan | internet) ;;
  *) fail "there is no host '$host'; router, lan and internet are" ;;
esac
if [ $# -eq 0 ]; then
  export PS1="$host# "
  set -- sh
fi
on "$host" "$@"
