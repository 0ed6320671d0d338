#include "ClosedFormProblem.h"

#include <algorithm>
#include <cmath>

CDesign CClosedFormProblem::Solve(const std::valarray<double>& lower,
                                  const std::valarray<double>& upper) const {
  const auto pointAt = [&](double multiplier) {
    std::valarray<double> x(variables.size());
    for (size_t i = 0; i < x.size(); ++i) {
      const CTestVariable& v = variables[i];
      x[i] = std::clamp(v.dTarget - multiplier * v.dCoefficient / (2.0 * v.dWeight), lower[i],
                        upper[i]);
    }
    return x;
  };
  const auto violation = [&](const std::valarray<double>& x) {
    double sum = -dLimit;
    for (size_t i = 0; i < x.size(); ++i) sum += variables[i].dCoefficient * x[i];
    return sum;
  };
  double multiplier = 0.0;
  if (violation(pointAt(0.0)) > 0.0) {
    double low = 0.0, high = 1.0;
    for (int doubling = 0; doubling < 200 && violation(pointAt(high)) > 0.0; ++doubling)
      high *= 2.0;
    while (high - low > 1e-15 * high) {
      const double middle = 0.5 * (low + high);
      (violation(pointAt(middle)) > 0.0 ? low : high) = middle;
    }
    multiplier = high;
  }
  const std::valarray<double> x = pointAt(multiplier);
  double f = 0.0;
  for (size_t i = 0; i < x.size(); ++i)
    f += variables[i].dWeight * std::pow(x[i] - variables[i].dTarget, 2);
  return {x, nSense * f, violation(x)};
}

std::pair<std::valarray<double>, std::valarray<double>> CClosedFormProblem::Bounds() const {
  std::valarray<double> lower(variables.size()), upper(variables.size());
  for (size_t i = 0; i < variables.size(); ++i) {
    lower[i] = variables[i].dLower;
    upper[i] = variables[i].dUpper;
  }
  return {lower, upper};
}

std::vector<double> CClosedFormProblem::AllowedValues(size_t variable) const {
  const CTestVariable& v = variables[variable];
  std::vector<double> values;
  if (v.nSetId == -1) {
    for (double value = std::ceil(v.dLower); value <= v.dUpper; value += 1.0)
      values.push_back(value);
  }
  for (const CValueSet& set : sets) {
    if (set.nId != v.nSetId) continue;
    for (double value : set.values) {
      if (value >= v.dLower && value <= v.dUpper) values.push_back(value);
    }
  }
  return values;
}

std::optional<CDesign> CClosedFormProblem::EnumerateBest() const {
  const size_t count = variables.size();
  auto [lower, upper] = Bounds();
  std::vector<std::vector<double>> choices(count);
  for (size_t i = 0; i < count; ++i) {
    if (variables[i].nSetId != 0) choices[i] = AllowedValues(i);
    if (variables[i].nSetId != 0 && choices[i].empty()) return std::nullopt;
  }
  std::optional<CDesign> best;
  std::vector<size_t> pick(count, 0);  // an odometer over the combinations
  for (;;) {
    for (size_t i = 0; i < count; ++i) {
      if (!choices[i].empty()) lower[i] = upper[i] = choices[i][pick[i]];
    }
    const CDesign design = Solve(lower, upper);
    if (design.dMaxCon <= dConTol &&
        (!best || nSense * design.dObjective < nSense * best->dObjective))
      best = design;
    size_t i = 0;
    while (i < count && (choices[i].empty() || ++pick[i] == choices[i].size())) pick[i++] = 0;
    if (i == count) return best;
  }
}

CClosedFormProblem RandomProblem(std::mt19937& random, int nSense, bool bLargeOffset) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const auto between = [&](int low, int high) {
    return low + static_cast<int>(random() % (high - low + 1));
  };
  CClosedFormProblem problem;
  problem.nSense = nSense;
  const int discrete = between(2, 4), count = discrete + between(0, 1);
  for (int i = 0; i < count; ++i) {
    CTestVariable variable{-2.0, 2.0, 0.5 + 1.5 * unit(random), 0.0, 2.0 * unit(random) - 1.0, 0};
    if (i < discrete && random() % 2 == 0) {
      const double offset = bLargeOffset ? 3e9 : 0.0;
      if (bLargeOffset) variable.dCoefficient = 0.0;
      bLargeOffset = false;
      variable.nSetId = -1;
      variable.dLower = offset - between(0, 3);
      variable.dUpper = offset + between(1, 4);
    } else if (i < discrete) {
      CValueSet set{static_cast<int>(problem.sets.size()) + 1, {}};
      for (double value = -2.0; value <= 3.0; value += 0.5) {
        if (unit(random) < 0.4) set.values.push_back(value);
      }
      if (set.values.size() < 2) set.values = {-1.0, 2.5};
      variable.nSetId = set.nId;
      variable.dLower = set.values.front();
      variable.dUpper = set.values.back();
      problem.sets.push_back(set);
    }
    variable.dTarget =
        variable.dLower - 1.0 + (variable.dUpper - variable.dLower + 2.0) * unit(random);
    problem.variables.push_back(variable);
  }
  problem.dLimit = 2.0 * unit(random) - 1.0;
  for (const CTestVariable& v : problem.variables)
    problem.dLimit += v.dCoefficient * 0.5 * (v.dLower + v.dUpper);
  return problem;
}
