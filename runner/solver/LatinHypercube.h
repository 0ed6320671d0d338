#pragma once

// Latin hypercube samples of a box (McKay, Beckman & Conover 1979): n points
// such that each variable's range, cut into n equal strata, holds exactly one
// point per stratum, at a random place within it.
//
// The sample depends only on the seed, n and the box: the random numbers come
// from std::mt19937 (whose sequence the C++ standard fixes) turned into
// doubles and permutations by this file's own code, not by the library's
// distributions, whose results differ between standard libraries.

#include <cstdint>
#include <vector>

// n points in the box [lower, upper] (one entry per variable each). A
// variable with equal bounds takes that value in every point.
std::vector<std::vector<double>> LatinHypercube(int n, const std::vector<double>& lower,
                                                const std::vector<double>& upper, uint32_t seed);
