#!/bin/sh
# with_secret_service.sh SESSION PROGRAM [ARGUMENT]...
#
# Runs the program in a home folder of its own. SESSION is
#   keyring  a private session bus with a real keyring daemon, unlocked
#   bus      a private session bus without any secret service
#   mute     a session bus that takes connections and answers nobody
#   nothing  no session bus
set -eu

session=$1
shift
folder=$(mktemp -d "${TMPDIR:-/tmp}/kelvo-secrets.XXXXXX")
children=

clean_up() {
  trap - EXIT
  for child in $children; do
    kill "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || true
  done
  rm -rf "$folder"
}
trap clean_up EXIT
trap 'exit 1' INT TERM

mkdir -m 700 "$folder/home" "$folder/run"
export HOME="$folder/home" XDG_RUNTIME_DIR="$folder/run"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share" XDG_CACHE_HOME="$HOME/.cache"
unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY GNOME_KEYRING_CONTROL

# $1: who may receive what.
start_bus() {
  # Without service folders nothing is activated: what answers is what this script started.
  cat >"$folder/bus.conf" <<CONFIGURATION
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$folder/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*"/>
    $1
    <allow own="*"/>
  </policy>
</busconfig>
CONFIGURATION
  mkfifo "$folder/address"
  dbus-daemon --nofork --nopidfile --config-file="$folder/bus.conf" --print-address \
    >"$folder/address" 2>"$folder/bus.log" &
  children="$! $children"
  read -r DBUS_SESSION_BUS_ADDRESS <"$folder/address"
  export DBUS_SESSION_BUS_ADDRESS
}

start_keyring() {
  printf password >"$folder/password"
  gnome-keyring-daemon --foreground --unlock --components=secrets \
    <"$folder/password" >"$folder/keyring.log" 2>&1 &
  children="$! $children"
  if ! gdbus wait --session --timeout 20 org.freedesktop.secrets; then
    cat "$folder/keyring.log" "$folder/bus.log"
    exit 1
  fi
}

case $session in
  keyring)
    start_bus '<allow receive_sender="*"/>'
    start_keyring
    ;;
  bus) start_bus '<allow receive_sender="*"/>' ;;
  mute) start_bus '<deny receive_sender="*"/>' ;;
  nothing) ;;
  *)
    echo "$0: unknown session $session" >&2
    exit 2
    ;;
esac

status=0
"$@" || status=$?
exit "$status"
