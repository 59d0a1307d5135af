#!/usr/bin/env bash
# image.sh FOLDER BUILD: makes FOLDER/kernel and FOLDER/base.ext4, a disk of the programs in
# FOLDER/debs that both machines only read, once; FOLDER/initramfs, which has what is written and the
# library as BUILD (the mips preset's folder) has it; and FOLDER/booted, a machine that has come so far
# as both do alike. That takes ten seconds.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
base=$folder/base
export PATH=$PATH:/usr/sbin:/sbin
rm -f "$folder/booted"  # it has the disk mounted

# ---- what Debian has ----
make_base() {
  local linux=$folder/linux modules=lib/modules program
  rm -rf "$base" "$linux"
  mkdir -p "$base" "$linux"
  for package in "$folder"/debs/*.deb; do
    case $package in
      */linux-image*) dpkg -x "$package" "$linux" ;;
      *) dpkg -x "$package" "$base" ;;
    esac
  done
  cp "$linux"/boot/vmlinuz-* "$folder/kernel"
  version=$(ls "$linux/$modules")
  echo "$version" >"$folder/version"
  # Of the kernel's modules what a router and its disks may need.
  mkdir -p "$base/$modules/$version"
  cp "$linux/$modules/$version"/modules.{order,builtin,builtin.modinfo} "$base/$modules/$version/"
  (cd "$linux" && find "$modules/$version"/kernel/{net,lib,crypto,fs/{ext4,jbd2,mbcache.ko},drivers/{virtio,rtc,char/virtio_console.ko}} \
    "$modules/$version"/kernel/drivers/{block/virtio_blk.ko,net/{virtio_net.ko,net_failover.ko,dummy.ko,tun.ko,slip,ppp}} -name '*.ko' \
    2>/dev/null || true) | (cd "$linux" && cpio -pdm --quiet "$base")
  depmod -b "$base" "$version"
  rm -rf "$linux" "$base"/usr/share "$base"/usr/lib/*/perl*
  # The names that Debian's alternatives give: the older engines, as the device has them.
  for program in iptables iptables-save iptables-restore; do
    ln -s xtables-legacy-multi "$base/usr/sbin/$program"
  done
  for program in ebtables ebtables-save ebtables-restore; do
    ln -s "${program/ebtables/ebtables-legacy}" "$base/usr/sbin/$program"
  done
  ln -sf dash "$base/bin/sh"  # busybox as a shell would take its own applets before the tools
  ln -sf /bin/busybox "$base/sbin/modprobe"  # the kernel loads modules by this name
  # What is written is in the memory of the machine that boots.
  for program in liborba_util.so.0 libnvram.so.0; do ln -s "/own/lib/$program" "$base/lib/$program"; done
  for program in bin/super_dmz bin/orba_qos sbin/wlan.sh; do
    ln -s "/run/lab/tools/${program#*/}" "$base/$program"
  done
  python3 -m compileall -q "$base"/usr/lib/python3.11/{ctypes,*.py} >/dev/null 2>&1 || true
  rm -f "$folder/base.ext4.new"
  mke2fs -q -t ext4 -O ^has_journal -m 0 -L base -d "$base" "$folder/base.ext4.new" 192M
  mv "$folder/base.ext4.new" "$folder/base.ext4"
}
if [ "$here/image.sh" -nt "$folder/base.ext4" ] || [ "$here/packages.txt" -nt "$folder/base.ext4" ]; then
  make_base
fi

# ---- what is ours ----
own=$folder/initial
rm -rf "$own"
mkdir -p "$own"/{proc,sys,dev,run/lab,tmp,mnt,root,base,own/{lib,bin},var/{log,lib},etc}
ln -s ../run "$own/var/run"
for link in bin sbin lib usr; do ln -s "base/$link" "$own/$link"; done
cp -r "$base/etc/." "$own/etc/"
cp -r "$here"/root/. "$own/"
cp -r "$here/../lab/tools" "$own/run/lab/"
"$own/run/lab/tools/link-stand-ins" /bin/busybox "$(qemu-mipsel "$base/bin/busybox" --list)"
cp "$here/../lab/tests/packets.py" "$own/own/lib/"
cp "$base/bin/busybox" "$own/busybox"
# The modules without which the disks are not seen, in the order of their needs.
mkdir "$own/early"
for module in virtio_pci virtio_blk crc32c_generic ext4; do
  modprobe -d "$base" -S "$(cat "$folder/version")" --show-depends $module
done | sed -n 's/^insmod //p' | awk '!seen[$1]++ { print $1 }' | while read -r module; do
  cp "$module" "$own/early/"
  basename "$module"
done >"$own/early/order"
for library in src/liborba_util.so.0 platform/nvram/libnvram.so.0; do
  mipsel-linux-gnu-strip -o "$own/own/lib/$(basename $library)" "$build/$library"
done
for program in platform/nvram/programs/nvram_{get,set,show} machine/{orba_call,iptables}; do
  mipsel-linux-gnu-strip -o "$own/own/bin/$(basename "$program")" "$build/$program"
done
(cd "$own" && find . | cpio -o -H newc --quiet -R 0:0 | gzip -1) >"$folder/initramfs.new"
mv "$folder/initramfs.new" "$folder/initramfs"
"$here/machine.py" "$folder"
