#!/usr/bin/env bash
# Several steps of the soak in one piece, with stand-ins for what they start: a
# program that is called like a step is the program, and who failed is told.
#   soak.sh SOAK
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/scripts" "$folder/bin"
cp "$1" "$folder/scripts/soak.sh"
stand_in() { printf '#!/usr/bin/env bash\n%s\n' "$2" >"$folder/$1" && chmod +x "$folder/$1"; }
stand_in bin/ctest 'echo tests'
stand_in bin/valgrind 'echo the program'
stand_in dev '[ "$1" = fuzz ] && exit 3; valgrind'

status=0
told=$(PATH="$folder/bin:$PATH" "$folder/scripts/soak.sh" valgrind fuzz bench) || status=$?
logs=$(cd "$folder/build/soak" && grep -H . *.log)
steps=$(sed -n 's/^\([a-z]*\) .* s  /\1 /p' <<<"$told")
[ $status = 1 ] && [ "$steps" = $'valgrind ok\nfuzz FAILED (3)\nbench ok' ] &&
  [ "$logs" = $'bench.log:the program\nvalgrind.log:tests' ] && exit
printf 'ended with %d\n%s\n%s\n' $status "$told" "$logs"
exit 1
