#!/usr/bin/env bash
# Installs what a job needs from Debian's packages: scripts/setup.sh build|demo|test|bench|coverage...
# Does nothing when everything is there; without root it names what is missing and stops.
set -euo pipefail

build=(g++ cmake ninja-build make)
demo=("${build[@]}" libassimp-dev libcli11-dev libpng-dev libnifti-dev zlib1g-dev glmark2-data mricron-data)
test=("${demo[@]}" libgtest-dev clang clang-format libomp-dev libclang-rt-dev pkg-config binutils qemu-user)
bench=("${demo[@]}" libbenchmark-dev libembree-dev libopencv-dev libinsighttoolkit5-dev libvtk9-dev
  python3 python3-numpy python3-scipy python3-skimage)
coverage=("${test[@]}" gcovr)

wanted=()
for job in "$@"; do
  case $job in
    build | demo | test | bench | coverage) declare -n group=$job; wanted+=("${group[@]}") ;;
    *) echo "usage: $0 build|demo|test|bench|coverage..." >&2; exit 2 ;;
  esac
done

missing=()
for package in "${wanted[@]}"; do
  grep -qx installed <<<"$(dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null)" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0
mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)

if [ "$(id -u)" -ne 0 ]; then
  echo "These packages are missing, and installing them needs root:" >&2
  echo "  sudo apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
