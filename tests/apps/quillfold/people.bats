#!/usr/bin/env bats
# Lists of contacts, people and events, and what their JSON holds.
load host.bash

setup_file() {
  start_backend
  export backend_pid address
  cd "$BATS_FILE_TMPDIR"
  ! "$QUILLFOLD" --home home --book "$SAMPLE_BOOK" --connect "$address" sync 2>/dev/null >report ||
    grep -q '326 contacts read, 326 uploaded in 17 batches, 1 skipped' report
}

setup() {
  cd "$BATS_FILE_TMPDIR"
  export QUILLFOLD_HOME=home QUILLFOLD_BOOK=$SAMPLE_BOOK QUILLFOLD_CONNECT=$address
}

@test "contacts and records are told as they were" {
  tells 'has_keys("version state access environment address healthy records uploaded bookkeeping
    user_id device_id source_id organization_id") and .healthy and .uploaded == 326' status
  tells 'length == 326 and (.[0] | has_keys("contact_id display_name primary_info change_hash
    match_string last_synced_at is_dirty is_deleted"))' list
  tells 'has_keys("identifier display_name change_hash match_string upload record") and
    (.upload | length) == 32 and .change_hash == .record.change_hash' show sample-0155
  tells 'has_keys("total contacts") and (.contacts[0] |
    has_keys("identifier display_name display_info")) and .contacts[0].display_name == "Alma Archer"' search 'ARCHER alma'
  tells '. == []' plan
  tells '(.[0] | has_keys("identifier display_name change_hash match_string upload"))' --user new plan
  ends 1 '{*"domain":"CNErrorDomain"*' '*CNErrorDomain 200*' --json show nobody
  ends 0 '*2026*sample-0155' '' list --limit 1 || ends 0 '*sample-????*1 of 326' '' list --limit 1
}

@test "every list is shown in parts, with the total" {
  local command total
  for command in search\ al invite app-users might-know following followers mutual feed upcoming \
    for-you events; do
    tells '.total >= 0 and ((.items // .contacts) | length) == 0' $command --limit 0
    total=$(jq .total <<<"$output")
    tells ".total == $total" $command --limit 1 --offset 1
    tells ".total == $total and ((.items // .contacts) | length) == $((total > 0))" $command --limit 1
    ends 0 "*$((total > 0)) of $total" '*' $command --limit 1
  done
  tells 'length == 0' list --limit 0
  tells 'length == 2' list --limit 2 --offset 3
  tells 'length == 1' list --offset 325
  tells 'length == 0' --user new plan --limit 0
  tells 'length == 7' --user new plan --limit 7
  tells '.total == 0' search --field name 5550155
  tells '.total == 4' search '(212) 555-0112'
  tells '.total == 3' --quick search 'alma  archer'
  tells '.total == 20 and (.contacts | length) == 2' search --quick a --limit 2 --offset 1
}

@test "people are items with a total, in snake case, with ISO times" {
  local command
  for command in invite app-users might-know followers mutual; do
    tells 'has_keys("items total") and .total > 0 and ([.items[] | .. | objects | keys[]] |
      all(test("^[a-z0-9_]+$"))) and ([.items[] | .. | objects | .created_at // empty] | all(iso))' $command
  done
  tells 'all(.items[]; .identifier | startswith("sample-"))' invite
  tells '.items[0].canonical_contact.created_at and .items[0].local_contact.identifier' app-users
  ends 0 '????????-????-????-????-????????????  *' '*' --limit 1 might-know
  local stranger=${output%% *}
  tells "all(.items[]; .followed_id != \"$stranger\")" following
  tells '.success' follow "$stranger"
  tells "any(.items[]; .followed_id == \"$stranger\")" following
  ends 0 "*$stranger *" '*' following
  tells "any(.items[]; .followed_id == \"$stranger\")" following demo-user
  ends 0 '*' '*' unfollow "$stranger"
  tells "all(.items[]; .followed_id != \"$stranger\")" following
  ends 1 '*"text":"Server error 404: User not found"*' '*Server error 404: User not found*' --json follow nobody
}

@test "an event comes, changes and goes" {
  tells '.success' --title Tea event create --starts 2099-12-24T18:00:00Z --private
  local id
  id=$(jq -r .event_id <<<"$output")
  ends 0 '*' '*' event change "$id" --place Home --about Cake
  tells '.title == "Tea" and .location == "Home" and .start_time == "2099-12-24T18:00:00.000Z" and
    .is_public == false and .event_type == "meeting"' event show "$id"
  ends 0 'Tea*Home*Cake*' '*' event show "$id"
  ends 0 "*$id*1 of 1" '*' events
  tells '.items[0].id == "'"$id"'"' events demo-user
  ends 0 '*' '*' event delete "$id"
  ends 1 '' '*404*' event show "$id"
  tells '.total > 0 and all(.items[]; (.start_time, .created_at) | iso)' feed
}
