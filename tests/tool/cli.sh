#!/usr/bin/env bash
# Command-line checks of the vellum tool: exit statuses, operands typed by
# position or by name, batch runs, and files converted between formats.
# Usage: cli.sh PATH_TO_VELLUM
set -u
V=$1
T=$(mktemp -d)
trap 'rm -rf "$T"' EXIT
cd "$T" || exit 1
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
status() { # status EXPECTED COMMAND...
    local want=$1; shift
    "$@" >out.txt 2>err.txt
    local got=$?
    [ "$got" = "$want" ] || fail "exit $got (want $want): $* :: $(cat err.txt)"
}
same() { cmp -s "$1" "$2" || fail "$1 and $2 differ"; }

status 0 "$V" sample --width 97 --height 61 s.bmp
status 0 "$V" sample --width 40 --height 30 t.bmp

# Every listed operation answers --help.
status 0 "$V" ops
grep -q '^geometry' out.txt || fail "ops lists no geometry family"
for op in $("$V" ops | awk '/^  [a-z0-9]/ {print $1}'); do
    status 0 "$V" "$op" --help
    grep -q "^Usage: vellum $op" out.txt || fail "$op --help has no usage line"
done

# Operands by position give what the named options give.
status 0 "$V" scale 50 33 s.bmp a.bmp
status 0 "$V" scale --width 50 --height 33 s.bmp b.bmp
same a.bmp b.bmp
status 0 "$V" crop 3,4,60,50 s.bmp a.bmp
status 0 "$V" crop --rect 3,4,60,50 s.bmp b.bmp
same a.bmp b.bmp
status 0 "$V" brightness -30 s.bmp a.bmp            # a negative number is a value, not an option
status 0 "$V" brightness --value -30 s.bmp b.bmp
same a.bmp b.bmp
status 0 "$V" gamma 40 s.bmp a.bmp                  # optional operands left out
status 0 "$V" gamma --red 40 s.bmp b.bmp
same a.bmp b.bmp
status 0 "$V" rotate 30 --background 0 s.bmp a.bmp
status 0 "$V" rotate --degrees 30 --background 0 s.bmp b.bmp
same a.bmp b.bmp
status 0 "$V" thumbnail 32x24 s.bmp a.bmp
status 0 "$V" filter 3 s.bmp a.bmp

# Bad command lines exit 2 with a message; failed work exits 1.
status 2 "$V" nosuchop s.bmp a.bmp
status 2 "$V" scale s.bmp a.bmp                     # no size
grep -q 'WIDTH is required' err.txt || fail "missing operand not named: $(cat err.txt)"
status 2 "$V" scale 0 10 s.bmp a.bmp                # out of range
status 2 "$V" scale 10 10 10 s.bmp a.bmp            # one value too many
status 2 "$V" scale --width 10 --height 10 s.bmp    # no output
status 1 "$V" scale 10 10 missing.bmp a.bmp
printf 'BM not really a bitmap' >bad.bmp
status 1 "$V" scale 10 10 bad.bmp a.bmp
[ -s err.txt ] || fail "a failed read says nothing"

# Batches: operands, then inputs, each result under its own name; a bad
# input does not stop the others.
status 1 "$V" scale 20 10 --out-dir out s.bmp bad.bmp t.bmp
[ -f out/s.bmp ] && [ -f out/t.bmp ] || fail "batch results missing"
grep -q '\[3/3\]' err.txt || fail "batch shows no progress"
rm -rf out
status 1 "$V" scale 20 10 --jobs 2 --out-dir out s.bmp bad.bmp t.bmp   # two files at once
"$V" scale 20 10 s.bmp one.bmp
same one.bmp out/s.bmp
[ -f out/t.bmp ] || fail "parallel batch lost a result"
[ "$(grep -c '^\[' err.txt)" = 3 ] || fail "parallel batch progress: $(cat err.txt)"

# Lossless formats give back the same picture.
for ext in png tif tga pcx ppm ras; do
    status 0 "$V" convert s.bmp "s.$ext"
    status 0 "$V" convert "s.$ext" "back-$ext.bmp"
    same s.bmp "back-$ext.bmp"
done
status 0 "$V" info s.png
grep -q '97' out.txt || fail "info does not show the width"

[ "$failures" = 0 ] && echo "all command-line checks passed"
exit $((failures > 0))
