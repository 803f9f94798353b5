#!/usr/bin/env bash
# Installs into a temporary prefix, moves it, builds the README's example as C99 through pkg-config (for every library) and
# C++20 consumers of the kernels and of the analyses through CMake, and compares what they print. Moving the prefix shows that
# nothing of the build tree is needed.
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

# libkxcalc is the build of the processor's level: the loader names the file that it takes. Each mask takes levels away; the
# loader itself says which are left, and the example prints the same with every one of them.
hwcaps=$work/prefix/$libdir/glibc-hwcaps
if [ -d "$hwcaps" ]; then
  # shellcheck disable=SC2046
  "$cc" -std=c99 "$work/example.c" -o "$work/example" $(pkg-config --cflags --libs kxcalc) -lm
  loader=$(readelf --program-headers "$work/example" | sed -n 's,.*interpreter: \(.*\)\],\1,p')
  for mask in none -AVX512F -AVX2 -SSE4_1,-AVX2; do
    export GLIBC_TUNABLES=glibc.cpu.hwcaps=$mask
    level=$("$loader" --help | sed -n 's,^ *\(x86-64-v[234]\) (supported.*,glibc-hwcaps/\1/,p' | head -n 1)
    taken=$(LD_TRACE_LOADED_OBJECTS=1 "$work/example" | sed -n "s,.*=> $work/prefix/$libdir/\(.*\)libkxcalc[.]so[.]2 .*,\1,p")
    expect "the loader with the mask $mask" "${taken:-plain}" "${level:-plain}"
    expect "libkxcalc with the mask $mask" "$("$work/example")" "min -1 V, max 4 V, average 2 V, RMS 2.6077 V"
    unset GLIBC_TUNABLES
  done
  expect "levels" "$(cd "$hwcaps" && echo *)" "x86-64-v2 x86-64-v3 x86-64-v4"
  [ -z "$level" ] || { echo "no mask leaves the plain library" >&2; exit 1; }
fi

cmake -S "$here/cpp20" -B "$work/cpp20" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cpp20" >/dev/null
for consumer in "$work"/cpp20/consumer-{sse41,portable,kxcalc}; do
  expect "$consumer" "$("$consumer")" "2.17 1 -4 8"
done
if [ -x "$work/prefix/bin/kxhost" ]; then # its manual pages and completions are installed with it
  for file in man/man1/kxhost{,-generate-power,-spectrum}.1 bash-completion/completions/kxhost zsh/site-functions/_kxhost \
    fish/vendor_completions.d/kxhost.fish; do
    test -s "$work/prefix/share/$file"
  done
fi
expect "the flickermeter of the analyses" "$("$work/cpp20/flickermeter")" "Pst 1.00"

# The pkg-config files name the right folders whatever the library folder is: one or two below the prefix, or elsewhere.
for layout in lib lib/x86_64-linux-gnu /opt/kxcalc/lib; do
  folder=$work/layout/${layout//\//-}
  cmake -S "$here/../.." -B "$folder/build" -DBUILD_TESTING=OFF -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="$layout" -DCMAKE_SKIP_RPATH=ON >/dev/null # the programs come from elsewhere
  cp -RP "$build"/libkxcalc-* "$build/chosen" "$folder/build"
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
