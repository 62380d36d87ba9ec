#!/usr/bin/env bash
# Tests zypr-irradiance as its user meets it: irradiance_test.sh PROGRAM
source "$(dirname "$0")/../support/program_test.sh"

makeTetrahedron
small=(-W 70 -H 50 -s 2)

# Usage.
expect 0 "--panorama" --help
expect 2 "MESH" -o out.png
expect 2 "--output" tetra.obj
for order in 1 9; do expect 2 "--order" tetra.obj -o out.png --order $order; done

# Inputs that cannot be used; a picture that is there stays as it is.
echo precious >kept.png
expect 1 "missing.obj" missing.obj -o kept.png
echo 'no picture' >noise.png
expect 1 "noise.png: cannot read the picture" tetra.obj -o kept.png --panorama noise.png
expect 1 "missing.png: cannot read the picture" tetra.obj -o kept.png --panorama missing.png
expect 1 "cannot write the picture" tetra.obj -o missing/picture.png
expect 1 "cannot write the picture" tetra.obj -o kept.png --strip missing/strip.png
[ "$(cat kept.png)" = precious ] || fail "a failed run changed the picture"
onlyThere kept.png

# Pictures.
expect 0 "lit by 5 bands" tetra.obj -o lit.png --strip strip.png "${small[@]}"
grep -q "lighting 100" out || fail "no progress"
equal "size of lit.png" "$(pngSize lit.png)" 70x50
equal "size of strip.png" "$(pngSize strip.png)" 1962x246
expect 0 "lit by 5 bands" tetra.obj -o again.png "${small[@]}" -q
cmp -s lit.png again.png || fail "a second run gives another picture"
grep -q "lighting" out && fail "progress although quiet"
for threads in 1 3; do
  expect 0 "on $threads thread" tetra.obj -o threads.png "${small[@]}" -t $threads
  cmp -s lit.png threads.png || fail "$threads threads give another picture"
done
expect 0 "lit by 3 bands" tetra.obj -o panorama.png "${small[@]}" --panorama strip.png --order 2
choices=("--order 2" "--exposure 0.5" "--azimuth 90" "--elevation 40" "--distance 2" "--fov 60" "--albedo 0.3")
for choice in "${choices[@]}"; do
  # shellcheck disable=SC2086
  expect 0 "triangles" tetra.obj -o choice.png "${small[@]}" $choice
  cmp -s choice.png lit.png && fail "$choice makes no difference"
done

finish
