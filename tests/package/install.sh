#!/usr/bin/env bash
# Installs the packages on a clean Debian, uses what is in them, and takes them
# away again. As root; the first run fetches the Debian.
#   install.sh PACKAGES_FOLDER WORK_FOLDER
set -euo pipefail
packages=$1 work=$2
base=$work/base.tar root=$work/root
mkdir -p "$work"
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' | sed -n 1p)

on() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"; }
leave() { umount "$root/proc" 2>/dev/null || true; }
trap leave EXIT

# Kept for the next run: a minimal Debian, with what a developer has on it.
leave
rm -rf "$root"
mkdir "$root"
if [ ! -e "$base" ]; then
  debootstrap --variant=minbase "$release" "$root" "$mirror" >"$work/debootstrap.log" ||
    { tail "$work/debootstrap.log"; exit 1; }
  cp -L /etc/resolv.conf "$root/etc/resolv.conf"
  # Images without documentation would hide that ours is missing.
  rm -f "$root"/etc/dpkg/dpkg.cfg.d/*
  on apt-get install -y -qq --no-install-recommends gcc libc6-dev pkg-config man-db bash-completion \
    >"$work/apt.log" 2>&1 || { tail "$work/apt.log"; exit 1; }
  tar -C "$root" -cf "$base" .
else
  tar -C "$root" -xf "$base"
fi
mount -t proc proc "$root/proc"

status=0
expect() {  # pattern, command...
  local pattern=$1 said
  shift
  said=$(on "$@" 2>&1) || { echo "failed: $*"; status=1; }
  if [[ $said =~ $pattern ]]; then echo "ok: $*"; else echo "$*: $said"; status=1; fi
}
files() { (cd "$root" && find . -path ./proc -prune -o -path ./var -prune -o -print | sort); }

files >"$work/before"
cp "$packages"/*.deb "$root/tmp"
expect 'Setting up orba ' sh -c 'apt-get update -qq && apt-get install -y --no-install-recommends /tmp/*.deb'
rm "$root"/tmp/*.deb
expect 'liborba_util.so.0 .*=> /lib/.*/liborba_util.so.0' sh -c 'ldconfig -p | grep orba'
expect '^[0-9]+\.[0-9]+\.[0-9]+$' orba --version
expect 'firewall_init: [0-9]+ commands, returns 0' \
  orba plan firewall_init --config /usr/share/orba_util/examples/gateway.conf
for page in 1/orba 1/nvram_get 1/nvram_set 1/nvram_show 3/orba_util 3/nvram; do
  expect "^/usr/share/man/man${page%/*}/${page#*/}" man -w "${page%/*}" "${page#*/}"
done
expect 'plan_ok' bash -c '. /usr/share/bash-completion/completions/orba; COMP_WORDS=(orba pla); COMP_CWORD=1
  _orba orba pla orba; echo "${COMPREPLY[0]}_ok"'
cat >"$root/tmp/program.c" <<'END'
#include <nvram.h>
#include <orba_util.h>
#include <stdio.h>
int main(void) {
  char wan[32] = "";
  if (nvram_set(1, "OperationMode", "3") != 0) return 1;
  getWanIfName(wan);
  return printf("%s behind %s\n", getLanIfName(), wan) < 0;
}
END
expect '^br0 behind apcli0$' sh -c \
  'cd /tmp && cc -Wall -Werror program.c $(pkg-config --cflags --libs orba_util) -o program && ./program'
expect '^3$' nvram_get OperationMode

# What is left is what the program and the settings store have made.
expect 'Removing orba ' apt-get purge -y orba liborba-util-dev liborba-util0 libnvram0
rm "$root"/tmp/program*
files >"$work/after"
left=$(diff "$work/before" "$work/after" | grep '^>' | grep -vE '\.pyc$|/__pycache__$' || true)
if [ -n "$left" ]; then
  echo "left behind:"
  echo "$left"
  status=1
fi
[ $status = 0 ] && echo "installed, used and removed on a clean $release"
exit $status
