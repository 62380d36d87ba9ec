#!/usr/bin/env bash
# Tests the resizing and filtering of zypr-volume as its user meets them: volume_test.sh PROGRAM
here=$(realpath "$(dirname "$0")")
source "$here/../support/program_test.sh"
source "$here/volume_files.sh"

# 6 x 5 x 4 bytes: 10, but 74 at (2, 2, 2)
byteVolume 6 5 4 "x == 2 && y == 2 && z == 2 ? 74 : 10" >in.nii
gzip -k in.nii

# ---- Resize: shape, values, place in space ----
for source in in.nii in.nii.gz; do
  succeeds resize $source -o nearest.nii.gz --scale 2 -i nearest --preview preview.png
  equal "extents after x2" "$(extents nearest.nii.gz)" "3 12 10 8"
  equal "spacings after x2" "$(spacings nearest.nii.gz)" "1 1 2"
  equal "sform after x2, x" "$(value nearest.nii.gz f4 280 16)" "1 0 0 -10.5"
  equal "sform after x2, y" "$(value nearest.nii.gz f4 296 16)" "0 1 0 -0.5"
  equal "sform after x2, z" "$(value nearest.nii.gz f4 312 16)" "0 0 2 3"
  equal "qform offset after x2" "$(value nearest.nii.gz f4 268 12)" "-10.5 -0.5 3"
  equal "the eight bright voxels" "$(gzip -dc nearest.nii.gz | tail -c +353 | od -An -v -tu1 -w1 | grep -c 74)" 8
  isPng preview.png
done
for interpolation in nearest linear lagrange catmull-rom; do
  succeeds resize in.nii -o same.nii --scale 1 -i $interpolation
  sameVoxels "$interpolation at scale 1" in.nii same.nii
  equal "sform at scale 1" "$(value same.nii f4 280 16)" "2 0 0 -10"
done
succeeds resize in.nii -o spaced.nii --spacing 1,1,2 -i linear -t 2
equal "extents at spacing 1,1,2" "$(extents spaced.nii)" "3 12 10 8"

# There and back: the sizes and the place return.
succeeds resize nearest.nii.gz -o back.nii.gz --scale 0.5 -i linear
equal "extents there and back" "$(extents back.nii.gz)" "3 6 5 4"
equal "sform there and back" "$(sform back.nii.gz)" "$(sform in.nii)"
sameVoxels "there and back" in.nii back.nii.gz

# ---- Filter ----
voxel() { value "$1" d2 $((352 + 2 * ($2 + 6 * ($3 + 5 * $4)))) 2; }
succeeds filter in.nii -o result.nii -k gaussian3
equal "type" "$(value result.nii d2 70 4)" "4 16"
equal "gaussian3 at the centre" "$(voxel result.nii 2 2 2)" 18 # 10 + 64 x 8 / 64
equal "gaussian3 beside it" "$(voxel result.nii 1 2 2)" 14
equal "gaussian3 at a corner" "$(voxel result.nii 1 1 1)" 11
equal "gaussian3 at the border" "$(voxel result.nii 0 0 0)" 10
succeeds filter in.nii -o result.nii
equal "gaussian at the centre" "$(voxel result.nii 2 2 2)" 13 # 10 + 64 x 216 / 4096
succeeds filter in.nii.gz -o result.nii -k laplacian --preview preview.png
equal "laplacian at the centre" "$(voxel result.nii 2 2 2)" -384
equal "laplacian beside it" "$(voxel result.nii 2 3 2)" 64
equal "laplacian elsewhere" "$(voxel result.nii 5 4 3)" 0
succeeds filter in.nii -o result.nii -k sharpen
equal "sharpen at the centre" "$(voxel result.nii 2 2 2)" 170
equal "sharpen beside it" "$(voxel result.nii 2 2 1)" -6
equal "place after a filter" "$(sform result.nii)" "$(sform in.nii)"

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
expect 2 "subcommand"

# A disk that fills up: the old file stays and nothing else is left.
cp in.nii result.nii
(ulimit -f 1; trap '' XFSZ; "$program" resize in.nii -o result.nii --scale 8 -q >out 2>&1)
[ $? -eq 1 ] || fail "a full disk isn't noticed"
cmp -s in.nii result.nii || fail "a full disk damages the old file"
onlyThere result.nii

finish
