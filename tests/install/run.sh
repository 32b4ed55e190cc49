#!/usr/bin/env bash
# Installs a build tree into a scratch prefix and uses it the way a host
# program would: every installed header compiles on its own, and the example
# in examples/ builds both through find_package(Vellum) and through
# pkg-config, runs against the installed library and writes its output.
#
#   tests/install/run.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$(cd "${1:?usage: run.sh BUILD_DIR SOURCE_DIR}" && pwd)
source=$(cd "${2:?usage: run.sh BUILD_DIR SOURCE_DIR}" && pwd)
tmp=$(mktemp -d "${TMPDIR:-/tmp}/vellum-install.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
log=$tmp/log

step() {
  local what=$1
  shift
  if ! "$@" >"$log" 2>&1; then
    echo "FAIL: $what" >&2
    echo "  command: $*" >&2
    sed 's/^/  | /' "$log" >&2
    exit 1
  fi
}

cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt" | head -n1; }

cxx=$(cache CMAKE_CXX_COMPILER)
libdir=$(cache CMAKE_INSTALL_LIBDIR)
: "${libdir:=lib}"
# A sanitized libvellum needs the sanitizer runtimes in the program that
# loads it, so the examples are built with the same flags.
sanitize=()
if [ "$(cache VELLUM_SANITIZE)" = ON ]; then
  sanitize=(-fsanitize=address,undefined -fno-omit-frame-pointer)
fi

step "install" cmake --install "$build" --prefix "$prefix"

# Each installed header compiles alone, with only the installed tree on the
# include path: nothing reaches back into the source tree.
include=$prefix/include/vellum
[ -f "$include/vellum.h" ] || { echo "FAIL: vellum.h is not installed" >&2; exit 1; }
while IFS= read -r header; do
  rel=${header#"$include"/}
  step "header $rel compiles on its own" \
    "$cxx" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$include" -x c++ - <<<"#include \"$rel\""
done < <(find "$include" -name '*.h' | sort)

# The example, through the CMake package.
san_flags="${sanitize[*]:-}"
step "configure examples against the package" \
  cmake -S "$source/examples" -B "$tmp/cmake" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_FLAGS="$san_flags" -DCMAKE_EXE_LINKER_FLAGS="$san_flags"
step "build examples against the package" cmake --build "$tmp/cmake"

# The same example, through pkg-config.
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
step "pkg-config knows vellum" pkg-config --exists vellum
read -ra pc_flags <<<"$(pkg-config --cflags --libs vellum)"
step "build the example with pkg-config flags" \
  "$cxx" "${sanitize[@]}" "$source/examples/convert_to_8bit.cpp" "${pc_flags[@]}" \
  -o "$tmp/convert_to_8bit_pc"

# A small input: from the built tool when there is one, else written here
# (a 2 x 2 24-bit BMP: file header, info header, two padded rows).
input=$tmp/in.bmp
width=2 height=2
if [ -x "$build/tools/vellum/vellum" ]; then
  width=33 height=7
  step "make a sample picture" "$build/tools/vellum/vellum" sample --width $width --height $height "$input"
else
  printf 'BM\x46\x00\x00\x00\x00\x00\x00\x00\x36\x00\x00\x00''\x28\x00\x00\x00\x02\x00\x00\x00\x02\x00\x00\x00\x01\x00\x18\x00''\x00\x00\x00\x00\x10\x00\x00\x00\x13\x0b\x00\x00\x13\x0b\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00''\x00\x00\xff\xff\xff\xff\x00\x00''\xff\x00\x00\x00\xff\x00\x00\x00' >"$input"
fi
stride=$(((width + 3) / 4 * 4))
expected=$((54 + 1024 + stride * height))

export LD_LIBRARY_PATH=$prefix/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
for program in "$tmp/cmake/convert_to_8bit" "$tmp/convert_to_8bit_pc"; do
  output=$tmp/$(basename "$program").bmp
  step "run $(basename "$program")" "$program" "$input" "$output"
  if [ ! -f "$output" ] || [ "$(stat -c %s "$output")" -ne "$expected" ]; then
    echo "FAIL: $(basename "$program") wrote no $expected-byte 8-bit file" >&2
    exit 1
  fi
  # The program must have loaded the installed library, not another one.
  libraries=$(ldd "$program")
  if [[ $libraries != *"$prefix/$libdir/libvellum"* ]]; then
    echo "FAIL: $(basename "$program") does not load $prefix/$libdir/libvellum" >&2
    echo "$libraries" >&2
    exit 1
  fi
done

# The host-surface example paints into its own buffer and writes it out:
# a 32-bit picture of (2 x width + 16) x (2 x height + 16) pixels.
host_out=$tmp/host_surface.bmp
step "run host_surface" "$tmp/cmake/host_surface" "$input" "$host_out"
host_expected=$((54 + 4 * (2 * width + 16) * (2 * height + 16)))
if [ ! -f "$host_out" ] || [ "$(stat -c %s "$host_out")" -ne "$host_expected" ]; then
  echo "FAIL: host_surface wrote no $host_expected-byte file" >&2
  exit 1
fi
# The top-left pixel is the red triangle's, the next row's frame pixel grey.
pixel() { od -An -tx1 -j "$1" -N4 "$host_out" | tr -d ' '; }
if [ "$(pixel 54)" != 0000ffff ]; then
  echo "FAIL: host_surface's first pixel is $(pixel 54), not red" >&2
  exit 1
fi

echo "install tree: headers, CMake package and pkg-config all usable"
