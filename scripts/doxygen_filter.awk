# Turns the comments of a public header into those that Doxygen reads: the one at its top, what
# stands right above a declaration or behind it on its line, and, within a class, a heading
# "// --- Title ---", which begins a group.

# Nothing in it is a command. Code stays as it is: indented text, and between back quotes.
function escaped(text,   parts, n, i, out) {
  if (text ~ /^   /) return "  " text
  n = split(text, parts, "`")
  for (i = 1; i <= n; ++i) {
    if (i % 2) gsub(/[\\@#<>&$%"]/, "\\\\&", parts[i])
    out = out (i > 1 ? "`" : "") parts[i]
  }
  return out
}
# Prints the comment that has been read from its line `first` on, as one of that kind.
function flush(kind, first,   i) {
  for (i = first; i <= count; ++i) {
    match(block[i], /^ *\/\//)
    print substr(block[i], 1, RLENGTH) kind escaped(substr(block[i], RLENGTH + 1))
  }
  count = 0
}
function endGroup() {
  if (grouped) print "  ///@}"
  grouped = 0
}
function beginGroup(title) {
  endGroup()
  gsub(/^ *\/\/ [-=]+ | [-=]+$/, "", title)
  print "  ///@name " title
  flush("/", 2)
  print "  ///@{"
  grouped = 1
}

/^ *\/\// { block[++count] = $0; next }
count && NR == count + 1 && block[1] !~ /^ / { print "/// @file"; flush("/", 1) }
count && block[1] ~ /^  \/\/ (---|===)/ { beginGroup(block[1]) }
count { flush($0 ~ /[^ ]/ && !/^ *(private|protected|public):/ ? "/" : "", 1) }
/^ *(private|protected|public):|^};/ { endGroup() }
match($0, /[;,}] +\/\/ /) {
  print substr($0, 1, RSTART) " ///< " escaped(substr($0, RSTART + RLENGTH))
  next
}
{ print }
