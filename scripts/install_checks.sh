# Sourced by test: programs that find the library installed.

# install_into PREFIX: everything, as a package has it.
install_into() {
  build run all
  cmake --install build/run --prefix "$1" >/dev/null
}

# build_consumers FOLDER PREFIX KIND: by CMake.
build_consumers() {
  cmake -S tests/install -B "$1" -G Ninja -DCMAKE_PREFIX_PATH="$2" -DKIND="$3" >/dev/null
  cmake --build "$1" -- --quiet
}

# compile_consumer PREFIX OUTPUT: by pkg-config.
compile_consumer() {
  local flags
  flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$1" -name quillfold.pc)") \
    pkg-config --cflags --libs quillfold)
  # shellcheck disable=SC2086  # Several words.
  g++ -std=c++20 tests/install/consumer.cpp $flags -o "$2"
}

# build_quickstart FOLDER: in a folder of its own, as the README tells to.
build_quickstart() {
  mkdir "$1"
  cp examples/quickstart.cpp "$1"
  awk '/^```cmake$/ { on = 1; next } /^```$/ { on = 0 } on' README.md >"$1/CMakeLists.txt"
  cmake -S "$1" -B "$1" -G Ninja >/dev/null
  cmake --build "$1" -- --quiet
}

# syncs_once BACKEND PROGRAM: a new user's first sync uploads the one contact of his book. The
# quickstart knows the built-in address alone, and so has to be given the backend as a proxy.
syncs_once() {
  local folder book=contacts.vcf backend ready status=0
  folder=$(mktemp -d)
  printf 'BEGIN:VCARD\nVERSION:3.0\nUID:1\nFN:Ann Lee\nTEL:12345\nEND:VCARD\n' \
    >"$folder/$book"
  mkfifo "$folder/ready"
  "$1" --port 0 >"$folder/ready" 2>/dev/null &
  backend=$!
  IFS= read -r -t 20 ready <"$folder/ready"
  ready=http://${ready##*http://}
  (cd "$folder" && HOME=$folder XDG_DATA_HOME=$folder XDG_CONFIG_HOME=$folder \
    http_proxy=$ready no_proxy='' "$2" "$book" "$ready" >said) || status=$?
  kill "$backend"
  wait "$backend" 2>/dev/null || true
  [[ $status == 0 && $(<"$folder/said") == '1 uploaded' ]] ||
    { echo "$2 ended with $status: $(<"$folder/said")" >&2; return 1; }
  rm -rf "$folder"
}

# without LIBRARY PROGRAM: the program is not linked to it.
without() {
  ! ldd "$2" | grep -q "$1" || { echo "$2 needs $1" >&2; return 1; }
}

# exported_symbols FOLDER: what the shared libraries there show.
exported_symbols() {
  local library
  for library in "$1"/libquillfold-*.so; do
    [[ $library == *-desktop.so ]] ||
      nm -DC --defined-only "$library" | sed "s/^[^ ]*/$(basename "$library" .so)/"
  done | LC_ALL=C sort -u
}

# make_packages FOLDER: Debian packages, of which lintian has no errors to tell.
make_packages() {
  build run all
  (cd build/run && cpack -B "$1" >/dev/null 2>&1)
  lintian --allow-root --display-level ">=error" --fail-on error "$1"/*.deb
}

# try_packages FOLDER: a Debian without anything but the packages and a compiler builds and runs
# the programs there.
try_packages() {
  local root=$1/root package
  local -a include=()
  for package in "$1"/*.deb; do
    [[ $package == *-desktop* ]] || include+=(--include="$package")
  done
  mmdebstrap --variant=minbase \
    --hook-dir=/usr/share/mmdebstrap/hooks/file-mirror-automount \
    --include="g++,cmake,ninja-build,pkg-config" "${include[@]}" \
    "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$root"
  mkdir "$root/source"
  cp -r scripts tests "$root/source"
  chroot "$root" bash -c '
    set -euo pipefail
    cd /source
    source scripts/install_checks.sh
    build_consumers /static /usr static
    build_consumers /shared /usr shared
    compile_consumer /usr /pkg-config
    cd /usr/share/doc/libquillfold-dev
    build_quickstart /quickstart
    for consumer in /static/consumer /shared/consumer /pkg-config /quickstart/quickstart; do
      syncs_once quillfold-backend "$consumer"
    done
    quillfold --version'
}
