#!/usr/bin/env bash
# Gives each line of FOLDER/lines (ended by NUL) to a shell in a file system of
# its own, without network and out of reach of other processes, and prints the
# files named X that are there afterwards.
#   cage.sh FOLDER
set -euo pipefail
cage=$1/root
namespaces=(--mount --pid --net --ipc --fork)
[ "$(id -u)" = 0 ] || namespaces+=(--map-root-user)
if ! unshare "${namespaces[@]}" true 2>/dev/null; then
  echo "this machine lets nobody make namespaces"
  exit 77
fi

mkdir -p "$cage"/{bin,tmp,var,etc,dev,proc,sys,work}
: >"$cage/dev/null"
for program in /bin/dash /usr/bin/touch /usr/bin/xargs; do
  cp "$program" "$cage/bin/"
  for library in $(ldd "$program" | grep -o '/[^ ]*'); do
    mkdir -p "$cage$(dirname "$library")"
    cp -L "$library" "$cage$library"
  done
done
mv "$cage/bin/dash" "$cage/bin/sh"
cp "$1/lines" "$cage/lines"
timeout 240 unshare "${namespaces[@]}" chroot "$cage" \
  /bin/sh -c 'cd /work && PATH=/bin xargs -0 -n 1 sh -c </lines >/dev/null 2>&1 || true' || exit 1
find "$cage" -name 'X*' ! -path '*/lib*' -printf '%P\n'
