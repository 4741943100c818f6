#!/usr/bin/env bats
# What can be said to the host, and where.
load host.bash

commands=(sync plan list show status watch defer access 'access show' 'access allow' 'access deny'
  search browse invite app-users might-know follow unfollow following followers mutual event
  'event create' 'event show' 'event change' 'event delete' events feed upcoming for-you completion)

@test "every command has a help of its own" {
  ends 0 'quillfold [0-9]*.[0-9]*' '' --version
  ends 0 '*--api-key KEY (Env:QUILLFOLD_API_KEY)*for-you *' '' --help
  local command
  for command in "${commands[@]}"; do
    ends 0 "*Usage: quillfold ${command%% *}*--help*" '' $command --help
  done
  ends 0 '*--limit N*--field FIELD*' '' search -h
}

@test "the manual pages say what the help does, in a form that roff takes" {
  local program word
  for program in "$QUILLFOLD" "$BACKEND"; do
    "$program" --man | groff -man -ww -Tascii -P-cbu >page 2>faults
    [[ ! -s faults ]]
    for word in $("$program" --help | grep -oE -- '^  [a-z-]+ |--[a-z-]+|QUILLFOLD_[A-Z_]+'); do
      grep -qw -e "$word" page || { echo "$word"; return 1; }
    done
  done
}

@test "what is wrong is named, and where to look" {
  ends 2 '' '*: A subcommand is required*See quillfold --help.'
  ends 2 '' '*--nothing*See quillfold sync --help.' sync --nothing
  ends 2 '' '*--nothing*See quillfold show --help.' show --nothing
  ends 2 '' '*dance*See quillfold --help.' dance
  ends 2 '' '*dance*See quillfold event --help.' event dance
  ends 2 '' '*now*See quillfold sync --help.' sync now
  ends 2 '' '*ID is required*See quillfold show --help.' show
  ends 2 '' '*second*See quillfold show --help.' show first second
  ends 2 '' '*--limit: not an option of sync*' --limit 3 sync
  ends 2 '' '*--limit: "-1" is not a number from 0*' list --limit -1
  ends 2 '' '*--offset: "-1" is not a number*' --offset -1 list
  ends 2 '' '*--batch-size: "0" is not a number from 1 to 1000*' --batch-size 0 sync
  ends 2 '' '*--batch-size: "1001"*' --batch-size 1001 sync
  ends 2 '' '*--connect: "here" is not HOST:PORT*' --connect here sync
  ends 2 '' '*--backend: "ftp://a" is not an http or https origin*' --backend ftp://a sync
  ends 2 '' '*--environment: "moon" is not dev, staging or prod*' --environment moon sync
  ends 2 '' '*--field: "shoe" is not a field: name, *' search --field shoe ann
  ends 2 '' '*--starts: "soon" is not a time such as *' event create --title Tea --starts soon
  ends 2 '' '*event create takes --title*See quillfold event create --help.' event create
  ends 2 '' '*"tcsh" is not bash, zsh or fish*' completion tcsh
  ends 2 '' '*browse needs a terminal*' browse
  ends 2 '' '*--user: "" is not a user*' --user '' sync
  ends 2 '' '*takes what is to change*See quillfold event change --help.' event change id
  ends 2 '' '*--type: *' event change id --type tea --title Tea
}

@test "an option stands above the environment, and that above the file" {
  printf 'user = "file"\nenvironment = "prod"\n' >file.toml
  mkdir -p "$XDG_CONFIG_HOME/quillfold"
  unset QUILLFOLD_USER
  named() { ends 0 '*' '' --json "${@:3}" status && [[ $(jq -r .bookkeeping <<<"$output") == *"$1" &&
    $(jq -r .environment <<<"$output") == "$2" ]]; }
  # The first user of a home has the usual file; so a first one is made.
  ends 0 '*' '*' --user first sync
  local of_file=contact_sync_info-$(printf file | sha256sum | head -c 16).plist
  named $of_file prod --config file.toml
  QUILLFOLD_USER=first named contact_sync_info.plist prod --config file.toml
  QUILLFOLD_USER=first named $of_file prod --config file.toml --user file
  QUILLFOLD_CONFIG=file.toml named $of_file staging --environment dev --environment staging
  cp file.toml "$XDG_CONFIG_HOME/quillfold/quillfold.toml"
  named $of_file prod
  rm "$XDG_CONFIG_HOME/quillfold/quillfold.toml"
  ends 2 '' '*none.toml was not readable*' --config none.toml status
  QUILLFOLD_CONFIG=none.toml ends 2 '' '*none.toml was not readable*' status
  local line
  unset QUILLFOLD_HOME
  for line in 'nonsense = 1|*not known' 'limit = 1|*not known' 'just words|is not NAME = VALUE' \
    '= 1|is not NAME = VALUE' 'home = "h|*no end' 'home = "h" i|there is more behind*' 'home = h|*twice' \
    'batch-size = 0|--batch-size: "0" *' 'notes = maybe|*--notes = maybe'; do
    printf 'home = "a # b" # c\n%s\n' "${line%|*}" >file.toml
    ends 2 '' "*file.toml: line 2: ${line#*|}"$'\n*' --config file.toml access deny
  done
  for line in 'home = "a # b" # c' 'home = c#d # e'; do
    printf '; notes\n# notes\n%s\n' "$line" >file.toml
    ends 0 denied '' --config file.toml access deny
  done
  [[ -e 'a # b' && -e 'c#d' ]]
  QUILLFOLD_BATCH_SIZE=0 ends 2 '' '*--batch-size: "0"*' sync
}

@test "access is shown, denied and allowed" {
  ends 0 'not determined' '' access show
  ends 0 'denied' '' access deny
  tells '.access == "denied"' access show
  ends 1 '' '*Contacts access denied. `quillfold access allow` allows it. (com.quillfold 1006)' sync
  ends 0 'authorized' '' access allow
  ends 0 '1 contact read, *' '' sync
  echo a file >other
  ends 1 '' "*The decision can't be kept*" --home other access allow
  # Nobody is there to be asked, and no address book was named.
  unset QUILLFOLD_BOOK
  ends 1 '{*"code":1006,*}' '* (com.quillfold 1006)' --home third --json plan
}

@test "completion scripts are for their shells, and complete" {
  local shell
  for shell in bash zsh fish; do
    ends 0 '*might-know*' '' completion $shell
    echo "$output" >script.$shell
    command -v $shell || continue
    $shell -n script.$shell
  done
  completes() { # WANTED WORD...: what bash offers for the last word
    COMP_WORDS=(quillfold "${@:2}") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _quillfold
    [[ ${COMPREPLY[*]} == $1 ]] || { echo "${*:2}: ${COMPREPLY[*]}"; return 1; }
  }
  ! command -v fish || [[ $(HOME=$PWD fish -c 'source script.fish
    complete -C "quillfold --environment=st"') == --environment=staging* ]]
  source script.bash
  mkdir 'my book'
  compopt() { told=$*; }
  completes 'search' se
  completes 'show' event sh
  completes 'create' --user event event cr
  completes '' --user event cr
  completes '--limit' search --lim
  completes 'staging' --environment st
  completes 'book' --book bo
  completes 'zsh' completion z
  completes '' --user x
  completes 'staging' --environment = st
  completes 'dev staging prod' --environment =
  completes '--environment=staging' --environment=st
  completes 'my book' --book 'my\ b' && [[ $told == '-o filenames' ]]
  completes 'my book' --book = '"my b'
  completes '--book=my book' '--book=my\ b'
}
