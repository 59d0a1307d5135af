#!/usr/bin/env bash
# Compares what the tool says of the example configurations with what it said
# when somebody last read it.
#   transcripts.sh ORBA EXAMPLES TRANSCRIPTS [--write]
set -euo pipefail
orba=$1 examples=$2 transcripts=$3 write=${4:-}
cd "$examples"

# NAME: the arguments that make it.
declare -A runs=(
  [gateway.firewall]='plan firewall_init --config gateway.conf'
  [gateway.tables]='plan firewall_init --config gateway.conf --tables'
  [gateway.origins]='plan firewall_init --config gateway.conf --origins'
  [gateway.change]="diff gateway.conf - --at 'Mon 22:45' < <(sed '/^SSID1=/s/=.*/=Guest/; /^DMZEnable=/s/0/1/; /^wlanScheduleEnab=/s/1/0/' gateway.conf)"
  [gateway.startup]='plan initInternet --config gateway.conf'
  [gateway.schedule]='plan wlan_schedule_init --config gateway.conf --at "Mon 22:45"'
  [gateway.week]='show schedule --config gateway.conf --at "Sun 23:45"'
  [minimal.firewall]='plan firewall_init --config minimal.conf'
  [pppoe-gateway.firewall]='plan firewall_init --config pppoe-gateway.conf'
  [pppoe-gateway.tables]='plan firewall_init --config pppoe-gateway.conf --tables'
  [pppoe-gateway.routes]='plan RoutingInit --config pppoe-gateway.conf'
  [pppoe-gateway.wan-routes]='plan executeStaticRoute --config pppoe-gateway.conf'
  [pppoe-gateway.policies]='plan executePolicyRoute --config pppoe-gateway.conf'
  [pppoe-gateway.pass-through]='plan orba_pppoeRelay --config pppoe-gateway.conf'
  [bridge.tables]='plan firewall_init --config bridge.conf --tables'
  [bridge.check]='check --config bridge.conf'
  [bridge.pass-through]='plan orba_pppoeRelay --config bridge.conf'
  [repeater.tables]='plan firewall_init --config repeater.conf --tables'
  [repeater.mode]='plan wlanModeChange2_4_init --config repeater.conf'
  [neighbourhood]='show printStaBssidList --device neighbourhood.txt'
  [push-button]='plan WPSAPPBCStartAll --config minimal.conf --device push-button.txt --ticks 1200'
)

failed=0
for name in "${!runs[@]}"; do
  transcript=$transcripts/$name.txt
  # A plan without its numbers: one more command is one more line, and no change of all below it.
  note='  # its numbers are left out'
  case ${runs[$name]} in
    plan*--tables*) filter=(sed -E 's/^((    )*  )[ 0-9][0-9]  /\1/') ;;
    plan*) filter=(sed -E 's/^( *[0-9]+ ms )? *[0-9]+  /\1/') ;;
    *) filter=(cat) note= ;;
  esac
  said=$(printf '$ orba %s%s\n' "${runs[$name]}" "$note"; eval "'$orba' ${runs[$name]}" 2>&1 | "${filter[@]}" || true)
  if [ "$write" = --write ]; then
    echo "$said" >"$transcript"
  elif ! difference=$(diff <(echo "$said") "$transcript"); then
    printf '%s: said now (<), said before (>):\n%s\n' "$name" "$difference"
    failed=1
  fi
done
[ $failed = 0 ] && echo "${#runs[@]} transcripts"
exit $failed
