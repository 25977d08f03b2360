#!/bin/sh
# The C program in the guide to the framework compiles as it stands and prints what the guide says; the
# type that it shows compiles, too.
# Usage: framework_guide.sh PROJECT-DIRECTORY LIBRARY RUNTIME-LIBRARY CC FLAGS
set -eu
project=$1 library=$2 runtime=$3 cc=$4 flags=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The n-th block of a language.
block() {
  awk -v start="\`\`\`$1" -v wanted="$2" '
    /^```$/ && inside { inside = 0 }
    inside && count == wanted { print }
    $0 == start { inside = 1; ++count }' "$project/docs/guide/framework.md"
}
compile() {
  # shellcheck disable=SC2086
  $cc $flags -std=c11 -Wall -Wextra -Werror -I"$project/include" "$@"
}

block c 1 > "$work/catch.c"
block text 1 > "$work/expected"
compile "$work/catch.c" "$library" "$runtime" -Wl,-rpath,"$(dirname "$library")" \
  -Wl,-rpath,"$(dirname "$runtime")" -o "$work/catch"
"$work/catch" > "$work/printed"
diff "$work/expected" "$work/printed"

{
  echo '#include <sprig/sprig.h>'
  block c 2 | sed 's/^adr_type_init.*/void init(void);\nvoid init(void) { & }/'
} > "$work/type.c"
compile -fsyntax-only "$work/type.c"
