#!/bin/sh
# Address translation towards every WAN, through the chain that the firewall hooks.
echo "nat.sh $*" >>/run/lab/calls
iptables -t nat -F LAN_NAT_CHAIN
for path in /sys/class/net/*; do
  name=$(basename "$path")
  [ ! -e "$path/brport" ] || continue  # a port of the LAN bridge
  case $name in
    ppp* | eth2.* | apcli0) iptables -t nat -A LAN_NAT_CHAIN -o "$name" -j MASQUERADE ;;
  esac
done
