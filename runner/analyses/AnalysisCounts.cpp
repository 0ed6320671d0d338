#include "analyses/AnalysisCounts.h"

CAnalysisCounts& AnalysisCounts() {
  static CAnalysisCounts counts;
  return counts;
}
