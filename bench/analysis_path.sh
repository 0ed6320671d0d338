#!/usr/bin/env bash
# What an evaluation by an analysis program costs against the same responses
# as expressions. One small problem (bench/analysis_common.sh: 2 continuous
# variables and one integer, a quadratic objective, a sphere constraint, one
# root start point) is solved with --jobs 1 four ways: f and g as equations,
# and f and g from an analysis program written in C (bench/analysis_model.c,
# compiled here: the floor of the path, a process that does almost nothing),
# in awk (a /bin/sh script that execs awk) and in Python (PYTHON, default
# /usr/bin/python3). Every run reaches the same design by the same steps (the
# programs compute f and g to the last bit as the expressions do); the script
# checks that and prints a Markdown table, medians of RUNS runs, each with a
# fresh database:
#   - the wall time of the whole program run, and the time solving tasks (the
#     report's "optimiser" time: without start-up and the database file);
#   - the expression path's solving time per analysis;
#   - a program path's solving time beyond the expression path's, per
#     evaluation run; of it the try as the runner times it (folder, process
#     start, exchange, the program's own run, clean-up; column `seconds` of
#     table `evaluations`), and the rest: the lookup and the store;
#   - a second run of the same problem on the same database, every
#     evaluation served from table `evaluations`: its solving time beyond the
#     expression path's, per served evaluation.
# Build first:
#   cmake --preset release && cmake --build --preset release -j2 --target discrete Discrete
# Usage: bench/analysis_path.sh [path of discrete]   (RUNS=3, VARIABLES=3)
set -euo pipefail
program=$(realpath "${1:-$(dirname "$0")/../build/release/runner/discrete}")
cd "$(dirname "$0")/.."
runs=${RUNS:-3}
variables=${VARIABLES:-3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source bench/analysis_common.sh

build_model
cat > "$work/analysis_model.sh" << 'EOF'
#!/bin/sh
# bench/analysis_model.c in awk
exec awk -v output="$DISCRETE_OUTPUT" '
  { text = text $0 }
  END {
    count = split(text, pieces, ":")
    f = 0; g = 0
    for (i = 2; i <= count; ++i) {
      value = pieces[i] + 0
      difference = value - (1 + 0.25 * (i - 2))
      f += difference * difference
      g += value * value
    }
    printf "{\"f\": %.17g, \"g\": %.17g}\n", f, g > output
  }' "$DISCRETE_INPUT"
EOF
cat > "$work/analysis_model.py" << 'EOF'
"""bench/analysis_model.c in Python."""
import json
import os

with open(os.environ["DISCRETE_INPUT"]) as source:
    values = list(json.load(source).values())
f = 0.0
g = 0.0
for index, value in enumerate(values):
    difference = value - (1 + 0.25 * index)
    f += difference * difference
    g += value * value
with open(os.environ["DISCRETE_OUTPUT"], "w") as target:
    json.dump({"f": f, "g": g}, target)
EOF
chmod +x "$work/analysis_model.sh"
python=${PYTHON:-/usr/bin/python3}

# path_problem PATH [COMMAND...]: writes $work/PATH.toml.
path_problem() {
  local path=$1
  shift
  {
    model_problem "path_$path" "$variables" "$@"
    echo '[optimizer]'
    echo 'root_starts = 1'
  } > "$work/$path.toml"
}
paths=(expressions c awk python)
path_problem expressions
path_problem c "$work/analysis_model"
path_problem awk "$work/analysis_model.sh"
path_problem python "$python" "$work/analysis_model.py"

# Per path, medians over the runs: wall (µs), solve (s: solving tasks, the
# report's "optimiser" time), tries (s: the programs' tries as the runner
# timed them), served_solve (s: solving tasks in the run served from the
# database); and the counts of the last run.
declare -A wall solve tries served_solve analyses evaluations served objective
for path in "${paths[@]}"; do
  walls=() solves=() try_sums=() served_solves=()
  for ((run = 1; run <= runs; ++run)); do
    rm -rf "$work"/*.db* "$work"/*.log "$work"/*.work
    walls+=("$(timed_solve "$work/$path.toml" "$work/$path.db" "$work/$path.txt" --jobs 1)")
    solves+=("$(report_number "$work/$path.txt" solver)")
    [[ $path == expressions ]] && continue
    try_sums+=("$(evaluation_seconds "$work/$path.db")")
    timed_solve "$work/$path.toml" "$work/$path.db" "$work/$path-served.txt" --jobs 1 > /dev/null
    if (($(report_number "$work/$path-served.txt" run) != 0)); then
      echo "the second run of $path ran programs instead of reading the database" >&2
      exit 1
    fi
    served_solves+=("$(report_number "$work/$path-served.txt" solver)")
    served[$path]=$(report_number "$work/$path-served.txt" served)
  done
  wall[$path]=$(median "${walls[@]}")
  solve[$path]=$(median "${solves[@]}")
  if [[ $path != expressions ]]; then
    tries[$path]=$(median "${try_sums[@]}")
    served_solve[$path]=$(median "${served_solves[@]}")
  fi
  analyses[$path]=$(report_number "$work/$path.txt" analyses)
  evaluations[$path]=$(report_number "$work/$path.txt" run)
  objective[$path]=$(report_number "$work/$path.txt" objective)
  if (($(report_number "$work/$path.txt" failed) != 0)); then
    echo "evaluations of $path failed:" >&2
    cat "$work/$path.txt" >&2
    exit 1
  fi
done

same=yes
for path in "${paths[@]}"; do
  [[ ${analyses[$path]} == "${analyses[expressions]}" && ${objective[$path]} == "${objective[expressions]}" ]] || same=no
done
echo "Check: every path made ${analyses[expressions]} analyses and reached objective ${objective[expressions]}: $same"
for path in "${paths[@]:1}"; do
  echo "  $path: ${analyses[$path]} analyses, objective ${objective[$path]}, ${evaluations[$path]} evaluations run, then ${served[$path]} served"
done
echo
echo "Medians of $runs runs. Per evaluation: the time solving tasks beyond the expression path's, over the evaluations run (served: over those served)."
echo
echo "| Path | Wall time (ms) | Solving tasks (ms) | Evaluations | µs per evaluation | of it the program's try (µs) | the rest (µs) | Served run, solving tasks (ms) | µs per served evaluation |"
echo "|---|---:|---:|---:|---:|---:|---:|---:|---:|"
awk -v wall="${wall[expressions]}" -v solve="${solve[expressions]}" -v count="${analyses[expressions]}" \
  'BEGIN { printf "| expressions | %.0f | %.0f | %d analyses | %.2f per analysis | - | - | - | - |\n",
           wall / 1000, solve * 1000, count, solve * 1e6 / count }'
for path in "${paths[@]:1}"; do
  awk -v path="$path" -v wall="${wall[$path]}" -v solve="${solve[$path]}" -v base="${solve[expressions]}" \
    -v count="${evaluations[$path]}" -v tries="${tries[$path]}" -v servedSolve="${served_solve[$path]}" \
    -v servedCount="${served[$path]}" \
    'BEGIN { each = (solve - base) * 1e6 / count; try = tries * 1e6 / count
             printf "| %s | %.0f | %.0f | %d run | %.0f | %.0f | %.0f | %.1f | %.1f |\n", path, wall / 1000,
                    solve * 1000, count, each, try, each - try, servedSolve * 1000,
                    (servedSolve - base) * 1e6 / servedCount }'
done
