#!/bin/sh
# Names, a line each, what the library's rules need and this machine's kernel or
# tools do not have.
. "$(dirname "$0")/state.sh"
"$ORBA" lab shell router sh -c '
lacks() { echo "$1"; }
iptables -N lab_probe 2>/dev/null || lacks "the packet filter"
rule() {  # name, rule...
  name=$1
  shift
  iptables "$@" >/dev/null 2>&1 || lacks "$name"
}
rule "the state match" -A lab_probe -m state --state NEW -j RETURN
rule "the length match" -A lab_probe -p icmp -m length --length 0:9 -j RETURN
rule "the limit match" -A lab_probe -m limit --limit 1/s -j RETURN
rule "the iprange match" -A lab_probe -m iprange --src-range 10.0.0.1-10.0.0.2 -j RETURN
rule "the mac match" -A lab_probe -m mac --mac-source 02:00:00:00:00:01 -j RETURN
rule "MAC address ranges (the bpf match)" -A lab_probe -m macrange --src-macrange 02:00:00:00:00:01-02:00:00:00:00:02 -j RETURN
rule "the string match" -A lab_probe -p tcp -m webstr --host x -j RETURN
rule "the tcpmss match" -A lab_probe -p tcp --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1:9 -j RETURN
rule "the TCPMSS target" -A lab_probe -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --set-mss 1400
rule "the LOG target" -A lab_probe -j LOG
rule "the REJECT target" -A lab_probe -p tcp -j REJECT --reject-with tcp-reset
iptables -F lab_probe; iptables -X lab_probe
iptables -t nat -N lab_probe 2>/dev/null || lacks "address translation"
rule "the DNAT target" -t nat -A lab_probe -p tcp --dport 1 -j DNAT --to 192.168.1.9
iptables -t nat -F lab_probe; iptables -t nat -X lab_probe
ebtables -t nat -N lab_probe 2>/dev/null || lacks "the bridge packet filter"
ebtables -t nat -P lab_probe RETURN 2>/dev/null || lacks "policies of bridge chains"
ebtables -t nat -X lab_probe 2>/dev/null
ebtables -N lab_probe 2>/dev/null
ebtables -A lab_probe -p ipv4 --ip-proto 6 -j mark --mark-or 0x40000000 --mark-target CONTINUE 2>/dev/null ||
  lacks "the bridge mark target"
ebtables -F lab_probe 2>/dev/null; ebtables -X lab_probe 2>/dev/null
ebtables -t broute -L BROUTING >/dev/null 2>&1 || lacks "the broute table"
ip rule add fwmark 1/1 prio 1 table 99 2>/dev/null && ip rule del prio 1 || lacks "routing by mark"
cat /proc/sys/net/ipv4/tcp_syncookies >/dev/null 2>&1 || lacks "SYN cookies"
:' 2>/dev/null
