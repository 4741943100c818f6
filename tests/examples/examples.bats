#!/usr/bin/env bats
# The examples, each from an empty home, at the development backend.
load ../apps/quillfold/host.bash

# example NAME WORD...: runs one.
example() { run --separate-stderr "$EXAMPLES/quillfold-$1" "${@:2}" "http://$address" </dev/null 3>&-; }

setup() {
  cd "$BATS_TEST_TMPDIR"
  export XDG_DATA_HOME=$PWD/data XDG_CONFIG_HOME=$PWD/config
}

@test "coroutines" {
  people ann bob
  example coroutine book
  [[ $status == 0 && $output == '2 read, 2 uploaded'* && -z $stderr ]]
  example coroutine book
  [[ $status == 0 && $output == '2 read, 0 uploaded'* ]]
  address=127.0.0.1:1 example coroutine book
  [[ $status == 1 && -z $output && $stderr == *'Could not connect'* ]]
}

@test "an address book and HTTP of the host's own" {
  printf '%s\t%s\n' 'Ann Lee' '+1 212 555 0100' Bob 12345 >people
  example own-platform people
  [[ $status == 0 && $output == $'2 read, 2 uploaded\nAnn Lee' && -z $stderr ]]
  example own-platform missing
  [[ $status == 1 && $stderr == *'(missing can'"'"'t be read)' ]]
  address=127.0.0.1:1 example own-platform people
  [[ $status == 1 && $stderr == *'(HTTP: Connection)' ]]
}

@test "hosts with an event loop" {
  local loop
  for loop in glib asio; do
    rm -rf book data config out
    people ann bob
    export QUILLFOLD=$EXAMPLES/quillfold-$loop-host
    begin book "http://$address"
    reads '[02] uploaded'
    people cleo
    until reads '[01] uploaded' && [[ $line == 1* ]]; do :; done
    kill -TERM "$host"
    finishes 0 ''
    address=127.0.0.1:1 example $loop-host book
    [[ $status == 1 && -z $output && $stderr == *'Could not connect'* ]]
  done
}
