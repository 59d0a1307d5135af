#!/usr/bin/env bash
# Tries what the README begins with on a bare Debian 12 as debootstrap makes it, with the archive
# `main` alone and with the security archive beside it. As root; in build/bare.
#   bare.sh [--main-only | --security] [COMMAND...]   this one machine; this command instead
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

release=bookworm
work=$PWD/build/bare
base=$work/base.tar
machines=(main-only security)
commands=("./dev run" "./dev package" "./dev test")

case ${1:-} in
  --main-only | --security) machines=("${1#--}") && shift ;;
  --help) sed -n '2,/^set/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" && exit ;;
esac
[ "${1:-}" != -- ] || shift
# One argument is a line for the shell, several are a command's words.
case $# in
  0) ;;
  1) commands=("$1") ;;
  *) printf -v command '%q ' "$@" && commands=("${command% }") ;;
esac
mkdir -p "$work"
exec 9>"$work/lock"
flock -n 9 || { echo "another ./dev bare is at work in $work"; exit 2; }

# Where this machine's apt gets a suite from, and through what.
site() {  # suite, where it is otherwise
  apt-get indextargets --format '$(RELEASE) $(SITE)' 'Created-By: Packages' |
    awk -v suite="$1" -v site="$2" '$1 == suite {site = $2; exit} END {print site}'
}
main=$(site $release http://deb.debian.org/debian)
security=$(site $release-security http://deb.debian.org/debian-security)
ways=$(apt-config dump | grep -E '^Acquire::(https?::.*Proxy|Check-Valid-Until|Retries)' || true)

# Runs a command with its output in a log, and tells how long it has been at it.
watched() {  # log, what to call it, command...
  local log=$1 name=$2 start=$SECONDS
  shift 2
  "$@" >"$log" 2>&1 </dev/null &
  running=$!
  [ -t 1 ] || echo "$name ..."
  while kill -0 $running 2>/dev/null; do
    [ ! -t 1 ] || printf '\r\e[K%s  %d s  %.60s' "$name" $((SECONDS - start)) "$(tail -n 1 "$log" | tr -dc '[:print:]')"
    sleep 1
  done
  [ ! -t 1 ] || printf '\r\e[K'
  took=$((SECONDS - start))
  local status=0
  wait $running || status=$?
  running=
  return $status
}
running=
# Whoever enters is not heard of until the command ends; its death ends the command.
trap '[ -z "$running" ] || kill -KILL $running' EXIT
trap 'exit 130' INT TERM

make_base() {
  [ ! -e "$base" ] || return 0
  rm -rf "$work/root"
  # In mounts of its own, of which none stays.
  watched "$work/debootstrap.log" "making Debian ($release)" \
    unshare --mount debootstrap --variant=minbase $release "$work/root" "$main" ||
    { tail "$work/debootstrap.log"; exit 1; }
  echo "Debian ($release) made: $took s"
  tar -C "$work/root" -cf "$base.new" .
  mv "$base.new" "$base"
}

# A fresh tree for a machine, with the tracked files where a user would have cloned them.
make_machine() {  # machine
  rm -rf "$work/root"
  mkdir "$work/root"
  tar -C "$work/root" -xf "$base"
  {
    echo "deb $main $release main"
    [ "$1" != security ] || echo "deb $security $release-security main"
  } >"$work/root/etc/apt/sources.list"
  echo "$ways" >"$work/root/etc/apt/apt.conf.d/90host"
  cp -L /etc/resolv.conf "$work/root/etc/resolv.conf"
  echo bare >"$work/root/etc/hostname"
  printf '127.0.0.1 localhost bare\n::1 localhost\n' >"$work/root/etc/hosts"
  # Where users can read it: one makes a lab of his own.
  mkdir "$work/root/opt/liborba_util"
  git -c safe.directory='*' archive HEAD | tar -C "$work/root/opt/liborba_util" -x
}

[ -z "$(git -c safe.directory='*' status --porcelain)" ] ||
  echo "What is not committed is left out: the machine gets $(git -c safe.directory='*' log -1 --format='%h, "%s"')."
make_base
failed=0
results=()
for machine in "${machines[@]}"; do
  make_machine "$machine"
  number=0
  for command in "${commands[@]}"; do
    number=$((number + 1))
    log=$work/$machine-$number.log
    status=0
    # CI=true: what would be skipped on a developer's machine fails.
    watched "$log" "$machine: $command" scripts/enter.sh "$work/root" \
      env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root CI=true \
      sh -c 'cd /opt/liborba_util && eval "$1"' sh "$command" || status=$?
    word=ok
    [ $status = 0 ] || { word="FAILED ($status)"; failed=1; tail -n 20 "$log" | sed 's/^/    /'; }
    results+=("$(printf '%-10s %-20s %-14s %2d min %2d s' "$machine" "$command" "$word" $((took / 60)) $((took % 60)))")
    echo "${results[-1]}"
  done
done
[ $failed = 1 ] || rm -rf "$work/root"
printf '\n%-10s %-20s %-14s took; the logs are in %s\n' machine command ended "${work#"$PWD"/}"
printf '%s\n' "${results[@]}"
exit $failed
