# shellcheck shell=bash
# shellcheck disable=SC2154  # $program and $work are set by the sourcing script
# Shared by bench/analysis_path.sh and bench/analysis_jobs.sh (sourced, not
# run): the model problem, the analysis program bench/analysis_model.c, and
# running `discrete solve` with a stopwatch. Expects $program (the discrete
# binary) and $work (a scratch folder).

# model_problem NAME VARIABLES [COMMAND...]: prints a problem file with
# VARIABLES design variables, x00, x01, ... continuous in [-1, 4] and the
# last, z, integer in 0 .. 4 (names whose sorted order, that of input.json,
# is the variables' order). It minimises
#   f = (x00-1)*(x00-1) + (x01-1.25)*(x01-1.25) + ... + (z-t)*(z-t)
# subject to g = x00*x00 + ... + z*z <= half of the targets' own g, so that
# the sphere binds and the local searches take several iterations. Without a
# COMMAND, f and g are equations; with one, they are the responses of the
# analysis `model` running COMMAND (bench/analysis_model.c computes them in
# the same order, to the last bit).
model_problem() {
  local name=$1 count=$2
  shift 2
  local names=() f="" g="" radius=0 i variable target
  for ((i = 0; i < count; ++i)); do
    printf -v variable 'x%02d' "$i"
    ((i == count - 1)) && variable=z
    names+=("\"$variable\"")
    target=$(awk -v i="$i" 'BEGIN { printf "%g", 1 + 0.25 * i }')
    f+="${f:+ + }($variable-$target)*($variable-$target)"
    g+="${g:+ + }$variable*$variable"
    radius=$(awk -v sum="$radius" -v t="$target" 'BEGIN { printf "%g", sum + t * t / 2 }')
  done
  echo "name = \"$name\""
  echo 'objective = "f"'
  for ((i = 0; i < count - 1; ++i)); do printf 'variables.x%02d = { lower = -1, upper = 4 }\n' "$i"; done
  echo 'variables.z = { kind = "integer", lower = 0, upper = 4 }'
  if (($# == 0)); then
    echo '[equations]'
    echo "f = \"$f\""
    echo "g = \"$g\""
  else
    local command
    command=$(printf '"%s", ' "$@")
    echo '[analyses.model]'
    echo "command = [${command%, }]"
    echo "reads = [$(IFS=,; echo "${names[*]}")]"
    echo 'writes = ["f", "g"]'
  fi
  echo '[constraints]'
  echo "sphere = \"g <= $radius\""
}

# build_model: compiles bench/analysis_model.c into $work/analysis_model.
build_model() {
  cc -O2 -o "$work/analysis_model" "$(dirname "${BASH_SOURCE[0]}")/analysis_model.c"
}

# timed_solve PROBLEM DATABASE REPORT [OPTION...]: runs `discrete solve` and
# prints its wall time in microseconds, the whole program run (start-up,
# database and report included). Stops the script when the program reports
# an error (exit status above 1).
timed_solve() {
  local problem=$1 database=$2 report=$3 start end status=0
  shift 3
  start=$(date +%s%N)
  "$program" solve "$problem" --quiet --db "$database" "$@" > "$report" 2>&1 || status=$?
  end=$(date +%s%N)
  if ((status > 1)); then
    echo "discrete solve $problem failed with status $status:" >&2
    cat "$report" >&2
    exit 1
  fi
  echo $(((end - start) / 1000))
}

# report_number REPORT WHAT: a figure of the report: "analyses",
# "gradients", "solver" (seconds solving tasks, the "optimiser" time), "run",
# "served", "failed" (evaluations of analysis programs; 0 without the line),
# "subtasks" or "objective".
report_number() {
  local report=$1 what=$2
  case $what in
    analyses) sed -n 's/^Search: .* \([0-9]*\) analyses,.*/\1/p' "$report" ;;
    solver) sed -n 's/^Time (s): optimiser \([0-9.]*\),.*/\1/p' "$report" ;;
    gradients) sed -n 's/^Search: .* \([0-9]*\) gradient evaluations,.*/\1/p' "$report" ;;
    subtasks) sed -n 's/^Search: \([0-9]*\) subtasks.*/\1/p' "$report" ;;
    objective) sed -n 's/^  objective  [^ ]* = \([^ ]*\) .*/\1/p' "$report" ;;
    run | served | failed)
      local pattern
      case $what in
        run) pattern='s/^Analysis programs: \([0-9]*\) evaluations run.*/\1/p' ;;
        served) pattern='s/^Analysis programs: .* \([0-9]*\) served from.*/\1/p' ;;
        failed) pattern='s/^Analysis programs: .* \([0-9]*\) failed$/\1/p' ;;
      esac
      local value
      value=$(sed -n "$pattern" "$report")
      echo "${value:-0}"
      ;;
  esac
}

# evaluation_seconds DATABASE: the wall seconds of all tries of analysis
# programs in the database, as the runner timed each (folder, start,
# exchange, the program's run, clean-up).
evaluation_seconds() {
  sqlite3 "$1" 'SELECT coalesce(sum(seconds), 0) FROM evaluations'
}

# median VALUE...: the median (the lower middle one of an even count).
median() {
  printf '%s\n' "$@" | sort -g | sed -n "$((($# + 1) / 2))p"
}
