# shellcheck shell=bash
# Read in by scripts that make a Debian system in a folder and run commands in it: as
# root, or as a user who may have user namespaces. Nothing is mounted outside of what
# within() runs. The system, and the processes in it, end with the script, whose folder
# of the project is $root.

: "${root:?}"
system=
child=
# What the mirror calls the suite: testing, for example, also if its codename was given.
suite_class=

fail() {
  echo "${0##*/}: $1" >&2
  exit 1
}

# What runs there has mounts and processes of its own, which end with their first one.
namespaces=(unshare --mount --pid --fork --kill-child=KILL)
[[ $(id -u) -eq 0 ]] || namespaces+=(--user --map-root-user --map-auto)

# Says in one line what this machine lacks, before anything is made.
require_namespaces() {
  local reason
  reason=$("${namespaces[@]}" mount -t proc proc /proc 2>&1) ||
    fail "$(id -un) can have no namespaces here ($(paste -sd ' ' <<<"$reason")); run it as root, or install uidmap and give $(id -un) a range in /etc/subuid and /etc/subgid"
}

# Of other architectures, this machine runs programs with an emulator only.
is_native() {
  [[ $1 == "$(dpkg --print-architecture)" ]]
}

require_emulator() {
  local emulator=qemu-$1
  case $1 in
    armel | armhf) emulator=qemu-arm ;;
    arm64) emulator=qemu-aarch64 ;;
    amd64) emulator=qemu-x86_64 ;;
  esac
  grep -qsx enabled "/proc/sys/fs/binfmt_misc/$emulator" ||
    fail "this machine runs no programs for $1; install qemu-user-static and binfmt-support"
}

# require_suite URI SUITE ARCHITECTURE: the mirror has that.
require_suite() {
  local folder answer status=0
  folder=$(mktemp -d)
  answer=$(/usr/lib/apt/apt-helper download-file "$1/dists/$2/Release" "$folder/Release" 2>&1) &&
    answer=$(sed -n 's/^Architectures: //p' "$folder/Release") &&
    suite_class=$(sed -n 's/^Suite: //p' "$folder/Release") || status=$?
  rm -rf "$folder"
  if grep -qE ' 404 |File not found' <<<"$answer"; then
    fail "$1 has no suite $2; name one such as bookworm, trixie or testing"
  elif [[ $status -ne 0 ]]; then
    fail "$1 cannot be reached ($(grep -m 1 '^E: ' <<<"$answer")); see that there is a network"
  elif [[ " $answer " != *" $3 "* ]]; then
    fail "$2 has no architecture $3; there are: $answer"
  fi
}

# make_system FOLDER SUITE ARCHITECTURE [MMDEBSTRAP-OPTION...]: until the script ends, no other
# one can make a system in that folder.
make_system() {
  local folder=$1 suite=$2 architecture=$3 uri log lock
  shift 3
  require_namespaces
  uri=$("$root/scripts/debian-mirror" "$suite")
  require_suite "${uri%/}" "$suite" "$architecture"
  is_native "$architecture" || require_emulator "$architecture"
  # A mirror's copy of testing may have expired.
  [[ $suite_class != testing ]] || set -- --aptopt='Acquire::Check-Valid-Until "false"' "$@"
  mkdir -p "$(dirname "$folder")" && exec {lock}>"$folder.lock" || fail "cannot write to $folder"
  flock --nonblock "$lock" || fail "another run is at work in $folder; wait for its end"
  echo "${0##*/}: making a Debian system of $suite for $architecture, which takes a minute" >&2
  system=$folder
  trap remove_system EXIT
  trap 'exit 143' HUP INT TERM
  "${namespaces[@]}" rm -rf "$system"
  mkdir -p "$system" || fail "cannot write to $system"
  log=$system.log
  # Devices are this machine's.
  mmdebstrap --variant=apt --architectures="$architecture" "$@" "$suite" - "$uri" 2>"$log" </dev/null |
    "${namespaces[@]}" tar --extract --directory "$system" --exclude './dev/*' ||
    fail "mmdebstrap could not make a system of $suite from $uri: $(grep -m 1 '^E: ' "$log"); $log has all of it"
  rm "$log"
}

remove_system() {
  {
    [[ -z $child ]] || kill -KILL "$child" || true
    wait
  } 2>/dev/null
  "${namespaces[@]}" rm -rf --one-file-system "$system"
}

# run COMMAND...: waits in a way that a signal can end.
run() {
  local status=0
  "$@" &
  child=$!
  wait "$child" || status=$?
  child=
  return "$status"
}

# within COMMAND...: runs it in the system, as root.
within() {
  # shellcheck disable=SC2016 # the inner shell's
  run "${namespaces[@]}" bash -euc '
    mount --rbind /dev "$0/dev"
    mount -t proc proc "$0/proc"
    mount -t tmpfs tmpfs "$0/run"
    exec /usr/sbin/chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 HOME=/root "$@"
  ' "$system" "$@"
}
