#!/usr/bin/env bash
# Compares the types of everything that the library exports with those written
# down when somebody last meant to change them, or writes them down anew.
#   abi.sh LIBRARY_WITH_DEBUG_INFORMATION BASELINE HEADER_FOLDER [--write]
set -euo pipefail
library=$1 baseline=$2 headers=$3 write=${4:-}
if [ "$write" = --write ]; then
  # No paths, and nothing that only this compiler or this layout of the sources
  # would say.
  exec abidw --headers-dir "$headers" --exported-interfaces-only --drop-private-types \
    --drop-undefined-syms --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names \
    --no-elf-needed --no-write-default-sizes --short-locs \
    --out-file "$baseline" "$library"
fi
# Harmless ones too: "const" in front of an argument is for the callers' compilers.
abidiff --harmless --headers-dir2 "$headers" --fail-no-debug-info "$baseline" "$library" || {
  echo "The interface differs from ${baseline##*/}. Programs that run now must go on running: add,"
  echo "but do not change or take away. When the change is meant, ./dev abi writes it down."
  exit 1
}
