#!/usr/bin/env bash
# Gives each line of FOLDER/lines (ended by NUL) to a real shell, in a file system
# of its own, without network and out of reach of other processes. Nothing is in
# there but the shell and stand-ins for the PROGRAMs and for touch, which leaves
# its mark. Prints the files that are there afterwards, and the programs that
# each line started, with the lengths of their words.
#   cage.sh FOLDER PROGRAM...
set -euo pipefail
cage=$1/root
namespaces=(--mount --pid --net --ipc --fork)
[ "$(id -u)" = 0 ] || namespaces+=(--map-root-user)
if ! unshare "${namespaces[@]}" true 2>/dev/null; then
  echo "this machine lets nobody make namespaces"
  exit 77
fi

mkdir -p "$cage"/{bin,tmp,var,etc,dev,proc,sys,work,log,lines}
ln -s bin "$cage/sbin"
: >"$cage/dev/null"
cp /bin/dash "$cage/shell"
for library in $(ldd /bin/dash | grep -o '/[^ ]*'); do
  mkdir -p "$cage$(dirname "$library")"
  cp -L "$library" "$cage$library"
done
cat >"$cage/bin/sh" <<'END'
#!/shell
line=${0##*/}
for word; do line="$line ${#word}"; done
echo "$line" >>"$log"
[ "${0##*/}" != touch ] || : >"$1"
END
chmod +x "$cage/bin/sh"
for program in touch "${@:2}"; do ln -sf sh "$cage/bin/$(basename "$program")"; done

count=0
while IFS= read -r -d '' line; do
  printf '%s' "$line" >"$cage/lines/$((100000 + ++count))"
done <"$1/lines"
# A line is over when nothing that it started holds descriptor 9 any more.
timeout 240 unshare "${namespaces[@]}" chroot "$cage" /shell -c '
  cd /work
  export PATH=/bin log
  for line in /lines/*; do
    log=/log/${line##*/}
    (. "$line") 9>&1 >/dev/null 2>&1 </dev/null | read -r end
  done
  true' || exit 1
cd "$cage"
find . -type f ! -path './lib*' ! -path './lines/*' ! -path './log/*' | sort
cd log
grep -r '' . | sort
