#!/usr/bin/env bash
# Header, registry and library that disagree must fail the build: plants each disagreement in a copy of the sources.
# usage: mismatch_test.sh <source directory> <C compiler> <C++ compiler>
set -euo pipefail
source=$1 cc=$2 cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# name, expected text, command that plants the fault in the copy
attempt() {
  local name=$1 expected=$2
  shift 2
  rm -rf "$work/copy"
  mkdir "$work/copy"
  cp -r "$source"/{CMakeLists.txt,cmake,include,src,functions,verify,analysis} "$work/copy"
  (cd "$work/copy" && "$@")
  local passed=no
  if cmake -S "$work/copy" -B "$work/copy/build" -DBUILD_TESTING=OFF -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_CXX_FLAGS_RELEASE=-O0 >"$work/log" 2>&1 && cmake --build "$work/copy/build" -j2 --target kxcalc-portable >>"$work/log" 2>&1; then
    passed=yes
  fi
  if [ -z "$expected" ]; then
    [ "$passed" = yes ] || { echo "$name: does not build"; cat "$work/log"; exit 1; }
  else
    [ "$passed" = no ] || { echo "$name: builds"; exit 1; }
    tr -s "\n " " " <"$work/log" | grep -q "$expected" || { echo "$name: fails without saying '$expected'"; cat "$work/log"; exit 1; }
  fi
}

add_row() { echo 'KXCALC_EXPORT(frame, kxcalcNowhere)' >>functions/exports.inc; }
drop_row() { sed -i '/kxcalcGetVersion/d' functions/exports.inc; }
swap_rows() { sed -i '/kxcalcGetVersion/{h;d};/kxcalcGetMinMax_int32_t/{G}' functions/exports.inc; }
drop_definition() { rm src/frame/version.cpp; }
add_definition() { echo 'extern "C" void kxcalcStray() {}' >>src/frame/version.cpp; }

attempt "unchanged sources" "" true
attempt "a row without a declaration" "Only in the registry: .kxcalcNowhere" add_row
attempt "a declaration without a row" "only in the header: .kxcalcGetVersion" drop_row
attempt "rows in another order" "Only in the registry: ..; only in the header: ..; if both are empty, the order differs" swap_rows
attempt "an export without a definition" "kxcalcGetVersion" drop_definition
attempt "a definition without a declaration" "kxcalcStray" add_definition
