# Where the lab at hand keeps what it must know, for the other scripts to source.
# tools/lab/lab.cpp has the same rule.
set -eu
lab=$(cd "$(dirname "$0")" && pwd)
if [ -n "${ORBA_LAB_STATE:-}" ]; then
  state=$ORBA_LAB_STATE
elif [ "$(id -u)" = 0 ]; then
  state=/run/orba-lab
else
  state=${XDG_RUNTIME_DIR:-/tmp}/orba-lab-$(id -u)
fi

# A user's search path may lack what only root used to need.
PATH=$PATH:/usr/sbin:/sbin

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

# A process's number and when it started, in ticks since the machine did: after its
# end the number may be another's.
identity() { sed -n "s/^.*)\( [^ ]*\)\{19\} \([^ ]*\) .*/$1 \2/p" "/proc/$1/stat"; }
