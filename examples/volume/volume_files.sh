# Sourced by the tests of zypr-volume after program_test.sh: makes volumes byte by byte, and looks into them.

# littleEndian BYTES VALUE
littleEndian() {
  local i byte
  for ((i = 0; i < $1; ++i)); do
    printf -v byte '\\x%02x' $(($2 >> 8 * i & 255))
    # shellcheck disable=SC2059
    printf "$byte"
  done
}
zeros() { head -c "$1" /dev/zero; }
# float WHOLE_NUMBER: its bits
float() {
  local sign=$(($1 < 0)) v=${1#-} exponent=0
  [ "$v" -eq 0 ] && { zeros 4; return; }
  while ((v >> exponent > 1)); do exponent=$((exponent + 1)); done
  littleEndian 4 $((sign << 31 | 127 + exponent << 23 | (v << 23 >> exponent) - (1 << 23)))
}

# header WIDTH HEIGHT DEPTH DATATYPE BITS: 352 bytes; voxels 2 x 2 x 4, voxel (0, 0, 0) at (-10, 0, 4), unless the variables
# slope, intercept, vectors (the number of dimension 5), intent, spacing, qform and sform say otherwise.
header() {
  littleEndian 4 348; zeros 36
  for value in $((${vectors:-1} > 1 ? 5 : 3)) "$1" "$2" "$3" 1 "${vectors:-1}" 1 1; do littleEndian 2 "$value"; done
  zeros 12; littleEndian 2 "${intent:-0}"; littleEndian 2 "$4"; littleEndian 2 "$5"; zeros 2
  for value in 1 ${spacing:-2 2 4} 0 0 0 0; do float "$value"; done                    # qfac and spacings
  float 352; float "${slope:-1}"; float "${intercept:-0}"; zeros 132                   # up to qform_code
  littleEndian 2 1; littleEndian 2 1                                                   # qform_code, sform_code
  for value in ${qform:-0 0 0 -10 0 4}; do float "$value"; done
  for value in ${sform:-2 0 0 -10 0 2 0 0 0 0 4 4}; do float "$value"; done
  zeros 16; printf 'n+1\0'; zeros 4
}
# voxels WIDTH HEIGHT DEPTH BYTES EXPRESSION: whole numbers, from an expression in x, y and z
voxels() {
  local x y z
  for ((z = 0; z < $3; ++z)); do
    for ((y = 0; y < $2; ++y)); do
      for ((x = 0; x < $1; ++x)); do littleEndian "$4" $(($5)); done
    done
  done
}
# byteVolume WIDTH HEIGHT DEPTH EXPRESSION
byteVolume() { header "$1" "$2" "$3" 2 8; voxels "$1" "$2" "$3" 1 "$4"; }

# value FILE FORMAT OFFSET BYTES: numbers out of a file, as od prints them
value() {
  gzip -dcf "$1" | tail -c +$(($3 + 1)) | od -An -v -t"$2" -N"$4" | tr -s ' ' | sed 's/^ //;s/ $//' | tr '\n' ' ' | sed 's/ $//'
}
extents() { value "$1" d2 40 8; }
spacings() { value "$1" f4 80 12; }
sform() { value "$1" f4 280 48; }
# sameVoxels WHAT FILE FILE: the bytes behind the headers
sameVoxels() { cmp -s <(gzip -dcf "$2" | tail -c +353) <(gzip -dcf "$3" | tail -c +353) || fail "$1: other voxels"; }
isPng() { equal "what $1 begins with" "$(head -c 4 "$1" | od -An -tx1 | tr -d ' ')" 89504e47; }

succeeds() { expect 0 "voxels per second" "$@" -q; }
# refuses STATUS TEXT ARGUMENTS...: as expect does, and no result is left
refuses() {
  rm -f result.nii*
  expect "$@"
  nothingThere result.nii
}
