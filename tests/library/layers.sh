#!/usr/bin/env bash
# The rooms of the table in docs/architecture.md include what it says and no more: a room's
# own files, the public header, and those of the rooms in its last column, which stand above
# it. Every folder of sources has a row, and a row names nothing that is not used.
set -euo pipefail
cd "$1"

faults=0
fault() { echo "$*"; faults=$((faults + 1)); }

declare -A may=() used=()
while IFS='|' read -r _ room _ uses _; do
  room=$(tr -d ' `' <<<"$room")
  may[$room]=
  for use in $(grep -o '`[^`]*`' <<<"$uses" | tr -d '`'); do
    [ -n "${may[$use]+above}" ] || fault "the row of $room names $use, which does not stand above it"
    may[$room]+=" $use "
  done
done < <(grep '^| `[a-z/]*/` |' docs/architecture.md)
[ ${#may[@]} -gt 1 ] || fault "no table of rooms in docs/architecture.md"

room_of() {  # FILE: the nearest folder above it that has a row
  room=$1
  while [ -n "$room" ] && [ -z "${may[$room]+row}" ]; do
    case ${room%/} in */*) room=${room%/}; room=${room%/*}/ ;; *) room= ;; esac
  done
}

while IFS=: read -r file line; do
  included=${line#*[\"<]}
  included=${included%%[\">]*}
  for found in {.,"${file%/*}",src,include,platform/nvram}/"$included"; do
    [ ! -e "$found" ] || { found=${found#./}; break; }
  done
  if [ ! -e "$found" ]; then
    [[ $line == *\<* ]] || fault "$file includes $included, which is nowhere"
    continue  # a header of the system's
  fi
  room_of "$file"
  user=$room
  [ -n "$user" ] || { fault "$file: its folder has no row"; continue; }
  room_of "$found"
  [ -n "$room" ] || { fault "$file includes $found, whose folder has no row"; continue; }
  used["$user $room"]=yes
  [ "$room" = "$user" ] || [ "$room" = include/ ] || [[ ${may[$user]} == *" $room "* ]] ||
    fault "$file includes $found: $user may use ${may[$user]:-nothing}"
done < <(grep -rE '^\s*#\s*include\s*["<]' --include='*.h' --include='*.cpp' --include='*.c' \
  src sim packets tools platform fuzz bench)

for user in "${!may[@]}"; do
  for use in ${may[$user]}; do
    [ -n "${used["$user $use"]+yes}" ] || fault "$user may use $use and does not"
  done
done
[ $faults -eq 0 ]
