#pragma once

// The expression function interpolate(x, k1, v1, k2, v2, ...): the
// piecewise-linear function through the points (k1, v1), (k2, v2), ... at x.
// Catalogue quantities (docs/problem-format.md, "Catalogues") are equations
// that call it with the catalogue's rows, so that every task copied from the
// search task carries its table in the equation's text.
//
// At a key the value is exactly that point's value (no rounding: it is
// returned, not computed); between two neighbouring keys it is the linear
// interpolation (1 - t) v_i + t v_(i+1), t = (x - k_i) / (k_(i+1) - k_i);
// below the first key the first value holds, above the last key the last.
// A closed form of sums of max(0, x - k_i) terms, which needs no function of
// its own, loses up to 1e-5 of a row's value by cancellation on tables whose
// values jump (1e6, 1, 1e6); this one loses nothing at the keys.

#include <string>
#include <vector>

// The function's name in expressions.
extern const char* const kInterpolateFunction;

// The value at x of the function through `pointCount` points given as
// interleaved key, value pairs (`points` holds 2 * pointCount numbers). NaN
// when x is NaN, when fewer than two points are given or when the keys are not
// strictly ascending.
double InterpolatePiecewiseLinear(double x, const double* points, int pointCount);

// The call "interpolate(variable,k1,v1,k2,v2,...)" for the points, each number
// written so that it reads back exactly. `keys` and `values` have one size.
std::string InterpolationCall(const std::string& variable, const std::vector<double>& keys,
                              const std::vector<double>& values);
