#!/bin/sh
# down.sh: takes the lab away; nothing when there is none.
. "$(dirname "$0")/state.sh"
[ -d "$state" ] || exit 0

# Whether the process of a file runs still; one that only waits to be asked for its end
# does not.
runs() {
  read -r process start <"$state/$1.pid" && [ "$(identity "$process")" = "$process $start" ] &&
    ! grep -q '^State:.Z' "/proc/$process/status"
} 2>/dev/null

if runs holder; then
  kill -KILL "$process" || true
  while runs holder || runs router; do sleep 0.02; done
fi
rm -rf "$state"
