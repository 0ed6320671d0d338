#include "solver/LatinHypercube.h"

#include <random>
#include <utility>

std::vector<std::vector<double>> LatinHypercube(int n, const std::vector<double>& lower,
                                                const std::vector<double>& upper, uint32_t seed) {
  std::mt19937 generator(seed);
  // A double in (0, 1) from one 32-bit draw.
  auto uniform = [&generator] { return (static_cast<double>(generator()) + 0.5) / 4294967296.0; };
  std::vector<std::vector<double>> points(n, std::vector<double>(lower.size()));
  std::vector<int> strata(n);
  for (size_t variable = 0; variable < lower.size(); ++variable) {
    for (int k = 0; k < n; ++k) strata[k] = k;
    for (int k = n - 1; k > 0;
         --k) {  // Fisher-Yates shuffle (Knuth, TAOCP vol. 2, 3.4.2, algorithm P)
      std::swap(strata[k], strata[generator() % static_cast<uint32_t>(k + 1)]);
    }
    const double width = upper[variable] - lower[variable];
    for (int k = 0; k < n; ++k) {
      points[k][variable] = lower[variable] + width * (strata[k] + uniform()) / n;
      if (points[k][variable] > upper[variable]) points[k][variable] = upper[variable];
    }
  }
  return points;
}
