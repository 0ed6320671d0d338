#pragma once

// The continuous local-search algorithms the program offers: the one list
// that the problem file, the command line, the optimiser and the docs use.
//
//   "slsqp"  sequential quadratic programming (Kraft 1988), the default;
//   "cobyla" linear approximations, no gradients (Powell 1994);
//   "auglag" augmented Lagrangian (Conn, Gould & Toint 1991; Birgin &
//            Martinez 2008) around limited-memory BFGS (Nocedal 1980);
//            these three from NLopt;
//   "ipopt"  Ipopt's interior-point filter line search with a limited-memory
//            Hessian approximation (IpoptSearch.h).

#include <string>
#include <vector>

// The library that runs an algorithm.
enum class ESolverFamily {
  Nlopt,  // NLopt (Johnson, The NLopt nonlinear-optimization package)
  Ipopt,  // Ipopt, the interior-point filter method (Waechter & Biegler 2006)
};

struct CAlgorithm {
  const char* name;         // as files and the command line write it
  const char* description;  // one line, for help texts
  bool usesGradients;       // asks for finite-difference gradients
  const char* fallback;     // the algorithm a local search that did not converge is retried with
  ESolverFamily family;     // the library that runs it
  int nloptAlgorithm;       // NLopt's nlopt_algorithm that runs it; -1 for another family
};

// Every algorithm, the default first.
const std::vector<CAlgorithm>& Algorithms();

// The algorithm of that name, or null.
const CAlgorithm* FindAlgorithm(const std::string& name);

// The algorithm of that name; throws std::invalid_argument, naming the
// algorithms there are, when there is none.
const CAlgorithm& AlgorithmNamed(const std::string& name);

// The names for messages: "slsqp, cobyla, auglag or ipopt" (each in double
// quotes when asked).
std::string AlgorithmNames(bool quoted);
