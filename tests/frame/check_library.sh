#!/usr/bin/env bash
# What the built library shows to the outside: check_library.sh LIBRARY EXPORTS_INC
set -euo pipefail
library=$1
exports=$2
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

expected=$(sed -n 's/^ZYPR_EXPORT(\(.*\))$/\1@@ZYPR_7.1/p' "$exports" | LC_ALL=C sort)
actual=$(nm -D --defined-only "$library" | awk '$2 == "T" || $2 == "D" || $2 == "R" || $2 == "B" || $2 == "W" { print $3 }' | LC_ALL=C sort)
[ "$(wc -l <<<"$expected")" -eq 52 ] || fail "the list does not name 52 exports"
[ "$expected" = "$actual" ] || fail "the exports differ from the list: $(diff <(echo "$expected") <(echo "$actual") | tr '\n' ' ')"

dynamic=$(readelf -dW "$library")
grep -q 'SONAME.*\[libzyprl9\.so\.7\.1\]' <<<"$dynamic" || fail "the soname is not libzyprl9.so.7.1"
needed=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic")
for name in $needed; do
  case $name in
    libc.so.* | libm.so.* | libgomp.so.* | libomp.so.* | libomp5.so* | libzypcore.so.7.1 | ld-linux*) ;;
    *) fail "it needs $name at run time" ;;
  esac
done
grep -q '^libzypcore.so.7.1$' <<<"$needed" || fail "it does not need the core library"

# The table lies in memory that is read-only once the image is relocated.
grep -q '\.data\.rel\.ro' <<<"$(readelf -SW "$library")" || fail "there is no relocation-read-only data"
grep -q 'GNU_RELRO' <<<"$(readelf -lW "$library")" || fail "relocations are not protected"
section=$(readelf -sW "$library" | awk '$8 == "zyprDispatchTable" { print $7 }')
name=$(readelf -SW "$library" | awk -v n="$section" '{ gsub(/[\[\]]/, " "); if ($1 == n) print $2 }')
[ "$name" = .data.rel.ro ] || fail "the dispatch table lies in '$name'"

# Only the load hook runs at load, and it uses no instruction that an older processor lacks.
! grep -q '_GLOBAL__sub_I' <<<"$(nm "$library")" || fail "there are static initialisers"
for function in zyprLoadHook _ZN12_GLOBAL__N_16onLoadEv; do
  code=$(objdump -d --no-show-raw-insn --disassemble=$function "$library")
  grep -q "<$function>:" <<<"$code" || fail "$function is not there"
  ! grep -E '%[yz]mm|\sv[a-z0-9]+ ' <<<"$code" || fail "$function uses vector instructions"
done

[ $failures -eq 0 ] && echo "library as expected: 52 exports, needs $(tr '\n' ' ' <<<"$needed")"
exit $((failures > 0))
