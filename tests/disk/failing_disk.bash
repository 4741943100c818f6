#!/usr/bin/env bash
# failing_disk.bash [STRIDE]: syncs in which one call on their files goes wrong, or several from
# one on, and behind each a sync on a sound disk; of all of them every STRIDE-th, and some always.
# QUILLFOLD and BACKEND name the programs, FAILING the library that lets calls fail.
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
# The names in the defaults of a home, and the identifiers of user, device and contact source.
keys() { grep -aoE '(quillfold|com|QF)[A-Za-z._]+' "$1/quillfold/defaults.plist" | sort -u; }
identifiers() { grep -aoiE '[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}' "$1/quillfold/defaults.plist" | sort -u; }
# told WORDS END: of how many contacts the last sync tells in such lines.
told() {
  sed -nE "s/.*$1 ([0-9]+) contacts$2/\\1/p" "$folder/err" | awk '{ sum += $1 } END { print sum + 0 }'
}

wrong() {
  echo "$case: $1"
  cat "$folder"/failed "$folder"/out
  grep -E 'rror|nreadable|ould not' "$folder"/err || true
  rm -r "$folder"
  exit 1
}

# try BOOK FAULT CALL: "FAULT+" for all calls from that one on, "FAULT~" for the next ones on the
# settings. Prints what becomes of it.
try() {
  local case=$* book=$work/$1 folder fault=${2%[+~]} number text= missing first least=0 most more=()
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
  case $2 in
    *+) more=(FAIL_LAST=1000000) ;;
    *~) more=(FAIL_LAST=$(($3 + 60)) FAIL_ONLY=defaults) ;;
  esac
  [[ ! -d $book.home ]] || cp -a "$book.home" "$folder/home"
  sync "$folder" "$book" LD_PRELOAD="$FAILING" FAIL_WITH=$number FAIL_AT="$3" "${more[@]}"
  first=$status most=$(<"$book.contacts")
  [[ -s $folder/failed ]] || { echo 'not reached'; rm -r "$folder"; return; }

  if [[ $fault == kill ]]; then
    ((first == 137)) || wrong "status $first"
    # What was never on its way is not recorded, and what was answered is, but for one batch.
    least=$((most - $(told 'Preparing to sync' ' with.*')))
    most=$((most - $(told 'Successfully synced' '') + 2))
    # The sum of all batches, too.
    ((most > 0)) || most=0
    ((most <= $(<"$book.contacts"))) || most=$(<"$book.contacts")
  else
    holds ".success == ($first == 0) and $first < 2" || wrong "status $first"
    holds ".bookkeeping_read == false or .uploaded <= $most" || wrong 'too much went up'
    least=$((most - $(jq ".uploaded // 0" "$folder/out")))
    if holds '.bookkeeping_read == false'; then
      # All goes up again, now or the next time.
      least=0 most=0
      ((first == 0)) || most=$(find "$book" -name '*.vcf' | wc -l)
    elif holds '.bookkeeping_written != false'; then
      most=$least
    fi
    ((first == 1 || most == 0)) || wrong 'good, and not whole'
    missing=$(comm -23 "$book.keys" <(keys "$folder/home" 2>&1))
    [[ -z $missing || $first == 1 ]] || grep -q 'user defaults' "$folder/err" || wrong "no word of $missing"
  fi
  if ((first == 1)); then
    [[ -n $text ]] && grep -qF "$text" "$folder/out" "$folder/err" || wrong 'no cause'
    holds '.bookkeeping_written != false' ||
      grep -qE '(write|synchronize) .*contact_sync_info' "$folder/err" || wrong 'no line'
  fi
  # Of what it has lost the drive tells once; it is on the disk if it was written anew.
  case "$fault $(head -n 1 "$folder/failed")" in
    EIO*fsync*/contact_sync_info*)
      awk '/Could not synchronize/ { told = 1; lost = 1 } /Saved contact sync info/ { lost = 0 }
        END { exit !told || lost && !'$first' }' "$folder/err" || wrong 'taken for synchronised'
      ;;
    EIO*fsync*defaults*) grep -q 'Error flushing user defaults' "$folder/err" || wrong 'no line' ;;
  esac
  [[ ! -e $folder/home || -z $(find "$folder/home" -type f ! -perm 600 -o -type d ! -perm 700) ]] ||
    wrong 'open to others'
  [[ -z $(find "$folder" -name '*.unreadable*') ]] || wrong 'sound settings are set aside'

  sync "$folder" "$book"
  ! grep -E 'nreadable|unarchiving|user defaults' "$folder/err" || wrong 'a file is not whole'
  holds ".success and .bookkeeping_read and .uploaded >= $least and .uploaded <= $most" ||
    wrong "the next sync, not $least to $most"
  [[ ! -d $book.home ]] || diff <(identifiers "$book.home") <(identifiers "$folder/home") ||
    wrong 'other settings'
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
export -f sync holds keys identifiers told wrong try

# in_order FOLDER: what has to be on the disk before what follows is so, for a power cut.
in_order() {
  awk -v path="$1/home/quillfold/AppFrameworks/Quillfold/contact_sync_info.plist" '
    function wrong(text) { print "Call " $1 ": " text; failed = 1; exit }
    !index($3, "contact_sync_info") { next }
    head && !($2 == "sync_file_range" && $3 == head) { wrong("an old revision stays on the disk") }
    { head = "" }
    $2 == "pwrite" && $3 ~ /spare/ && !written[$3]++ { head = $3; ++heads }
    $2 == "fsync" && $3 ~ /[.]tmp$/ { first = 1 }
    $2 ~ /^rename/ && !first { wrong("the first file is named before it is on the disk") }
    $2 ~ /^rename/ && $3 == path && ++revisions > 2 { wrong("a second batch without a wait") }
    $2 == "fsync" && $3 == path {
      if (before != "fchmod") wrong("the names stay behind")
      revisions = 0
      split("", written)
    }
    { before = $2 }
    END {
      if (!failed && (revisions || !heads)) { print "No wait for the last batch"; failed = 1 }
      exit failed
    }' "$1/failed"
}

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
  in_order "$folder" >&2
  keys "$folder/home" >"$work/$book.keys"
  jq .uploaded "$folder/out" >"$work/$book.contacts"
  cp "$folder/failed" "$work/$book.calls"
  for kind in 'ENOSPC open|mkdir|write|rename|sync|ftruncate' 'EIO .' 'EMFILE open|fcntl' \
    'EACCES open|mkdir|rename|access|stat|remove|unlink|fcntl' 'short write' \
    'EROFS open|mkdir|rename|access|remove|unlink|fchmod|ftruncate' 'ENOSPC+ open|mkdir|write' \
    'kill open|mkdir|write|rename|sync|remove|unlink|fchmod|ftruncate' 'EIO+ .'; do
    awk -v case="$book ${kind% *}" -v calls="${kind#* }" '$2 ~ calls { print case, $1 }' \
      "$folder/failed"
  done
  # Always: what the drive says of a wait, and settings that can't be read for a while, or once
  # as they are written.
  awk -v book="$book" '
    $2 == "fsync" && $3 ~ /sync_info/ { print "always", book, "EIO", $1 }
    book == "first" { next }
    NR == 1 { print "always", book, "EMFILE~", 1 "\nalways", book, "EIO~", 1 }
    $2 ~ /^(fstat|read)$/ && $3 ~ /defaults.plist$/ && ++n[$2] == 3 { print "always", book, "EIO", $1 }
  ' "$folder/failed"
done | awk -v stride="$stride" 'sub("always ", "") || ++n % stride == 0' >"$work/cases"
# A kind of call that isn't seen any more would not be tried either.
for least in access:4 close:40 fchmod:4 fcntl:8 flock:25 fstat:50 fsync:8 ftruncate:2 lstat:30 mkdir:15 \
  open:45 pwrite:12 read:25 rename:4 renameat2:6 stat:25 sync_file_range:2 writev:1; do
  count=$(cat "$work"/*.calls | grep -c " ${least%:*} /") || true
  ((count >= ${least#*:})) || { echo "${least%:*}: $count calls, not ${least#*:}"; exit 1; }
done
xargs -P "$(nproc)" -L 1 bash -euo pipefail -c 'try "$@"' try <"$work/cases" >"$work/results" ||
  { cat "$work/results"; exit 1; }
wc -l <"$work/cases"
sort "$work/results" | uniq -c
unreached=$(grep -c 'not reached' "$work/results") || true
((unreached * 20 <= $(wc -l <"$work/cases"))) || { echo 'too few are reached'; exit 1; }
