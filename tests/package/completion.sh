#!/usr/bin/env bash
# What bash would complete, for a command line and the word being typed.
#   completion.sh ORBA COMPLETION SOURCE_FOLDER
set -euo pipefail
orba=$1
. "$2"
cd "$3"

status=0
# Completes the last word; the answers are sorted, and separated by blanks.
offers() {  # expected, word...
  local expected=$1
  shift
  COMP_WORDS=(orba "$@") COMP_CWORD=$#
  _orba "$orba" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  local offered
  offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' ')
  # shellcheck disable=SC2053 # A pattern.
  [[ $offered == $expected ]] || { echo "orba $*: offered '$offered', not '$expected'"; status=1; }
}
offers 'plan ports psk' p
offers 'apply check *list plan *psk*show*' ''
offers 'down shell test up' lab ''
offers 'router' lab shell r
offers '--json' list --j
offers '*--at --batch --config *--tables*' plan firewall_init --
offers 'wlan_schedule_cfg wlan_schedule_init' plan wlan_sch
offers 'schedule' show schedu
offers '' plan schedu
offers '' plan firewall_init fire
offers 'getDefaultWanIp' apply getDefaultWanIp
offers 'examples/gateway.conf' plan firewall_init --config examples/gateway.c
offers 'examples/gateway.conf' diff examples/bridge.conf examples/gateway.c
offers 'firewall_fini' diff examples/bridge.conf examples/gateway.conf firewall_f
offers 'DMZAddress' explain DMZAd
offers 'iptablesDMZRun' explain iptablesDMZR
offers 'examples/gateway.conf' check -c examples/gateway.c
offers 'examples/gateway.conf' import examples/gateway.c
offers 'examples/device' show getRoutingTable -r examples/d
offers 'examples/gateway.conf' rehearse this this examples/gateway.c
offers 'lan' trace --why -c examples/gateway.conf l
offers '' trace lan ''
offers 'new' trace lan --state n
offers '' plan firewall_init --ticks ''
offers '' nosuch ''
exit $status
