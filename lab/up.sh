#!/bin/sh
# up.sh [--json] CONFIG: makes the lab that a configuration asks for, in place of
# an older one of the same state folder. $ORBA is the orba tool. Ends with 77 where
# the machine has not what it takes.
. "$(dirname "$0")/state.sh"
json=
if [ "$1" = --json ]; then
  json=$1
  shift
fi
config=$1
ORBA=${ORBA:-orba}
"$lab/down.sh"

for tool in ip iptables ebtables brctl arp arping busybox python3; do
  command -v "$tool" >/dev/null || fail "$tool is not installed"
done
# The root of a user's lab is that user, and of root's nobody: a number of those
# that Debian reserves which belongs to no user and no group.
as_nobody=
if gives_up_root; then
  number=65533
  while getent passwd $number >/dev/null || getent group $number >/dev/null; do
    number=$((number - 1))
  done
  as_nobody="setpriv --reuid $number --regid $number --clear-groups"
fi
spaces="--user --map-root-user --mount --net --pid --ipc --uts --fork --kill-child --mount-proc"
why=$(cd / && $as_nobody unshare $spaces sh -c 'mount -t tmpfs private /run &&
  ip link add lab0 type bridge && ip link add lab1 type veth peer name lab2' 2>&1) || {
  told "orba lab: this machine cannot make the lab's namespaces: $(echo "$why" | tr '\n' ' ')" >&2
  exit 77
}
mkdir -p "$(dirname "$state")"
mkdir -m 700 "$state"
trap '"$lab/down.sh"' EXIT  # until it is up
cp -- "$config" "$state/config"

# The names that the router's interfaces have with this configuration.
name() { "$ORBA" show "$@" -c "$state/config"; }
LAN=$(name getLanIfName) WAN=$(name getWanIfNamePPP) ETHERNET=$(name getWanIfName)
OTHERS=""
for number in 2 3 4; do
  other=none
  ! grep -q "^wanConnectionMode$number=" "$state/config" ||
    other=$(name getWan2IfNamePPP "$number")
  OTHERS="$OTHERS ${other:-none}"
done

# Everything hangs on one process, the router's first: when it ends, however it
# ends, the kernel ends all others and takes the namespaces with them. Nobody may
# not look into every folder, so it is given the scripts and the tools.
tar -C "$lab/tools" -cf "$state/tools.tar" .
programs=$(cat "$lab/programs.sh")
script=$(cat "$lab/router.sh")
# Of the maker's surroundings they get nothing else: everyone in the lab may read them.
(cd / && exec env -i PATH="$PATH" LAN="$LAN" WAN="$WAN" ETHERNET="$ETHERNET" OTHERS="$OTHERS" \
  setsid $as_nobody unshare --user --map-root-user --mount sh -c "$programs" programs.sh \
  unshare $spaces sh -c "$script" router.sh <"$state/tools.tar") >"$state/log" 2>&1 &
holder=$!
identity "$holder" >"$state/holder.pid"

tries=0
until grep -q '^ready$' "$state/log" 2>/dev/null; do
  tries=$((tries + 1))
  if ! kill -0 "$holder" 2>/dev/null || [ $tries -gt 200 ]; then
    tail -n 3 "$state/log" | cat -v >&2
    fail "the lab did not come up"
  fi
  sleep 0.05
done

# The hosts' processes, by this machine's numbers.
router=$(cat "/proc/$holder/task/$holder/children" | tr -d ' ')
identity "$router" >"$state/router.pid"
for process in $(cat "/proc/$router/task/$router/children"); do
  host=$(tr '\0' '\n' <"/proc/$process/environ" | sed -n 's/^LAB_HOST=//p')
  [ -z "$host" ] || identity "$process" >"$state/$host.pid"
done
rm "$state/tools.tar"
trap - EXIT
lacks=$("$lab/probe.sh") || :
if [ -n "$json" ]; then
  python3 -c 'import json, sys
_, lan, wan, lacks = sys.argv
print(json.dumps({"router": {lan: "192.168.1.1", wan: "198.51.100.2"},
                  "hosts": {"lan": "192.168.1.10", "internet": "198.51.100.1"},
                  "lacks": lacks.splitlines()}, indent=2), flush=True)' "$LAN" "$WAN" "$lacks" 2>/dev/null ||
    { echo "orba lab: standard output cannot be written" >&2; exit 4; }
else
  told "router: $LAN 192.168.1.1, $WAN 198.51.100.2; hosts: lan 192.168.1.10, internet 198.51.100.1" || exit 4
  [ -z "$lacks" ] || echo "$lacks" | sed 's/^/not to be had here: /'
fi
