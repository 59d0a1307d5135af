#!/usr/bin/env bash
# Follows the README's recipe for a firmware image word for word, with a libnvram
# that is another than ours, and looks at what is then in the image.
#   firmware.sh SOURCE_FOLDER WORK_FOLDER TOOLCHAIN_FILE COMPILER EMULATOR...
set -euo pipefail
source=$1 work=$2 toolchain=$3 compiler=$4 emulator=("${@:5}")
scripts=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work/your-image/lib"
cd "$source"
cp -r CMakeLists.txt CMakePresets.json cmake include man platform src "$work"
cp "$toolchain" "$work/your-toolchain.cmake"  # a preset names it from here
cd "$work"

cat >device.c <<'END'
char* nvram_get(int space, const char* key) { return space == 1 && key[0] == 'O' ? "3" : 0; }
char* nvram_bufget(int space, const char* key) { return nvram_get(space, key); }
int nvram_set(int space, const char* key, const char* value) { return space + !key + !value < 0; }
int nvram_bufset(int space, const char* key, const char* value) { return nvram_set(space, key, value); }
int nvram_commit(int space) { return space < 0; }
END
"$compiler" -shared -fPIC -Wl,-soname,libnvram.so.0 device.c -o your-image/lib/libnvram.so.0

told() { sed -n '/^## In a firmware image/,/^## /p' "$source/README.md"; }
recipe=$(told | sed -n '/^```$/,/^```$/{/^```/d;p}')
bash -euxc "${recipe:?the README has none}" >recipe.log 2>&1 || { tail -n 20 recipe.log; exit 1; }

image=your-image/usr/lib
installed=$(cd your-image && find . ! -type d | sort | paste -sd ' ')
[ "$installed" = "./lib/libnvram.so.0 ./usr/lib/liborba_util.so.0 ./usr/lib/liborba_util.so.0.1.0" ] ||
  { echo "in the image: $installed"; exit 1; }
"$scripts/exports.sh" $image/liborba_util.so.0 "$source/src/orba_util.symbols"
"$scripts/footprint.sh" $image/liborba_util.so.0 build/firmware/src "${compiler%gcc}strip" readelf

cat >program.c <<'END'
#include <nvram.h>
#include <orba_util.h>
#include <stdio.h>
int main(void) {
  char wan[32] = "";
  getWanIfName(wan);
  return printf("%s, mode %s\n", wan, nvram_get(1, "OperationMode")) < 0;
}
END
read -ra words < <(told | tr '\n' ' ' | grep -oE '`-[Il][^`]*`' | tr -d '`' | paste -sd ' ')
"$compiler" program.c -L$image -Lyour-image/lib "${words[@]}" -o program
answer=$("${emulator[@]}" -E LD_LIBRARY_PATH=$image:your-image/lib ./program)
[ "$answer" = "apcli0, mode 3" ] || { echo "the program answered: $answer"; exit 1; }
echo "built, installed and used as the README says: ${words[*]}"
