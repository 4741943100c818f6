#!/usr/bin/env bash
# changing_book.bash [STRIDE]: reads address books that change at one call on their files, and
# behind each once more as it is then; of all of them every STRIDE-th. QUILLFOLD names the
# program, FAILING the library that runs a command at a call.
set -euo pipefail
export LC_ALL=C stride=${1:-1}
# Nothing is forbidden to root otherwise.
as_others=(setpriv --bounding-set=-dac_override,-dac_read_search)
if ((EUID == 0)) && [[ -z ${MODES_HOLD:-} ]]; then
  if "${as_others[@]}" test -r "$0" -a -x "$QUILLFOLD" -a -r "$FAILING"; then
    MODES_HOLD=1 exec "${as_others[@]}" "$0" "$@"
  fi
  echo 'Here modes forbid nothing: changes of them are not tried'
fi

# put FILE NAME...: a file with a card for each.
put() {
  local name
  for name in "${@:2}"; do
    printf 'BEGIN:VCARD\r\nVERSION:3.0\r\nUID:%s\r\nN:;%s;;;\r\nFN:%s\r\nEND:VCARD\r\n' "$name" \
      "$name" "$name"
  done >"$1"
}

# read_book FOLDER [VARIABLE=VALUE...]: sets status.
read_book() {
  status=0
  env "${@:2}" timeout 20 "$QUILLFOLD" --home "$1/home" --book "$1/book" --json plan </dev/null \
    >"$1/out" 2>"$1/err" || status=$?
}
# The identifiers that are read, and those in the files.
told() { jq -r '.[].identifier' "$1/out" | sort; }
written() {
  find -H "$1/book" -type f '(' -path "$1/book" -o -name '*.vcf' ')' -exec sed -n 's/^UID:\(.*\)\r/\1/p' {} + |
    sort
}

wrong() {
  echo "$case: $1"
  head -qc 300 "$folder/out" "$folder/err"
  exit 1
}

# try BOOK CALL CHANGE: the change is made in the folder of the book. Prints what becomes of it.
try() {
  local case=$* folder before lost
  folder=$(mktemp -d -p "$work")
  cp -a "$work/$1/." "$folder"
  written "$folder" >"$folder/before"
  read_book "$folder" LD_PRELOAD="$FAILING" FAIL_IN="$folder/book" FAIL_AT="$2" \
    FAIL_LOG="$folder/failed" FAIL_RUN="cd '$folder'; $3"
  [[ -s $folder/failed ]] || { echo 'not reached'; rm -rf "$folder"; return; }
  # What was there before and is there afterwards was there throughout.
  chmod -Rf u+rwX "$folder/book" || true
  written "$folder" >"$folder/after" 2>/dev/null || true
  if ((status == 0)); then
    told "$folder" >"$folder/told"
    lost=$(comm -23 <(comm -12 "$folder/before" "$folder/after") "$folder/told")
    [[ -z $lost ]] || wrong "without $lost"
    [[ -z $(comm -23 "$folder/told" <(sort -u "$folder/before" "$folder/after")) ]] || wrong 'too many'
    echo 'read'
  else
    ((status == 1)) && jq -e --arg at "$folder/book" '.error |
      .domain == "CNErrorDomain" and .code == 2 and (.text | ltrimstr("The address book can'"'"'t be read: " + $at) |
        test("^(/[^:]*)?: ([A-Z][a-z ]+|it changes all the time|neither a file nor a folder)$")) or
      .domain == "com.quillfold.host" and (.text | contains($at) and contains("no address book"))
      ' "$folder/out" >/dev/null || wrong "status $status"
    jq -r '"told: " + (.error.text | split(": ")[-1] | sub(" at .*"; ""))' "$folder/out"
  fi
  read_book "$folder"
  if ((status == 0)); then
    diff <(told "$folder") "$folder/after" || wrong 'the next time'
  else
    [[ ! -s $folder/after ]] || wrong 'not the next time'
  fi
  rm -rf "$folder"
}

work=$(mktemp -d)
trap 'chmod -R u+rwX "$work"; rm -rf "$work"' EXIT
export work
export -f put read_book told written wrong try

# A book of folders, one of a file, and one of so many files that the system lists it in parts.
mkdir -p "$work"/{folders/book/sub/deep,folders/other/sub,file/other,many/book}
put "$work/folders/book/a.vcf" a1 a2
put "$work/folders/book/b.vcf" b
put "$work/folders/book/sub/c.vcf" c
put "$work/folders/book/sub/deep/d.vcf" d
put "$work/folders/book/z.vcf" z
put "$work/folders/other.vcf" a1 a2 b c d z
put "$work/folders/other/sub/all.vcf" a1 a2 b c d z
put "$work/folders/new" b more
put "$work/file/book" a b c
put "$work/file/new" a b more
put "$work/file/other/all.vcf" a b c
long=$(printf '%0180d' 0)
for i in {100..499}; do put "$work/many/book/$i-$long.vcf" "$i"; done
put "$work/many/new" 300 more

changes() {
  sed 's/^ *//' <<'CHANGES'
    folders mv book/b.vcf book/b2.vcf
    folders mv book/b.vcf book/sub/
    folders mv book/sub/c.vcf book/
    folders mv book/sub book/sub2
    folders mv book/sub/deep book/
    folders mv new book/b.vcf
    folders cp new book/b.vcf
    folders : >book/b.vcf
    folders rm book/b.vcf
    folders rm -r book/sub
    folders rm -r book
    folders mv book gone; mv other book
    folders rm book/b.vcf; mkdir book/b.vcf; cp new book/b.vcf/b.vcf
    folders rm -r book/sub; cp new book/sub
    folders rm book/b.vcf; mkfifo book/b.vcf
    folders rm book/b.vcf; ln -s b.vcf book/b.vcf
    folders mv book/sub sub; ln -s . book/sub
    folders mv book/sub sub; ln -s ../sub book/sub
    folders mv book old; ln -s old book
    folders ln -s other.vcf next; mv -T book old; mv -T next book
    folders chmod 0 book/b.vcf
    folders chmod 0 book/sub
    file mv new book
    file cp new book
    file rm book
    file rm book; mv other book
    file rm book; mkfifo book
    file rm book; ln -s book book
    many mv book/300-* book/0.vcf
    many mv book/150-* book/9.vcf; mv book/450-* book/8.vcf; mv book/460-* book/460.vcf
    many mv new book/300-*
CHANGES
}

# How many calls there are, in a reading that goes well.
for book in folders file many; do
  read_book "$work/$book" LD_PRELOAD="$FAILING" FAIL_AT=0 FAIL_IN="$work/$book/book" \
    FAIL_LOG="$work/$book.calls"
  rm -rf "$work/$book/home"
done
# A kind of call that isn't seen any more would not be tried either.
for least in close:5 fstat:5 fstatat:14 lstat:2 open:5 opendir:6 read:10 readdir:30 stat:4; do
  count=$(grep -c " ${least%:*} /" "$work/folders.calls") || true
  ((count >= ${least#*:})) || { echo "${least%:*}: $count calls"; exit 1; }
done
n=0
while read -r book change; do
  calls=$(wc -l <"$work/$book.calls") step=$stride
  [[ $book != many ]] || step=$((23 * stride))
  for ((i = 1; i <= calls; ++i)); do
    ((++n % step == 0)) || continue
    printf '%s\0%s\0%s\0' "$book" "$i" "$change"
  done
done < <(changes) >"$work/cases"
xargs -0 -P "$(nproc)" -n 3 bash -euo pipefail -c 'try "$@"' try <"$work/cases" >"$work/results" ||
  { sort "$work/results" | uniq -c; exit 1; }
sort "$work/results" | uniq -c
unreached=$(grep -c 'not reached' "$work/results") || true
((unreached * 20 <= $(wc -l <"$work/results"))) || { echo 'too few are reached'; exit 1; }
