#!/usr/bin/env bash
# Passes when zypr-volume resizes and filters volumes, keeps their place in space, and refuses bad files: volume_test.sh PROGRAM
# The volumes are made here, byte by byte.
set -uo pipefail
program=$(realpath "$1")
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
failures=0
fail() { echo "FAILED: $1" >&2; failures=$((failures + 1)); }

# little_endian BYTES VALUE
little_endian() { local v=$2 i; for ((i = 0; i < $1; ++i)); do printf "\\x$(printf %02x $((v >> 8 * i & 255)))"; done; }
zeros() { head -c "$1" /dev/zero; }
float() { # the values that the headers below need, as bits
  case $1 in
    0) little_endian 4 0 ;; 1) little_endian 4 $((0x3F800000)) ;; 2) little_endian 4 $((0x40000000)) ;;
    4) little_endian 4 $((0x40800000)) ;; -10) little_endian 4 $((0xC1200000)) ;; 352) little_endian 4 $((0x43B00000)) ;;
    *) echo "no bits for $1" >&2; exit 2 ;;
  esac
}

# header WIDTH HEIGHT DEPTH DATATYPE BITS: 352 bytes; voxels 2 x 2 x 4, voxel (0, 0, 0) at (-10, 0, 4)
header() {
  little_endian 4 348; zeros 36
  for value in 3 "$1" "$2" "$3" 1 1 1 1; do little_endian 2 "$value"; done
  zeros 14; little_endian 2 "$4"; little_endian 2 "$5"; zeros 2
  for value in 1 2 2 4 0 0 0 0; do float $value; done # qfac and spacings
  float 352; float 1; float 0; zeros 132              # vox_offset, slope, intercept, up to qform_code
  little_endian 2 1; little_endian 2 1                # qform_code, sform_code
  float 0; float 0; float 0; float -10; float 0; float 4
  for value in 2 0 0 -10 0 2 0 0 0 0 4 4; do float $value; done
  zeros 16; printf 'n+1\0'; zeros 4
}
# value FILE FORMAT OFFSET BYTES: numbers out of a file, as od prints them
value() { gzip -dcf "$1" | tail -c +$(($3 + 1)) | od -An -v -t"$2" -N"$4" | tr -s ' ' | sed 's/^ //;s/ $//' | tr '\n' ' ' | sed 's/ $//'; }
expect() { [ "$2" = "$3" ] || fail "$1: '$2', expected '$3'"; }
succeeds() { "$program" "$@" -q >out.txt 2>err.txt || fail "$* ended with $?: $(cat err.txt)"; }
# refuses STATUS TEXT ARGUMENTS...: ends with the status, says the text and leaves no output
refuses() {
  local status=$1 text=$2; shift 2
  rm -f result.nii*
  "$program" "$@" >out.txt 2>err.txt
  local got=$?
  [ $got -eq "$status" ] || fail "$*: status $got, expected $status"
  grep -q -- "$text" err.txt || fail "$*: no '$text' in '$(cat err.txt)'"
  compgen -G 'result.nii*' >/dev/null && fail "$*: left $(ls result.nii*)"
}

# 6 x 5 x 4 bytes: 10, but 74 at (2, 2, 2)
{ header 6 5 4 2 8; for ((i = 0; i < 120; ++i)); do little_endian 1 $((i == 2 * 30 + 2 * 6 + 2 ? 74 : 10)); done; } >in.nii
gzip -k in.nii

# ---- Resize: shape, values, place in space ----
for source in in.nii in.nii.gz; do
  succeeds resize $source -o nearest.nii.gz --scale 2 -i nearest --preview preview.png
  expect "extents after x2" "$(value nearest.nii.gz d2 40 8)" "3 12 10 8"
  expect "spacings after x2" "$(value nearest.nii.gz f4 80 12)" "1 1 2"
  expect "sform after x2, x" "$(value nearest.nii.gz f4 280 16)" "1 0 0 -10.5"
  expect "sform after x2, y" "$(value nearest.nii.gz f4 296 16)" "0 1 0 -0.5"
  expect "sform after x2, z" "$(value nearest.nii.gz f4 312 16)" "0 0 2 3"
  expect "qform offset after x2" "$(value nearest.nii.gz f4 268 12)" "-10.5 -0.5 3"
  expect "the eight bright voxels" "$(gzip -dc nearest.nii.gz | tail -c +353 | od -An -v -tu1 -w1 | grep -c 74)" 8
  [ "$(head -c 4 preview.png | od -An -tx1 | tr -d ' ')" = 89504e47 ] || fail "the preview isn't a PNG file"
done
for interpolation in nearest linear lagrange catmull-rom; do
  succeeds resize in.nii -o same.nii --scale 1 -i $interpolation
  cmp -s <(tail -c 120 in.nii) <(tail -c 120 same.nii) || fail "$interpolation at scale 1 changes voxels"
  expect "sform at scale 1" "$(value same.nii f4 280 16)" "2 0 0 -10"
done
succeeds resize in.nii -o spaced.nii --spacing 1,1,2 -i linear -t 2
expect "extents at spacing 1,1,2" "$(value spaced.nii d2 40 8)" "3 12 10 8"

# There and back: the sizes and the place return.
succeeds resize nearest.nii.gz -o back.nii.gz --scale 0.5 -i linear
expect "extents there and back" "$(value back.nii.gz d2 40 8)" "3 6 5 4"
expect "sform there and back" "$(value back.nii.gz f4 280 48)" "$(value in.nii f4 280 48)"
cmp -s <(gzip -dc back.nii.gz | tail -c 120) <(tail -c 120 in.nii) || fail "voxels there and back"

# ---- Filter ----
voxel() { value "$1" d2 $((352 + 2 * ($2 + 6 * ($3 + 5 * $4)))) 2; }
succeeds filter in.nii -o result.nii -k gaussian3
expect "type" "$(value result.nii d2 70 4)" "4 16"
expect "gaussian3 at the centre" "$(voxel result.nii 2 2 2)" 18 # 10 + 64 x 8 / 64
expect "gaussian3 beside it" "$(voxel result.nii 1 2 2)" 14
expect "gaussian3 at a corner" "$(voxel result.nii 1 1 1)" 11
expect "gaussian3 at the border" "$(voxel result.nii 0 0 0)" 10
succeeds filter in.nii -o result.nii
expect "gaussian at the centre" "$(voxel result.nii 2 2 2)" 13 # 10 + 64 x 216 / 4096
succeeds filter in.nii.gz -o result.nii -k laplacian --preview preview.png
expect "laplacian at the centre" "$(voxel result.nii 2 2 2)" -384
expect "laplacian beside it" "$(voxel result.nii 2 3 2)" 64
expect "laplacian elsewhere" "$(voxel result.nii 5 4 3)" 0
succeeds filter in.nii -o result.nii -k sharpen
expect "sharpen at the centre" "$(voxel result.nii 2 2 2)" 170
expect "sharpen beside it" "$(voxel result.nii 2 2 1)" -6
expect "place after a filter" "$(value result.nii f4 280 48)" "$(value in.nii f4 280 48)"

# ---- Bad files and bad usage ----
echo "no volume" >text.nii
head -c 400 in.nii >short.nii
head -c -4 in.nii.gz >short.nii.gz
: >empty.nii
{ header 6 5 4 128 24; zeros 360; } >colour.nii
{ header 2 2 2 2 8; zeros 8; } >small.nii
refuses 1 "No such file" resize missing.nii -o result.nii --scale 2
for bad in text.nii empty.nii; do refuses 1 "not a NIfTI file" resize $bad -o result.nii --scale 2; done
refuses 1 "damaged" resize short.nii -o result.nii --scale 2
refuses 1 "short.nii.gz" filter short.nii.gz -o result.nii
refuses 1 "doesn't know" filter colour.nii -o result.nii
refuses 1 "three voxels" resize small.nii -o result.nii --scale 2 -i lagrange
refuses 1 "too large" resize in.nii -o result.nii --scale 9999
refuses 1 "cannot resize" resize in.nii -o result.nii --scale 0.01
refuses 1 "ends in .nii" resize in.nii -o result.png --scale 2
refuses 1 "No such file" resize in.nii -o nowhere/result.nii --scale 2
refuses 1 "nowhere" resize in.nii -o result.nii --scale 2 --preview nowhere/p.png
refuses 2 "" resize in.nii -o result.nii
refuses 2 "" resize in.nii -o result.nii --scale 2 --spacing 1
refuses 2 "" resize in.nii -o result.nii --scale -1
refuses 2 "" resize in.nii -o result.nii --scale 1,2
refuses 2 "" filter in.nii -o result.nii -k median
refuses 2 "" sharpen in.nii -o result.nii
refuses 2 ""

# A disk that fills up: the old file stays and nothing else is left.
cp in.nii result.nii
(ulimit -f 1; trap '' XFSZ; "$program" resize in.nii -o result.nii --scale 8 -q >out.txt 2>err.txt)
[ $? -eq 1 ] || fail "a full disk isn't noticed"
cmp -s in.nii result.nii || fail "a full disk damages the old file"
expect "files after a full disk" "$(ls result.nii*)" result.nii

[ $failures -eq 0 ] && echo "all passed"
exit $((failures > 0))
