#!/usr/bin/env bash
# Shows the main job on real data (Debian 12): installs what is missing, builds, packs a directory
# tree, sends it over a channel, interrupts and resumes it, and checks every byte. Leaves nothing
# behind but build/release-demo; with SPRIG_DEMO_BUILD, it takes the program of another build.
set -euo pipefail
cd "$(dirname "$0")"

work=
sender=
clean_up() {
  [ -z "$sender" ] || kill "$sender" 2> /dev/null || true
  [ -n "$work" ] || return 0
  # The semaphores outlive their key files, and could then be found no more.
  find "$work" -name '*.lk' -printf '%D %i\n' | while read -r device inode; do
    ipcrm -S $((1 << 24 | (device & 0xff) << 16 | (inode & 0xffff))) 2> /dev/null || true
  done
  rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

bold="" plain=""
if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; fi
step() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
fail() { echo "demo.sh: $*" >&2; exit 1; }
# Shows a line before it is run.
run() { echo "\$ $*"; "$@"; }

build() {
  local directory=${SPRIG_DEMO_BUILD:-build/release-demo}
  PATH=$PWD/$directory/tools:$PATH
  [ -z "${SPRIG_DEMO_BUILD:-}" ] || return 0
  scripts/install-packages.sh g++ make cmake libcli11-dev nlohmann-json3-dev libssl-dev
  cmake --preset release -B "$directory" -DSPRIG_BUILD_TESTS=OFF > /dev/null
  cmake --build "$directory" --parallel "$(nproc)" > /dev/null
}

# 1500 files of this machine, some random ones, a link and an empty directory.
make_tree() {
  mkdir -p tree/machine tree/random tree/empty
  (cd / && find usr/include usr/share -xdev -maxdepth 4 -type f -readable -size -512k 2> /dev/null | sed -n 1,1500p |
    tr '\n' '\0' | xargs -0 cp -p --parents -t "$work/tree/machine")
  for i in 1 2 3 4; do head -c $((i * 6000000)) /dev/urandom > "tree/random/$i.bin"; done
  ln -s random/1.bin tree/link
  files=$(find tree -type f | wc -l)
  kilobytes=$(du -sk --apparent-size tree | cut -f 1)
  if [ "$files" -lt 1000 ] || [ "$kilobytes" -lt 50000 ]; then fail "only $files files, $kilobytes KB"; fi
  echo "$files files, $((kilobytes / 1024)) MiB: copies from /usr/include and /usr/share, and random bytes"
}

# Its lines come when there is something to tell.
start_sender() {
  echo "\$ sprig serve tree.dist --listen unix:channel &"
  exec {lines}< <(exec sprig serve tree.dist --listen unix:channel)
  sender=$!
  show_sender_line
}

# Waits for the sender's next line.
show_sender_line() {
  IFS= read -r line <&"$lines" || fail "the sender has ended"
  echo "sender: $line"
}

# Receives, and interrupts it when the first tenth has arrived.
receive_part() {
  local receiver status=0 size
  echo "\$ sprig receive --into $1 --from unix:channel     (and Ctrl-C on the way)"
  sprig receive --into "$1" --from unix:channel &
  receiver=$!
  while size=$(du -sk --apparent-size "$1/.sprig" 2> /dev/null | cut -f 1) || true
    kill -0 $receiver 2> /dev/null && [ "${size:-0}" -lt $((kilobytes / 10)) ]; do :; done
  kill -INT $receiver 2> /dev/null || true
  wait $receiver || status=$?
  [ $status -eq 130 ] || fail "the interrupted receiver ended with status $status, not 130"
}

# Checks a copy with tools that know nothing of Sprig.
verify() {
  diff -r --no-dereference tree "$1" || fail "$1 differs from the original"
  (cd tree && find . -type f -print0 | sort -z | xargs -0 sha256sum) > sums
  (cd "$1" && sha256sum --quiet --check ../sums) || fail "$1 differs from the original"
  diff <(listing tree) <(listing "$1") > /dev/null || fail "$1: permissions, times or links differ"
  echo "$1 is the original: diff -r finds no difference, $(wc -l < sums) SHA-256 sums agree,"
  echo "permissions, times and links as well"
}
listing() { (cd "$1" && find . \( -type f -printf '%P %m %Ts\n' -o -printf '%P %y %l\n' \) | sort); }

step "Install what is missing and build"
build
work=$(mktemp -d)
cd "$work"
unset "${!KRT_@}"
export XDG_STATE_HOME=$work/state
SECONDS=0

step "A directory tree to distribute"
make_tree

step "Pack it: files become segments, each with its SHA-256"
run sprig pack tree -o tree.dist --segment-size 8M

step "Serve it on a Unix socket"
start_sender

step "Receive it, and interrupt that on the way"
receive_part copy
show_sender_line

step "The same line again: it goes on where it was"
run sprig status
run sprig receive --into copy --from unix:channel
show_sender_line

step "Is every byte right?"
verify copy

step "Receive it again elsewhere: all of it comes from the depot"
run sprig receive --into second --from unix:channel
show_sender_line
case $line in
  *': needed nothing' | *': sent 0 segments, '*) echo "The sender sent no data." ;;
  *) fail "the sender sent data that the depot has" ;;
esac
verify second

step "What the depot holds now"
echo "\$ sprig depot state/sprig/depot list | head"
sprig depot state/sprig/depot list > depot.list
head depot.list
echo "... $(($(wc -l < depot.list) - 1)) entries in all"
run sprig depot state/sprig/depot df
run sprig depot state/sprig/depot verify

step "What became of the distribution"
run sprig status

step "End the sender"
kill "$sender"
show_sender_line
wait "$sender" || fail "the sender ended with status $?"
sender=
printf '\nDone after %d s. Every byte arrived as it was sent.\n' "$SECONDS"
