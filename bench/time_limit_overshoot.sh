#!/usr/bin/env bash
# How far past its --time-limit a run of `discrete solve` goes. The problem
# is made so that the root's continuous solve alone would take far longer than
# any limit: many variables (each gradient is two analyses per variable), an
# expensive objective and stopping tolerances of 0. Prints a Markdown table of
# the limit, the wall time of the whole program run (start-up, database and
# report included) and the overshoot, the median of RUNS runs each. Build first:
#   cmake --preset release && cmake --build --preset release -j2 --target discrete
set -euo pipefail
cd "$(dirname "$0")/.."
program="${PROGRAM:-$PWD/build/release/runner/discrete}"
runs=${RUNS:-3}
variables=${VARIABLES:-300}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

{
  echo 'name = "slow_root"'
  printf 'objective = """'
  for ((i = 0; i < variables; ++i)); do printf ' + (x%d - %d.37)^2 * (1.5 + sin(x%d))' "$i" "$((i % 7))" "$i"; done
  echo '"""'
  echo 'variables.n = { kind = "integer", lower = 0, upper = 9 }'
  for ((i = 0; i < variables; ++i)); do echo "variables.x$i = { lower = -10, upper = 10 }"; done
  echo '[optimizer]'
  echo 'max_evaluations = 1000000000'
  echo 'x_tolerance = 0'
  echo 'f_tolerance = 0'
} > "$work/slow_root.toml"

echo "| Time limit (s) | Wall time (s, median of $runs) | Overshoot (s) |"
echo "|---|---|---|"
for limit in 0.5 1 2 5; do
  times=()
  for ((run = 1; run <= runs; ++run)); do
    rm -f "$work"/*.db "$work"/*.log
    start=$(date +%s%N)
    "$program" solve "$work/slow_root.toml" --quiet --db "$work/run.db" --time-limit "$limit" > /dev/null || true
    end=$(date +%s%N)
    times+=("$(((end - start) / 1000000))")
  done
  median=$(printf '%s\n' "${times[@]}" | sort -g | sed -n "$(((runs + 1) / 2))p")
  awk -v limit="$limit" -v ms="$median" 'BEGIN { printf "| %s | %.3f | %.3f |\n", limit, ms / 1000, ms / 1000 - limit }'
done
