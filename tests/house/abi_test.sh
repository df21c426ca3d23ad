#!/usr/bin/env bash
# script/abi notices what changes the binary interface and says what that means. The record is what is edited: a function that it
# lacks is one that was added to the library.
#
# abi_test.sh BUILD_FOLDER
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
now=$work/now.abi  # what is built, whatever is on record in the tree
record=$work/record.abi

fail() {
  printf '%s\n' "$*" >&2
  [ ! -s "$work/said" ] || sed 's/^/  | /' "$work/said" >&2
  exit 1
}

abi() { "$top/script/abi" "$@" --record "$record" "$build" >"$work/said" 2>&1; }

# says TEXT...: what script/abi said last.
says() {
  local text
  for text in "$@"; do
    grep -qF -- "$text" "$work/said" || fail "it doesn't say '$text'"
  done
}

# edit SED_SCRIPT...: each changes the record, which becomes that of another library.
edit() {
  local script
  cp "$now" "$record"
  for script in "$@"; do
    sed -E "$script" "$record" >"$work/edited"
    ! cmp -s "$record" "$work/edited" || fail "the record has nothing to edit: $script"
    mv "$work/edited" "$record"
  done
}

abi --accept || fail "a first record isn't written"
mv "$record" "$now"
edit
abi || fail "what was just recorded has changed"

edit "/<elf-symbol name='Qor_Trace_Stop' /d; /<function-decl name='Qor_Trace_Stop' /,/<\/function-decl>/d"
if abi; then fail "a function that was added isn't noticed"; fi
says "1 Added function" "Qor_Trace_Stop" "additions" "new minor version" "script/abi --accept"
abi --accept || fail "an addition isn't accepted"
cmp "$record" "$now"

# A function that was renamed, one that got a parameter, a structure of the C interface and a class of C++ that grew.
edit "s/'Qor_Trace_Stop'/'Qor_Trace_Halt'/g" \
  "/<function-decl name='Qor_Trace_Delete' /,/<\/function-decl>/ {/<parameter/d}" \
  "/<class-decl name='Qor_Trace_AddChannel_Response_t' /,/<\/class-decl>/ {s/size-in-bits='[0-9]+'/size-in-bits='8'/; /<data-member/,/<\/data-member>/d}" \
  "s/(<class-decl name='MdfFile' size-in-bits=')[0-9]+/\18000/"
if abi --accept; then fail "an incompatible change was accepted like any other"; fi
says "1 Removed function" "Qor_Trace_Halt" "1 Added function" "Qor_Trace_Stop" \
  "Qor_Trace_Delete" "parameter 1" "was added" \
  "Qor_Trace_AddChannel_Response_t" "type size changed from 8" "data member insertion" \
  "MdfFile" "type size changed from 8000" \
  "incompatible" "new major version and SONAME" "isn't accepted without --break"
abi --accept --break || fail "it isn't accepted with --break"
cmp "$record" "$now"
