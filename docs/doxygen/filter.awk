# Turns the headers' comments into Doxygen's, which INPUT_FILTER asks for. The
# headers are written for people: a comment belongs to all declarations that
# follow it without a blank line; one that a blank line follows speaks of what
# comes after it, and becomes a part of its subsystem's page; a line such as
# "==== net: interfaces ====" begins a subsystem. A declaration without a comment
# stays without, which Doxygen reports.

function end_text() {
  if (text != "" && group == "") print "/** @file\n" text "*/"
  if (text != "" && group == "" && FILENAME ~ /orba_util\.h$/) print "/** @mainpage\n" text "*/"
  if (text != "" && group != "") print "/** @} */\n/** @addtogroup " group "\n" text "@{ */"
  text = ""
}

# Preprocessing, and the brackets of extern "C".
/^#/ || /^extern "C"/ || /^}$/ {
  end_text()
  if (/^#include/) print
  next
}

/^\/\* ====/ {
  end_text()
  gsub(/^\/\* =+ | =+ \*\/$/, "")
  if (group != "") print "/** @} */"
  group = title = $0
  sub(/:.*/, "", group)
  sub(/^[a-z]+: /, "", title)
  if (parts[group]++) group = group parts[group]
  print "/** @defgroup " group " " toupper(substr(title, 1, 1)) substr(title, 2) "\n@{ */"
  next
}

/^\/\*/ {
  end_text()
  in_comment = 1
}

in_comment {
  line = $0
  if (sub(/ ?\*\/$/, "", line)) in_comment = 0
  sub(/^(\/\*| \*) ?/, "", line)
  text = text line "\n"
  next
}

/^$/ {
  if (in_structure || !described) end_text()
  text = described = ""
  print
  next
}

# A prototype, a datum, or a line of a structure, where comments stand behind.
{
  if (text != "" && !in_structure && !in_declaration) print "/**\n" text "*/"
  if (text != "") described = 1
  if (/^(typedef )?struct .*{$/ || /^typedef struct {$/) in_structure = 1
  else if (/^}/) in_structure = 0
  if (in_structure) sub(/\/\* /, "/**< ")
  in_declaration = !in_structure && !/;$/
  print
}

END {
  end_text()
  if (group != "") print "/** @} */"
}
