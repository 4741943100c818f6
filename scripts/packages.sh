# Sourced by run and test: installs the Debian packages that are missing.

run_packages=(
  cmake g++ libasio-dev libcli11-dev libcpp-httplib-dev libcurl4-openssl-dev libfmt-dev
  libhwy-dev libicu-dev libsqlite3-dev libssl-dev ninja-build nlohmann-json3-dev pkg-config
)
test_packages=(
  bats clang clang-format-14 fish git groff-base jq libbenchmark-dev libclang-rt-14-dev
  libglib2.0-dev libgmock-dev libgtest-dev libplist-dev lld openssl zsh
)
# The API reference.
docs_packages=(doxygen)
# Debian packages, and a root to try them in.
package_packages=(lintian mmdebstrap)
# The library quillfold::desktop, and a session for its tests.
desktop_packages=(dbus evolution-data-server libebook1.2-dev)

# ensure_packages NAME...: as root, or with sudo.
ensure_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  echo "Installing ${missing[*]}" >&2
  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || { echo "These packages need root or sudo." >&2; return 1; }
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq >&2 &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# build PRESET TARGET...: configures and builds, quietly unless it fails.
build() {
  local preset=$1 log="build/$1.log"
  shift
  mkdir -p build
  echo "Building ($preset)" >&2
  if ! { cmake --preset "$preset" && cmake --build "build/$preset" --target "$@"; } \
    >"$log" 2>&1; then
    grep -E 'error|FAILED|Error' "$log" | head -n 40 >&2
    tail -n 20 "$log" >&2
    return 1
  fi
}
