#!/bin/sh
# The Debian package lists in the Makefile hold every package the build and
# the tests name: what CMake requires for the library and the tool is in
# DEPS_DEMO (make demo installs only that); what it requires for the tests and
# the benchmarks, and the peers the tests call, are in DEPS_DEMO or DEPS_TEST.
# Where the apt lists are present, every listed package must also exist.
#
#   package-lists-test.sh PROJECT_SOURCE_DIR
set -u
src=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
lists() { make -s --no-print-directory -C "$src" --eval="print-deps: ; @echo \$($1)" print-deps; }
demo=" $(lists DEPS_DEMO) "
all="$demo $(lists DEPS_TEST) "
every="$all $(lists DEPS_FUZZ) $(lists DEPS_VALGRIND) "
[ -n "${demo# }" ] || echo "FAIL no DEPS_DEMO in the Makefile" >> "$work/fail"

# CMake's find calls, each with the package it names and its group: inside an
# if(PSDKIT_BUILD_...) block it serves the tests or the benchmarks.
awk '
  /^[ \t]*if\(PSDKIT_BUILD_/ { depth++ }
  /^[ \t]*endif\(/ && depth > 0 { depth-- }
  /^[ \t]*psdkit_find_(package|pkg_config)\(/ {
    call = $0; sub(/\(.*/, "", call); sub(/.*\(/, ""); sub(/\).*/, ""); split($0, a, " ")
    print (depth ? "test " : "demo ") (call ~ /pkg_config/ ? a[3] : a[2])
  }
' "$src/cmake/Dependencies.cmake" > "$work/cmake"
[ -s "$work/cmake" ] || echo "FAIL no find calls in cmake/Dependencies.cmake" >> "$work/fail"
while read -r group package; do
  case "$group:$demo" in *" $package "*) continue ;; esac
  case "$group:$all" in test:*" $package "*) continue ;; esac
  echo "FAIL CMake requires $package for the $group build, but DEPS_$(echo "$group" | tr a-z A-Z) lacks it" >> "$work/fail"
done < "$work/cmake"

# The peers the tests name by package when they skip.
grep -rhoE 'REQUIRE_[A-Z_]+\("[^"]*", *"[^"]*"\)' "$src/tests" | sed -E 's/.*"([^"]*)"\)$/\1/' | sort -u > "$work/peers"
while read -r package; do
  case "$all" in *" $package "*) ;; *) echo "FAIL the tests call on $package, but DEPS_TEST lacks it" >> "$work/fail" ;; esac
done < "$work/peers"

if command -v apt-cache > /dev/null 2>&1 && ls /var/lib/apt/lists/*_Packages* > /dev/null 2>&1; then
  # shellcheck disable=SC2086
  apt-cache show --no-all-versions $every 2> /dev/null | sed -n 's/^Package: //p' > "$work/known"
  for package in $every; do
    grep -qx "$package" "$work/known" || echo "FAIL $package: no such Debian package" >> "$work/fail"
  done
else
  echo "no apt lists here: the names are not checked against the archive"
fi

if [ -s "$work/fail" ]; then cat "$work/fail"; exit 1; fi
echo "package lists: $(wc -l < "$work/cmake") CMake packages and $(wc -l < "$work/peers") peers, all listed"
