# Set-up shared by the scripts of this repository; sourced by them, with `root` set to its folder.
#
# Everything that prevents the work from starting ends the script with exit code 10.

say() { printf '== %s\n' "$*"; }

# end_with CODE TEXT: prints the reason and ends the script.
end_with() {
  printf '%s: %s\n' "${0##*/}" "$2" >&2
  exit "$1"
}

# fail TEXT: something prevents the work from starting.
fail() { end_with 10 "$1"; }

# refuse TEXT: a check failed.
refuse() { end_with 1 "$1"; }

# listed_packages SECTION...: the packages of these sections of packages.txt.
listed_packages() {
  local line section='' wanted=" $* "
  while read -r line; do
    case $line in
      '# '*) section=${line#\# } ;;
      '') ;;
      *) if [[ $wanted == *" $section "* ]]; then echo "$line"; fi ;;
    esac
  done <"$root/packages.txt"
}

# installed_packages PACKAGE...: those that are installed.
installed_packages() {
  dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null | sed -n 's/^installed //p'
}

# missing_packages PACKAGE...: those that are not.
missing_packages() { printf '%s\n' "$@" | grep -vxF -f <(installed_packages "$@") || true; }

as_root() {
  if [[ $(id -u) -eq 0 ]]; then
    "$@"
  else
    sudo "$@"
  fi
}

apt_install() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install --yes --quiet --no-install-recommends "$@"
}

# install_packages SECTION...: installs the missing packages of these sections; downloads nothing when none is missing.
install_packages() {
  local packages missing
  mapfile -t packages < <(listed_packages "$@")
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
    fail "not a Debian system; install what Debian calls ${packages[*]}, then use the presets of CMake."
  mapfile -t missing < <(missing_packages "${packages[@]}")
  [[ ${#missing[@]} -gt 0 ]] || return 0

  say "Installing the missing Debian packages: ${missing[*]}"
  [[ $(id -u) -eq 0 ]] || command -v sudo >/dev/null ||
    fail "installing needs root or sudo. As root: apt-get install ${missing[*]}"
  # Package lists may be missing, as in container images, or out of date.
  if ! apt-get install --simulate "${missing[@]}" >/dev/null 2>&1 || ! apt_install "${missing[@]}"; then
    as_root apt-get update --quiet || fail "the package lists cannot be fetched. Is this machine online?"
    apt_install "${missing[@]}" || fail "installing failed, see above; Debian 12 has all of: ${missing[*]}"
  fi
}

# quietly COMMAND...: shows the output only when the command fails.
quietly() {
  local output
  if ! output=$("$@" 2>&1); then
    printf '%s\n' "$output" >&2
    return 1
  fi
}

# use_compiler_cache: has CMake compile through ccache where that is installed. Precompiled headers need the sloppiness;
# the headers of this repository use neither __DATE__ nor __TIME__.
use_compiler_cache() {
  command -v ccache >/dev/null || return 0
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  # The presets release and package compile the same, in two folders of the repository.
  export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$root} CCACHE_NOHASHDIR=1
  export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros,include_file_mtime,include_file_ctime}
}

# configure PRESET: configures build/PRESET.
configure() {
  local folder=$root/build/$1 fresh=()
  if [[ -e $folder/CMakeCache.txt ]] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
    fresh=(--fresh)  # the clone was moved
  fi
  use_compiler_cache
  [[ -e $folder/CMakeCache.txt && ${#fresh[@]} -eq 0 ]] || say "Building (preset $1) in $folder"
  quietly cmake -S "$root" --preset "$1" "${fresh[@]}" || fail "configuring failed, see above."
}

# build PRESET [TARGET...]: configures and builds build/PRESET; prints nothing when there is nothing to do.
build() {
  local folder=$root/build/$1 targets=("${@:2}")
  configure "$1"
  cmake --build "$folder" --target "${targets[@]:-all}" -- --quiet | sed '/^ninja: no work to do\.$/d' ||
    fail "building failed, see above."
}
