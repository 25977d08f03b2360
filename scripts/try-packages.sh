#!/bin/sh
# Builds the Debian packages, installs them in a clean root of their own and tries them there: the
# tool, and programs that others build on the library. Everything goes again at the end.
# Usage: try-packages.sh [MIRROR] (default: the one that apt uses on this machine)
set -eu
cd "$(dirname "$0")/.."
[ "$(id -u)" -eq 0 ] || { echo "try-packages.sh: it makes a root directory of its own, which only root may" >&2; exit 1; }

# Apart from the machine, nothing stays mounted, and no semaphore stays, however it ends.
if [ "${SPRIG_TRIAL_IS_APART:-}" != yes ]; then
  SPRIG_TRIAL_IS_APART=yes exec unshare --mount --ipc "$0" "$@"
fi

# shellcheck disable=SC1091
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=${1:-}

step() { printf '\n== %s\n' "$*"; }

work=$(mktemp -d)
root=$work/root
clean_up() {
  ! mountpoint -q "$root/proc" || umount "$root/proc"
  rm -rf --one-file-system "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

step "Build the packages"
scripts/install-packages.sh g++ make cmake libcli11-dev nlohmann-json3-dev libssl-dev dpkg-dev debootstrap
# shellcheck disable=SC2016
[ -n "$mirror" ] || mirror=$(apt-get indextargets --format '$(CODENAME) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
  sed -n "s/^$release main //p" | head -n 1)
[ -n "$mirror" ] || { echo "try-packages.sh: apt has no mirror of $release: name one" >&2; exit 1; }
cmake -S . -B "$work/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr -DSPRIG_BUILD_TESTS=OFF > /dev/null
cmake --build "$work/build" --parallel "$(nproc)" > /dev/null
(cd "$work/build" && cpack -B "$work/packages" > "$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
ls -sh "$work"/packages/*.deb

step "Make a clean root ($release)"
debootstrap --variant=minbase "$release" "$root" "$mirror" > "$work/debootstrap.log" || { tail "$work/debootstrap.log"; exit 1; }
cp -L /etc/resolv.conf "$root/etc/resolv.conf"
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
mkdir "$root/packages" "$root/trial"
cp "$work"/packages/*.deb "$root/packages"
cp -R tests/install/consumer "$root/trial"

inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
# install_inside PACKAGE... (patterns are of the root's files)
install_inside() {
  inside sh -c "apt-get -qq install -y --no-install-recommends $*" > "$work/apt.log" 2>&1 || { cat "$work/apt.log"; return 1; }
}

step "Install and try the tool"
rm -f "$root"/etc/dpkg/dpkg.cfg.d/* # manual pages are installed, too
inside apt-get -qq update
install_inside man-db '/packages/libsprig0_*' '/packages/libsprig-runtime0_*' '/packages/sprig_*'
inside sprig --version
# shellcheck disable=SC2016
inside sh -euc '
  mkdir -p /trial/tree/empty
  seq 100000 > /trial/tree/numbers
  cp -R /usr/share/doc/man-db /trial/tree
  ln -s numbers /trial/tree/link
  cd /trial
  sprig pack tree -o tree.dist
  sprig receive --into copy --from dir:tree.dist
  diff -r --no-dereference tree copy
  for page in /usr/share/man/man1/sprig*.1.gz; do
    page=$(basename "$page" .1.gz)
    if man --warnings "$page" 2>&1 > /dev/null | grep .; then exit 1; fi
    echo "man $page"
  done
  ls /usr/share/bash-completion/completions/sprig'

step "Build programs on the library"
install_inside g++ make cmake pkg-config '/packages/libsprig-dev_*'
# shellcheck disable=SC2016
inside sh -euc '
  cd /trial
  cc -std=c11 -Wall -Wextra -Werror consumer/program.c $(pkg-config --cflags --libs sprig sprig-runtime) -o c-program
  ./c-program
  cmake -S consumer -B build > /dev/null
  cmake --build build > /dev/null
  for kind in c-shared c-static cxx-shared cxx-static; do build/$kind; done'

step "Remove them again"
inside apt-get -qq purge -y sprig libsprig-dev libsprig0 libsprig-runtime0 > "$work/apt.log" 2>&1 || { cat "$work/apt.log"; exit 1; }
left=$(find "$root/usr" "$root/etc" "$root/var/lib/dpkg/info" -name '*sprig*')
[ -z "$left" ] || { echo "left behind: $left" >&2; exit 1; }
printf '\nThe packages install, work and go again.\n'
