# shellcheck shell=bash
# Read in by the scripts that check one thing after the other and go on after a
# failure: check() and its like print a line for each, summary() ends.

checks=0
failures=0

# passed SENTENCE
passed() {
  checks=$((checks + 1))
  echo "ok      $1"
}

# failed SENTENCE WHAT-WAS-SEEN
failed() {
  checks=$((checks + 1))
  failures=$((failures + 1))
  echo "FAILED  $1"
  # shellcheck disable=SC2001 # of every line
  sed 's/^/        /' <<<"$2"
}

# check SENTENCE COMMAND...: the command succeeds.
check() {
  local sentence=$1 output status=0
  shift
  output=$("$@" 2>&1 </dev/null) || status=$?
  if [[ $status -eq 0 ]]; then
    passed "$sentence"
  else
    failed "$sentence" "status $status of: $*"$'\n'"$output"
  fi
}

# check_fails SENTENCE PATTERN COMMAND...: the command fails, and says one line, in
# which the extended regular expression is found. Its last output is in $line.
check_fails() {
  local sentence=$1 pattern=$2 status=0
  shift 2
  line=$("$@" 2>&1 </dev/null) || status=$?
  if [[ $status -ne 0 && $line != *$'\n'* && $line =~ $pattern ]]; then
    passed "$sentence"
    echo "        $line"
  else
    failed "$sentence" "status $status of: $*"$'\n'"expected: $pattern"$'\n'"$line"
  fi
}

# check_text SENTENCE EXPECTED COMMAND...: the command succeeds and prints exactly that.
check_text() {
  local sentence=$1 expected=$2 output status=0
  shift 2
  output=$("$@" 2>&1 </dev/null) || status=$?
  if [[ $status -eq 0 && $output == "$expected" ]]; then
    passed "$sentence"
  else
    failed "$sentence" "status $status of: $*"$'\n'"expected: $expected"$'\n'"was: $output"
  fi
}

# summary WHAT: how it went; the script's last command.
summary() {
  echo "$1: $((checks - failures)) of $checks checks passed"
  [[ $checks -gt 0 && $failures -eq 0 ]]
}
