#!/usr/bin/env bash
# The same of a library built for the debugger, where nothing is optimised away.
#   debug_build.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DORBA_TESTS=OFF -DORBA_TOOL=OFF >/dev/null
cmake --build "$2" --target orba_util >/dev/null
exec "$(dirname "$0")/exports.sh" "$2/src/liborba_util.so" "$1/src/orba_util.symbols"
