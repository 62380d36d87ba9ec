#!/usr/bin/env bash
# Runs the example programs on real data and leaves their pictures: scripts/demo.sh BIN_DIR OUTPUT_DIR
set -euo pipefail
bin=$1 output=$2
bunny=/usr/share/glmark2/models/bunny.obj
head=/usr/share/mricron/templates/ch2better.nii.gz
mkdir -p "$output"

step() { printf '\n== %s\n' "$1"; }

step "A mesh of 70 thousand triangles: soft shadows, a mirror floor"
"$bin/zypr-render" "$bunny" -o "$output/bunny.png" -W 960 -H 720 -s 32
step "The same with flat normals"
"$bin/zypr-render" "$bunny" -o "$output/bunny-flat.png" -W 960 -H 720 -s 25 --normals flat --mirror 0 \
  --color 0.30,0.34,0.38 --distance 2.75 --azimuth -28 --elevation 12
step "Its normals as colours"
"$bin/zypr-render" "$bunny" -o "$output/bunny-normals.png" -W 800 -H 600 -s 16 --shading normals --azimuth 40
step "Lit by an environment, through spherical harmonics"
"$bin/zypr-irradiance" "$bunny" -o "$output/irradiance.png" --strip "$output/environment.png"
step "An MRI head, enlarged"
"$bin/zypr-volume" resize "$head" -o "$output/head-enlarged.nii.gz" --scale 1.5 -i catmull-rom --preview "$output/head-enlarged.png"
step "The head, turned, and smaller"
"$bin/zypr-volume" warp "$head" -o "$output/head-rotated.nii.gz" --rotate -12,18,25 --scale 0.9 -i catmull-rom \
  --preview "$output/head-rotated.png"
step "The head, swirled by a field of displacements"
"$bin/zypr-volume" remap "$head" -o "$output/head-swirled.nii.gz" --swirl 120 -i catmull-rom \
  --preview "$output/head-swirled.png"
step "The head, smoothed and sharpened"
"$bin/zypr-volume" filter "$head" -o "$output/head-smooth.nii.gz" -k gaussian --preview "$output/head-smooth.png"
"$bin/zypr-volume" filter "$head" -o "$output/head-sharp.nii.gz" -k sharpen --preview "$output/head-sharp.png"

printf '\nPictures:\n'
ls -1 "$output"/*.png
