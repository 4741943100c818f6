#!/usr/bin/env bats
# What logs and files tell of keys, tokens, users and contacts, in a tour of everything. Each value
# has a mark in it; docs/privacy.md says where which one may be.
load host.bash

devices=(home config data cache state run tmp)

# relay FOLDER: sets port; what passes is kept in the folder.
relay() {
  mkfifo "$1.port"
  perl "$BATS_TEST_DIRNAME/relay.pl" "${address##*//}" "$PWD/$1" >"$1.port" 3>&- &
  backends+=($!)
  read -r -t 20 port <"$1.port"
}

# card N TEXT: one that fills every field, changed by the text.
card() {
  sed 's/$/\r/' >"book/$1.vcf" <<CARD
BEGIN:VCARD
VERSION:3.0
UID:zqcontact-uid-$1
N:zqcontact-family$1;zqcontact-given$1;zqcontact-middle;zqcontact-prefix;zqcontact-suffix
NICKNAME:zqcontact-nick
ORG:zqcontact-org;zqcontact-department
TITLE:zqcontact-title-$2
TEL;TYPE=CELL:+1 212 555 77$1
EMAIL:zqcontact$1@example.net
ADR:;;zqcontact-street;zqcontact-city;zqcontact-state;1;zqcontact-country
URL:https://zqcontact.example.net
X-SOCIALPROFILE;TYPE=twitter:https://twitter.example/zqcontact
X-ABRELATEDNAMES:zqcontact-relation
IMPP:xmpp:zqcontact@example.net
NOTE:zqnote
PHOTO;ENCODING=b:enFwaG90byB6cXBob3Rv
BDAY:1977-07-07
a line that is no property but names zqcontact
END:VCARD
CARD
}

# does STATUS WORD...: the host ends so, and leaves everything to its user alone.
does() {
  local status=0
  "$QUILLFOLD" "${@:2}" </dev/null >>$log/out 2>>$log/err 3>&- || status=$?
  [[ $status == $1 ]] || { echo "${*:2}: $status, not $1"; tail -n 3 $log/{out,err}; return 1; }
  is_closed
}
is_closed() {
  local open
  open=$(find "${devices[@]}" -type f ! -perm 600 -o -type d ! -perm 700 -o ! -type f ! -type d)
  [[ -z $open ]] || { echo "open to others: $open"; return 1; }
}
# answers LINE...: what the relay says by itself, from here on.
answers() { printf '%s\n' "$@" >traffic/rules; }
used() {
  grep -q '^0 ' traffic/rules || { echo "not asked for: $1"; return 1; }
}
# places MARK FOLDER...: the files with it, and how often they have it.
places() {
  grep -raoF -e "$1" "${@:2}" | sed 's/:[^:]*$//' | sort | uniq -c | awk '{ print $2 ":" $1 }' | xargs
}
is_at() { # PLACES MARK FOLDER...
  [[ $(places "${@:2}") == "$1" ]] || { echo "$2: $(places "${@:2}"), not $1"; return 1; }
}

# no MARKS FOLDER...: an expression that nothing in them matches.
no() {
  if grep -raE -e "$1" "${@:2}" | head -n 3 | grep .; then return 1; fi
}

# issued: an expression for the backend's tokens.
issued() { grep -rhaoP '(Bearer |"token":")\K[^"\r]+' traffic elsewhere | sort -u | paste -sd '|'; }

setup() {
  cd "$BATS_TEST_TMPDIR"
  mkdir -m 700 "${devices[@]}"
  mkdir book log verbose traffic elsewhere
  umask 000
  unset QUILLFOLD_HOME
  export HOME=$PWD/home XDG_CONFIG_HOME=$PWD/config XDG_DATA_HOME=$PWD/data XDG_CACHE_HOME=$PWD/cache \
    XDG_STATE_HOME=$PWD/state XDG_RUNTIME_DIR=$PWD/run TMPDIR=$PWD/tmp \
    QUILLFOLD_BOOK=$PWD/book QUILLFOLD_API_KEY=zqkey QUILLFOLD_TOKEN=zqtoken \
    QUILLFOLD_USER=zquser1 QUILLFOLD_EMAIL=zqmail1@example.com QUILLFOLD_PHONE=+4955577660
  relay elsewhere
  other=http://127.0.0.1:$port
  relay traffic
  export QUILLFOLD_CONNECT=127.0.0.1:$port
}

# What goes well, and what goes wrong.
tour() {
  local words client=/api/v1/client rule
  answers
  card 10 "$log"
  card 11 "$log"
  does 0 sync
  card 11 again
  does 0 --json sync
  for words in plan list status 'show zqcontact-uid-11' 'search zqcontact' 'search --quick zqc' \
    'access show' invite app-users might-know followers following mutual feed upcoming for-you events; do
    does 0 --json $words
  done
  does '[01]' follow nobody
  does '[01]' unfollow nobody
  does 0 event create --title Tea
  does 1 event show nobody
  does '[01]' event change tea --title Coffee
  does '[01]' event delete tea
  does 0 access deny
  does 1 sync
  does 0 access allow
  for rule in "$client/generate-token 500 {\"message\":\"broken\"}" "$client/generate-token 200 }{" \
    "$client/generate-token 401 " "$client/generate-token redirect $other" "$client/validate-key 403 " \
    "$client/validate-key 200 {\"data\":{\"valid\":false}}" "$client/validate-key redirect $other" \
    "$client/user-info 401 {\"detail\":\"renew\"}" "$client/user-info redirect $other" \
    "$client/contact-source 200 }{" "$client/contacts/sync 500 {\"message\":\"broken\"}" \
    "$client/contacts/sync 401 " "$client/contacts/sync redirect $other"; do
    card 12 "$log $rule"
    answers "1 $rule"
    does '[01]' sync
    used "$rule"
  done
  answers "9 /api/v1/social 500 {\"message\":\"broken\"}" "9 $client/contacts-app-users 200 }{"
  does 1 followers
  does 1 feed
  does 1 app-users
  answers
  does 1 --connect 127.0.0.1:1 sync
  does 2 sync nonsense
  for rule in 'token = "a" zqtoken' 'token zqtoken' 'api-key = "zqkey'; do
    echo "$rule" >wrong.toml
    does 2 --config wrong.toml sync
  done
  # No file may grow.
  card 13 "$log"
  (ulimit -f 0 && exec "$QUILLFOLD" sync 2>&1 </dev/null 3>&-) | cat >$log/full
  words="${PIPESTATUS[0]} $(<$log/full)"
  # ThreadSanitizer has a file of its own to write, and ends there.
  grep -qa __tsan_init "$QUILLFOLD" || [[ $words == "1 "*"bookkeeping can't be written"* ]]
  cat $log/full >>$log/err
  is_closed
  does 0 --hurry defer
  begin watch
  reads 'Watching*'
  card 14 "$log"
  until [[ $line == *' the address book has changed' ]]; do reads '*'; done
  is_closed
  kill -INT "$host"
  finishes '@(0|130)' '*'
  cat err >>$log/err
  on_terminal "'$QUILLFOLD' browse; echo over"
  shows 'found'
  printf '\r' >&6
  shows 'identifier' 'uploaded'
  printf '\e\e' >&6
  shows over
  echo "$text" >>$log/out
}

@test "keys and tokens, users and contacts are told to nobody but whom they are for" {
  local log settings=config/quillfold/defaults.plist
  local records='[^ ]*/Quillfold/.?contact_sync_info(-[0-9a-f]+)?.plist(.spare1?)?:[0-9]+'
  for log in log verbose; do
    [[ $log == log ]] || export QUILLFOLD_VERBOSE=1
    tour
  done
  unset QUILLFOLD_VERBOSE
  log=log
  # On the device.
  is_at $settings:1 zqtoken "${devices[@]}"
  is_at $settings:2 zqmail "${devices[@]}"
  is_at $settings:2 zquser "${devices[@]}"
  is_at $settings:2 4955577660 "${devices[@]}"
  [[ $(places zqcontact "${devices[@]}") =~ ^($records ?)+$ ]]
  no 'zq(key|note|photo)|enFwaG|1977-07' "${devices[@]}"
  # To the backend: the key with one request, no token of the host, and to nobody else the backend's.
  grep -raoF zqkey traffic/* | cut -d: -f1 | sort -u >with_key
  [[ -s with_key && -z $(xargs head -qn 1 <with_key | grep -v '^POST /api/v1/client/validate-key ') ]]
  is_at '' zqtoken traffic elsewhere
  [[ -n $(ls elsewhere) ]]
  no '^[Aa]uthorization:' elsewhere
  # What it has issued is in no file, no output and no log, like the key and the host's own.
  local bearers=$(issued)
  [[ $bearers == *'|'*'|'*'|'* ]]
  no "$bearers" "${devices[@]}" log verbose
  no 'zqkey|zqtoken' log verbose
  # The usual log says nothing of contacts and users; the other does, but for notes and pictures.
  no 'zq(contact|user|mail)|55577660|2125557|212 555' log/err
  no 'zq(note|photo)' verbose/err
  grep -q zqcontact-family10 verbose/err
  grep -q zqcontact-family10 log/out

  # A second user has bookkeeping of his own, and a note that is read is found in it.
  export QUILLFOLD_USER=zquser2 QUILLFOLD_EMAIL=zqmail2@example.com
  does 0 --notes sync
  [[ $(places zqnote "${devices[@]}") =~ ^($records ?)+$ && ${BASH_REMATCH[2]} == -* ]]
  is_at $settings:2 zqmail "${devices[@]}"
  # Settings that can't be read are set aside as they are.
  truncate -s -9 $settings
  does '[01]' sync
  is_at "$settings:1 $settings.unreadable-1:1" zqtoken "${devices[@]}"
}

@test "a host that sets no log is told nothing of contacts" {
  card 10
  local rule
  for rule in 'generate-token 500 {"message":"broken"}' 'contacts/sync 500 {"message":"broken"}' \
    'contacts/sync 422 {"detail":"no"}' 'user-info 401 ' none; do
    answers "1 /api/v1/client/$rule"
    http_proxy=http://$QUILLFOLD_CONNECT no_proxy= "$QUICKSTART" book >>log/out 2>>log/err 3>&- || true
    is_closed
    [[ $rule == none ]] || used "$rule"
  done
  grep -q '1 uploaded' log/out
  grep -q 'Server error 500: broken' log/err
  no 'zq|2125557|212 555' log/err
  no "$(issued)" "${devices[@]}" log
}
