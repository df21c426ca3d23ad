#!/usr/bin/env bash
# Installs the build into a temporary folder and builds and runs small clients against what was installed; or takes the
# sources into a client's project.
#
# install_test.sh pkg-config|find_package|readme|components|subproject|python BUILD_FOLDER C++_COMPILER C_COMPILER
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
cxx_flags=(-std=c++17 -pedantic -Wall -Wextra -Wconversion -Wshadow -Werror)
packages=(qor_api_trace qor_sim)

# shellcheck disable=SC2046  # flags are words
link() { "$@" $(pkg-config --cflags --libs "${packages[@]}"); }

# Every installed C++ header can be included on its own, in any order.
include_all_headers() {
  local folder=$prefix/include/qor_api_trace
  (cd "$folder" && find . -name '*.h' | sort | sed 's|^\./\(.*\)|#include "\1"|')
  printf '#include "qor_adapter.h"\n#include "qor_api_trace.h"\n#include "qor_sim.h"\n'
}

check_layout() {
  if readelf -d "$libraries/libqor_api_trace.so.2" | grep -E 'RPATH|RUNPATH'; then
    fail "the installed library looks for others in a place of this machine"
  fi
  [ ! -e "$libraries/libqor_api.so.2" ] || fail "the simulator stands in the way of the real hardware library"
  folder_of qor_api_trace.3 >/dev/null
  folder_of Qor_Trace_Start.3 >/dev/null
  if [ -e "$prefix/bin/qor-trace" ]; then
    for file in bash-completion/completions/qor-trace zsh/site-functions/_qor-trace fish/vendor_completions.d/qor-trace.fish; do
      [ -s "$prefix/share/$file" ] || fail "share/$file is not installed"
    done
    env -u LD_LIBRARY_PATH "$prefix/bin/qor-trace" --version
  fi
}

# The adapter of the documentation, as its page builds it, with a hardware library that is named.
use_adapter() {
  local client=$prefix/bin/qor-trace example
  [ -e "$client" ] || return 0
  example=$(folder_of adapter.c)/adapter.c
  # shellcheck disable=SC2046  # flags are words
  "$cc" "${c_flags[@]}" -shared -fPIC $(pkg-config --cflags qor_api_trace qor_sim) "$example" -o adapter.so \
    $(pkg-config --libs qor_sim)
  "$client" --hardware "$(pkg-config --variable=libdir qor_sim)/libqor_api.so.2" --adapter adapter.so \
    record "CAN 1" "LIN 1" --count 20 -o adapted.asc
  [ -s adapted.asc ] || fail "nothing was recorded through the adapter"
}

# configure SOURCE_FOLDER BUILD_FOLDER [OPTION...]
configure() {
  local from=$1 to=$2
  shift 2
  cmake -S "$from" -B "$to" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)" "$@" >configure.log 2>&1 || { cat configure.log; return 1; }
}

# A program is linked without a hardware library and without a word, and says what is missing when it is started.
check_without_hardware() {
  printf '#include <qor_api_trace.h>\nint main(void) { return (int)Qor_Trace_Start(0, 0) & 0; }\n' >alone.c
  packages=(qor_api_trace)
  link "$cc" "${c_flags[@]}" alone.c -o alone 2>link.log || { cat link.log; fail "it takes the hardware library to link"; }
  [ ! -s link.log ] || { cat link.log; fail "the linker has something to say"; }
  if LD_LIBRARY_PATH=$libraries ./alone 2>start.log; then fail "it starts without a hardware library"; fi
  grep -q 'libqor_api\.so\.2: cannot open shared object file' start.log || { cat start.log; fail "it doesn't say what is missing"; }
  [ "$(wc -l <start.log)" = 1 ] || { cat start.log; fail "it says more than one line"; }
}

# Everything belongs to one component, and each works with no others than it needs.
check_components() {
  local component
  for component in runtime development simulator client documentation; do
    cmake --install "$build" --prefix "$work/parts" --component "$component" >"$work/$component.log"
  done
  diff <(cd "$prefix" && find . ! -type d | sort) <(cd "$work/parts" && find . ! -type d | sort) ||
    fail "what the components hold isn't what is installed without them"
  for component in runtime development; do
    cmake --install "$build" --prefix "$work/bare" --component "$component" >"$work/$component.log"
  done
  # shellcheck disable=SC2016  # CMake expands it
  printf 'cmake_minimum_required(VERSION 3.16)\nproject(p C)\nfind_package(qor_api_trace 2 REQUIRED COMPONENTS ${wanted})\n' \
    >CMakeLists.txt
  configure . bare -DCMAKE_PREFIX_PATH="$work/bare"
  for component in simulator hardware; do
    if configure . "bare_$component" -DCMAKE_PREFIX_PATH="$work/bare" -Dwanted="$component" >failed.log; then
      fail "there is no $component, and it is found"
    fi
    grep -q "$component" failed.log || { cat failed.log; fail "what is missing isn't named"; }
  done
  configure . with_hardware -DCMAKE_PREFIX_PATH="$work/bare" -Dwanted=hardware \
    -DQOR_API_LIBRARY="$(folder_of libqor_api.so.2)/libqor_api.so.2"
}

case $way in
  pkg-config)
    check_layout
    use_adapter
    link "$cc" "${c_flags[@]}" "$here/consumer/client.c" -o client_c
    LD_LIBRARY_PATH=$libraries ./client_c
    include_all_headers >headers.cpp
    link "$cxx" "${cxx_flags[@]}" -c headers.cpp -o headers.o
    link "$cxx" -std=c++20 "${cxx_flags[@]:1}" -c headers.cpp -o headers_20.o
    include_all_headers | tac >headers_reversed.cpp
    link "$cxx" "${cxx_flags[@]}" -c headers_reversed.cpp -o headers_reversed.o
    link "$cxx" "${cxx_flags[@]}" "$here/consumer/client.cpp" -o client_cpp
    LD_LIBRARY_PATH=$libraries ./client_cpp
    check_without_hardware
    ;;
  find_package)
    configure "$here/consumer" build -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build build -- --quiet
    build/client_c
    build/client_cpp
    configure "$(folder_of record.c)" examples -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build examples -- --quiet
    examples/example_record "can?duration=1s&speed=max"
    examples/example_drain_example "can?duration=1s&speed=max"
    ;;
  components) check_components ;;
  subproject)
    # FetchContent ends in add_subdirectory: the sources are built once for both.
    configure "$here/consumer" added -DQOR_API_TRACE_FROM=add_subdirectory
    configure "$here/consumer" fetched -DQOR_API_TRACE_FROM=FetchContent
    cmake --build fetched -- --quiet client_c client_cpp
    fetched/client_c
    fetched/client_cpp
    [ ! -e fetched/_deps/qor_api_trace-build/tools ] || fail "a project that takes the library in gets the client too"
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
  python)
    # Debian's Python, as the other tests use it.
    python=/usr/bin/python3
    for module in numpy setuptools wheel pip; do
      "$python" -c "import $module" 2>/dev/null || { echo "skipped: python3-$module isn't installed"; exit 77; }
    done
    mkdir source
    cp -r "$here"/../../python/{qor_trace,pyproject.toml,README.md} source
    "$python" -m pip wheel --quiet --no-build-isolation --no-deps --no-index --wheel-dir . ./source
    "$python" -m pip install --quiet --no-deps --no-index --no-compile --target site ./qor_trace-*.whl
    client() { PYTHONPATH=$work/run/site "$python" -B "$here/consumer/client.py" "$prefix" "$1"; }
    if ldconfig -p | grep -q 'libqor_api.*[.]so[.]2'; then
      echo "a library is installed on this machine: what happens without isn't tried"
    else
      client nothing
      LD_LIBRARY_PATH=$libraries client loader
    fi
    client installed
    ;;
  *) fail "unknown way '$way'" ;;
esac
