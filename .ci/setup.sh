# SPDX-License-Identifier: Apache-2.0
#
# What ./run, ./test and .ci/run share: finding and installing the packages they need, timed steps,
# and configuring and building. Sourced by bash with -euo pipefail.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc 2>/dev/null || getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
log_dir=$(mktemp -d)
trap 'rm -rf "$log_dir"' EXIT

say() { printf '==> %s\n' "$*"; }
die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# step TITLE COMMAND...: runs a command and says in one line what it does and how long it took. Its
# output is shown when it fails; after a success only the compiler's warnings are.
step() {
  local title=$1 log=$log_dir/step begin end status=0
  shift
  printf '==> %s ... ' "$title"
  begin=$(date +%s%N)
  "$@" >"$log" 2>&1 </dev/null || status=$?
  end=$(date +%s%N)
  printf '%d.%d s%s\n' $(((end - begin) / 1000000000)) $(((end - begin) / 100000000 % 10)) \
    "$( ((status == 0)) || echo ', failed')"
  if ((status != 0)); then
    cat "$log" >&2
    return "$status"
  fi
  grep -A 5 'warning:' "$log" >&2 || true
}

have() { command -v "$1" >/dev/null 2>&1; }
have_compiler() { if [ -n "${CXX:-}" ]; then have "${CXX%% *}"; else have c++ || have g++; fi; }
have_header() { have_compiler && echo "#include <$1>" | ${CXX:-c++} -E -x c++ - >/dev/null 2>&1; }

# need TEST... PACKAGE: remembers a package to be installed when the test fails.
missing=()
need() {
  local package=${!#}
  "${@:1:$#-1}" || [[ " ${missing[*]-} " == *" $package "* ]] || missing+=("$package")
}

need_build_packages() {
  need have_compiler g++
  need have cmake cmake
  have ninja || need have make make
}

need_test_packages() {
  need have_header gtest/gtest.h libgtest-dev
  need have_header gmock/gmock.h libgmock-dev
}

# Installs what the needs found missing when this user may, else says what to install.
install_missing() {
  ((${#missing[@]} > 0)) || return 0
  local sudo=() install="apt-get install -y --no-install-recommends ${missing[*]}"
  if ! have apt-get; then
    die "Please install these packages, or what this system has in their place: ${missing[*]}"
  fi
  if [ "$(id -u)" != 0 ]; then
    have sudo || die "Packages are missing. Please run as root:
  apt-get update && $install"
    sudo -n true 2>/dev/null || die "Packages are missing. Please run:
  sudo apt-get update && sudo $install"
    sudo=(sudo)
  fi
  # The package lists of a fresh machine are empty, and old ones name versions that are gone.
  step "Updating the package lists" \
    "${sudo[@]}" apt-get -o APT::Update::Error-Mode=any update ||
    say "Going on with the package lists from before"
  step "Installing ${missing[*]}" \
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}" ||
    die "The packages could not be installed. Please see to the network, and run as root:
  apt-get update && $install"
  missing=()
}

# configure_and_build FOLDER BUILD_TYPE TITLE CMAKE_ARGUMENT...
configure_and_build() {
  local folder=$1 type=$2 title=$3
  shift 3
  # A folder that was configured for another place (a copied tree) is configured anew.
  if [ -f "$folder/CMakeCache.txt" ] &&
    ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
    rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles"
  fi
  local generator=()
  if [ ! -f "$folder/CMakeCache.txt" ] && have ninja; then generator=(-G Ninja); fi
  step "Configuring $title" cmake -S "$root" -B "$folder" ${generator[@]+"${generator[@]}"} \
    "-DCMAKE_BUILD_TYPE=$type" "$@"
  step "Building $title with $jobs jobs" cmake --build "$folder" --parallel "$jobs"
}

# vekdiff dumps into a fixed folder. Makes it where this user may; left_out is what CTest leaves out
# where the folder is missing or belongs to another user.
left_out=()
make_dump_folder() {
  local folder=/disk1/tmp sudo=()
  if [ -w "$folder" ]; then
    [ -O "$folder" ] || [ "$(id -u)" = 0 ] || {
      say "A test of vekdiff is left out: it moves $folder aside, which belongs to another user"
      left_out=(--exclude-regex '^VekdiffTest[.]missingFolderIsReported')
    }
    return 0
  fi
  if [ "$(id -u)" != 0 ]; then
    if ! { have sudo && sudo -n true 2>/dev/null; }; then
      say "The tests of vekdiff are left out: they need a folder, which root makes with
    install -d -m 1777 -o $(id -un) /disk1 $folder"
      left_out=(--exclude-regex '^Vekdiff')
      return 0
    fi
    sudo=(sudo)
  fi
  say "Making $folder, the folder that vekdiff writes to"
  ${sudo[@]+"${sudo[@]}"} install -d -m 1777 -o "$(id -u)" /disk1 "$folder"
}
