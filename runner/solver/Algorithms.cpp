#include "solver/Algorithms.h"

#include <nlopt.h>

#include <stdexcept>

const std::vector<CAlgorithm>& Algorithms() {
  static const std::vector<CAlgorithm> algorithms{
      {"slsqp", "sequential quadratic programming (gradients)", true, "cobyla",
       ESolverFamily::Nlopt, NLOPT_LD_SLSQP},
      {"cobyla", "linear approximations, no gradients", false, "slsqp", ESolverFamily::Nlopt,
       NLOPT_LN_COBYLA},
      {"auglag", "augmented Lagrangian around limited-memory BFGS (gradients)", true, "slsqp",
       ESolverFamily::Nlopt, NLOPT_AUGLAG},
      {"ipopt", "interior point with a limited-memory Hessian (gradients)", true, "slsqp",
       ESolverFamily::Ipopt, -1},
  };
  return algorithms;
}

const CAlgorithm* FindAlgorithm(const std::string& name) {
  for (const CAlgorithm& algorithm : Algorithms()) {
    if (name == algorithm.name) return &algorithm;
  }
  return nullptr;
}

const CAlgorithm& AlgorithmNamed(const std::string& name) {
  const CAlgorithm* algorithm = FindAlgorithm(name);
  if (algorithm == nullptr)
    throw std::invalid_argument("unknown optimiser '" + name + "'; use " + AlgorithmNames(false));
  return *algorithm;
}

std::string AlgorithmNames(bool quoted) {
  const std::vector<CAlgorithm>& algorithms = Algorithms();
  const std::string quote = quoted ? "\"" : "";
  std::string names;
  for (size_t i = 0; i < algorithms.size(); ++i) {
    if (i > 0) names += i + 1 == algorithms.size() ? " or " : ", ";
    names += quote + algorithms[i].name + quote;
  }
  return names;
}
