# The router's processor: 32-bit little-endian MIPS, built with Debian's cross
# compiler (g++-mipsel-linux-gnu) and run under qemu-mipsel (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel -L /usr/mipsel-linux-gnu)
# Headers and CMake packages without code (CLI11, nlohmann/json) are the host's.
set(CMAKE_FIND_ROOT_PATH /usr/mipsel-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Flash is what the device has least of. The library is compiled for the short
# MIPS16e instructions that such processors have beside the full ones, a sixth
# smaller altogether; their loaders map pages of 4 KiB, not of 64, and the data follow
# the code without a gap in the file. The frames are written down for
# tests/library/footprint.sh.
set(ORBA_LIBRARY_OPTIONS -mips16 -fno-tree-sra -fno-ipa-sra -fstack-usage
  CACHE STRING "More compiler options of the library")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-z,max-page-size=4096 -Wl,-z,common-page-size=64")
