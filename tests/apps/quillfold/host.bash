# Runs the host against a backend of the file's or of the test's own. QUILLFOLD, QUICKSTART and
# BACKEND name the programs, SAMPLE_BOOK a book of 326 contacts and one broken card.
bats_require_minimum_version 1.5.0
export no_proxy=127.0.0.1 HOME=$BATS_RUN_TMPDIR XDG_CONFIG_HOME=$BATS_RUN_TMPDIR/config

# start_backend OPTION...: sets backend_pid and address; what it was asked is in $requests.
backends=()
start_backend() {
  local ready
  ready=$(mktemp -u) requests=$(mktemp -p "$BATS_RUN_TMPDIR")
  mkfifo "$ready"
  "$BACKEND" --port 0 "$@" >"$ready" 2>>"$requests" 3>&- &
  backend_pid=$!
  backends+=("$backend_pid")
  IFS= read -r -t 20 address <"$ready"
  rm "$ready"
  address=${address##*http://}
}

setup_file() { start_backend; export backend_pid address; }
teardown_file() { kill "$backend_pid"; }

setup() {
  cd "$BATS_TEST_TMPDIR"
  export QUILLFOLD_HOME=home QUILLFOLD_BOOK=book QUILLFOLD_USER="u$BATS_SUITE_TEST_NUMBER" \
    QUILLFOLD_CONNECT=$address
  people ann
}
# What a test has started and not ended.
teardown() {
  ((${#backends[@]} == 0)) || kill "${backends[@]}"
  [[ -z ${host-} ]] || kill -KILL "$host" || true
}

# people NAME...: a card for each in the book.
people() {
  local name
  mkdir -p book
  for name; do
    [[ ! -e book/$name.vcf ]] || continue
    printf 'BEGIN:VCARD\r\nVERSION:3.0\r\nUID:%s\r\nN:;%s;;;\r\nFN:%s\r\nTEL:+1 212 555 01%02d\r\nEND:VCARD\r\n' \
      "$name" "$name" "$name" "$(ls book | wc -l)" >"book/$name.vcf"
  done
}

# ends STATUS OUT ERR WORD...: runs the host. OUT and ERR are patterns of the whole texts.
ends() {
  local wanted="$1" out="$2" err="$3"
  run --separate-stderr "$QUILLFOLD" "${@:4}" </dev/null 3>&-
  [[ $status == $wanted && $output == $out && $stderr == $err ]] && return
  printf '%s: %s, not %s\n--- out: %s\n%s\n--- err: %s\n%s\n' "${*:4}" "$status" "$wanted" "$out" \
    "$output" "$err" "$stderr"
  return 1
}

# tells FILTER WORD...: the host ends well with --json and one document, of which jq's FILTER
# holds.
words='def has_keys($all): ([$all | splits("\\s+")] - keys) == [];
  def iso: test("^[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z$");'
tells() {
  ends 0 '*' '*' --json "${@:2}" &&
    jq -se "$words length == 1 and (.[0] | $1)" <<<"$output" >/dev/null ||
    { printf '%s: not %s\n%s\n' "${*:2}" "$1" "$output"; return 1; }
}

# begin WORD...: starts the host with its standard output at descriptor 5, as nohup would.
begin() {
  rm -f out
  mkfifo out
  env --default-signal=INT --ignore-signal=HUP "$QUILLFOLD" "$@" >out 2>err </dev/null 3>&- &
  host=$!
  exec 5<out
}
# reads PATTERN: the next line is of that kind.
reads() {
  IFS= read -r -t 20 line <&5 && [[ $line == $1 ]] || { echo "\"$line\" is not $1"; cat err; return 1; }
}
# asked N PATH [LOG]: waits until the backend of the test has answered so many requests there.
asked() {
  (($(grep -m"$1" "$2" < <(tail -n +1 -f --pid="$host" "${3-$requests}" 3>&-) | wc -l) == $1))
}
# finishes STATUS ERR: the host has ended so; both are patterns.
finishes() {
  local status=0
  wait "$host" || status=$?
  host=
  [[ $status == $1 && $(<err) == $2 ]] || { echo "$status, not $1: $(<err)"; return 1; }
}

# on_terminal COMMAND: a shell with its keys at descriptor 6 and its screen at 7; Ctrl-C, which
# reaches all on a terminal, is for what it runs.
on_terminal() {
  rm -f keys screen
  mkfifo keys screen
  TERM=xterm env --default-signal=INT script -qefc "trap : INT; $1" /dev/null <keys >screen 3>&- &
  host=$!
  exec 6>keys 7<screen
}
# shows TEXT...: each appears, behind the one before; what came until the last one is in $text.
shows() {
  local wanted char
  for wanted; do
    text=
    while [[ $text != *"$wanted" ]]; do
      IFS= read -r -t 20 -N 1 char <&7 || { echo "no \"$wanted\" in: $text"; return 1; }
      text+=$char
    done
  done
}
