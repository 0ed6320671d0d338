#!/usr/bin/env bash
# Solves every example whose responses are expressions with the release
# build of `discrete`, five times each, and prints a Markdown table: subtasks
# solved, analyses, gradient evaluations and the median wall time of the
# whole program run (start-up, database file and module loading included).
# Build first:
#   cmake --preset release && cmake --build --preset release -j2 --target discrete
# Examples with analysis programs are left out: their time is the programs'
# (minutes for the trusses); bench/analysis_path.sh and analysis_jobs.sh
# measure that path.
set -euo pipefail
cd "$(dirname "$0")/.."
program="$PWD/build/release/runner/discrete"
runs=${RUNS:-5}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "| Example | Subtasks | Analyses | Gradient evaluations | Wall time (median of $runs) |"
echo "|---|---|---|---|---|"
for example in examples/*.toml; do
  name=$(basename "$example" .toml)
  if grep -qE '^(\[analyses\.|analyses\.)' "$example"; then continue; fi
  times=()
  for ((run = 1; run <= runs; ++run)); do
    rm -rf "${work:?}"/*
    start=$(date +%s%N)
    "$program" solve "$example" --quiet --db "$work/$name.db" > "$work/report.txt"
    end=$(date +%s%N)
    times+=("$(((end - start) / 1000000))")
  done
  median=$(printf '%s\n' "${times[@]}" | sort -g | sed -n "$(((runs + 1) / 2))p")
  effort=$(sed -n 's/^Search: \([0-9]*\) subtasks solved, \([0-9]*\) analyses, \([0-9]*\) gradient evaluations.*/\1 | \2 | \3/p' "$work/report.txt")
  printf '| %s | %s | %d ms |\n' "$name" "$effort" "$median"
done
