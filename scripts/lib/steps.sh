# shellcheck shell=bash
# Read in by a script that runs steps, side by side or one after the other, and goes on
# after one that has failed. What a step prints goes into a file in the folder $logs.

: "${logs:?}"
times=$logs/times

# step SENTENCE COMMAND...: runs the command in a shell of its own, and notes how long it took.
step() {
  local sentence=$1 start=$SECONDS log status=0
  shift
  log=$(mktemp "$logs/step-XXXXXX")
  "$@" >"$log" 2>&1 </dev/null &
  wait $! || status=$?
  (
    flock 9
    echo "== $sentence ($((SECONDS - start)) s)"
    if [[ $status -eq 0 ]]; then
      grep -aE 'tests passed|^lines: |executions|^test-on: |is not what it was' "$log" || true
    else
      # Without a line for each test that has passed.
      grep -avE '^ +Start +[0-9]|[.][.] +Passed +[0-9]' "$log" || true
      echo "== failed with status $status: $sentence"
    fi
  ) 9>"$logs/lock"
  echo "$status $((SECONDS - start)) $sentence" >>"$times"
}

# print_times: a line for each step that has ended.
print_times() {
  awk '{ status = $1; seconds = $2; sub(/^[0-9]+ [0-9]+ /, ""); printf "%6d s  %s%s\n", seconds, status ? "FAILED: " : "", $0 }' "$times"
}

all_passed() {
  ! grep -qv '^0 ' "$times"
}
