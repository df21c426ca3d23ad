# Shared by the scripts of this folder; sourced, not run.
# shellcheck shell=bash

# shellcheck disable=SC2034  # for scripts that take paths as arguments
from=$PWD  # where the caller stands; everything here runs at the top of the tree
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top" || exit
jobs=$(nproc)

# A person who has ccache gets its help; nobody needs it.
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER-ccache}
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
fi

name=script/$(basename "$0")

say() { printf '%s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$name" "$*" >&2
  exit 1
}

# A wrong word on the command line: exit code 2, as for the client program.
wrong_usage() {
  printf '%s: %s; see %s --help\n' "$name" "$*" "$name" >&2
  exit 2
}

# need PROGRAM...: ends with a hint if one is missing.
need() {
  local program
  for program in "$@"; do
    command -v "$program" >/dev/null || fail "$program is not installed; run script/bootstrap"
  done
}

# configure PRESET: quiet unless something goes wrong.
configure() {
  local log=build/$1.configure.log
  mkdir -p build
  cmake --preset "$1" >"$log" 2>&1 || { cat "$log" >&2; return 1; }
}

# build PRESET [TARGET...]: configures it too. Progress only on a terminal.
build() {
  local preset=$1 quiet=(--quiet)
  shift
  if [ -t 1 ]; then quiet=(); fi
  configure "$preset" && cmake --build "build/$preset" --parallel "$jobs" -- "${quiet[@]}" "$@"
}

# sources PATHSPEC...: the tracked files that exist, one a line.
sources() {
  local file
  git ls-files --cached --others --exclude-standard -- "$@" | while IFS= read -r file; do
    if [ -f "$file" ]; then printf '%s\n' "$file"; fi
  done
}
