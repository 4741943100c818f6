#!/usr/bin/env bash
# failing_disk.bash [STRIDE]: syncs in which one call on their files goes wrong, or all from one
# on, and behind each a sync on a sound disk; of all of them every STRIDE-th. QUILLFOLD and BACKEND
# name the programs, FAILING the library that lets calls fail.
set -euo pipefail
export no_proxy=127.0.0.1 LC_ALL=C stride=${1:-1}
# Whatever is closed to others is so by itself.
umask 000

# people FOLDER VERSION NAME...: a card for each.
people() {
  local name
  mkdir -p "$1"
  for name in "${@:3}"; do
    printf 'BEGIN:VCARD\r\nVERSION:3.0\r\nUID:%s\r\nN:;%s %s;;;\r\nFN:%s %s\r\nEND:VCARD\r\n' \
      "$name" "$name" "$2" "$name" "$2" >"$1/$name.vcf"
  done
}

# sync FOLDER BOOK [VARIABLE=VALUE...]: with the home in the folder; sets status.
sync() {
  status=0
  env FAIL_IN="$1/home" FAIL_LOG="$1/failed" "${@:3}" timeout 20 "$QUILLFOLD" --home "$1/home" \
    --connect "$address" --book "$2" --batch-size 2 --json --verbose sync \
    </dev/null >"$1/out" 2>"$1/err" || status=$?
}
# holds FILTER: of the one document that the last sync has written.
holds() { jq -se "length == 1 and (.[0] | $1)" "$folder/out" >/dev/null; }
# The names in the defaults.
keys() { grep -aoE '(quillfold|com|QF)[A-Za-z._]+' "$1/home/quillfold/defaults.plist" | sort -u; }

wrong() {
  echo "$case: $1"
  cat "$folder"/failed "$folder"/out
  grep -E 'rror|nreadable|ould not' "$folder"/err || true
  rm -r "$folder"
  exit 1
}

# try BOOK FAULT CALL: "FAULT+" from the call on. Prints what becomes of it.
try() {
  local case=$* book=$work/$1 folder fault=${2%+} number text= uploaded=0 missing first
  folder=$(mktemp -d -p "$work")
  case $fault in
    ENOSPC) number=28 text='No space left on device' ;;
    EIO) number=5 text='Input/output error' ;;
    EACCES) number=13 text='Permission denied' ;;
    EROFS) number=30 text='Read-only file system' ;;
    EMFILE) number=24 text='Too many open files' ;;
    short) number=0 ;;
    kill) number=-1 ;;
  esac
  [[ ! -d $book.home ]] || cp -a "$book.home" "$folder/home"
  sync "$folder" "$book" LD_PRELOAD="$FAILING" FAIL_WITH=$number FAIL_AT="$3" "FAIL_ON=${2:${#fault}}"
  first=$status
  [[ -s $folder/failed ]] || { echo 'not reached'; rm -r "$folder"; return; }

  if [[ $fault == kill ]]; then
    ((first == 137)) || wrong "status $first"
  else
    holds ".success == ($first == 0) and $first < 2" || wrong "status $first"
    uploaded=$(jq .uploaded "$folder/out")
    holds '.bookkeeping_read == false or .uploaded <= '"$(<"$book.contacts")" || wrong 'too much went up'
    missing=$(comm -23 "$book.keys" <(keys "$folder" 2>&1))
    [[ -z $missing || $first == 1 ]] || grep -q 'user defaults' "$folder/err" || wrong "no word of $missing"
  fi
  if ((first == 1)); then
    [[ -n $text ]] && grep -qF "$text" "$folder/out" "$folder/err" || wrong 'no cause'
    holds '.bookkeeping_written != false' ||
      grep -qE '(write|synchronize) .*contact_sync_info' "$folder/err" || wrong 'no line'
  fi
  [[ ! -e $folder/home || -z $(find "$folder/home" -type f ! -perm 600 -o -type d ! -perm 700) ]] ||
    wrong 'open to others'

  sync "$folder" "$book"
  ! grep -E 'nreadable|unarchiving|user defaults' "$folder/err" || wrong 'a file is not whole'
  holds ".success and .bookkeeping_read and .uploaded <= $(<"$book.contacts") and
    ($first != 0 or .uploaded == 0) and
    ($first == 137 or .uploaded + $uploaded >= $(<"$book.contacts"))" || wrong 'the next sync'
  case $first in
    0) echo 'made good' ;;
    1) echo 'told' ;;
    *) echo 'killed' ;;
  esac
  rm -r "$folder"
}

work=$(mktemp -d)
mkfifo "$work/ready"
"$BACKEND" --port 0 --quiet >"$work/ready" &
trap 'kill $!; rm -rf "$work"' EXIT
read -r -t 20 address <"$work/ready"
address=${address##*http://}
export work address
export -f sync holds keys wrong try

# A first sync, and one of changes; both are counted in a run that goes well.
people "$work/first" 1 a b c d e
cp -r "$work/first" "$work/later"
people "$work/later" 2 d e f
folder=$work/clean
mkdir "$folder"
for book in first later; do
  [[ $book == first ]] || cp -a "$folder/home" "$work/later.home"
  rm -f "$folder/failed"
  sync "$folder" "$work/$book" LD_PRELOAD="$FAILING" FAIL_AT=0
  keys "$folder" >"$work/$book.keys"
  jq .uploaded "$folder/out" >"$work/$book.contacts"
  for kind in 'ENOSPC open|mkdir|write|rename|sync|ftruncate' 'EIO .' 'EMFILE open|fcntl' \
    'EACCES open|mkdir|rename|access|stat|remove|unlink|fcntl' 'short write' \
    'EROFS open|mkdir|rename|access|remove|unlink|fchmod|ftruncate' 'ENOSPC+ open|mkdir|write' \
    'kill open|mkdir|write|rename|sync|remove|unlink|fchmod|ftruncate' 'EIO+ .'; do
    awk -v case="$book ${kind% *}" -v calls="${kind#* }" '$2 ~ calls { print case, $1 }' \
      "$folder/failed"
  done
done | awk -v stride="$stride" 'NR % stride == 0' >"$work/cases"
xargs -P "$(nproc)" -L 1 bash -euo pipefail -c 'try "$@"' try <"$work/cases" >"$work/results" ||
  { cat "$work/results"; exit 1; }
wc -l <"$work/cases"
sort "$work/results" | uniq -c
