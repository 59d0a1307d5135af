#!/usr/bin/env bash
# Installs the build, then builds and runs a program in C that finds the library
# through pkg-config and one in C++ that finds it through CMake.
#   consumers.sh BUILD_FOLDER WORK_FOLDER
set -euo pipefail
build=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
work=$(cd "$work" && pwd)
cmake --install "$build" --prefix "$work/usr" >/dev/null
libraries=$(dirname "$(find "$work/usr" -name liborba_util.so.0)")
mkdir "$work/store"
export ORBA_NVRAM_DIR=$work/store
"$work/usr/bin/nvram_set" OperationMode 3

cat >"$work/consumer.c" <<'END'
#include <orba_util.h>
#include <stdio.h>
int main(void) {
  char wan[32] = "";
  getWanIfName(wan);
  return printf("%s %s\n", getLanIfName(), wan) < 0;
}
END
expect() {
  local answer
  answer=$(LD_LIBRARY_PATH=$libraries "$@")
  [ "$answer" = "br0 apcli0" ] || { echo "$1 answered: $answer"; exit 1; }
}

export PKG_CONFIG_PATH=$libraries/pkgconfig
read -ra flags < <(pkg-config --cflags --libs orba_util)
cc -std=c99 -Wall -Wextra -pedantic -Werror "$work/consumer.c" "${flags[@]}" -o "$work/in_c"
expect "$work/in_c"

mkdir "$work/cpp"
cp "$work/consumer.c" "$work/cpp/consumer.cpp"
cat >"$work/cpp/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(consumer CXX)
find_package(orba_util 0.1 REQUIRED)
add_executable(consumer consumer.cpp)
target_link_libraries(consumer PRIVATE orba::orba_util)
END
cmake -S "$work/cpp" -B "$work/cpp/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/usr" >/dev/null
cmake --build "$work/cpp/build" >/dev/null
expect "$work/cpp/build/consumer"

"$work/usr/bin/orba" list >/dev/null
echo "installed, found and used from C and C++"
