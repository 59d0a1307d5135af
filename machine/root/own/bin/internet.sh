#!/bin/sh
# internet.sh: brings up every WAN that has a name, each as its connection mode says, and waits for the
# first. In /var/wanN.info is then what the library asks for: "GATEWAY:INTERFACE".
echo "internet.sh $*" >>/run/lab/calls
value() { nvram_get "$1" 2>/dev/null; }
up() {  # number, suffix of its settings, Ethernet interface
  case $(value "wanConnectionMode$2") in
    PPPOE)
      modprobe pppoe
      pppd plugin rp-pppoe.so "$3" unit $(($1 - 1)) user router password router noauth noipdefault \
        persist maxfail 0 holdoff 1 \
        mtu 1492 mru 1492 lcp-echo-interval 0 ipparam "$1" >>/var/log/pppd 2>&1
      ;;
    STATIC)
      case $1 in
        1)
          ip address add 198.51.100.2/24 dev "$3"
          ip route replace default via "$(value wan_gateway)"
          echo "$(value wan_gateway):$3" >/var/wan1.info
          ;;
        *) ip address add "10.${1}0.0.2/16" dev "$3" ;;
      esac
      ;;
    *) WAN=$1 udhcpc -b -S -t 60 -T 1 -i "$3" -s /own/bin/wan_lease -p "/var/run/udhcpc$2.pid" \
      >>/var/log/udhcpc 2>&1 ;;
  esac
}
{ read -r _; read -r wan; read -r wan2; read -r wan3; read -r wan4; } </run/names
up 1 "" "$wan"
for number in 2 3 4; do
  eval "name=\$wan$number"
  [ -z "$name" ] || up $number $number "$name"
done
tries=0
until [ -s /var/wan1.info ] || [ $tries = 600 ]; do
  usleep 100000
  tries=$((tries + 1))
done
