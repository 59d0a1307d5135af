#!/usr/bin/env bash
# What the built library offers and what it needs: exactly the names listed, and
# nothing but the C library and the settings store.
#   exports.sh LIBRARY SYMBOLS [NM]
set -euo pipefail
library=$1 symbols=$2 nm=${3:-nm}

# Some C libraries' start files leave _init and _fini to be seen.
have=$("$nm" -D --defined-only "$library" | awk '{print $3}' | grep -vxE '_init|_fini' | sort)
want=$(grep -v '^#' "$symbols" | sort)
differences=$(diff <(echo "${want//=/}" | sort) <(echo "$have") || true)
if [ -n "$differences" ]; then
  printf '%s lists (<) what the library does not export (>), or does not list it:\n%s\n' "${symbols##*/}" "$differences"
  exit 1
fi
data=$("$nm" -D --defined-only "$library" | awk '$2 != "T" {print $3}' | sort)
if [ "$data" != "$(sed -n 's/^=//p' "$symbols" | sort)" ]; then
  printf 'these are data in the library, which is not what the list says:\n%s\n' "$data"
  exit 1
fi

dynamic=$(readelf -d "$library")
needs=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic" | sort | paste -sd ' ')
name=$(sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p' <<<"$dynamic")
if [[ ! $needs =~ ^libc\.so(\.6)?" libnvram.so.0"$ ]] || [ "$name" != liborba_util.so.0 ]; then
  echo "$name needs: $needs"
  exit 1
fi
echo "$(wc -l <<<"$have") names, needs $needs"
