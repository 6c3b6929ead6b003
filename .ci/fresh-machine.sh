#!/usr/bin/env bash
# Tries the README's two commands on a new machine: a Debian bookworm chroot
# that holds only what a C++ machine of this project's kind has (the compiler,
# CMake, GoogleTest, Google Benchmark, libjpeg, libpng, zlib, git). A clone of
# the committed HEAD then runs `make demo` and `make test` as root, with
# nothing done before, and each is timed.
#
#   .ci/fresh-machine.sh [work-dir]      (as root; default /var/tmp/psdkit-fresh)
#   BASE_ONLY=1 .ci/fresh-machine.sh     (only builds the bare system)
#
# The bare system is built once with debootstrap and kept in work-dir/base;
# every run starts from a fresh copy of it in work-dir/root. The shared corpus
# (../shared beside the clone, as CI has it) is bound in read-only when the
# host has it. Not run by `make test`: it needs root, the network and time.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
work=${1:-/var/tmp/psdkit-fresh}
mirror=${MIRROR:-http://deb.debian.org/debian}
shared=${PSDKIT_SHARED:-$repo/../shared}

# What a new machine of this kind holds beyond a minimal Debian. pkg-config is
# not in it: none of these pulls it in.
machine=(build-essential cmake libgtest-dev libgmock-dev libbenchmark-dev
         libjpeg-dev libpng-dev zlib1g-dev git ca-certificates)

if [ "$(id -u)" -ne 0 ]; then
  echo "fresh-machine.sh: needs root (debootstrap, chroot and mounts)" >&2
  exit 1
fi

base=$work/base
root=$work/root
mkdir -p "$work"

if [ ! -e "$base/.complete" ]; then
  echo "== debootstrap bookworm into $base"
  rm -rf "$base"
  debootstrap --variant=minbase bookworm "$base" "$mirror"
  cp /etc/resolv.conf "$base/etc/resolv.conf"
  chroot "$base" /usr/bin/env DEBIAN_FRONTEND=noninteractive sh -c \
    "apt-get update -qq && apt-get install -y -qq --no-install-recommends ${machine[*]} && apt-get clean"
  touch "$base/.complete"
fi
if [ "${BASE_ONLY:-}" = 1 ]; then exit 0; fi

mounts=()
cleanup() {
  local i
  for ((i = ${#mounts[@]} - 1; i >= 0; i--)); do
    umount -l "${mounts[i]}" 2>/dev/null || true
  done
}
trap cleanup EXIT
bind() {  # bind SOURCE TARGET [ro]
  mkdir -p "$2"
  mount --bind "$1" "$2"
  mounts+=("$2")
  if [ "${3:-}" = ro ]; then mount -o remount,bind,ro "$2"; fi
}

echo "== fresh copy of the bare system in $root"
rm -rf "$root"
cp -a "$base" "$root"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mkdir -p "$root/proc" "$root/sys"
mount -t proc proc "$root/proc" && mounts+=("$root/proc")
mount -t sysfs sys "$root/sys" && mounts+=("$root/sys")
bind /dev "$root/dev"
bind /dev/pts "$root/dev/pts"

echo "== clone of $(git -C "$repo" rev-parse --short HEAD) ($(git -C "$repo" rev-parse --abbrev-ref HEAD))"
git -C "$repo" bundle create "$root/root/psdkit.bundle" HEAD
if [ -d "$shared/corpus" ]; then
  bind "$shared" "$root/root/shared" ro
else
  echo "no corpus at $shared: the corpus tests will skip"
fi

chroot "$root" /usr/bin/env -i HOME=/root TERM=dumb PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  bash -euo pipefail -c '
    cd /root
    git -c advice.detachedHead=false clone -q psdkit.bundle psdkit
    cd psdkit
    timed() {
      local start=$SECONDS status=0
      "$@" || status=$?
      echo "== $* took $((SECONDS - start)) s (exit $status)"
      return $status
    }
    timed make demo
    timed make test
  '
echo "== fresh machine: make demo and make test passed"
