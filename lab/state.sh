# Where the lab at hand keeps what it must know, for the other scripts to source.
# tools/orba/lab.cpp has the same rule.
set -eu
lab=$(cd "$(dirname "$0")" && pwd)
if [ -n "${ORBA_LAB_STATE:-}" ]; then
  state=$ORBA_LAB_STATE
elif [ "$(id -u)" = 0 ]; then
  state=/run/orba-lab
else
  state=${XDG_RUNTIME_DIR:-/tmp}/orba-lab-$(id -u)
fi

# Names may be a stranger's; a terminal is to obey nothing in them.
told() { printf '%s\n' "$*" | cat -v; }

fail() {
  told "orba lab: $*" >&2
  exit 1
}

# In /tmp anybody could have made it, or a link to where what is kept would do harm.
if [ -L "$state" ] || { [ -e "$state" ] && [ ! -O "$state" ]; }; then fail "$state is not yours"; fi

# Whether a lab has somebody else than its maker for its root: root has enough
# numbers for that, the one user of a user namespace has not.
gives_up_root() {
  [ "$(id -u)" = 0 ] && [ "$(awk 'NR == 1 { print $3 }' /proc/self/uid_map)" -gt 65533 ]
}

# Runs a command on a host of the lab: in its network, and on the router in its
# files as well.
on() {  # router|lan|internet command...
  host=$1
  shift
  process=$(cat "$state/$host.pid" 2>/dev/null || echo none)
  # After a lab's end the number may be another process's.
  [ -e "/proc/$process/root/run/lab/tools" ] ||
    fail "no lab is up; 'orba lab up --config FILE' makes one"
  user="--user --preserve-credentials"
  ! gives_up_root || user="--user --setuid 0 --setgid 0"
  [ "$(readlink /proc/self/ns/user)" != "$(readlink "/proc/$process/ns/user")" ] || user=
  PATH=/run/lab/tools:/usr/sbin:/usr/bin:/sbin:/bin \
    nsenter $user -m -n -p -i -u -t "$process" --wd="/proc/$process/root/root" -- "$@"
}
