# Turns the comments of a public header into those that Doxygen reads: what stands right
# above a declaration, or behind it on its line.
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
function flush(kind,   i) {
  for (i = 1; i <= count; ++i) {
    match(block[i], /^ *\/\//)
    print substr(block[i], 1, RLENGTH) kind escaped(substr(block[i], RLENGTH + 1))
  }
  count = 0
}
/^ *\/\// { block[++count] = $0; next }
count && NR == count + 1 && block[1] !~ /^ / { print "/// @file"; flush("/") }
count { flush($0 ~ /[^ ]/ && !/^ *(private|protected|public):/ ? "/" : "") }
match($0, /[;,}] +\/\/ /) {
  print substr($0, 1, RSTART) " ///< " escaped(substr($0, RSTART + RLENGTH))
  next
}
{ print }
