#!/usr/bin/env bash
# What a machine has of the packages: no hardware library, then the simulator, then a maker's as well, then that alone. Runs in
# the copy of the machine that packages_test.sh makes.
set -euo pipefail
packages=/tmp/packages
cd /tmp/consumer
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
simulator=/usr/lib/$multiarch/qor-sim
c_flags=(-std=c99 -pedantic -Wall -Wextra -Werror)

fail() {
  printf '%s\n' "$*" >&2
  [ ! -s said.log ] || sed 's/^/  | /' said.log >&2
  exit 1
}

step() { printf '  %s\n' "$*"; }

install_packages() {
  local name files=()
  for name in "$@"; do files+=("$packages/${name}"_*.deb); done
  dpkg --install "${files[@]}" >dpkg.log 2>&1 || { cat dpkg.log; fail "not installed: $*"; }
}

# shellcheck disable=SC2046  # flags are words
build_c() { cc "${c_flags[@]}" "$1" -o "$2" $(pkg-config --cflags --libs "${@:3}"); }

# fails_with TEXT COMMAND...: in one line.
fails_with() {
  local text=$1
  shift
  if "$@" >said.log 2>&1; then fail "it works without a hardware library: $*"; fi
  grep -qF "$text" said.log || fail "it doesn't say '$text': $*"
  [ "$(wc -l <said.log)" = 1 ] || fail "it says more than a line: $*"
}

# uses FILE COMMAND...: it is the hardware library that the loader takes for that program.
uses() {
  local file=$1
  shift
  LD_DEBUG=libs "$@" >said.log 2>&1 || fail "it doesn't run: $*"
  sed -nE 's/.*calling init: (.*libqor_api\.so.*)/\1/p' said.log >used.log
  [ "$(xargs realpath <used.log)" = "$(realpath "$file")" ] || { mv used.log said.log; fail "it doesn't use $file: $*"; }
}

step "without a hardware library, programs are built, and say at their start what is missing"
install_packages libqor-api-trace2 libqor-api-trace-dev python3-qor-trace
printf '#include <qor_api_trace.h>\nint main(void) { return (int)Qor_Trace_Start(0, 0) & 0; }\n' >alone.c
build_c alone.c alone qor_api_trace
fails_with "libqor_api.so.2: cannot open shared object file" ./alone
python3 client.py nothing

step "with the simulator, programs that ask for it get it, and no others"
install_packages qor-sim qor-trace qor-api-trace-doc
fails_with "libqor_api.so.2: cannot open shared object file" ./alone
LD_LIBRARY_PATH=$simulator uses "$simulator/libqor_api.so.2" ./alone
build_c client.c client_c qor_api_trace qor_sim
uses "$simulator/libqor_api.so.2" ./client_c
python3 client.py simulator
uses "$simulator/libqor_api.so.2" qor-trace record "can?duration=1s&speed=max" -o drive.mf4
qor-trace check drive.mf4 >said.log || fail "the recording isn't sound"

step "consumers with CMake in C, C++17, and the installed examples"
cmake -S . -B cmake >said.log 2>&1 || fail "not configured"
cmake --build cmake >said.log 2>&1 || fail "not built"
cmake/client_c
cmake/client_cpp
cmake -S "/usr/share/doc/qor_api_trace/examples" -B examples >said.log 2>&1 || fail "the examples aren't configured"
cmake --build examples >said.log 2>&1 || fail "the examples aren't built"
examples/example_record "can?duration=1s&speed=max" >said.log || fail "an example doesn't run"

step "with a maker's library in the loader's folders, programs that don't ask for the simulator get that one"
cc -shared -fPIC -Wl,-soname,libqor_api.so.2 tiny_hardware.c -o /usr/local/lib/libqor_api.so.2
ldconfig
uses /usr/local/lib/libqor_api.so.2 ./alone
uses "$simulator/libqor_api.so.2" ./client_c
uses "$simulator/libqor_api.so.2" qor-trace ports
python3 client.py maker

step "with a maker's library alone, programs that ask for the simulator say that it is missing"
dpkg --purge qor-trace qor-sim >said.log 2>&1 || fail "not removed"
fails_with "undefined symbol: Qor_Sim_" ./client_c
uses /usr/local/lib/libqor_api.so.2 ./alone
python3 client.py maker
rm /usr/local/lib/libqor_api.so.2
ldconfig

step "and the others are removed"
dpkg --purge libqor-api-trace2 libqor-api-trace-dev python3-qor-trace qor-api-trace-doc >said.log 2>&1 ||
  fail "not removed"
if grep -q "not empty" said.log; then fail "something is left in a folder"; fi
