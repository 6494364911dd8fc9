# Sourced by ./run, ./test and ./bench: installs what is missing and builds. Quick when there is nothing to do. All that
# is said goes to the standard error stream, so that a program's own output can be used.

build_packages=(cmake ninja-build g++ ccache libeigen3-dev libcli11-dev nlohmann-json3-dev libopenimageio-dev libwebp-dev libtiff-dev libjpeg-dev)
test_packages=(ghostscript liberfa-dev libfftw3-single3 libgcrypt20-dev libgtest-dev libgmock-dev libosmesa6 debootstrap)
bench_packages=(libbenchmark-dev cimg-dev libcairo2-dev libfftw3-single3 libgegl-dev libnoise-dev libopencv-dev pkg-config)

say() { echo "$*" >&2; }

# missing_packages PACKAGE...: those that are not installed, one a line.
missing_packages() {
  local package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
  done
}

# install_packages PACKAGE...: through apt-get, with sudo where we are not root. Where that can't be done it says what is
# missing and goes on: the build may find the same things in other packages, and says so itself where it does not.
install_packages() {
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    [ -e build/packages-told ] && return
    say "There is no apt here. What Debian calls the following has to be installed: $*"
    mkdir -p build && touch build/packages-told
    return
  fi
  local missing
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -eq 0 ] && return
  local root=()
  [ "$(id -u)" -eq 0 ] || root=(sudo)
  say "Installing: ${missing[*]}"
  { "${root[@]}" apt-get update -qq &&
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
    >&2 >/dev/null || say "That failed; going on without: $(missing_packages "${missing[@]}" | tr '\n' ' ')"
}

# condense PATTERN: passes lines on, but of those that match PATTERN (the steps of a build, tests that pass) only one in ten
# seconds, or on a terminal each in the same place.
condense() {
  local line next=10 terminal=
  [ -t 2 ] && terminal=$(tput cols 2>/dev/null || echo 80)
  SECONDS=0
  while IFS= read -r line; do
    if [[ ! $line =~ $1 ]]; then
      printf '%s%s\n' "${terminal:+$'\r\e[K'}" "$line" >&2
    elif [ -n "$terminal" ]; then
      printf '\r\e[K%s' "${line:0:terminal-1}" >&2
    elif [ "$SECONDS" -ge "$next" ]; then
      next=$((SECONDS + 10))
      say "$line"
    fi
  done
  [ -z "$terminal" ] || printf '\r\e[K' >&2
}

# build_preset PRESET [CMAKE-OPTION...] [-- TARGET...]: configures and builds.
build_preset() {
  local preset=$1 options=() targets=() log
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] && shift && targets=(--target "$@")
  mkdir -p build
  log=build/configure-$preset.log
  cmake --preset "$preset" "${options[@]}" >"$log" 2>&1 || { cat "$log" >&2; return 1; }
  cmake --build --preset "$preset" "${targets[@]}" 2>&1 | condense '^(\[[0-9]+/[0-9]+\]|ninja: (Entering|no work))'
}
