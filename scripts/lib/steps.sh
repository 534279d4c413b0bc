# shellcheck shell=bash
# Read in by a script that runs steps, side by side or one after the other, and goes on
# after one that has failed. What a step prints goes into a file in the folder $logs.
# The steps end with the script, also when a signal ends that.

: "${logs:?}"
times=$logs/times
groups=()

end_groups() {
  local group
  for group in "${groups[@]}"; do
    kill -TERM -- "-$group" 2>/dev/null || true
  done
  wait
}
trap end_groups EXIT
trap 'exit 130' INT
trap 'exit 143' HUP TERM

# note STATUS SECONDS SENTENCE
note() {
  echo "$*" >>"$times"
}

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
  note "$status" $((SECONDS - start)) "$sentence"
}

# side_by_side FUNCTION...: runs these functions, each of which runs steps, at the same
# time; one that does not run all of its steps is noted as a step that has failed.
side_by_side() {
  local name group start=$SECONDS
  local -A names=()
  for name; do
    # Process groups of their own, which get signals as if nothing were in the background.
    set -m
    "$name" &
    set +m
    names[$!]=$name
    groups+=("$!")
  done
  for group in "${!names[@]}"; do
    wait "$group" || note $? $((SECONDS - start)) "All steps of ${names[$group]} run"
  done
  groups=()
}

# print_times: a line for each step that has ended.
print_times() {
  awk '{ status = $1; seconds = $2; sub(/^[0-9]+ [0-9]+ /, ""); printf "%6d s  %s%s\n", seconds, status ? "FAILED: " : "", $0 }' "$times"
}

all_passed() {
  [[ -s $times ]] && ! grep -qv '^0 ' "$times"
}
