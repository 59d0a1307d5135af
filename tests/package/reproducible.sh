#!/usr/bin/env bash
# Builds the sources in a second folder, whose name has another length, and
# compares what came of it byte for byte.
#   reproducible.sh SOURCE_FOLDER BUILD_FOLDER WORK_FOLDER          the libraries
#   reproducible.sh SOURCE_FOLDER BUILD_FOLDER WORK_FOLDER --all    and tool and packages
set -euo pipefail
source=$1 build=$2 work=$3 all=${4:-}
rm -rf "$work"
copy=$work/a/folder/elsewhere
mkdir -p "$copy"
(cd "$source" && cp -r CMakeLists.txt CMakePresets.json CHANGELOG.md LICENSE cmake examples include lab man \
  packets platform sim src tools "$copy")
# Objects of a compiler cache could be those of the first folder.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
export CCACHE_DISABLE=1

again=$copy/out
tool=OFF targets=(orba_util nvram) files=(src/liborba_util.so platform/nvram/libnvram.so)
if [ "$all" = --all ]; then
  tool=ON targets=(all) files+=(tools/orba/orba platform/nvram/programs/nvram_{get,set,show})
fi
(cd "$copy" && cmake --preset release -B "$again" -DORBA_TESTS=OFF -DORBA_TOOL=$tool >/dev/null)
cmake --build "$again" --target "${targets[@]}" >/dev/null

status=0
same() {
  cmp "$1" "$2" || status=1
  sha256sum <"$1" | cut -c1-16 | paste - <(echo "${1##*/}")
}
for file in "${files[@]}"; do same "$build/$file" "$again/$file"; done
if [ "$all" = --all ]; then
  # Packed in other folders, from files of another time.
  : "${SOURCE_DATE_EPOCH:?the time that the packages are to carry}"
  export SOURCE_DATE_EPOCH
  (cd "$build" && cpack -B "$work/packed" >/dev/null)
  find "$copy" -exec touch -h -d '2001-02-03' {} +
  (cd "$again" && cpack -B "$work/packed-elsewhere" >/dev/null)
  for file in "$work"/packed/*.deb; do same "$file" "$work/packed-elsewhere/${file##*/}"; done
fi
exit $status
