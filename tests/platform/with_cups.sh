#!/bin/sh
# with_cups.sh PROGRAM [ARGUMENT]...
#
# Runs the program in a home folder of its own, with a real printing server of its own whose socket
# is $KELVO_TEST_CUPS_SOCKET. The server has the printers "idle" and "halted", which is stopped, and
# the class "both"; the default is "idle".
set -eu

PATH=$PATH:/usr/sbin:/sbin
# Short: the path of a socket has little room.
folder=$(mktemp -d "${TMPDIR:-/tmp}/kelvo-cups.XXXXXX")
server=

clean_up() {
  trap - EXIT
  if [ -n "$server" ]; then
    kill "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
  fi
  rm -rf "$folder"
}
trap clean_up EXIT
trap 'exit 1' INT TERM

fail() {
  echo "$0: $*" >&2
  cat "$folder/error_log" "$folder/server.log" >&2 2>/dev/null || true
  exit 1
}

for program in cupsd lpadmin cupsdisable lpstat; do
  command -v "$program" >/dev/null || fail "there is no $program: install cups and cups-client"
done

# A server that root starts must give its rights away, so it gets a user of no rights.
user=$(id -un)
group=$(id -gn)
if [ "$(id -u)" -eq 0 ]; then
  user=nobody
  group=$(id -gn nobody)
  chmod 755 "$folder"
fi
mkdir -m 700 "$folder/home"
mkdir "$folder/etc" "$folder/etc/ppd" "$folder/state" "$folder/cache" "$folder/spool" "$folder/tmp"
socket=$folder/sock
export HOME="$folder/home"
unset CUPS_SERVER LPDEST PRINTER IPP_PORT

cat >"$folder/etc/cups-files.conf" <<CONFIGURATION
ServerRoot $folder/etc
StateDir $folder/state
CacheDir $folder/cache
RequestRoot $folder/spool
TempDir $folder/tmp
AccessLog $folder/access_log
ErrorLog $folder/error_log
PageLog $folder/page_log
User $user
Group $group
SystemGroup root
FileDevice Yes
CONFIGURATION
cat >"$folder/etc/cupsd.conf" <<CONFIGURATION
Listen $socket
Browsing No
WebInterface No
DefaultAuthType None
LogLevel warn
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy default>
  <Limit All>
    Order allow,deny
    Allow all
  </Limit>
</Policy>
CONFIGURATION

cupsd -f -c "$folder/etc/cupsd.conf" -s "$folder/etc/cups-files.conf" >"$folder/server.log" 2>&1 &
server=$!
tries=100
until lpstat -h "$socket" -r >/dev/null 2>&1 && [ -S "$socket" ]; do
  kill -0 "$server" 2>/dev/null || fail "the printing server ended"
  tries=$((tries - 1))
  [ "$tries" -gt 0 ] || fail "the printing server does not answer"
  sleep 0.1
done

add() { lpadmin -h "$socket" "$@" >>"$folder/server.log" 2>&1 || fail "lpadmin $*"; }
add -p idle -v file:///dev/null -D 'Büro "A"' -E
add -p halted -v file:///dev/null -E
add -p idle -c both
add -d idle
cupsdisable -h "$socket" halted || fail "cupsdisable"

status=0
KELVO_TEST_CUPS_SOCKET=$socket "$@" || status=$?
[ "$status" -eq 0 ] || cat "$folder/error_log" >&2
exit "$status"
