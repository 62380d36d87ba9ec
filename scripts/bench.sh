#!/usr/bin/env bash
# Runs every benchmark program of BIN_DIR and keeps what it printed: scripts/bench.sh BIN_DIR OUTPUT_DIR
# Google Benchmark programs are named bench_*, comparisons with other libraries *_vs_*.
set -euo pipefail
bin=$1 output=$2
mkdir -p "$output"
for program in "$bin"/bench_* "$bin"/*_vs_*; do
  [ -x "$program" ] || continue
  name=$(basename "$program")
  echo "== $name"
  case $name in
    bench_*) "$program" --benchmark_out="$output/$name.json" --benchmark_out_format=json | tee "$output/$name.txt" ;;
    *) "$program" | tee "$output/$name.txt" ;;
  esac
done
