#!/bin/sh
# test.sh [NAME...]: the library's commands with real tools and real packets, in
# a lab of its own. Ends with 77 where no lab can be made, which ctest counts as
# skipped; but where CI is set, a lab must be made.
# test.sh --list [--json] [NAME...]: the names of these tests.
ORBA_LAB_STATE=$(mktemp -d)/lab
export ORBA_LAB_STATE
. "$(dirname "$0")/state.sh"
trap '"$lab/down.sh"; rmdir "$(dirname "$state")"' EXIT
export ORBA EXAMPLES="${EXAMPLES:-$lab/../examples}"

names() { (cd "$lab/tests" && python3 -B "$lab/names.py" "$@"); }
if [ "${1:-}" = --list ]; then
  shift
  names "$@"
  exit
fi
[ $# = 0 ] || names "$@" >/dev/null || exit 2

status=0
said=$("$lab/up.sh" "$EXAMPLES/gateway.conf" 2>&1) || status=$?
echo "$said"
[ $status != 77 ] || [ -z "${CI:-}" ] || status=1
[ $status = 0 ] || exit $status

# The tests enter the hosts' networks, which belong to the lab's user.
cd "$lab/tests"
enter=
[ "$(id -u)" = 0 ] || enter="nsenter --preserve-credentials -U -t $(cut -d " " -f 1 "$state/router.pid")"
if [ $# -gt 0 ]; then
  $enter python3 -B -m unittest -v "$@"
else
  $enter python3 -B -m unittest discover -v -p '*_test.py'
fi
