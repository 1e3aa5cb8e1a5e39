# Sourced by tools/get-windows-packages and tools/get-aarch64-packages, from the repository's root.
# What they share: packages that Debian offers as source, built for another system into a folder.
#
# The sourcing script sets these first:
#
#   work       folder of this system: logs, sources, and the prefix below it
#   toolchain  toolchain file of CMake's for the system
prefix=$work/prefix
sources=$work/sources
mkdir -p "$prefix/include" "$prefix/lib" "$prefix/share/cmake"
say() { echo "$(basename "$0"): $*" >&2; }

# once NAME COMMAND FILE...: runs the command, unless this version of it has succeeded before. The
# version includes the contents of the files.
once() {
  local name=$1 command=$2 stamp=$prefix/$1.made version
  shift 2
  version=$({ declare -f "$command"; cat tools/windows/fetch-sources "$@"; } | sha256sum)
  [[ $(cat "$stamp" 2>/dev/null) != "$version" ]] || return 0
  say "building $name (log: $work/$name.log)"
  # In a subshell, which exits at the first command that fails.
  (set -e; "$command") >"$work/$name.log" 2>&1 &
  if ! wait $!; then
    tail -n 30 "$work/$name.log" >&2
    say "$name could not be built"
    exit 1
  fi
  echo "$version" >"$stamp"
}

# cross SOURCE NAME OPTION...: builds and installs a CMake project.
cross() {
  local source=$1 build=$work/$2
  shift 2
  rm -rf "$build"
  cmake -S "$source" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$PWD/$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR="$prefix/lib" "$@"
  cmake --build "$build" --parallel "$(nproc)"
  cmake --install "$build"
  rm -rf "$build"
}

makeGoogletest() {
  cross /usr/src/googletest googletest -DBUILD_GMOCK=OFF
}
