# Shared by the scripts; sourced, not run. Sets `top`, the root of the clone.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What each job needs on Debian 12. A package that a job's programs load at run time stands here, too:
# nothing else installs it.
build_packages="g++ cmake ninja-build pkg-config ccache
  libglib2.0-dev libglib2.0-bin libxml2-dev libssl-dev libsecret-1-dev libsoup-3.0-dev libgtk-4-dev
  libcups2-dev
  libnemo-extension-dev libnautilus-extension-dev libcaja-extension-dev
  qtbase5-dev libkf5kio-dev libkf5coreaddons-dev libkf5windowsystem-dev
  librsvg2-bin icnsutils"
test_packages="clang libclang-rt-14-dev clang-format libgtest-dev libbenchmark-dev openssl locales
  cups cups-client
  libgnustep-gui-dev gnustep-back0.29-cairo gnustep-base-runtime libobjc-12-dev libplist-utils"
desktop_packages="nemo nautilus caja dolphin kio-extras breeze-icon-theme libqt5svg5
  xvfb openbox dbus dbus-x11 at-spi2-core x11-utils xdotool imagemagick
  python3 python3-gi gir1.2-atspi-2.0 gir1.2-gtk-3.0 gnome-keyring libsecret-tools
  glib-networking gsettings-desktop-schemas systemd util-linux
  librsvg2-common adwaita-icon-theme hicolor-icon-theme fonts-dejavu-core fonts-wqy-microhei"
package_packages="dpkg-dev lintian appstream gzip python3"
soak_packages="xvfb openbox dbus xdotool imagemagick python3 python3-gi adwaita-icon-theme fonts-dejavu-core"
clean_root_packages="debootstrap"
# What the badge check needs in the clean root; what the packages need they must say themselves.
session_packages="nemo xvfb openbox dbus at-spi2-core xdotool imagemagick libglib2.0-bin
  python3 python3-gi gir1.2-atspi-2.0 fonts-dejavu-core"

say() { printf '\n== %s\n' "$*"; }
fail() { printf '\nFAILED: %s\n' "$*" >&2; exit 1; }
usage() { echo "usage: scripts/$(basename "$0")${1:+ $1}" >&2; exit 2; }

# need_packages NAME...: installs what is missing, and says so before it does.
need_packages() {
  command -v dpkg-query >/dev/null || { say "Not a Debian system: taking the packages for granted: $*"; return; }
  local missing=() name
  for name in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "these packages are missing, and only root can install them: ${missing[*]}"
    as_root=(sudo)
  fi
  local log; log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update \
         && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
              "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 30 "$log" >&2
    fail "apt-get could not install ${missing[*]}"
  fi
  rm -f "$log"
}

# build_preset NAME [TARGET...]: configures and builds a preset of CMakePresets.json.
build_preset() {
  local preset=$1; shift
  say "Building preset $preset"
  local launcher=''
  command -v ccache >/dev/null && launcher=ccache
  (cd "$top" && KELVO_COMPILER_LAUNCHER=$launcher cmake --preset "$preset" >"$top/build/$preset.configure.log" 2>&1) \
    || { cat "$top/build/$preset.configure.log" >&2; fail "configuring preset $preset"; }
  grep -- '^-- .*\(plug-in\|adapter\)' "$top/build/$preset.configure.log" || true
  cmake --build "$top/build/$preset" --parallel "$(nproc)" ${1:+--target "$@"} || fail "building preset $preset"
}

# plugin_targets HOST...: what to build for these file managers.
plugin_targets() {
  local host
  for host in "$@"; do
    [ "$host" = dolphin ] && echo kelvo_dolphin_{overlay,action,properties}_plugin || echo "kelvo_${host}_plugin"
  done
}

# plugin_folder HOST: where it looks for plug-ins; a word without a meaning for Dolphin, which is told.
plugin_folder() {
  case $1 in
    dolphin) echo none ;;
    nautilus) pkg-config --variable=extensiondir libnautilus-extension-4 ;;
    *) pkg-config --variable=extensiondir "lib$1-extension" ;;
  esac
}
mkdir -p "$top/build"
