#!/usr/bin/env bash
# Tests zypr-irradiance as its user meets it: irradiance_test.sh PROGRAM
set -u
program=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
failures=0

fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# expect STATUS TEXT ARGUMENTS...: the program's status, and a text that its output or messages hold.
expect() {
  local status=$1 text=$2
  shift 2
  "$program" "$@" >out 2>&1
  local actual=$?
  [ $actual -eq "$status" ] || fail "status $actual, not $status, from: $*: $(cat out)"
  grep -qF -- "$text" out || fail "no '$text' from: $*: $(cat out)"
}
# pngSize FILE: the width and height in its header.
pngSize() { od -An -j16 -N8 -tu1 "$1" | awk '{ print $3 * 256 + $4 "x" $7 * 256 + $8 }'; }

cat >tetra.obj <<'MESH'
v 0 0 0
v 1 0 0
v 0 0 1
v 0.2 1 0.2
f 1 2 3
f 1 4 2
f 2 4 3
f 3 4 1
MESH
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
[ "$(ls -d kept.png*)" = kept.png ] || fail "a failed run left files"

# Pictures.
expect 0 "lit by 5 bands" tetra.obj -o lit.png --strip strip.png "${small[@]}"
grep -q "lighting 100" out || fail "no progress"
[ "$(pngSize lit.png)" = 70x50 ] || fail "the picture is $(pngSize lit.png)"
[ "$(pngSize strip.png)" = 1962x246 ] || fail "the strip is $(pngSize strip.png)"
expect 0 "lit by 5 bands" tetra.obj -o again.png "${small[@]}" -q
cmp -s lit.png again.png || fail "a second run gives another picture"
grep -q "lighting" out && fail "progress although quiet"
expect 0 "lit by 3 bands" tetra.obj -o panorama.png "${small[@]}" --panorama strip.png --order 2
choices=("--order 2" "--exposure 0.5" "--azimuth 90" "--elevation 40" "--distance 2" "--fov 60" "--albedo 0.3")
for choice in "${choices[@]}"; do
  # shellcheck disable=SC2086
  expect 0 "triangles" tetra.obj -o choice.png "${small[@]}" $choice
  cmp -s choice.png lit.png && fail "$choice makes no difference"
done

[ $failures -eq 0 ] && echo "all passed"
exit $((failures > 0))
