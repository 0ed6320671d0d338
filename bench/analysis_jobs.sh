#!/usr/bin/env bash
# How a whole search with a slow analysis program speeds up with --jobs. The
# problem of bench/analysis_common.sh with 8 continuous variables and one
# integer, central differences (18 points per Jacobian, evaluated together),
# stopping tolerances of 1e-6 (design) and 1e-8 (objective), ROOT_STARTS start
# points of the root (default 1; 4 evaluates four start points together but
# takes 2.3 times the evaluations), f and g from
# bench/analysis_model.c sleeping SLEEP seconds per evaluation, so that the
# evaluations cost wall time but no CPU and concurrency shows on any
# machine. Runs the same search (at most MAX_NODES subtasks) with each
# --jobs value, a fresh database each, checks that every run evaluates the
# same designs and ends at the same design, and prints a Markdown table:
# wall time, evaluations run, speed-up against --jobs 1, parallel efficiency
# (speed-up / min(jobs, 18), 18 being the largest batch a Jacobian offers),
# the speed-up the batches allow (each Jacobian's 18 points in
# ceil(18 / jobs) rounds, every other analysis alone) and the mean number of
# evaluations in flight (the runner's own timing of each evaluation, summed,
# over the wall time). Build first:
#   cmake --preset release && cmake --build --preset release -j2 --target discrete Discrete
# Usage: bench/analysis_jobs.sh [path of discrete]
#   (SLEEP=0.2, VARIABLES=9, ROOT_STARTS=1, MAX_NODES=4, JOBS="1 2 4 8 16")
set -euo pipefail
program=$(realpath "${1:-$(dirname "$0")/../build/release/runner/discrete}")
cd "$(dirname "$0")/.."
pause=${SLEEP:-0.2}
variables=${VARIABLES:-9}
root_starts=${ROOT_STARTS:-1}
max_nodes=${MAX_NODES:-4}
read -r -a job_counts <<< "${JOBS:-1 2 4 8 16}"
batch=$((2 * variables))
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source bench/analysis_common.sh

build_model
{
  model_problem jobs "$variables" "$work/analysis_model" "$pause"
  echo '[optimizer]'
  echo 'gradient = "central"'
  echo "root_starts = $root_starts"
  echo 'x_tolerance = 1e-6'
  echo 'f_tolerance = 1e-8'
} > "$work/jobs.toml"

declare -A wall evaluations served subtasks objective in_flight analyses gradients
for jobs in "${job_counts[@]}"; do
  rm -rf "$work"/*.db* "$work"/*.log "$work"/*.work
  wall[$jobs]=$(timed_solve "$work/jobs.toml" "$work/jobs.db" "$work/report.txt" --jobs "$jobs" --max-nodes "$max_nodes")
  evaluations[$jobs]=$(report_number "$work/report.txt" run)
  served[$jobs]=$(report_number "$work/report.txt" served)
  subtasks[$jobs]=$(report_number "$work/report.txt" subtasks)
  objective[$jobs]=$(report_number "$work/report.txt" objective)
  analyses[$jobs]=$(report_number "$work/report.txt" analyses)
  gradients[$jobs]=$(report_number "$work/report.txt" gradients)
  in_flight[$jobs]=$(awk -v busy="$(evaluation_seconds "$work/jobs.db")" -v wall="${wall[$jobs]}" \
    'BEGIN { printf "%.1f", busy * 1e6 / wall }')
  if (($(report_number "$work/report.txt" failed) != 0)); then
    echo "evaluations failed with --jobs $jobs:" >&2
    cat "$work/report.txt" >&2
    exit 1
  fi
done

first=${job_counts[0]}
same=yes
for jobs in "${job_counts[@]}"; do
  [[ ${evaluations[$jobs]} == "${evaluations[$first]}" && ${served[$jobs]} == "${served[$first]}" &&
    ${subtasks[$jobs]} == "${subtasks[$first]}" && ${objective[$jobs]} == "${objective[$first]}" ]] || same=no
done
echo "Check: every run solved ${subtasks[$first]} subtasks, ran ${evaluations[$first]} evaluations" \
  "(${served[$first]} more served from the database) and reached objective ${objective[$first]}: $same"
echo
echo "| --jobs | Wall time (s) | Evaluations run | Speed-up | Efficiency | Speed-up the batches allow | Evaluations in flight |"
echo "|---:|---:|---:|---:|---:|---:|---:|"
for jobs in "${job_counts[@]}"; do
  awk -v jobs="$jobs" -v wall="${wall[$jobs]}" -v base="${wall[$first]}" -v count="${evaluations[$jobs]}" \
    -v batch="$batch" -v flight="${in_flight[$jobs]}" -v analyses="${analyses[$jobs]}" \
    -v gradients="${gradients[$jobs]}" \
    'BEGIN { speedup = base / wall; width = jobs < batch ? jobs : batch
             rounds = int((batch + jobs - 1) / jobs)
             alone = analyses - gradients * batch
             allowed = analyses / (gradients * rounds + (alone > 0 ? alone : 0))
             printf "| %d | %.1f | %d | %.2f | %.2f | %.2f | %s |\n", jobs, wall / 1e6, count, speedup,
                    speedup / width, allowed, flight }'
done
