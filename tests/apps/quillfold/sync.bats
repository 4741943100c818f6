#!/usr/bin/env bats
# Syncs that go well, go wrong and are stopped.
load host.bash

upload=/api/v1/client/contacts/sync

# own_backend OPTION...: one for this test.
own_backend() {
  start_backend "$@"
  export QUILLFOLD_CONNECT=$address
}

@test "a book that can't be read is named" {
  local command
  for command in sync plan watch browse 'show x' 'search x'; do
    [[ $command == browse ]] || ends 1 '' '*There is no address book at none *' --book none $command
  done
  echo hello >text.vcf
  for command in text.vcf /bin/ls /dev/null; do
    ends 1 '{*"success":false}' "*$command is no address book: *" --book $command --json sync
  done
  DBUS_SESSION_BUS_ADDRESS=unix:path=none \
    ends 1 '' '*@(package libebook1.2-dev|no session bus)*' --book desktop plan
  # A broken card is left out and counted, a file that can't be read fails the sync.
  printf 'BEGIN:VCARD\nN:x\nBEGIN:VCARD\nEND:VCARD\n' >book/broken.vcf
  ends 0 '1 contact read, 1 uploaded in 1 batch, 2 skipped, *' \
    '*broken.vcf, card 1, line 1: *END:VCARD*card 2*2 cards of the address book can'"'"'t be read' sync
  tells '.skipped == 2 and .success' sync
  ends 0 '0 to upload; 1 stay, *; 2 skipped' '*' plan
  (ulimit -Sf hard && truncate -s 3G book/big.vcf)
  ends 1 '' '*book/big.vcf: File too large (com.quillfold 1004)' sync
  ends 1 '{*"error":*' '*book/big.vcf: File too large*' --json plan
}

@test "a folder that can't be written is named" {
  echo a file >file
  ends 1 '{*"domain":"NSCocoaErrorDomain"*' '*/file/quillfold/*: Not a directory (NS*' --home file --json sync
  ends 0 '*' '' sync
  local file=home/quillfold/AppFrameworks/Quillfold/contact_sync_info.plist command
  # What can't be read counts as nothing, and what is wrong with it is told.
  echo spoilt >$file
  for command in list plan 'search ann' 'show ann'; do
    ends 1 '{*"error":*"success":false*}' "*$file can't be read*" --json $command
  done
  tells '.bookkeeping_problem' status
  ends 0 '*"bookkeeping_read":false*"uploaded":1*' '*The bookkeeping could not be read: *' --json sync
  tells '.bookkeeping_read and .bookkeeping_written' sync
  rm $file
  mkdir -p $file/folder
  ends 1 '1 contact read, 1 uploaded*' "*The bookkeeping can't be written: *" sync
  ends 1 '*in failure, 1 uploaded' "*The bookkeeping can't be written: *" --hurry defer
  ! "$QUILLFOLD" --version >/dev/full 2>err && [[ $(<err) == *'The output could not be written' ]]
}

@test "an account that another process holds is told" {
  begin watch
  reads 'Watching. Interrupt to stop.'
  ends 1 '' "*process $host* (com.quillfold.account 2)" sync
  kill -KILL "$host"
  finishes 137 '*'
  tells '.uploaded < 2' sync
}

@test "a stopped sync tells what it has done, and the next one sends the rest" {
  own_backend --misbehave $upload=delay:200
  people p{1..9}
  local way sent=0 line
  for way in INT:130:sync TERM:143:watch; do
    : >"$requests"
    begin --json --batch-size 2 ${way##*:}
    asked 2 $upload
    kill -${way%%:*} "$host"
    read -r -t 20 line <&5
    way=${way%:*}
    finishes "${way#*:}" '*: Stopped; the next sync sends the rest'
    jq -e '.stopped and (.success | not) and .contacts == 10 and .uploaded >= 2 and .uploaded < 8' <<<"$line"
    ((sent += $(jq .uploaded <<<"$line")))
  done
  tells ".uploaded == $((10 - sent)) and .success" sync
  # Before the backend has answered at all.
  own_backend --misbehave /api/v1/client/generate-token=delay:20000
  begin --home other --verbose sync
  asked 1 'User info saved' err
  kill -INT "$host"
  finishes 130 '*: Interrupted*'
}

@test "what the library uploads by itself is ended, told and on record" {
  own_backend --misbehave $upload=delay:100
  ends 0 "*" "" access allow
  people p{1..9}
  ends 0 "*" "*" --batch-size 2 feed
  local sent
  sent=$(grep -oE "[0-9]+ uploaded" <<<"$stderr" || echo 0)
  tells ".uploaded == $((10 - ${sent%% *}))" --hurry defer
}

@test "uploads are told line by line where it is wanted" {
  people p{1..4}
  ends 0 '5 contacts read, 5 uploaded in 3 batches, *' $'2 of 5*/s, * left\n4 of 5*\n5 of 5, */s, 0 s left' \
    --batch-size 2 sync --progress
  ends 0 '*0 uploaded*' '' sync --progress
  [[ $(ls -A home) == quillfold ]]
}

@test "watch syncs when the book changes, and takes signals for the application's life" {
  begin watch
  reads 'Watching. Interrupt to stop.'
  reads '????-??-?? ??:??:??  1 uploaded'
  people ben
  reads '*  the address book has changed'
  kill -HUP "$host"
  reads '*  1 uploaded'
  kill -USR2 "$host"
  reads '*  entered the background'
  kill -USR1 "$host"
  reads '*  became active'
  kill -INT "$host"
  # Its own sync may still look whether anything is left.
  finishes '@(0|130)' '*'
  people cleo
  begin --json watch
  reads '{*"success":true*"uploaded":1}'
  exec 5<&-
  people dora
  finishes 0 ''
}

@test "watch tells of what went up before its token was renewed" {
  own_backend --misbehave $upload=delay:700
  people ben cleo dora
  begin --batch-size 1 watch
  reads 'Watching*'
  asked 1 $upload
  # The next one is on its way.
  curl -sf -H 'Content-Type: application/json' "$address/_dev/misbehave" \
    -d "{\"path\":\"$upload\",\"kind\":\"status\",\"status\":401,\"times\":1}"
  reads '*  4 uploaded'
  kill -INT "$host"
  finishes '@(0|130)' ''
}

@test "watch says that its book has gone, and goes on when it is back" {
  begin watch
  reads 'Watching. Interrupt to stop.'
  reads '*  1 uploaded'
  line=
  mv book gone
  asked 1 'There is no address book at' err
  mv gone book
  people zed
  until [[ $line == *'  1 uploaded' ]]; do reads '*'; done
  kill -INT "$host"
  finishes '@(0|130)' '*There is no address book at*'
}

@test "watch says that a sync has failed, tries again, and ends in failure" {
  own_backend --misbehave $upload=status:503
  begin watch
  reads 'Watching*'
  # Of the library itself, of the watch, and once more.
  asked 3 $upload
  kill -INT "$host"
  finishes '@(1|130)' '*Server error 503*Trying again in 1 s*'
  # What can't pass ends it.
  own_backend --misbehave /api/v1/client/validate-key=status:400
  ends 1 '' '*Server error 400*' watch
}

@test "defer runs the task when its time has come" {
  ends 0 '*The task runs*The task has ended well, 1 uploaded' '' --hurry defer
  people ben
  tells '. == {success: true, uploaded: 1}' defer --hurry
  people cleo
  begin defer
  reads '*Asking for a run: in 15 minutes at the earliest*'
  kill -INT "$host"
  finishes 130 '*Interrupted*'
  people dora
  own_backend --misbehave $upload=status:503
  ends 1 '{"error":{"code":3,*"success":false,"uploaded":0}' '*Server error 503*' --json --hurry defer
}

@test "what only reads hears a signal at once" {
  local i
  for i in {1..2000}; do cat book/ann.vcf; done >book/many.vcf
  for i in {1..8}; do cp book/many.vcf "book/$i.vcf"; done
  begin plan --limit 0
  # Told once the files are read; then the contacts are made.
  asked 1 'another card has the identifier' err
  kill -INT "$host"
  finishes 130 '*: Interrupted'
}

@test "users have bookkeeping of their own" {
  local user
  for user in a:2 b:3 c:4 a:2 b:1 c:0; do
    people "${user%:*}"
    tells ".uploaded == ${user#*:}" --user "${user%:*}" sync
  done
  tells 'length == 4' --user b list
  tells 'length == 0' --user d list
  tells '[.upload | .source_id, .organization_id] | index("") == null' --user c show a
  tells '[.upload | .source_id, .organization_id] == ["", ""]' --user b show a
}

@test "the quickstart runs again and again" {
  local i uploaded=326
  export XDG_DATA_HOME=$PWD XDG_CONFIG_HOME=$PWD
  for i in {1..50}; do
    # It knows the built-in address alone.
    run --separate-stderr env http_proxy="http://$address" no_proxy= "$QUICKSTART" "$SAMPLE_BOOK"
    [[ $status == 0 && $output == "$uploaded uploaded"*$'\n'*[aA]l* && $stderr == *'and is left out' ]]
    uploaded=0
  done
}
