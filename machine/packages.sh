#!/usr/bin/env bash
# packages.sh FOLDER [LIST]: puts the packages of LIST, or of packages.txt, into FOLDER/debs, once, with an
# apt of its own that knows this machine's sources and keys, and one architecture. This machine's packages
# are not touched.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(mkdir -p "$1" && cd "$1" && pwd)
list=${2:-$here/packages.txt}
done=$folder/debs/complete
[ "$list" -nt "$done" ] || exit 0
list=$(realpath "$list")

rm -rf "$folder/debs"
mkdir -p "$folder"/apt/{state/lists/partial,cache/archives/partial,etc/apt.conf.d,etc/preferences.d} "$folder/debs"
: >"$folder/apt/status"
cp -r /etc/apt/sources.list* /etc/apt/trusted.gpg.d "$folder/apt/etc/" 2>/dev/null || true
cat >"$folder/apt/conf" <<END
$(apt-config dump | grep -E '^Acquire::(https?::.*Proxy|Check-Valid-Until|Retries)' || true)
APT::Architecture "mipsel"; APT::Architectures { "mipsel"; };
Dir::State "$folder/apt/state"; Dir::State::status "$folder/apt/status";
Dir::Cache "$folder/apt/cache"; Dir::Etc "$folder/apt/etc";
Acquire::Languages "none"; APT::Sandbox::User "root";
END
export APT_CONFIG=$folder/apt/conf
apt-get update -qq
names=$(sed 's/#.*//' "$list")
kernel=$(apt-cache depends linux-image-4kc-malta | sed -n 's/.*Depends: //p' | head -n 1)
cd "$folder/debs"
apt-get download -qq ${names/linux-image-4kc-malta/$kernel}
touch "$done"
