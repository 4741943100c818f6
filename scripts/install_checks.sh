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

# syncs_once BACKEND PROGRAM: a new user's first sync uploads the one contact of his book.
syncs_once() {
  local folder backend ready status=0
  folder=$(mktemp -d)
  printf 'BEGIN:VCARD\nVERSION:3.0\nUID:1\nFN:Ann Lee\nTEL:12345\nEND:VCARD\n' >"$folder/book.vcf"
  mkfifo "$folder/ready"
  "$1" --port 0 >"$folder/ready" 2>/dev/null &
  backend=$!
  IFS= read -r -t 20 ready <"$folder/ready"
  HOME=$folder XDG_DATA_HOME=$folder XDG_CONFIG_HOME=$folder \
    "$2" "$folder/book.vcf" "http://${ready##*http://}" >"$folder/said" || status=$?
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
    [[ $library == *-desktop.so ]] || nm -DC --defined-only "$library" | cut -d' ' -f2-
  done | LC_ALL=C sort -u
}
