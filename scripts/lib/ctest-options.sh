# shellcheck shell=bash
# Read in by scripts that hand arguments on to ctest, which ignores those that it does
# not know, and may not be installed yet.

ctest_options_with_value=(
  -C --build-config -E --exclude-regex -FA --fixture-exclude-any -FC --fixture-exclude-cleanup
  -FS --fixture-exclude-setup -I --tests-information -j --parallel -L --label-regex
  -LE --label-exclude --max-width -O --output-log --output-junit -R --tests-regex --repeat
  --resource-spec-file --stop-time --test-load --test-output-size-failed
  --test-output-size-passed --test-output-truncation --timeout
)
ctest_options=(
  -F -N --show-only --output-on-failure --print-labels --progress -Q --quiet --rerun-failed
  --schedule-random --stop-on-failure -U --union -V --verbose -VV --extra-verbose
)

# check_ctest_options ARGUMENT...: ends the script with one line if it does not take one,
# or with its usage if that is asked for.
check_ctest_options() {
  local name=${0##*/}
  if [[ " $* " == *" --help "* ]]; then
    sed -n '2,/^[^#]/ s/^# \?//p' "$0"
    exit 0
  fi
  while [[ $# -gt 0 ]]; do
    if [[ " ${ctest_options_with_value[*]} " == *" $1 "* ]]; then
      [[ $# -gt 1 ]] || {
        echo "$name: $1 needs a value" >&2
        exit 2
      }
      shift
    elif [[ " ${ctest_options[*]} " != *" $1 "* && ! $1 =~ ^(-j[0-9]+|--show-only=.*|--no-tests=.*)$ ]]; then
      echo "$name: there is no option $1; -R NAME runs the tests of that name, and most other options of ctest are taken, too" >&2
      exit 2
    fi
    shift
  done
}
