#!/usr/bin/env bash
# Packs the build and looks at the packages: what they hold, what they depend
# on, and whether what is in them works where they are unpacked.
#   contents.sh SOURCE_FOLDER BUILD_FOLDER WORK_FOLDER
set -euo pipefail
source=$1 build=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
(cd "$build" && cpack -B "$work" >"$work/cpack.log") || { cat "$work/cpack.log"; exit 1; }
cd "$work"
version=$(sed -n 's/^project(.*VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)

package=
status=0
wrong() { printf '%s: %s\n' "$package" "$*"; status=1; }
field() { dpkg-deb -f "$package"_*.deb "$1"; }

# The files in /usr, without documentation; LIB is the architecture's folder.
expect() {  # package, what it depends on, file...
  package=$1
  local depends
  # Of other projects' packages any version will do.
  depends=$(field Depends | sed "s/= $version-1)/= ours)/g; s/ (>= [0-9][^)]*)//g; s/, /\n/g" |
    sort | paste -sd , | sed 's/,/, /g')
  [ "$depends" = "$2" ] || wrong "depends on $depends"
  [ "$(field Version)" = "$version-1" ] || wrong "has version $(field Version)"
  shift 2
  local held wanted
  dpkg-deb -x "$package"_*.deb "$package.tree"
  cp -r "$package.tree/." all
  held=$(cd "$package.tree/usr" && find . ! -type d | sed "s,^\./,,; s,^lib/$multiarch/,LIB/," |
    grep -vE '^share/orba_util/(lab|examples)/' | sort)
  wanted=$(printf '%s\n' "$@" share/doc/"$package"/{copyright,changelog.gz,changelog.Debian.gz} | sort)
  [ "$held" = "$wanted" ] || wrong "wanted (<) and held (>) files differ:
$(diff <(echo "$wanted") <(echo "$held"))"
}
mkdir all
expect libnvram0 "libc6, libgcc-s1, libstdc++6" LIB/libnvram.so.{0,"$version"}
expect liborba-util0 "libc6, libnvram0 (>= ours)" LIB/liborba_util.so.{0,"$version"}
expect liborba-util-dev "libc6-dev, libnvram0 (= ours), liborba-util0 (= ours)" \
  include/{nvram,orba_util}.h LIB/lib{nvram,orba_util}.so LIB/pkgconfig/orba_util.pc \
  LIB/cmake/orba_util/orba_util-config{,-release,-version}.cmake share/man/man3/{nvram,orba_util}.3.gz
expect orba "libarchive13, libbsd0, libc6, libcpp-httplib0.11, libgcc-s1, libnvram0 (>= ours), libseccomp2, libssl3, libstdc++6" bin/{orba,nvram_{get,set,show}} \
  share/man/man1/{orba,nvram_{get,set,show}}.1.gz share/bash-completion/completions/orba

# Nothing tells where it was built, or looks for libraries in a place of its own.
package=all
found=$(grep -rlF "$source" all || true)
[ -z "$found" ] || wrong "these name the folder of the build: $found"
for program in all/usr/bin/* all/usr/lib/"$multiarch"/*.so.0; do
  if readelf -d "$program" | grep -E 'RPATH|RUNPATH'; then wrong "${program##*/} has a path"; fi
done

export LD_LIBRARY_PATH=$PWD/all/usr/lib/$multiarch ORBA_NVRAM_DIR=$work/settings
examples=all/usr/share/orba_util/examples
[ "$(all/usr/bin/orba --version)" = "$version" ] || wrong "orba --version"
all/usr/bin/orba plan firewall_init --config $examples/gateway.conf | grep '^firewall_init: .* returns 0' >/dev/null ||
  wrong "orba plan firewall_init"
all/usr/bin/orba lab down >said 2>&1 || grep -q 'lab is up' said || wrong "orba lab: $(cat said)"
all/usr/bin/nvram_set OperationMode 1
[ "$(all/usr/bin/nvram_get OperationMode)" = 1 ] || wrong "nvram_get"
# What is in /usr the compiler finds by itself; elsewhere the folder is named, without "..".
flags() { PKG_CONFIG_LIBDIR=$LD_LIBRARY_PATH/pkgconfig pkg-config --cflags --libs orba_util | sed 's/ *$//'; }
[ "$(flags)" = "-lorba_util -lnvram" ] || wrong "pkg-config says $(flags)"
moved=$(PKG_CONFIG_SYSROOT_DIR=$PWD/all flags)
[ "${moved%% *}" = "-I$PWD/all/usr/include" ] || wrong "pkg-config says $moved of a moved tree"
[ $status = 0 ] && ls ./*.deb
exit $status
