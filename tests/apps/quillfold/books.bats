#!/usr/bin/env bats
# Address books that are large, broken or odd. The large ones have QUILLFOLD_CARDS cards.
load host.bash

cards=${QUILLFOLD_CARDS:-10000}

# Each prints cards, FIRST to LAST of their kind.
good() {
  seq "$1" "$2" | awk '{
    printf "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:good-%d\r\nN:Lindqvist;Person %d;;;\r\n", $1, $1
    printf "FN:Person %d Lindqvist\r\nORG:Blue Harbour Ltd.;\r\nTEL;TYPE=CELL:+49 221 %07d\r\n", $1, $1
    printf "TEL;TYPE=WORK:+1 (212) %07d\r\nEMAIL;TYPE=HOME:person.%d@example.org\r\n", $1, $1
    printf "ADR;TYPE=HOME:;;%d Main Street;Springfield;IL;62701;United States\r\n", $1
    printf "NOTE:Met at the conference\\, will call back about\r\n  the offer.\r\nEND:VCARD\r\n"
  }'
}
# As good as they can be: read all the same.
odd() {
  seq "$1" "$2" | LC_ALL=C awk -v long="$(printf '%20000s' '')" '{
    begin = "BEGIN:VCARD\n"; end = "END:VCARD\n"; id = "UID:odd-" $1 "\n"; name = "N:;odd" $1 "\n"
    if ($1 % 8 == 0) print begin name "TEL:" $1 "\n" end
    if ($1 % 8 == 1) print begin "UID:twin\n" name end
    if ($1 % 8 == 2) print begin id "N;CHARSET=KLINGON:\344\377;odd" $1 "\n" end
    if ($1 % 8 == 3) print begin id name long "\n" end
    if ($1 % 8 == 4) print begin "VERSION:2.1\n" id name "AGENT:\n" begin "N:;agent\n" end end
    if ($1 % 8 == 5) printf "%s%s%sNOTE:\001\177\200\377\303\nEND\n%s", begin, id, name, end
    if ($1 % 8 == 6) printf "begin : vcard\r%s%send:vcard  \r\n", id, name
    if ($1 % 8 == 7) print begin "UID:twin\n" name "TEL:1\n" end
  }'
}
broken() {
  seq "$1" "$2" | LC_ALL=C awk 'BEGIN { srand(7) } {
    if ($1 % 4 == 0) printf "BEGIN:VCARD\nUID:broken-%d\nN:;broken\nTEL:1\n", $1
    if ($1 % 4 == 1) printf "BEGIN:VCARD\nVERSION:3.0\nEND:VCARD\n"
    if ($1 % 4 == 2) printf "BEGIN:VCARD\n:;=\n\nEND:VCARD"
    if ($1 % 4 != 3) next
    printf "\nBEGIN:VCARD\n"
    for (i = 0; i < 300; ++i) printf "%c", 128 + rand() * 128
    printf "\n"
  }'
}

# scattered FOLDER: a file for each card of standard input, a thousand to a folder.
scattered() {
  LC_ALL=C awk -v folder="$1" 'BEGIN { RS = "END:VCARD\r?\n" } {
    into = folder "/" int((NR - 1) / 1000)
    if (NR % 1000 == 1) system("mkdir " into)
    file = into "/" NR ".vcf"
    printf "%sEND:VCARD\r\n", $0 >file
    close(file)
  }'
}

@test "what is odd is read, what is broken is left out, counted and told" {
  local n=$((cards / 10)) i
  mkdir book/many
  for ((i = 1; i <= n; i += n / 10)); do
    good $i $((i + n / 10 - 1))
    broken $i $((i + n / 10 - 1))
    odd $i $((i + n / 10 - 1))
  done >book/all.vcf
  ends 0 "*$((2 * n + 1)) to upload; 0 stay, *; $n skipped" '*' plan
  [[ $(grep -oE 'good-[0-9]+$' <<<"$output" | sort -u | wc -l) == $n ]]
  [[ $(grep -oE '\bodd[0-9]+ .*' <<<"$output" | sort -u -k 1,1 | wc -l) == $n ]]
  [[ $(awk '{ print $NF }' <<<"$output" | sort | uniq -d) == '' && $output != *agent* ]]
  [[ $(grep -c 'all.vcf, card' <<<"$stderr") == 20 && $stderr == *"all.vcf: "*" more"* ]]
  # Their identifiers stay.
  tells ".contacts == $((2 * n + 1)) and .uploaded == .contacts and .skipped == $n and .success" \
    --batch-size 1000 sync
  tells ".contacts == $((2 * n + 1)) and .uploaded == 0 and .skipped == $n and .success" sync
}

# costs: sets what reading the book takes, milliseconds of processor time and kilobytes at the most.
costs() {
  local -a status
  begin plan
  # By then all contacts are there, and none has been let go.
  IFS= read -r -t 300 line <&5 && [[ $line == new* ]]
  read -r -a status <"/proc/$host/stat"
  milliseconds=$(((status[13] + status[14]) * 1000 / $(getconf CLK_TCK)))
  kilobytes=$(awk '/^VmHWM/ { print $2 }' "/proc/$host/status")
  exec 5<&-
  finishes 0 '*'
}

@test "time and memory grow with the cards and not faster" {
  local kind n milliseconds kilobytes few=$((cards / 10))
  for kind in file folder twins nameless broken; do
    local -a spent=() held=()
    for n in $few $cards; do
      rm -r book
      mkdir book
      case $kind in
        file) good 1 $n >book/all.vcf ;;
        folder) good 1 $n | scattered book ;;
        twins) good 1 $n | sed 's/^UID:.*/UID:twin\r/' >book/all.vcf ;;
        nameless) good 1 $n | sed '/^UID\|^N:\|^FN\|^ORG/d' >book/all.vcf ;;
        broken) { broken 1 $n; good 1 $few; } >book/all.vcf ;;
      esac
      costs
      spent+=($milliseconds) held+=($kilobytes)
    done
    echo "# $kind: $((1000 * (spent[1] - spent[0]) / (cards - few))) us and" \
      "$((1024 * (held[1] - held[0]) / (cards - few))) bytes a card" >&3
    ((spent[1] <= 20 * spent[0] + 200))
    # A sanitizer keeps more.
    grep -qaE '__[at]san_init' "$QUILLFOLD" || ((held[1] - held[0] <= 8 * (cards - few)))
  done
}

@test "a card of 20 MB is read, and its picture stays here" {
  local picture
  picture() { head -c 20000000 /dev/zero | base64 -w "$1"; }
  text() { printf 'BEGIN:VCARD\nVERSION:%s\nUID:%s\nN:;%s\nTEL:1\n' "$1" "$2" "$2"; cat; echo END:VCARD; }
  { echo 'PHOTO;ENCODING=b;TYPE=JPEG:'; picture 74 | sed 's/^/ /'; } | text 3.0 folded >book/a.vcf
  { echo 'PHOTO;JPEG;BASE64:'; picture 72; echo; } | text 2.1 bare >book/b.vcf
  { printf 'PHOTO:data:image/jpeg;base64,'; picture 0; echo; } | text 4.0 line >book/c.vcf
  { printf NOTE:; picture 0; echo; } | text 3.0 note >book/d.vcf
  # So many lines are too many.
  picture 40 | sed 's/^/X:/' | text 3.0 lines >book/e.vcf
  tells '.contacts == 5 and .uploaded == 5 and .skipped == 1 and .bytes < 20000' sync
  [[ $stderr == *'e.vcf, card 1, line 1: the card has too many lines and is left out'* ]]
  ends 0 '*0 to upload; 5 stay*1 skipped' '*' plan
}

@test "what is no card file in a folder is passed by" {
  local deep=book i
  for i in {1..200}; do deep+=/d$i; done
  mkdir -p "$deep" book/folder.vcf
  cp book/ann.vcf outside
  people ben cleo
  mv book/ben.vcf "$deep"
  mv book/cleo.vcf book/$'cl\xe9o \n*.VCF'
  mkfifo book/fifo.vcf
  perl -MIO::Socket::UNIX -e 'IO::Socket::UNIX->new(Local => "book/socket.vcf", Listen => 1) or die'
  ln -s self.vcf book/self.vcf
  ln -s two.vcf book/one.vcf
  ln -s one.vcf book/two.vcf
  ln -s nowhere book/none.vcf
  ln -s /dev/zero book/zero.vcf
  ln -s . book/here
  ln -s .. book/up.vcf
  tells '[.[].identifier] == ["ann", "cleo", "ben"]' plan
}
