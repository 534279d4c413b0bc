# shellcheck shell=bash
# What the checks of a built library have in common.

# shellcheck disable=SC2034 # for those checks
abi=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

fail() {
  echo "${0##*/}: $1" >&2
  exit 1
}

# architecture LIBRARY: as Debian names it, and as the files that belong to it end.
architecture() {
  local header
  header=$(LC_ALL=C readelf --file-header "$1") || fail "cannot read $1"
  case $header in
    *"Machine: "*X86-64*"Flags: "*) echo amd64 ;;
    *"Machine: "*ARM*"Flags: "*hard-float*) echo armhf ;;
    *) fail "$1 is for neither amd64 nor armhf, which are all whose ABI is kept" ;;
  esac
}

# sdbus_major LIBRARY: the major version of sdbus-c++ that it was built with.
sdbus_major() {
  local major
  major=$(LC_ALL=C readelf --dynamic "$1" |
    sed -n 's/.*(NEEDED).*\[libsdbus-c++\.so\.\([0-9]*\)\]$/\1/p') || fail "cannot read $1"
  [[ $major =~ ^[12]$ ]] ||
    fail "$1 is to need either libsdbus-c++.so.1 or libsdbus-c++.so.2, but needs: ${major:-neither}"
  echo "$major"
}
