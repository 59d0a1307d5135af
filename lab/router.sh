#!/bin/sh
# The router's first process, in namespaces of its own: makes itself a tree of files,
# gives birth to the two hosts, wires everything up, and then only stays.
# From up.sh: the names $LAN $WAN $ETHERNET $OTHERS, and lab/tools as an archive on
# standard input.
set -eu

# ---- files ----
# A tree of the router's own. Of this machine's files only the programs are in it,
# to be read; what can be written ends with the lab.
root=/run/root
mount -t tmpfs -o mode=755 run /run
mkdir $root
mount -t tmpfs -o mode=755 tree $root
for folder in usr bin sbin lib lib32 lib64 libx32; do
  if [ -L "/$folder" ]; then
    cp --no-dereference "/$folder" "$root/$folder"
  elif [ -d "/$folder" ]; then
    mkdir "$root/$folder"
    mount --rbind "/$folder" "$root/$folder"  # read-only: programs.sh
  fi
done
cd $root
mkdir dev proc sys
for folder in etc root run tmp var; do
  mkdir $folder
  mount -t tmpfs -o mode=755 private $folder
done
chmod 1777 tmp

# The device's /etc: what the tools need, and no name service.
for item in passwd group protocols services ethertypes networks alternatives iproute2 \
  ld.so.cache ld.so.conf ld.so.conf.d xtables.conf; do
  [ ! -e "/etc/$item" ] || cp -r --no-dereference "/etc/$item" "etc/$item"
done
echo "hosts: files" >etc/nsswitch.conf
echo "127.0.0.1 localhost" >etc/hosts
echo "GMT0" >etc/TZ
: >etc/resolv.conf
mkdir -p etc/iproute2

# No device nodes but the harmless ones; what the library writes to the console
# is kept in a file.
for node in null zero full random urandom tty; do
  : >"dev/$node"
  mount --bind "/dev/$node" "dev/$node"
done
mkdir dev/pts
mount -t devpts -o newinstance,ptmxmode=0666 pts dev/pts
ln -s pts/ptmx dev/ptmx
ln -s /proc/self/fd dev/fd
mkfifo dev/console

# Of the kernel's settings only those of the router's own network can be written.
mount --rbind /proc proc
mkdir /run/net
mount --bind proc/sys/net /run/net
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
mount --bind /run/net proc/sys/net
mount -t sysfs -o ro sys sys

mkdir -p run/lab/tools run/lab/upper run/lab/work var/run var/lock run/machine
pivot_root . run/machine
cd /root
umount -l /run/machine
rmdir /run/machine
mount -o remount,bind,ro /

# The lab's tools come first in the search path; the device's programs that are
# called by their whole path are laid over /bin and /sbin.
tar -C /run/lab/tools --no-same-owner -x
exec </dev/null
chmod 755 /run/lab/tools /run/lab/tools/*
/run/lab/tools/link-stand-ins
over() {  # folder program...
  folder=$(readlink -f "$1")
  shift
  mkdir -p "/run/lab/upper$folder" "/run/lab/work$folder"
  mount -t overlay -o "lowerdir=$folder,upperdir=/run/lab/upper$folder,workdir=/run/lab/work$folder" \
    program "$folder"
  for program in "$@"; do ln -sf /run/lab/tools/"$program" "$folder/$program"; done
  mount -o remount,bind,ro "$folder"
}
over /bin super_dmz orba_qos
over /sbin wlan.sh

cat <>/dev/console >/run/lab/console 2>/dev/null &
export PATH=/run/lab/tools:/usr/sbin:/usr/bin:/sbin:/bin
hostname router

# ---- hosts ----
for host in lan internet; do
  # Waits for its network to be its own before anyone looks for it.
  LAB_HOST=$host unshare --net --mount sh -c "echo \$\$ >/run/lab/$host; exec sleep infinity" \
    >/dev/null 2>&1 &
done
until [ -s /run/lab/lan ] && [ -s /run/lab/internet ]; do sleep 0.02; done
here() { ip "$@"; }
there() {
  process=$(cat "/run/lab/$1")
  shift
  nsenter -n -t "$process" -- "$@"
}

# ---- wires ----
here link set lo up
echo 1 >/proc/sys/net/ipv4/ip_forward
echo 0 >/proc/sys/net/ipv4/icmp_ratelimit  # each packet that is refused is told so
wire() {  # the router's end, the host's process, the host's end
  ip link add "$1" type veth peer name "$3" netns "$(cat "/run/lab/$2")"
  ip link set "$1" up
  there "$2" ip link set "$3" up
  there "$2" ip link set lo up
}
case $LAN in
  br*)
    ip link add "$LAN" type bridge forward_delay 0
    wire eth2.1 lan eth0
    ip link set eth2.1 master "$LAN"
    ;;
  *) wire "$LAN" lan eth0 ;;
esac
ip address add 192.168.1.1/24 dev "$LAN"
ip link set "$LAN" up
if [ "$WAN" = "$LAN" ]; then
  # A bridge: the Internet side is one of its ports.
  wire eth2.2 internet eth0
  ip link set eth2.2 master "$LAN"
else
  wire "$WAN" internet eth0
fi
ip address add 198.51.100.2/24 dev "$WAN"
ip route add default via 198.51.100.1
for radio in ra0 ra1 ra2 ra3 apcli0; do
  [ "$radio" = "$WAN" ] || ip link add "$radio" type veth peer name "far-$radio"
done
case $WAN in ppp*) ip link set "$WAN" mtu 1492 ;; esac
# The Ethernet device below a PPP link, and WAN 2 to 4 as far as there are any,
# lead to nobody: what is sent there can be seen on "far-" and their name.
number=1
for other in $ETHERNET $OTHERS; do
  if [ "$other" != none ] && [ ! -e "/sys/class/net/$other" ]; then
    ip link add "$other" type veth peer name "far-$other"
    ip link set "$other" up
    ip link set "far-$other" up
    [ $number = 1 ] || ip address add "10.${number}0.0.2/16" dev "$other"
  fi
  number=$((number + 1))
done

there lan ip link set eth0 address 00:0C:43:28:60:2B
there lan ip address add 192.168.1.10/24 dev eth0
there lan ip route add default via 192.168.1.1
there internet ip address add 198.51.100.1/24 dev eth0

echo ready
exec sleep infinity >/dev/null 2>&1  # of this machine's files it holds none
