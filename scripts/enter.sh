#!/usr/bin/env bash
# Runs a command in a tree as on a machine of its own: its own mounts, processes, shared memory and
# name. Unlike after chroot, namespaces can be made in it. The network is this machine's. As root;
# nothing of it is left when the command ends, whatever ended it.
#   enter.sh ROOT COMMAND...
set -euo pipefail

become() {  # root, command...
  local root=$1 node
  shift
  hostname bare
  mount --bind "$root" "$root"
  cd "$root"
  mount -t proc proc proc
  mount -t sysfs sysfs sys
  mount -t tmpfs -o mode=0755 tmpfs run
  mount -t tmpfs -o mode=0755 tmpfs dev
  mkdir dev/pts dev/shm dev/net
  mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5 devpts dev/pts
  mount -t tmpfs -o mode=1777 tmpfs dev/shm
  for node in null:1:3 zero:1:5 full:1:7 random:1:8 urandom:1:9 tty:5:0 net/tun:10:200 loop-control:10:237; do
    IFS=: read -r name major minor <<<"$node"
    mknod -m 0666 "dev/$name" c "$major" "$minor"
  done
  for minor in {0..15}; do mknod -m 0660 "dev/loop$minor" b 7 "$minor"; done
  ln -s pts/ptmx dev/ptmx
  ln -s /proc/self/fd dev/fd
  for node in 0:stdin 1:stdout 2:stderr; do ln -s "/proc/self/fd/${node%:*}" "dev/${node#*:}"; done
  pivot_root . mnt
  cd /
  umount -l /mnt
  "$@"
}

exec unshare --mount --pid --ipc --uts --fork --kill-child \
  bash -euo pipefail -c "$(declare -f become); become \"\$@\"" enter "$@"
