#!/bin/sh
# Relative links in the documents, and documents that code and headers name, exist.
# Usage: links.sh PROJECT-DIRECTORY
set -eu
cd "$1"
failed=0
for page in $(find . -name '*.md' -not -path './build/*'); do
  for target in $(awk '/^```/ {code = !code} !code' "$page" | grep -oE '\]\([^)#]+' | sed 's/^](//' | grep -vE '^[a-z]+:' || true); do
    [ -e "$(dirname "$page")/$target" ] || { echo "$page: $target is not there"; failed=1; }
  done
done
for target in $(grep -rhoE 'docs/[a-z0-9/_-]+\.md' include src tests bench fuzz | sort -u); do
  [ -e "$target" ] || { echo "$target is named in the code, but is not there"; failed=1; }
done
exit $failed
