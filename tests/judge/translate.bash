#!/bin/bash
# translate.bash TOOLS: takes lines for a shell from standard input, and tells of each what it
# would run, with the lab's tools in front of the real ones: a line with the input's line
# number, the program and its words, separated by tabs. "refused" stands for a program that has
# no present-day form.
tools=$1
tell() {
  local IFS=$'\t'
  printf '%s\t%s\n' "$number" "$*" >&3
}
# The lab's iptables ends in this, with the real one's path and "-w 10" in front.
exec() {
  tell iptables "${@:4}"
  exit 0
}
iptables() {
  # What it has nothing to say of needs no process of its own.
  case " $* " in
    *" ! "* | *" --log-level "* | *" webstr "* | *" macrange "* | *" mac "*) ;;
    *)
      tell iptables "$@"
      return
      ;;
  esac
  (. "$tools/iptables" "$@")
  [ $? != 125 ] || tell refused iptables "$@"
}
# As it calls them, without a process.
cut() {  # -c FROM-TO
  local text
  read -r text
  echo "${text:${2%-*}-1:${2#*-}-${2%-*}+1}"
}
tr() {  # -d : or A-Z a-z
  local text
  read -r text
  [ "$1" != -d ] || text=${text//:/}
  [ "$1" != A-Z ] || text=${text,,}
  echo "$text"
}
for program in ebtables ip route brctl ifconfig nat.sh; do
  eval "$program() { tell $program \"\$@\"; }"
done
number=0
while IFS= read -r line; do
  eval "$line" </dev/null >/dev/null 2>&1
  number=$((number + 1))
done 3>&1
