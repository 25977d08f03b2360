#!/bin/sh
# No layer includes what lies above it. Usage: layers.sh PROJECT-DIRECTORY
set -eu
cd "$1"

# Each folder of src/, and the internal and public headers that it may include.
layers='
posix    posix           api pal
encoding encoding        api pal encoding
'
failed=0
complain() { echo "$1"; failed=1; }

for folder in src/*/; do
  name=$(basename "$folder")
  rule=$(echo "$layers" | grep "^$name " || true)
  [ -n "$rule" ] || { complain "$folder is no known layer"; continue; }
  # shellcheck disable=SC2086
  set -- $rule
  folders=$2
  shift 2
  public=$(echo "$*" | tr ' ' '|')
  bad=$(grep -HnE '#include "' "$folder"* | grep -vE "#include \"($folders)/[a-z0-9_]+\.h\"" || true)
  [ -z "$bad" ] || complain "$bad"
  bad=$(grep -HnE '#include <sprig/' "$folder"* | grep -vE "#include <sprig/($public)\.h>" || true)
  [ -z "$bad" ] || complain "$bad"
done

# Public headers include each other in the same direction, and nothing of the library's inside.
bad=$(grep -HnE '#include ".*"' include/sprig/*.h || true)
[ -z "$bad" ] || complain "$bad"
bad=$(grep -HnE '#include <sprig/' include/sprig/pal.h | grep -v 'sprig/api.h' || true)
[ -z "$bad" ] || complain "$bad"
exit $failed
