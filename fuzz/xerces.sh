# An instrumented Xerces-C for the fuzzers; sourced by the scripts of this folder, after cmake/setup.sh.
#
# Debian's binary is not instrumented: coverage and sanitizers would end at this project's own code. Therefore Debian's
# source of the installed version is built once and kept in build/xerces-PRESET.

# Two checks of UndefinedBehaviorSanitizer are off: Xerces-C copies zero bytes from a null pointer (nonnull-attribute) and
# reads UTF-16 at odd addresses (alignment): neither does harm on the processors that Debian's clang fuzzes on, and each
# would end the program within seconds. All other checks are on and end it, as for this project's own code.
fuzzing_flags=(-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize=nonnull-attribute,alignment
  -fno-sanitize-recover=all)

# debian_source_lines: a line of sources.list for each Debian archive from which this machine has packages.
debian_source_lines() {
  apt-get indextargets --format 'deb-src $(SITE) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
    sort -u
}

# fetch_xerces VERSION FOLDER: unpacks Debian's source of that version in FOLDER/source. Apt gets a configuration of its
# own for this: the machine's stays as it is.
fetch_xerces() {
  local version=$1 folder=$2 apt=$2/apt
  mkdir -p "$apt/lists/partial" "$apt/archives/partial"
  if [[ -z $(debian_source_lines) ]]; then
    as_root apt-get update --quiet || fail "the package lists cannot be fetched. Is this machine online?"
  fi
  debian_source_lines >"$apt/sources.list"
  local options=(--quiet -o "Dir::Etc::SourceList=$apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache=$apt" -o APT::Sandbox::User=)
  (
    cd "$apt"
    quietly apt-get "${options[@]}" update &&
      quietly apt-get "${options[@]}" source --download-only "xerces-c=$version" &&
      quietly dpkg-source --extract xerces-c_*.dsc "$folder/source"
  ) || fail "the source of xerces-c $version cannot be fetched. Is this machine online, and libxerces-c-dev up to date?"
  rm -rf "$apt"
}

# build_xerces FOLDER FLAGS: builds FOLDER/source, the library only, and installs it in FOLDER.
build_xerces() {
  local folder=$1 flags=$2
  # No network accessor: the parse target has one of its own, and libcurl is not needed.
  quietly cmake -S "$folder/source" -B "$folder/build" -G Ninja -D CMAKE_C_COMPILER=clang \
    -D CMAKE_CXX_COMPILER=clang++ -D CMAKE_BUILD_TYPE=None -D CMAKE_CXX_FLAGS="$flags -w" \
    -D CMAKE_INSTALL_PREFIX="$folder" -D CMAKE_INSTALL_LIBDIR=lib \
    -D network=OFF -D transcoder=icu -D message-loader=inmemory || fail "configuring Xerces-C failed, see above."
  quietly cmake --build "$folder/build" --target xerces-c || fail "building Xerces-C failed, see above."
  mkdir -p "$folder/lib"  # its installation makes a link in there before the folder
  quietly cmake --install "$folder/build/src" || fail "installing Xerces-C in $folder failed, see above."
}

# use_xerces PRESET FLAG...: has the preset built with a Xerces-C that has these flags, in build/xerces-PRESET.
use_xerces() {
  local preset=$1 flags="-O1 -g1 -fno-omit-frame-pointer ${*:2}" folder=$root/build/xerces-$1
  local version cache=$root/build/$preset/CMakeCache.txt
  version=$(dpkg-query --show --showformat='${source:Version}' libxerces-c-dev)
  if [[ ! -e $folder/built || $(<"$folder/built") != "$version $flags" ]]; then
    say "Building Debian's Xerces-C $version with instrumentation in $folder, once"
    rm -rf "$folder"
    fetch_xerces "$version" "$folder"
    use_compiler_cache
    build_xerces "$folder" "$flags"
    printf '%s %s\n' "$version" "$flags" >"$folder/built"
  fi
  export CMAKE_PREFIX_PATH=$folder
  if [[ -e $cache ]] && ! grep -qF "XercesC_LIBRARY_RELEASE:FILEPATH=$folder/" "$cache"; then
    rm "$cache"  # made with another Xerces-C
  fi
}
