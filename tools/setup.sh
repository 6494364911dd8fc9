# Sourced by ./run, ./test and ./bench: installs what is missing and builds a preset. Quick when there is nothing to do.

build_packages=(cmake ninja-build g++ ccache libeigen3-dev libcli11-dev nlohmann-json3-dev libopenimageio-dev)
test_packages=(libgtest-dev libgmock-dev)

# install_packages PACKAGE...: through apt-get, with sudo where we are not root.
install_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local root=()
  [ "$(id -u)" -eq 0 ] || root=(sudo)
  echo "Installing: ${missing[*]}"
  "${root[@]}" apt-get update -qq
  "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build_preset PRESET [CMAKE-OPTION...] [-- TARGET...]: configures where needed and builds.
build_preset() {
  local preset=$1 options=() targets=()
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] && shift && targets=(--target "$@")
  cmake --preset "$preset" "${options[@]}" >"${TMPDIR:-/tmp}/quillon-configure.log" 2>&1 ||
    { cat "${TMPDIR:-/tmp}/quillon-configure.log"; return 1; }
  cmake --build --preset "$preset" "${targets[@]}" -- --quiet
}
