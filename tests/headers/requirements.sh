#!/bin/sh
# What the library leaves to others is the runtime's, or the system libraries' that it names; the
# runtime itself is not among those, so that another one can take its place.
# Usage: requirements.sh LIBRARY RUNTIME
set -eu
library=$1 runtime=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

names() { nm -D "$@" | awk '{sub(/@.*/, "", $NF); print $NF}' | sort -u; }

names --undefined-only "$library" > "$work/required"
{
  names --defined-only "$runtime"
  for path in $(ldd "$library" | awk '$3 ~ /^\// {print $3} $1 ~ /^\// {print $1}'); do
    names --defined-only "$path"
  done
} | sort -u > "$work/provided"
test -s "$work/required"
# Weak names of the compiler's need nobody.
nm -D "$library" | awk '$1 == "w" {sub(/@.*/, "", $2); print $2}' | sort -u > "$work/weak"
missing=$(comm -23 "$work/required" "$work/provided" | comm -23 - "$work/weak")
[ -z "$missing" ] || { echo "nobody provides: $missing"; exit 1; }
names --defined-only "$runtime" | comm -12 - "$work/required" | grep -q . ||
  { echo "nothing is required of the runtime"; exit 1; }

needed=$(objdump -p "$library" | awk '$1 == "NEEDED" {print $2}' |
  grep -vE '^lib(c|m|stdc\+\+|gcc_s|asan|ubsan)\.so|^ld-linux' || true)
[ -z "$needed" ] || { echo "needs: $needed"; exit 1; }
