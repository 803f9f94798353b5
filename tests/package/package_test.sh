#!/usr/bin/env bash
# Installs into a temporary prefix, moves it, builds the README's example as C99 through pkg-config (for every library) and a
# C++20 consumer through CMake, and compares what they print. Moving the prefix shows that nothing of the build tree is needed.
# usage: package_test.sh <build directory> <C compiler> <C++ compiler> <library directory> <libraries...>
set -euo pipefail
build=$1 cc=$2 cxx=$3 libdir=$4
shift 4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"
export LD_LIBRARY_PATH=$work/prefix/$libdir
export PKG_CONFIG_PATH=$work/prefix/$libdir/pkgconfig

expect() {
  [ "$2" = "$3" ] || { printf '%s prints\n  %s\ninstead of\n  %s\n' "$1" "$2" "$3" >&2; exit 1; }
}

sed -n '/^```c$/,/^```$/p' "$here/../../README.md" | sed '/^```/d' >"$work/example.c"
test "$(wc -l <"$work/example.c")" -ge 10

for library in "$@"; do
  # shellcheck disable=SC2046
  "$cc" -std=c99 -pedantic -Wall -Wextra -Werror "$work/example.c" -o "$work/example" $(pkg-config --cflags --libs "$library") -lm
  expect "C99 with $library" "$("$work/example")" "min -1 V, max 4 V, average 2 V, RMS 2.6077 V"
  test "$(pkg-config --modversion "$library")" = 2.17
done

cmake -S "$here/cpp20" -B "$work/cpp20" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cpp20" >/dev/null
for consumer in "$work"/cpp20/consumer-{sse41,portable}; do
  expect "$consumer" "$("$consumer")" "2.17 1 -4 8"
done

# The pkg-config files name the right folders whatever the library folder is: one or two below the prefix, or elsewhere.
for layout in lib lib/x86_64-linux-gnu /opt/kxcalc/lib; do
  folder=$work/layout/${layout//\//-}
  cmake -S "$here/../.." -B "$folder/build" -DBUILD_TESTING=OFF -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="$layout" >/dev/null
  cp -P "$build"/libkxcalc-* "$folder/build"
  cp "$build/verify/kxverify" "$folder/build/verify"
  DESTDIR=$folder/root cmake --install "$folder/build" >/dev/null
  [ "${layout#/}" = "$layout" ] && root='' libraries=/usr/$layout || root=$folder/root libraries=$layout
  for library in "$@"; do
    file=$folder/root$libraries/pkgconfig/$library.pc
    test -e "$file"
    # What is told from the file's own place lies below the root already; an absolute path does not.
    expect "libdir in $layout" "$(realpath -m "$root$(pkg-config --variable=libdir "$file")")" "$folder/root$libraries"
    expect "includedir in $layout" "$(realpath -m "$root$(pkg-config --variable=includedir "$file")")" "$folder/root/usr/include"
    test -e "$folder/root$libraries/lib$library.so"
    test -e "$folder/root/usr/include/kxcalc.h"
  done
done
