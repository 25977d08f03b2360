#!/bin/sh
# The library calls setjmp() in one place, so that everything else need not know its rules.
# Usage: setjmp.sh PROJECT-DIRECTORY
set -eu
cd "$1"
calls=$(grep -rnE '\b(sig)?setjmp\(' src --include='*.cpp' --include='*.h' | grep -vE ':[0-9]+: *//')
test "$(echo "$calls" | cut -d: -f1)" = src/framework/try_frame.h || { echo "$calls"; exit 1; }
