#!/usr/bin/env bats
# The host on a terminal.
load host.bash

@test "browse finds, shows and leaves the terminal as it was" {
  people annabel ben
  ends 0 '*' '' sync
  local ending status
  for ending in $'\e:0' $'\x03:130' $'\x04:0' TERM:143 SEGV:139; do
    on_terminal "stty -a >before; sh -c 'echo \$\$ >pid; exec \"$QUILLFOLD\" browse'
      echo =\$?=; stty -a >after; echo over"
    shows $'\e[?1049h' '3 found'
    printf nn >&6
    shows '2 found'
    printf '\e[B\r' >&6
    shows 'annabel' 'identifier' 'annabel'
    printf '\x7f' >&6
    shows '2 found'
    # What is typed in one go waits for the list that it leads to.
    printf '\x7f\x7fben\r' >&6
    shows 'identifier    ben'
    printf '\x7f' >&6
    shows '1 found'
    if [[ ${ending%:*} == [TS]* ]]; then kill -${ending%:*} "$(<pid)"; else printf "${ending%:*}" >&6; fi
    shows $'\e[?1049l' "=${ending#*:}=" over
    cmp before after
  done
}

@test "browse scrolls through a contact that is longer than the screen" {
  sed -i '/^TEL/s/.*/&\n&\n&\n&/' book/ann.vcf
  ends 0 '*' '' sync
  on_terminal "stty rows 8 columns 40; '$QUILLFOLD' browse; echo over"
  shows '1 found'
  printf '\r' >&6
  # A line that is too long goes on in the next one.
  shows phone $'555 010\r\r\n0'
  printf '\e[B' >&6
  shows $'\e[J'
  [[ $text != *hash* ]]
  printf '\e[6~%.0s' {1..9} >&6
  shows 'uploaded'
  printf '\e' >&6
  shows '1 found'
  printf '\e' >&6
  shows over
}

@test "a terminal is asked, shown colours and a bar, unless NO_COLOR is set" {
  on_terminal "'$QUILLFOLD' plan; echo over"
  shows 'Let Quillfold read the address book book? [y/N]'
  echo y >&6
  shows $'\e[32mnew' over
  on_terminal "'$QUILLFOLD' --book none plan; NO_COLOR=1 '$QUILLFOLD' plan | cat -v; NO_COLOR=1 '$QUILLFOLD' plan; echo over"
  shows $'\e[31mquillfold:' $'\nnew ' $'\nnew ' over
  on_terminal "'$QUILLFOLD' sync; echo over"
  shows '[##############################] 1 of 1' over
  # A refusal leads to the settings.
  on_terminal "'$QUILLFOLD' access deny; '$QUILLFOLD' plan; echo over"
  shows '2  '
  echo 2 >&6
  shows 'Settings: may Quillfold read your contacts? [y/N]'
  echo y >&6
  shows 'to upload' over
}
