#!/usr/bin/env bash
# Tests the warping and remapping of zypr-volume as its user meets them: warp_test.sh PROGRAM
here=$(realpath "$(dirname "$0")")
source "$here/../support/program_test.sh"
source "$here/volume_files.sh"

exactAtVoxels="nearest linear lagrange catmull-rom"
number="x + 6 * y + 36 * z" # every voxel's own
byteVolume 6 6 4 "$number" >in.nii
gzip -k in.nii
{ header 6 6 4 16 32; voxels 6 6 4 4 "(127 - 1 << 23) + 1000 * ($number)"; } >fractions.nii # float, between 0.5 and 1

# ---- Warp ----
for source in in.nii in.nii.gz fractions.nii; do
  for interpolation in $exactAtVoxels; do
    succeeds warp $source -o same.nii --rotate 0,0,0 -i $interpolation
    sameVoxels "a turn by 0, $interpolation" $source same.nii
    cmp -s <(gzip -dcf $source | head -c 348 | tail -c +81) <(head -c 348 same.nii | tail -c +81) ||
      fail "a turn by 0 changes the header of $source"
  done
done

# gives EXPRESSION ARGUMENTS...: the warp of in.nii has these voxels, and the place of in.nii.
gives() {
  local expression=$1; shift
  byteVolume 6 6 4 "$expression" >expected.nii
  for interpolation in $exactAtVoxels; do
    succeeds warp in.nii -o result.nii "$@" -i $interpolation
    sameVoxels "$*, $interpolation" expected.nii result.nii
    equal "sform after $*" "$(sform result.nii)" "$(sform in.nii)"
  done
}
gives "y + 6 * (5 - x) + 36 * z" --rotate 0,0,90 # x turns to y
gives "5 - y + 6 * x + 36 * z" --rotate 0,0,-90
gives "5 - x + 6 * (5 - y) + 36 * z" --rotate 0,0,180
gives "x + 6 * (5 - y) + 36 * (3 - z)" --rotate 180,0,0
gives "5 - x + 6 * (5 - y) + 36 * (3 - z)" --rotate 180,0,180 --scale 1,-1,1
gives "5 - x + 6 * y + 36 * z" --scale -1,1,1
gives "x < 2 ? 0 : $number - 2" --translate 4,0,0
gives "z == 3 ? 9 : $number + 36" --translate 0,0,-4 --background 9
gives "y + 6 * (5 - x) + 36 * z" --rotate 0,0,90 --like in.nii
gives "y + 6 * x + 36 * (3 - z)" --rotate 180,0,90
# Quarter turns are exact: all positions halfway between voxels are rounded the same way.
byteVolume 31 20 1 "(x + 31 * y) % 251" >odd.nii
byteVolume 31 20 1 "u = (y + 9 & ~1) - 3, v = (28 - x & ~1) - 3, v < 0 || v > 19 ? 0 : (u + 31 * v) % 251" >expected.nii
succeeds warp odd.nii -o result.nii --rotate 0,0,90 -i nearest
sameVoxels "halves in a quarter turn" expected.nii result.nii
succeeds warp in.nii -o half.nii --scale 0.5 -i nearest
equal "voxels in a volume scaled by 0.5" "$(value half.nii u1 352 144 | tr ' ' '\n' | grep -cv '^0$')" 18

# Matrices go from where points are to where they go, in space.
printf '1 0 0 4\n0 1 0 0\n0 0 1 0\n' >shift.txt
printf '1 0 0 4\n0 1 0 0\n0 0 1 0\n0 0 0 1' >shift4.txt
for matrix in shift.txt shift4.txt; do gives "x < 2 ? 0 : $number - 2" --matrix $matrix; done

# Another grid: voxels run along y, z and x there, or are half as wide; the voxels' type stays.
{ spacing="2 4 2" qform="1 0 0 5 6 7" sform="0 0 2 -10 2 0 0 0 0 4 0 4" header 6 4 6 4 16; zeros 288; } >turned.nii
{ sform="0 0 2 -10 2 0 0 0 0 4 0 4" byteVolume 6 4 6 "z + 6 * x + 36 * y"; } >expected.nii
{ vectors=3 sform="1 0 0 -10 0 2 0 2 0 0 4 4" header 11 5 4 4 16; } >fine.nii
for command in "warp" "remap --swirl 0"; do
  for interpolation in $exactAtVoxels; do
    # shellcheck disable=SC2086
    succeeds $command in.nii -o result.nii --like turned.nii -i $interpolation
    sameVoxels "$command to turned axes, $interpolation" expected.nii result.nii
    equal "place on turned axes" "$(value result.nii u1 252 76)" "$(value turned.nii u1 252 76)"
    equal "spacings on turned axes" "$(spacings result.nii)" "2 4 2"
    equal "extents and type on turned axes" "$(extents result.nii) $(value result.nii d2 70 4)" "3 6 4 6 2 8"
  done
  # shellcheck disable=SC2086
  succeeds $command in.nii -o result.nii --like fine.nii -i linear --preview preview.png
  isPng preview.png
  equal "extents on a fine grid" "$(extents result.nii)" "3 11 5 4"
  equal "a row on a fine grid" "$(value result.nii u1 352 11)" "6 6 7 8 8 8 9 10 10 10 11" # halves to even
done

# The background is a value after slope and intercept; volumes may be one voxel thick.
{ slope=2 intercept=-10 byteVolume 6 6 4 "$number"; } >scaled.nii
succeeds warp scaled.nii -o result.nii --translate 4,0,0 --background 8
equal "a background among scaled values" "$(value result.nii u1 352 6)" "9 9 0 1 2 3"
byteVolume 6 6 1 "$number" >thin.nii
succeeds warp thin.nii -o result.nii --rotate 0,0,0 -i catmull-rom
sameVoxels "a thin volume" thin.nii result.nii

# ---- Remap ----
# field WIDTH HEIGHT DEPTH X Y Z: with expressions for displacements of 16 bits
field() {
  vectors=3 intent=${intent:-1007} header "$1" "$2" "$3" 4 16
  for component in "$4" "$5" "$6"; do voxels "$1" "$2" "$3" 2 "$component"; done
}
field 6 6 4 0 0 0 >zero.nii
for source in in.nii.gz fractions.nii; do
  for interpolation in $exactAtVoxels; do
    for displacement in "--field zero.nii" "--swirl 0"; do
      # shellcheck disable=SC2086
      succeeds remap $source -o same.nii $displacement -i $interpolation
      sameVoxels "no displacement of $source, $interpolation" $source same.nii
      equal "sform without displacement" "$(sform same.nii)" "$(sform $source)"
    done
  done
done
# shows EXPRESSION FIELD: what the result shows at every voxel
shows() {
  byteVolume 6 6 4 "$1" >expected.nii
  for interpolation in $exactAtVoxels; do
    succeeds remap in.nii -o result.nii --field "$2" -i $interpolation
    sameVoxels "$2, $interpolation" expected.nii result.nii
  done
}
field 6 6 4 4 0 0 >right.nii
shows "x > 3 ? 0 : $number + 2" right.nii
intent=1006 field 6 6 4 "y < 3 ? 0 : 2" 2 -4 >mixed.nii
shows "x + (y > 2) > 5 || y == 5 || z == 0 ? 0 : $number + (y > 2) + 6 - 36" mixed.nii
{ slope=2 intercept=2 field 6 6 4 1 -1 -1; } >scaled.nii
shows "x > 3 ? 0 : $number + 2" scaled.nii
{ sform="10 0 0 -10 0 10 0 0 0 0 12 4" field 2 2 2 "4 * x" 0 0; } >coarse.nii # rises by 0.4 from voxel to voxel
succeeds remap in.nii -o result.nii --field coarse.nii
equal "a row through a coarse field" "$(value result.nii u1 352 6)" "0 1 3 4 2 0" # 1.4 x

# Far outside there is background, whole number or not.
field 6 6 4 12 0 0 >outside.nii
for interpolation in $exactAtVoxels; do
  succeeds remap fractions.nii -o result.nii --field outside.nii --background 0.25 -i $interpolation
  equal "what lies outside, $interpolation" "$(value result.nii f4 352 576 | tr ' ' '\n' | sort -u)" 0.25
done

# More planes than are done at a time.
byteVolume 2 2 40 z >deep.nii
field 2 2 40 0 0 "z < 35 ? 0 : -4" >down.nii
byteVolume 2 2 40 "z - (z > 34)" >expected.nii
succeeds remap deep.nii -o result.nii --field down.nii
sameVoxels "a deep volume" expected.nii result.nii

# A swirl turns the middle and leaves the corners; with a vast radius it is a turn of all.
byteVolume 6 6 4 "y + 6 * (5 - x) + 36 * z" >expected.nii
succeeds remap in.nii -o result.nii --swirl 90 --swirl-radius 1e6
sameVoxels "a swirl with a vast radius" expected.nii result.nii
byteVolume 20 20 10 "x + 10 * (y > 9)" >wide.nii
succeeds remap wide.nii -o swirl.nii --swirl 150 --preview preview.png
isPng preview.png
cmp -s wide.nii swirl.nii && fail "a swirl changes nothing"
equal "the first row beside a swirl" "$(value swirl.nii u1 352 20)" "$(value wide.nii u1 352 20)"
for threads in 1 3; do
  succeeds remap wide.nii -o threads.nii --swirl 150 -t $threads
  cmp -s threads.nii swirl.nii || fail "$threads threads give another swirl"
done
succeeds remap wide.nii -o result.nii --swirl 150 --swirl-radius 5
cmp -s result.nii swirl.nii && fail "the radius of a swirl makes no difference"
expect 0 "remapping 100" remap wide.nii -o result.nii --swirl 10
expect 0 "warping 100" warp wide.nii -o result.nii --rotate 0,0,10

# ---- Bad files and bad usage ----
echo "no volume" >text.nii
echo "1 0 0 0 0 1 0 0 0 0 1" >short.txt
echo "1 0 0 0 0 1 0 0 0 0 one 0" >words.txt
echo "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 2" >row.txt
echo "1 0 0 0 0 1 0 0 0 0 nan 0" >nan.txt
echo "1 0 0 0 1 0 0 0 0 0 1 0" >flat.txt
{ sform="0 0 0 0 0 0 0 0 0 0 0 0" byteVolume 6 6 4 1; } >nowhere.nii
head -c 500 right.nii >cut.nii
{ intent=0 field 6 6 4 0 0 0; } >plain.nii
{ vectors=2 intent=1007 header 6 6 4 4 16; zeros 576; } >pairs.nii
refuses 1 "missing.txt: No such file" warp in.nii -o result.nii -m missing.txt
for matrix in short.txt words.txt row.txt nan.txt in.nii text.nii; do
  refuses 1 "$matrix: an affine map is" warp in.nii -o result.nii -m $matrix
done
refuses 1 "singular" warp in.nii -o result.nii -m flat.txt
refuses 1 "singular" warp in.nii -o result.nii --scale 0
refuses 1 "missing.nii: No such file" warp in.nii -o result.nii --like missing.nii
refuses 1 "text.nii: is not a NIfTI file" warp in.nii -o result.nii --like text.nii
refuses 1 "nowhere.nii: the header's place" warp nowhere.nii -o result.nii --rotate 1,2,3
refuses 1 "nowhere.nii: the header's place" warp in.nii -o result.nii --like nowhere.nii
refuses 1 "missing.nii: No such file" remap in.nii -o result.nii --field missing.nii
refuses 1 "text.nii: is not a NIfTI file" remap in.nii -o result.nii --field text.nii
refuses 1 "cut.nii: ends early" remap in.nii -o result.nii --field cut.nii
for field in in.nii plain.nii pairs.nii; do refuses 1 "$field: is no field of vectors" remap in.nii -o result.nii -f $field; done
refuses 1 "right.nii: has more than three dimensions" warp right.nii -o result.nii --rotate 1,2,3
refuses 2 "--rotate, --scale" warp in.nii -o result.nii
refuses 2 "--rotate" warp in.nii -o result.nii --rotate 10
refuses 2 "--rotate" warp in.nii -o result.nii --rotate nan,0,0
refuses 2 "--rotate" warp in.nii -o result.nii --rotate 1,2,3,4
refuses 2 "--scale" warp in.nii -o result.nii --scale 1,2
refuses 2 "--matrix" warp in.nii -o result.nii -m shift.txt --translate 1,2,3
refuses 2 "--background" warp in.nii -o result.nii --rotate 1,2,3 --background inf
refuses 2 "--interpolation" warp in.nii -o result.nii --rotate 1,2,3 -i best
refuses 2 "--field or --swirl" remap in.nii -o result.nii
refuses 2 "--swirl" remap in.nii -o result.nii --field zero.nii --swirl 3
refuses 2 "--swirl-radius" remap in.nii -o result.nii --field zero.nii --swirl-radius 3

finish
