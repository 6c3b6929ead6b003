#!/bin/sh
# .ci/install-packages against a fake Debian system: dpkg-query answers from
# FAKE_DB, id from FAKE_UID, sudo works without a password only when
# FAKE_SUDO=yes, and apt-get records what it was asked in a log.
#
#   install-packages-test.sh PROJECT_SOURCE_DIR
set -u
script=$1/.ci/install-packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"

cat > "$work/bin/dpkg-query" <<'FAKE'
#!/bin/sh
# Only -W -f='${Status} ${Package}\n' is used.
shift 2
status=0
for p in "$@"; do
  line=$(printf '%s\n' "$FAKE_DB" | tr ',' '\n' | grep "^${p%%:*}=") || { echo "no packages found matching $p" >&2; status=1; continue; }
  echo "${line#*=} ${p%%:*}"
done
exit $status
FAKE
cat > "$work/bin/id" <<'FAKE'
#!/bin/sh
echo "$FAKE_UID"
FAKE
cat > "$work/bin/sudo" <<'FAKE'
#!/bin/sh
[ "$FAKE_SUDO" = yes ] || exit 1
[ "$1" = -n ] && exit 0
echo "sudo" >> "$FAKE_LOG"
exec "$@"
FAKE
cat > "$work/bin/apt-get" <<'FAKE'
#!/bin/sh
echo "apt-get $* (DEBIAN_FRONTEND=$DEBIAN_FRONTEND)" >> "$FAKE_LOG"
[ "$1" = install ] && [ -n "${FAKE_APT_FAILS:-}" ] && exit 100
exit 0
FAKE
chmod +x "$work/bin/"*

ok='install ok installed'
update='apt-get update -qq (DEBIAN_FRONTEND=noninteractive)'
failures=0
# name | dpkg database | uid | sudo | packages asked | exit | apt log (lines joined by ;) | stderr holds
while IFS='|' read -r name db uid sudo packages want_exit want_log want_err; do
  [ -n "$name" ] || continue
  : > "$work/log"
  PATH="$work/bin:$PATH" FAKE_DB=$db FAKE_UID=$uid FAKE_SUDO=$sudo FAKE_LOG=$work/log \
    FAKE_APT_FAILS=$([ "$name" = apt-fails ] && echo 1) \
    sh "$script" $packages > "$work/out" 2> "$work/err"
  got_exit=$?
  got_log=$(paste -sd ';' "$work/log")
  want_log=$(echo "$want_log" | sed "s/UPDATE/$update/g")
  if [ "$got_exit" != "$want_exit" ] || [ "$got_log" != "$want_log" ] ||
     { [ -n "$want_err" ] && ! grep -qF -- "$want_err" "$work/err"; } || [ "$(wc -l < "$work/err")" -gt 1 ]; then
    echo "FAIL $name: exit $got_exit (want $want_exit)"
    echo "  log:  $got_log"
    echo "  want: $want_log"
    echo "  stderr: $(cat "$work/err")"
    failures=$((failures + 1))
  fi
done <<TABLE
all there, no rights needed|a=$ok,b=$ok|1000|no|a b|0||
root installs only the missing|a=$ok|0|no|a b c|0|UPDATE;apt-get install -y -qq --no-install-recommends b c (DEBIAN_FRONTEND=noninteractive)|
sudo without a password|a=$ok|1000|yes|a b|0|sudo;UPDATE;sudo;apt-get install -y -qq --no-install-recommends b (DEBIAN_FRONTEND=noninteractive)|
no rights: one line naming them|a=$ok|1000|no|b a c|1||sudo apt-get install b c
removed, config files left|a=deinstall ok config-files|0|no|a|0|UPDATE;apt-get install -y -qq --no-install-recommends a (DEBIAN_FRONTEND=noninteractive)|
half installed|a=install ok half-installed|1000|no|a|1||apt-get install a
architecture-qualified name|a=$ok|1000|no|a:amd64|0||
apt-fails|a=$ok|0|no|z|100|UPDATE;apt-get install -y -qq --no-install-recommends z (DEBIAN_FRONTEND=noninteractive)|
TABLE

[ "$failures" -eq 0 ] && echo "install-packages: all cases pass"
exit "$failures"
