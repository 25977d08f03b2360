#!/bin/sh
# No layer includes what lies above it. Usage: layers.sh PROJECT-DIRECTORY
set -eu
cd "$1"

# Each layer, and the internal and public headers that it may include. What the library calls of the
# runtime is in framework.h; the runtime sees nothing of the library.
layers='
src/posix          posix                          api pal
src/encoding       encoding                       api pal encoding
src/depot          depot|encoding|posix           api pal encoding depot framework
src/framework      framework                      api framework exceptions types
src/files          files|framework                api framework exceptions files
src/properties     properties|files|framework           api framework types files properties
src/records        records|properties|files|framework              api framework types files properties records
src/streams        streams|files|records|framework      api framework types files properties records depot streams pal
runtime/memory     memory|exceptions              api framework
runtime/exceptions exceptions|values|memory       api framework
runtime/values     values|exceptions|memory       api framework
runtime/adr        adr|memory|values              api framework runtime
runtime/host       host|exceptions                api framework runtime
runtime/channel    channel|exceptions|host|memory api framework runtime
'
failed=0
complain() { echo "$1"; failed=1; }

for folder in src/*/ runtime/*/; do
  rule=$(echo "$layers" | grep "^${folder%/} " || true)
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

# The tool sees what every user of the library sees.
bad=$(grep -rHnE '#include <sprig/' tools | grep -vE '#include <sprig/(sprig\.hpp|runtime\.h)>' || true)
[ -z "$bad" ] || complain "$bad"

# Public headers include each other in the same direction, and nothing of the library's inside.
bad=$(grep -HnE '#include ".*"' include/sprig/*.h include/sprig/*.hpp include/sprig/detail/*.hpp || true)
[ -z "$bad" ] || complain "$bad"
bad=$(grep -HnE '#include <sprig/' include/sprig/pal.h | grep -v 'sprig/api.h' || true)
[ -z "$bad" ] || complain "$bad"
exit $failed
