#!/usr/bin/env bash
# Tests zypr-render as its user meets it: render_test.sh PROGRAM
source "$(dirname "$0")/../support/program_test.sh"

makeTetrahedron
cat >tetra.ply <<'MESH'
ply
format ascii 1.0
element vertex 4
property float x
property float y
property float z
element face 4
property list uchar int vertex_indices
end_header
0 0 0
1 0 0
0 1 0
0.2 0.2 1
3 0 1 2
3 0 3 1
3 1 3 2
3 2 3 0
MESH
small=(-W 70 -H 50 -s 2)

# Usage.
expect 0 "--bounces" --help
expect 0 "MESH" -h
expect 2 "MESH" -o out.png
expect 2 "--output" tetra.obj
expect 2 "--width" tetra.obj -o out.png --width 0
expect 2 "--light" tetra.obj -o out.png --light 1,2
for option in "--light nan,10,1" "--light 10,10,inf" "--mirror nan" "--azimuth nan" "--color 0,nan,0"; do
  # shellcheck disable=SC2086
  expect 2 "${option%% *}" tetra.obj -o out.png $option
done
expect 2 "--normals" tetra.obj -o out.png --normals bumpy
nothingThere out.png

# Meshes that cannot be drawn.
printf 'v 0 0 0\nv 1 0 0\n' >points.obj
printf 'v 0 0 0\nv 0 0 0\nv 0 0 0\nf 1 2 3\n' >dot.obj
printf 'v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n' >beyond.obj
printf 'v nan 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n' >nan.obj
: >empty.obj
head -c 4000 /dev/urandom >noise.stl
head -n 12 tetra.ply >cut.ply
echo 'hello, world' >mesh.unknown
mkdir directory.obj
expect 1 "missing.obj: No such file" missing.obj -o bad.png
for mesh in empty.obj points.obj dot.obj beyond.obj nan.obj noise.stl cut.ply mesh.unknown directory.obj; do
  expect 1 "zypr-render: " "$mesh" -o bad.png
done
nothingThere bad.png

# Pictures that cannot be written; one that is there stays as it is when anything fails.
expect 1 "cannot write the picture" tetra.obj -o missing/picture.png
mkdir directory.png
expect 1 "cannot write the picture" tetra.obj -o directory.png
echo precious >kept.png
expect 1 "points.obj" points.obj -o kept.png
[ "$(cat kept.png)" = precious ] || fail "a failed run changed the picture"
onlyThere kept.png

# Pictures.
expect 0 "4 triangles" tetra.obj -o obj.png "${small[@]}"
expect 0 "Mrays/s" tetra.ply -o ply.png --z-up "${small[@]}"
equal "size of obj.png" "$(pngSize obj.png)" 70x50
onlyThere obj.png
expect 0 "triangles" tetra.obj -o one.png -W 1 -H 1 -s 1
equal "size of one.png" "$(pngSize one.png)" 1x1
expect 0 "triangles" tetra.obj -o kept.png "${small[@]}"
cmp -s kept.png obj.png || fail "a second run gives another picture"
grep -q "tracing 100" out || fail "no progress"
expect 0 "triangles" tetra.obj -o quiet.png "${small[@]}" -q
grep -q "tracing" out && fail "progress although quiet"

# The picture does not depend on the threads, and every choice shows.
for threads in 1 3; do
  expect 0 "on $threads thread" tetra.obj -o threads.png "${small[@]}" -t $threads
  cmp -s threads.png obj.png || fail "$threads threads give another picture"
done
choices=("--no-shadows" "--bounces 0" "--no-ground" "--light 10,60,1" "--sky 0" "--light-size 0.5" "--normals flat"
  "--shading normals" "--color 0.1,0.2,0.9" "--mirror 1" "--ground-mirror 0.9" "--azimuth 90" "--elevation 40" "--distance 2"
  "--fov 60" "--z-up")
for choice in "${choices[@]}"; do
  # shellcheck disable=SC2086
  expect 0 "triangles" tetra.obj -o choice.png "${small[@]}" $choice
  cmp -s choice.png obj.png && fail "$choice makes no difference"
done

finish
