#!/usr/bin/env bash
# What running the analyses through Slurm costs, against running them on this
# machine. The problem of bench/analysis_common.sh, f and g from
# bench/analysis_model.c, no [slurm] table (so poll_interval is its default,
# 2 s), a fresh database and work folder for every run.
#
# 1. Speed-up of a whole search: the problem with VARIABLES variables (the
#    last one integer), central differences, one root start point (so that
#    the slow analysis stays affordable: about 100 evaluations at the
#    defaults, in batches of 2 × (VARIABLES - 1) gradient points and single
#    line-search points), at most MAX_NODES subtasks, solved with each executor (local;
#    slurm-steps inside `salloc --ntasks=TASKS`; slurm-jobs from outside any
#    allocation) at each --jobs value, for an analysis that returns at once
#    (SHORT seconds, the cost of each path per evaluation) and a slow one
#    (SLOW seconds, wall time without CPU, so concurrency shows on any
#    machine). Checks that every run of an analysis evaluates the same number
#    of designs and ends at the same objective, and prints a Markdown table:
#    wall time, evaluations run, wall time per evaluation, speed-up against
#    the same executor at --jobs 1 and wall time against local at the same
#    --jobs.
# 2. What 1,000 evaluations cost the controller: a search of about a
#    thousand evaluations (CONTROLLER_VARIABLES variables, the optimizer's
#    defaults, at most CONTROLLER_NODES subtasks, the short analysis, --jobs
#    CONTROLLER_JOBS) in each Slurm mode, with slurmctld's statistics reset
#    before (sdiag --reset) and read after: its remote procedure calls by type, and its CPU time
#    (utime + stime of /proc/PID/stat). Prints the evaluations, submissions
#    (sbatch calls, or job steps), squeue polls (discrete's report), the
#    controller's RPCs in all and per evaluation and its CPU milliseconds per
#    1,000 evaluations (beside its CPU time per second when idle), then the
#    RPCs by type per 1,000 evaluations. Warns
#    when the counts show that another client used the controller meanwhile.
#
# Needs root (sdiag --reset) and a running Slurm whose node has TASKS CPUs
# (as root: scripts/slurm-cluster start). Build first:
#   cmake --preset release && cmake --build --preset release -j2 --target discrete Discrete
# Usage: bench/slurm_executors.sh [path of discrete]
#   (SHORT=0, SLOW=2, VARIABLES=2, MAX_NODES=1, JOBS="1 4 16", TASKS=16,
#    CONTROLLER_VARIABLES=8, CONTROLLER_NODES=1, CONTROLLER_JOBS=16)
set -euo pipefail
real_program=$(realpath "${1:-$(dirname "$0")/../build/release/runner/discrete}")
program=$real_program
cd "$(dirname "$0")/.."
read -r -a pauses <<< "${SHORT:-0} ${SLOW:-2}"
variables=${VARIABLES:-2}
max_nodes=${MAX_NODES:-1}
read -r -a job_counts <<< "${JOBS:-1 4 16}"
tasks=${TASKS:-16}
controller_variables=${CONTROLLER_VARIABLES:-8}
controller_nodes=${CONTROLLER_NODES:-1}
controller_jobs=${CONTROLLER_JOBS:-16}
executors=(local slurm-steps slurm-jobs)
work=$(mktemp -d /tmp/slurm_executors.XXXXXX)
trap 'rm -rf "$work"' EXIT
source bench/analysis_common.sh

if ((EUID != 0)); then
  echo "slurm_executors.sh: needs root (sdiag --reset)" >&2
  exit 1
fi
if ! sinfo -h -o '%t' 2> /dev/null | grep -qE '^(idle|mix|alloc)'; then
  echo "slurm_executors.sh: no Slurm node is up (as root: scripts/slurm-cluster start)" >&2
  exit 1
fi

build_model
# discrete inside an allocation of TASKS tasks, for slurm-steps.
printf '#!/bin/bash\nexec salloc --ntasks=%d --quiet %q "$@"\n' "$tasks" "$real_program" \
  > "$work/in_allocation"
chmod +x "$work/in_allocation"

# write_problem FILE VARIABLES SECONDS [OPTIMIZER KEY...]: the model problem,
# its analysis sleeping SECONDS, with the lines given in [optimizer].
write_problem() {
  local file=$1 count=$2 pause=$3
  shift 3
  {
    model_problem slurm "$count" "$work/analysis_model" "$pause"
    echo '[optimizer]'
    printf '%s\n' "$@"
  } > "$file"
}

# solve KEY PROBLEM EXECUTOR JOBS MAX_NODES: one search with a fresh database
# and work folder; keeps its wall time and the report's figures under KEY.
# Stops the script when an evaluation failed.
declare -A wall evaluations served subtasks objective arrays polls
solve() {
  local key=$1 problem=$2 executor=$3 jobs=$4 nodes=$5
  local program=$real_program
  [[ $executor == slurm-steps ]] && program=$work/in_allocation
  rm -rf "$work"/run.db* "$work"/run.work "$work"/run.log
  wall[$key]=$(timed_solve "$problem" "$work/run.db" "$work/report.txt" \
    --executor "$executor" --jobs "$jobs" --max-nodes "$nodes")
  evaluations[$key]=$(report_number "$work/report.txt" run)
  served[$key]=$(report_number "$work/report.txt" served)
  subtasks[$key]=$(report_number "$work/report.txt" subtasks)
  objective[$key]=$(report_number "$work/report.txt" objective)
  arrays[$key]=$(sed -n 's/^Slurm: \([0-9]*\) job arrays submitted, .*/\1/p' "$work/report.txt")
  polls[$key]=$(sed -n 's/^Slurm: .*, \([0-9]*\) queue polls$/\1/p' "$work/report.txt")
  if (($(report_number "$work/report.txt" failed) != 0)); then
    echo "evaluations failed with --executor $executor --jobs $jobs:" >&2
    cat "$work/report.txt" >&2
    exit 1
  fi
}

# 1. Speed-up of a whole search.
for pause in "${pauses[@]}"; do
  write_problem "$work/speed.toml" "$variables" "$pause" 'root_starts = 1'
  first=""
  same=yes
  for executor in "${executors[@]}"; do
    for jobs in "${job_counts[@]}"; do
      key=$pause,$executor,$jobs
      solve "$key" "$work/speed.toml" "$executor" "$jobs" "$max_nodes"
      first=${first:-$key}
      [[ ${evaluations[$key]} == "${evaluations[$first]}" && ${served[$key]} == "${served[$first]}" &&
        ${subtasks[$key]} == "${subtasks[$first]}" && ${objective[$key]} == "${objective[$first]}" ]] || same=no
    done
  done
  echo "**Analysis sleeping $pause s** ($((variables - 1)) continuous variables and z, --max-nodes $max_nodes)."
  echo "Check: every run solved ${subtasks[$first]} subtasks, ran ${evaluations[$first]} evaluations" \
    "(${served[$first]} more served from the database) and reached objective ${objective[$first]}: $same"
  echo
  echo "| Executor | --jobs | Wall time (s) | Evaluations | Wall per evaluation (ms) | Speed-up against --jobs ${job_counts[0]} | Against local |"
  echo "|---|---:|---:|---:|---:|---:|---:|"
  for executor in "${executors[@]}"; do
    for jobs in "${job_counts[@]}"; do
      key=$pause,$executor,$jobs
      awk -v executor="$executor" -v jobs="$jobs" -v wall="${wall[$key]}" -v count="${evaluations[$key]}" \
        -v base="${wall[$pause,$executor,${job_counts[0]}]}" -v on_local="${wall[$pause,local,$jobs]}" \
        'BEGIN { printf "| %s | %d | %.1f | %d | %.0f | %.2f | %.2f |\n", executor, jobs, wall / 1e6, count,
                        wall / 1e3 / count, base / wall, wall / on_local }'
    done
  done
  echo
done

# 2. What 1,000 evaluations cost the controller.

# controller_ticks: slurmctld's CPU time so far, in clock ticks.
controller_ticks() {
  awk '{ print $14 + $15 }' "/proc/$(pgrep -x slurmctld)/stat"
}

# rpc_counts: "TYPE COUNT" for each message type in sdiag's statistics.
rpc_counts() {
  sdiag | awk '/^Remote Procedure Call statistics by message type/ { on = 1; next }
               /^Remote Procedure Call statistics by user/ { on = 0 }
               on && /count:/ { count = $0; sub(/.*count:/, "", count); split(count, fields, " ")
                                print $1, fields[1] }'
}

# The controller's own background work, for comparison: its CPU time over a
# few idle seconds.
idle_seconds=10
before=$(controller_ticks)
sleep "$idle_seconds"
idle_ms_per_s=$(awk -v ticks="$(($(controller_ticks) - before))" -v hz="$(getconf CLK_TCK)" \
  -v seconds="$idle_seconds" 'BEGIN { printf "%.1f", ticks * 1000 / hz / seconds }')

write_problem "$work/controller.toml" "$controller_variables" "${pauses[0]}"
declare -A rpcs rpc_total cpu_ms
modes=(slurm-steps slurm-jobs)
for mode in "${modes[@]}"; do
  if [[ -n $(squeue -h) ]]; then
    echo "Warning: the queue holds other jobs before the $mode run; the controller's figures include them." >&2
  fi
  sdiag --reset > /dev/null
  before=$(controller_ticks)
  solve "$mode" "$work/controller.toml" "$mode" "$controller_jobs" "$controller_nodes"
  sleep 3 # the last jobs' completion messages reach the controller after discrete ends
  after=$(controller_ticks)
  cpu_ms[$mode]=$(awk -v ticks="$((after - before))" -v hz="$(getconf CLK_TCK)" 'BEGIN { print ticks * 1000 / hz }')
  rpc_total[$mode]=0
  while read -r type count; do
    rpcs[$mode,$type]=$count
    rpc_total[$mode]=$((rpc_total[$mode] + count))
  done < <(rpc_counts)
  submitted=${rpcs[$mode,REQUEST_SUBMIT_BATCH_JOB]:-0}
  expected=${arrays[$mode]:-0}
  if ((submitted != expected)); then
    echo "Warning: the controller saw $submitted batch submissions during the $mode run, discrete made" \
      "$expected: another client used it meanwhile." >&2
  fi
done

echo "**What 1,000 evaluations cost the controller** ($((controller_variables - 1)) continuous variables" \
  "and z, --max-nodes $controller_nodes, --jobs $controller_jobs, analysis sleeping ${pauses[0]} s)."
echo "Idle, the controller used $idle_ms_per_s ms of CPU per second."
echo
echo "| Mode | Wall time (s) | Evaluations | Submissions | squeue polls | Controller RPCs | RPCs per evaluation | Controller CPU ms per 1,000 evaluations |"
echo "|---|---:|---:|---:|---:|---:|---:|---:|"
for mode in "${modes[@]}"; do
  if [[ $mode == slurm-steps ]]; then
    submissions="${evaluations[$mode]} job steps"
  else
    submissions="${arrays[$mode]} arrays"
  fi
  awk -v mode="$mode" -v wall="${wall[$mode]}" -v count="${evaluations[$mode]}" -v submissions="$submissions" \
    -v polls="${polls[$mode]:-0}" -v total="${rpc_total[$mode]}" -v cpu="${cpu_ms[$mode]}" \
    'BEGIN { printf "| %s | %.1f | %d | %s | %d | %d | %.2f | %.0f |\n", mode, wall / 1e6, count, submissions,
                    polls, total,
                    total / count, cpu * 1000 / count }'
done
echo
echo "Controller RPCs by type, per 1,000 evaluations:"
echo
echo "| RPC type | ${modes[0]} | ${modes[1]} |"
echo "|---|---:|---:|"
mapfile -t types < <(for key in "${!rpcs[@]}"; do echo "${key#*,} ${rpcs[$key]}"; done |
  awk '{ sum[$1] += $2 } END { for (type in sum) print sum[type], type }' | sort -k1,1nr -k2 | cut -d' ' -f2)
for type in "${types[@]}"; do
  row="| $type"
  for mode in "${modes[@]}"; do
    row+=$(awk -v count="${rpcs[$mode,$type]:-0}" -v evaluations="${evaluations[$mode]}" \
      'BEGIN { printf " | %.0f", count * 1000 / evaluations }')
  done
  echo "$row |"
done
