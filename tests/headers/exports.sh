#!/bin/sh
# The names that the headers declare, the version script lists and the shared library exports are
# the same. MARK is what the headers mark the library's names with: SPRIG_API, or SPRIG_RUNTIME_API for
# those of the embedded runtime. Usage: exports.sh LIBRARY VERSION-SCRIPT HEADER-DIRECTORY MARK
set -eu
library=$1 script=$2 headers=$3 mark=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

# The headers with macros expanded, except for the mark. A declaration runs from it to its semicolon;
# its name stands before the first "(" or, for an object, before "[" or ";".
cp -r "$headers" "$work/sprig"
sed -i -E "s/^#define $mark .*/#define $mark $mark./" "$work/sprig/api.h"
cat "$work"/sprig/*.h | cpp -P -I "$work" - | tr '\n' ' ' | grep -oE "$mark ?\. [^;]*;" |
  sed -E 's/[[(;].*//; s/.*[ *]//' | sort > "$work/declared"
sed -nE 's/^ +([A-Za-z0-9_]+);$/\1/p' "$script" | sort > "$work/listed"
nm -D --defined-only "$library" | awk '$2 != "A" {sub(/@.*/, "", $3); print $3}' | sort > "$work/exported"

test -s "$work/declared"
diff -u --label declared "$work/declared" --label listed "$work/listed"
diff -u --label listed "$work/listed" --label exported "$work/exported"

nodes=$(nm -D --defined-only "$library" | awk '$2 == "A" {print $3}')
test "$(echo "$nodes" | wc -w)" -eq 1 || { echo "version nodes: $nodes"; exit 1; }
