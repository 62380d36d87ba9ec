# Sourced by the programs' tests, whose first argument is the program: works in a directory of its own, which disappears.
set -uo pipefail
program=$(realpath "$1")
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory" || exit 1
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
# equal WHAT ACTUAL EXPECTED
equal() { [ "$2" = "$3" ] || fail "$1: '$2', expected '$3'"; }
# onlyThere FILE, nothingThere FILE: no other file, or no file at all, whose name begins so
onlyThere() { equal "files beside $1" "$(compgen -G "$1*")" "$1"; }
nothingThere() { equal "files left" "$(compgen -G "$1*")" ""; }
# pngSize FILE: the width and height in its header.
pngSize() { od -An -j16 -N8 -tu1 "$1" | awk '{ print $3 * 256 + $4 "x" $7 * 256 + $8 }'; }

# makeTetrahedron: the smallest solid mesh, tetra.obj
makeTetrahedron() {
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
}

finish() {
  [ $failures -eq 0 ] && echo "all passed"
  exit $((failures > 0))
}
