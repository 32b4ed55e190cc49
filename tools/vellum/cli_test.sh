#!/usr/bin/env bash
# Exercises the built vellum tool end to end: cli_test.sh PATH_TO_VELLUM
# Checks results by file size and the tool's own info output, and checks that
# every failure is one line on stderr with the documented exit status.
set -uo pipefail

tool=${1:?usage: cli_test.sh PATH_TO_VELLUM}
tool=$(cd "$(dirname "$tool")" && pwd)/$(basename "$tool")
if [ ! -x "$tool" ]; then
  echo "FAIL: $tool is not an executable" >&2
  exit 1
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/vellum-cli.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# run EXPECTED_STATUS ARGS...: runs the tool, keeps stdout in out.txt and
# stderr in err.txt, and checks the exit status.
run() {
  local expected=$1
  shift
  "$tool" "$@" >out.txt 2>err.txt
  local status=$?
  if [ "$status" -ne "$expected" ]; then
    fail "vellum $* exited $status, expected $expected; stderr: $(cat err.txt)"
    return 1
  fi
  return 0
}

# The value of a row of `vellum info`.
field() { sed -n "s/^$2  *//p" "$1" | head -n1; }

size_of() { stat -c %s "$1"; }

expect_one_error_line() {
  local lines
  lines=$(wc -l <err.txt)
  [ "$lines" -eq 1 ] || fail "$1: expected one line on stderr, got $lines: $(cat err.txt)"
  grep -q '^vellum: ' err.txt || fail "$1: stderr line lacks the 'vellum: ' prefix: $(cat err.txt)"
}

# --- help and the operation list -------------------------------------------
run 0 --help && grep -q 'Usage: vellum OPERATION' out.txt || fail "--help shows no usage"
run 0 convert --help && grep -q -- '--depth' out.txt && grep -q -- '--out-dir' out.txt ||
  fail "convert --help does not show its options"
run 0 ops
for op in convert info sample; do
  grep -q "^  $op " out.txt || fail "'vellum ops' does not list $op"
done
grep -q '^depth$' out.txt || fail "'vellum ops' does not group by family"

# --- sample, then info on it ------------------------------------------------
# 63 pixels wide: 24-bit rows need one byte of padding.
run 0 sample --width 63 --height 21 scene.bmp
[ "$(size_of scene.bmp)" -eq $((54 + 192 * 21)) ] || fail "sample: wrong file size $(size_of scene.bmp)"
run 0 info scene.bmp
cp out.txt info-scene.txt
[ "$(field info-scene.txt width)" = 63 ] || fail "info: width is '$(field info-scene.txt width)'"
[ "$(field info-scene.txt height)" = 21 ] || fail "info: height"
[ "$(field info-scene.txt 'bit count')" = 24 ] || fail "info: bit count"
[ "$(field info-scene.txt 'palette length')" = 0 ] || fail "info: palette length"
[ "$(field info-scene.txt 'file length')" = "$(size_of scene.bmp) bytes" ] || fail "info: file length"

# The default scene is 640 x 480 and not one flat colour.
run 0 sample default.bmp
[ "$(size_of default.bmp)" -eq $((54 + 640 * 3 * 480)) ] || fail "sample: default size"
distinct=$(tail -c +55 default.bmp | od -An -v -tu1 -w3 | sort -u | wc -l)
[ "$distinct" -gt 1000 ] || fail "sample: only $distinct distinct colours"

# --- convert at every depth --------------------------------------------------
# depth|expected file size for 63 x 21: header + table + stride x rows
for entry in "8|$((54 + 1024 + 64 * 21))" "4|$((54 + 64 + 32 * 21))" "1|$((54 + 8 + 8 * 21))"; do
  depth=${entry%%|*}
  size=${entry#*|}
  run 0 convert --depth "$depth" scene.bmp "d$depth.bmp" || continue
  [ "$(size_of "d$depth.bmp")" -eq "$size" ] || fail "convert $depth: size $(size_of "d$depth.bmp"), expected $size"
  run 0 info "d$depth.bmp" && [ "$(field out.txt 'bit count')" = "$depth" ] || fail "convert $depth: bit count"
  [ "$(field out.txt 'palette length')" = $((1 << depth)) ] || fail "convert $depth: palette length"
  run 0 convert --depth 24 "d$depth.bmp" "back$depth.bmp" &&
    [ "$(size_of "back$depth.bmp")" -eq $((54 + 192 * 21)) ] || fail "convert $depth back to 24"
done
# Black and white survive the trip to 1 bit and back.
run 0 info --palette d1.bmp && grep -q '#000000' out.txt && grep -q '#FFFFFF' out.txt ||
  fail "1-bit palette is not black and white"

# --- convert --depth keeps transparency where the result can hold it -----------
# A 4 x 2 colour-mapped TGA whose map entry 2 (magenta) has alpha 0: the codec
# reads it as an 8-bit image with transparent index 2.
printf '\x00\x01\x01\x00\x00\x03\x00\x20\x00\x00\x00\x00\x04\x00\x02\x00\x08\x08' >keyed.tga
printf '\x00\x00\x00\xff\xff\xff\xff\xff\xff\x00\xff\x00' >>keyed.tga
printf '\x00\x01\x02\x00\x01\x02\x01\x00' >>keyed.tga
# A 2 x 1 32-bit TGA: half-transparent red, fully transparent blue.
printf '\x00\x00\x02\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x01\x00\x20\x08' >alpha.tga
printf '\x00\x00\xff\x80\xff\x00\x00\x00' >>alpha.tga
# expect FILE BITS ALPHA TRANSPARENT-INDEX
expect_transparency() {
  run 0 info "$1" || return
  local got
  got="$(field out.txt 'bit count') $(field out.txt alpha) $(field out.txt 'transparent index')"
  [ "$got" = "$2 $3 $4" ] || fail "$1: bit count, alpha, transparent index are '$got', expected '$2 $3 $4'"
}
expect_transparency keyed.tga 8 no 2
run 0 convert --depth 8 keyed.tga keyed8.png && expect_transparency keyed8.png 8 no 2
run 0 convert --depth 24 keyed.tga keyed24.png && expect_transparency keyed24.png 24 yes none
# Magenta is one of the 16 standard colours and no opaque pixel lands on it.
run 0 convert --depth 4 keyed.tga keyed4.gif && expect_transparency keyed4.gif 4 no 13
# In black and white the magenta pixels share a colour with opaque ones.
run 0 convert --depth 1 keyed.tga keyed1.png && expect_transparency keyed1.png 1 no none
run 0 convert --depth 24 alpha.tga alpha24.png && expect_transparency alpha24.png 24 yes none
run 0 convert --depth 8 alpha.tga alpha8.png && expect_transparency alpha8.png 8 no none
# Other operations drop what they cannot carry.
run 0 mirror --horizontal keyed.tga mirrored.png && expect_transparency mirrored.png 8 no none

# --- batch with --out-dir: progress on stderr, one result per input -----------
run 0 convert --depth 4 scene.bmp d8.bmp --out-dir batch
[ -s batch/scene.bmp ] && [ -s batch/d8.bmp ] || fail "batch: outputs missing"
grep -qx '\[1/2\] scene.bmp' err.txt && grep -qx '\[2/2\] d8.bmp' err.txt || fail "batch: no progress lines"

# --- failures -----------------------------------------------------------------
printf 'hello, not an image\n' >text.bmp
run 1 info text.bmp && expect_one_error_line "info of a text file"
grep -q "cannot read 'text.bmp'" err.txt || fail "info of a text file: $(cat err.txt)"
run 1 convert text.bmp out.bmp && expect_one_error_line "convert of a text file"
[ -e out.bmp ] && fail "convert of a text file left an output"
# Cut inside the headers (short pixel data alone is accepted and kept).
head -c 40 scene.bmp >short.bmp
run 1 convert short.bmp out.bmp && expect_one_error_line "convert of a truncated file"
run 1 convert missing.bmp out.bmp && expect_one_error_line "convert of a missing file"
grep -qi 'no such file' err.txt || fail "missing file: $(cat err.txt)"
: >empty.bmp
run 1 info empty.bmp && expect_one_error_line "info of an empty file"
run 1 convert scene.bmp no/such/dir/out.bmp && expect_one_error_line "writing into a missing directory"
# A failing file in a batch does not stop the others.
run 1 convert --out-dir batch2 text.bmp scene.bmp
[ -s batch2/scene.bmp ] || fail "batch: a bad input stopped the rest"

# --- usage errors exit 2 ----------------------------------------------------------
run 2 frobnicate a.bmp b.bmp && expect_one_error_line "unknown operation"
grep -q "unknown operation 'frobnicate'" err.txt || fail "unknown operation: $(cat err.txt)"
run 2 convert --depth 7 scene.bmp out.bmp && expect_one_error_line "bad depth"
run 2 sample --width 0 out.bmp && expect_one_error_line "width out of range"
run 2 sample --width abc out.bmp
run 2 convert scene.bmp && expect_one_error_line "convert without output"
run 2 convert --no-such-option scene.bmp out.bmp
run 2

# --- operands by position, named options, batches at once ---------------------
# same A B: the two files hold the same bytes.
same() { cmp -s "$1" "$2" || fail "$1 and $2 differ"; }
# Every listed operation answers --help with its usage line.
run 0 ops
for op in $(awk '/^  [a-z0-9]/ {print $1}' out.txt); do
  run 0 "$op" --help && grep -q "^Usage: vellum $op" out.txt || fail "$op --help has no usage line"
done
run 0 scale 40 17 scene.bmp a.bmp && run 0 scale --width 40 --height 17 scene.bmp b.bmp && same a.bmp b.bmp
run 0 crop 3,4,60,20 scene.bmp a.bmp && run 0 crop --rect 3,4,60,20 scene.bmp b.bmp && same a.bmp b.bmp
# A negative number is a value, not an option.
run 0 brightness -30 scene.bmp a.bmp && run 0 brightness --value -30 scene.bmp b.bmp && same a.bmp b.bmp
# Optional operands may be left out.
run 0 gamma 40 scene.bmp a.bmp && run 0 gamma --red 40 scene.bmp b.bmp && same a.bmp b.bmp
run 0 rotate 30 --background 0 scene.bmp a.bmp &&
  run 0 rotate --degrees 30 --background 0 scene.bmp b.bmp && same a.bmp b.bmp
run 0 filter 3 scene.bmp a.bmp
run 2 scale scene.bmp a.bmp && expect_one_error_line "scale without a size"
grep -q 'WIDTH is required' err.txt || fail "missing operand not named: $(cat err.txt)"
run 2 scale 0 10 scene.bmp a.bmp && expect_one_error_line "operand out of range"
run 2 scale 10 10 10 scene.bmp a.bmp && expect_one_error_line "one operand too many"
# Operands before a batch; two files at once give what one at a time gives.
run 1 scale 20 10 --jobs 2 --out-dir par text.bmp scene.bmp d8.bmp
[ "$(grep -c '^\[' err.txt)" -eq 3 ] || fail "parallel batch progress: $(cat err.txt)"
[ -s par/d8.bmp ] || fail "parallel batch lost a result"
run 0 scale 20 10 scene.bmp one.bmp && same one.bmp par/scene.bmp
# A thumbnail decoded reduced still fits the box.
run 0 convert --quality 90 default.bmp photo.jpg
run 0 thumbnail 100x100 --fast photo.jpg thumb.bmp && run 0 info thumb.bmp &&
  [ "$(field out.txt width)" = 100 ] && [ "$(field out.txt height)" = 75 ] ||
  fail "fast thumbnail: $(field out.txt width) x $(field out.txt height)"
# Lossless formats give back the same picture.
for ext in png tif tga pcx ppm ras; do
  run 0 convert scene.bmp "s.$ext" && run 0 convert "s.$ext" "back-$ext.bmp" && same scene.bmp "back-$ext.bmp"
done

if [ "$failures" -ne 0 ]; then
  echo "$failures check(s) failed" >&2
  exit 1
fi
echo "all vellum command-line checks passed"
