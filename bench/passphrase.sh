#!/usr/bin/env bash
# passphrase.sh QEMU PLUGIN WORK LIBRARIES FOLDER: the instructions of one WPA key on the router's
# processor, by the library (LIBRARIES is where it and its store are, parted by ":") and by its peers,
# whose packages FOLDER/debs has. The emulator counts all that runs; of three keys and of one the
# difference is taken.
set -euo pipefail
qemu=$1 plugin=$2 work=$3 libraries=$4 folder=$5
for package in "$folder"/debs/*.deb; do dpkg -x "$package" "$folder/root"; done
libraries+=:$folder/root/usr/lib/mipsel-linux-gnu:$folder/root/lib/mipsel-linux-gnu

instructions() {  # who, keys
  QEMU_LD_PREFIX=/usr/mipsel-linux-gnu "$qemu" -E LD_LIBRARY_PATH="$libraries" -plugin "$plugin" "$work" "$@" 2>&1 |
    awk '/^instructions / { print $2; found = 1; next } { print >"/dev/stderr" } END { exit !found }'
}

for who in orba_util nettle libgcrypt mbedtls openssl; do
  once=$(instructions $who 1)
  key=$((($(instructions $who 3) - once) / 2))
  ours=${ours:-$key}
  awk -v who=$who -v key=$key -v ours=$ours 'BEGIN {
    printf "%-10s %6.2f million instructions, ours / theirs %.2f\n", who, key / 1e6, ours / key }'
done
