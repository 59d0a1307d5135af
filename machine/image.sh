#!/usr/bin/env bash
# image.sh FOLDER BUILD: makes FOLDER/kernel and FOLDER/base.cpio.gz of the packages in FOLDER/debs, once, and
# FOLDER/library.cpio.gz of the library as BUILD (the mips preset's folder) has it, which takes a second.
# The kernel unpacks the two one behind the other.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)

packed() { (cd "$1" && find . | cpio -o -H newc --quiet | gzip -1); }

# ---- what Debian has ----
if [ ! -e "$folder/base.cpio.gz" ] || [ "$here/image.sh" -nt "$folder/base.cpio.gz" ]; then
  base=$folder/base linux=$folder/linux
  rm -rf "$base" "$linux"
  mkdir -p "$base"/{proc,sys,dev,run,tmp,var/run,var/log,var/lib,mnt,root} "$linux"
  for package in "$folder"/debs/*.deb; do
    case $package in
      */linux-image*) dpkg -x "$package" "$linux" ;;
      *) dpkg -x "$package" "$base" ;;
    esac
  done
  cp "$linux"/boot/vmlinuz-* "$folder/kernel"
  version=$(ls "$linux/lib/modules")
  from=$linux/lib/modules/$version to=$base/lib/modules/$version
  # Malta's memory holds an initramfs of some 16 MB: of the modules only what a router has.
  mkdir -p "$to"
  cp "$from"/modules.{order,builtin,builtin.modinfo} "$to/"
  (cd "$from" && { find kernel/net/{ipv4,ipv6/netfilter,netfilter,bridge,8021q,802,llc,mac80211,wireless,sched} \
    kernel/drivers/net/{dummy,veth,tun,macvlan,mdio,mii}.ko kernel/drivers/net/ppp \
    kernel/drivers/net/ethernet/intel/e1000 kernel/drivers/net/slip kernel/drivers/net/wireless/mac80211_hwsim.ko \
    kernel/drivers/{virtio,block/virtio_blk.ko,rtc} kernel/fs/{ext4,jbd2,mbcache.ko} \
    kernel/net/rfkill kernel/lib/{libcrc32c,crc*,ts_*}.ko kernel/lib/{math,crypto} \
    kernel/crypto/{crc32c_generic,ccm,ctr,gcm,cmac,arc4,aes_generic,ghash*,gf128mul,seqiv,ecb,cbc}.ko \
    -name '*.ko' ! -path '*/ipvs/*' ! -path '*/nf_conntrack_h323*' 2>/dev/null || true; } | cpio -pdm --quiet "$to")
  depmod -b "$base" "$version"
  rm -rf "$base"/usr/share "$base"/usr/lib/*/{gconv,perl*,systemd} "$base"/lib/*/gconv "$base"/usr/lib/{systemd,pppd/*/[!r]*} \
    "$base"/etc/{init.d,systemd} "$base"/usr/lib/*/{libdb-*,ossl-modules} \
    "$base"/{sbin/{tc,devlink,tipc,dcb,vdpa,rtmon,bridge},usr/bin/{nstat,rdma},usr/sbin/{arpd,genl},bin/ss}
  ln -sf dash "$base/bin/sh"  # busybox as a shell would take its own applets before the tools
  ln -sf /bin/busybox "$base/sbin/modprobe"  # the kernel loads modules by this name
  packed "$base" >"$folder/base.cpio.gz.new"
  mv "$folder/base.cpio.gz.new" "$folder/base.cpio.gz"
fi

# ---- what is ours ----
own=$folder/own
rm -rf "$own"
mkdir -p "$own"/{lib,bin}
cp -r "$here"/root/. "$own/"
for library in src/liborba_util.so.0 platform/nvram/libnvram.so.0; do
  mipsel-linux-gnu-strip -o "$own/lib/$(basename $library)" "$build/$library"
done
for program in platform/nvram/programs/nvram_{get,set,show} machine/orba_call; do
  mipsel-linux-gnu-strip -o "$own/bin/$(basename "$program")" "$build/$program"
done
packed "$own" >"$folder/library.cpio.gz"
cat "$folder/base.cpio.gz" "$folder/library.cpio.gz" >"$folder/initramfs"
