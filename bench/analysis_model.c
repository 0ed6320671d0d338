/* The analysis program of the benchmarks of analysis programs
 * (bench/analysis_path.sh, bench/analysis_jobs.sh): as little work as an
 * analysis can do, so that what is measured is the external path itself
 * (starting a process, the input.json/output.json exchange, the runner's
 * bookkeeping) or, with a pause, how many evaluations run at a time.
 *
 *   analysis_model [SECONDS]
 *
 * Sleeps SECONDS (default 0), reads the values of $DISCRETE_INPUT in the
 * order they stand, v0 .. v(n-1) (the runner writes the names sorted; those
 * of the problems are sorted in the variables' order), and writes
 * $DISCRETE_OUTPUT:
 *
 *   f = (v0-t0)*(v0-t0) + (v1-t1)*(v1-t1) + ...   with t_i = 1 + i/4
 *   g = v0*v0 + v1*v1 + ...
 *
 * evaluated in the order in which the expressions that
 * bench/analysis_common.sh writes are, so that the same designs get the same
 * responses to the last bit on either path, and "%.17g" reads back exactly. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc > 1) usleep((useconds_t)(strtod(argv[1], NULL) * 1e6));
  const char* inputPath = getenv("DISCRETE_INPUT");
  const char* outputPath = getenv("DISCRETE_OUTPUT");
  if (inputPath == NULL || outputPath == NULL) return 2;
  FILE* input = fopen(inputPath, "r");
  if (input == NULL) return 3;
  char text[65536];
  const size_t length = fread(text, 1, sizeof text - 1, input);
  fclose(input);
  text[length] = '\0';

  /* input.json is {"name":value,...}: each value follows a ':'. */
  double f = 0.0;
  double g = 0.0;
  int index = 0;
  for (const char* colon = strchr(text, ':'); colon != NULL; colon = strchr(colon + 1, ':')) {
    const double value = strtod(colon + 1, NULL);
    const double difference = value - (1 + 0.25 * index);
    f += difference * difference;
    g += value * value;
    ++index;
  }
  FILE* output = fopen(outputPath, "w");
  if (output == NULL) return 4;
  fprintf(output, "{\"f\": %.17g, \"g\": %.17g}\n", f, g);
  return fclose(output) == 0 ? 0 : 5;
}
