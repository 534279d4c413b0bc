# shellcheck shell=bash
# Read in by scripts that keep tables in documents: each stands between the lines
# "<!-- NAME begin -->" and "<!-- NAME end -->".

# has_table DOCUMENT NAME: there is a place for it.
has_table() {
  grep -qxF "<!-- $2 begin -->" "$1"
}

# table_in DOCUMENT NAME: prints what stands there.
table_in() {
  awk -v name="$2" '
    $0 == "<!-- " name " end -->" { inside = 0 }
    inside { print }
    $0 == "<!-- " name " begin -->" { inside = 1 }
  ' "$1"
}

# with_table DOCUMENT NAME TEXT: prints the document with that text there.
with_table() {
  TABLE=$3 awk -v name="$2" '
    $0 == "<!-- " name " end -->" { inside = 0 }
    !inside { print }
    $0 == "<!-- " name " begin -->" { print ENVIRON["TABLE"]; inside = 1 }
  ' "$1"
}
