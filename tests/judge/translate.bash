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
# The lab's iptables without its last line, which runs it.
eval "$(sed '$d' "$tools/iptables")"
real_iptables() { tell iptables "$@"; }
iptables() {
  case " $* " in
    *" ! "* | *" --log-level "* | *" webstr "* | *" macrange "* | *" mac "*) ;;
    *)  # it has nothing to say of this
      tell iptables "$@"
      return
      ;;
  esac
  present_form "$@"
  [ $? != 125 ] || tell refused iptables "$@"
}
for program in ebtables ip route brctl ifconfig nat.sh; do
  eval "$program() { tell $program \"\$@\"; }"
done
number=0
while IFS= read -r line; do
  eval "$line" </dev/null >/dev/null 2>&1
  number=$((number + 1))
done 3>&1
