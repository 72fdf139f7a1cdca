# Shared by the scripts; sourced, not run. Sets `top`, the root of the clone.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What each job needs on Debian 12. A package that a job's programs load at run time stands here, too:
# nothing else installs it.
build_packages="g++ cmake ninja-build pkg-config ccache
  libglib2.0-dev libglib2.0-bin libxml2-dev libssl-dev libsecret-1-dev libsoup-3.0-dev libgtk-4-dev
  libcups2-dev
  libnemo-extension-dev libnautilus-extension-dev libcaja-extension-dev
  librsvg2-bin icnsutils"
test_packages="clang libclang-rt-14-dev clang-format libgtest-dev libbenchmark-dev openssl
  cups cups-client"
desktop_packages="nemo xvfb openbox dbus dbus-x11 at-spi2-core x11-utils xdotool imagemagick
  python3 python3-gi gir1.2-atspi-2.0 gnome-keyring libsecret-tools
  glib-networking gsettings-desktop-schemas
  librsvg2-common adwaita-icon-theme hicolor-icon-theme fonts-dejavu-core"

say() { printf '\n== %s\n' "$*"; }
fail() { printf '\nFAILED: %s\n' "$*" >&2; exit 1; }

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
  grep -- '^-- .*plug-in' "$top/build/$preset.configure.log" || true
  cmake --build "$top/build/$preset" --parallel "$(nproc)" ${1:+--target "$@"} || fail "building preset $preset"
}
mkdir -p "$top/build"
