#!/usr/bin/env bash
# Makes the archive that tests and tools link of the library's: its calls are renamed as
# calls.txt says, and all that it keeps between two calls is put into one section, where
# library_state.h finds it.
#   rename.sh OBJCOPY OBJDUMP CALLS ARCHIVE RENAMED
set -euo pipefail
objcopy=$1 objdump=$2 calls=$3 archive=$4 renamed=$5

# Variables have sections of their own; .data.rel.ro holds constants with addresses in them.
sections=$("$objdump" -h "$archive" |
  awk '$2 ~ /^\.(data|bss)(\.|$)/ && $2 !~ /^\.data\.rel\.ro/ && $3 !~ /^0+$/ {print $2}' | sort -u)
options=()
for section in $sections; do
  options+=(--rename-section "$section=orba_library_state,alloc,load,data,contents")
done
"$objcopy" --redefine-syms="$calls" "${options[@]}" "$archive" "$renamed"
