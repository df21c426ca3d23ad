#!/usr/bin/env bash
# Installs the build into a temporary folder and builds and runs small clients against what was installed.
#
# install_test.sh pkg-config|find_package|readme BUILD_FOLDER C++_COMPILER C_COMPILER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
way=$1
build=$2
cxx=$3
cc=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
# An installation can be moved as a whole.
prefix=$work/moved
mv "$work/first" "$prefix"
mkdir "$work/run"
cd "$work/run"

fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

# The folder below the prefix that holds a file, whatever the machine calls its library folder.
folder_of() { dirname "$(find "$prefix" -name "$1" -print -quit | grep . || fail "$1 is not installed")"; }

libraries=$(folder_of libqor_api_trace.so.2)
PKG_CONFIG_PATH=$(folder_of qor_api_trace.pc)
export PKG_CONFIG_PATH
c_flags=(-std=c99 -pedantic -Wall -Wextra -Werror)
cxx_flags=(-std=c++20 -Wall -Wextra -Werror)
packages=(qor_api_trace qor_sim)

# shellcheck disable=SC2046  # flags are words
link() { "$@" $(pkg-config --cflags --libs "${packages[@]}"); }

# Every installed C++ header can be included on its own, in any order.
include_all_headers() {
  local folder=$prefix/include/qor_api_trace
  (cd "$folder" && find . -name '*.h' | sort | sed 's|^\./\(.*\)|#include "\1"|')
  printf '#include "qor_api_trace.h"\n#include "qor_sim.h"\n'
}

check_layout() {
  if readelf -d "$libraries/libqor_api_trace.so.2" | grep -E 'RPATH|RUNPATH'; then
    fail "the installed library looks for others in a place of this machine"
  fi
  [ ! -e "$libraries/libqor_api.so.2" ] || fail "the simulator stands in the way of the real hardware library"
  if [ -e "$prefix/bin/qor-trace" ]; then
    env -u LD_LIBRARY_PATH "$prefix/bin/qor-trace" --version
  fi
}

case $way in
  pkg-config)
    check_layout
    link "$cc" "${c_flags[@]}" "$here/consumer/client.c" -o client_c
    LD_LIBRARY_PATH=$libraries ./client_c
    include_all_headers >headers.cpp
    link "$cxx" "${cxx_flags[@]}" -c headers.cpp -o headers.o
    include_all_headers | tac >headers_reversed.cpp
    link "$cxx" "${cxx_flags[@]}" -c headers_reversed.cpp -o headers_reversed.o
    link "$cxx" "${cxx_flags[@]}" "$here/consumer/client.cpp" -o client_cpp
    LD_LIBRARY_PATH=$libraries ./client_cpp
    ;;
  find_package)
    cmake -S "$here/consumer" -B build -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >configure.log || { cat configure.log; exit 1; }
    cmake --build build -- --quiet
    build/client_c
    build/client_cpp
    ;;
  readme)
    # The first C sample of the README, as it stands there.
    awk '/^```c$/ {inside = 1; next} /^```/ {if (inside) exit} inside' "$here/../../README.md" >readme.c
    [ -s readme.c ] || fail "README.md has no C sample"
    link "$cc" "${c_flags[@]}" readme.c -o readme
    LD_LIBRARY_PATH=$libraries ./readme
    grep -q ' CANFD 1 [RT]x ' trace.asc || fail "the README's client wrote no CAN frame into trace.asc"
    [ "$(tail -n 1 trace.asc)" = "End Triggerblock" ] || fail "the README's client left trace.asc unfinished"
    ;;
  *) fail "unknown way '$way'" ;;
esac
