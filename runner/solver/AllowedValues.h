#pragma once

// The values a design variable of a task may take, as the task's records say
// (CDVar m_vSetID and CDSet, the same reading as the module's): any value for
// a continuous variable, whole numbers for an integer one, the values of its
// set for a set variable. A set id that names no set leaves its variable
// unrestricted, as it does in the module's node test.
//
// A continuous optimiser hands back discrete values with round-off in them:
// 2.9999999999999996 for 3, 10.000000000000394 for 10, 3e-21 for 0. The
// module's node test measures the distance to the value truncated toward zero
// with a tolerance of 1e-12, so 2.9999999999999996 fails it, and such a value
// at a bound cannot be branched either: the node would be lost. The host
// therefore moves every discrete value that lies within kSnapTolerance of an
// allowed value onto that value exactly, before it records a design.

#include <vector>

// How close (relative to the value, absolute below 1) a value must be to an
// allowed value to be moved onto it.
constexpr double kSnapTolerance = 1e-9;

struct CAllowedValues {
  bool isInteger = false;         // whole numbers only
  std::vector<double> setValues;  // allowed values of a set variable, ascending; empty otherwise
  bool IsRestricted() const { return isInteger || !setValues.empty(); }
};

// The allowed values of each variable of a task, from its CDVar set ids and
// its CDSet (ids and values); the database must be open and the records read
// by the caller.
std::vector<CAllowedValues> AllowedValuesOf(
    const std::vector<int>& setIds, const std::vector<int>& definedSetIds,
    const std::vector<std::vector<double>>& definedSetValues);

// Moves each restricted value that lies within kSnapTolerance of an allowed
// value inside [lower, upper] onto it. Returns whether any value moved.
bool SnapToAllowedValues(std::vector<double>& values, const std::vector<CAllowedValues>& allowed,
                         const std::vector<double>& lower, const std::vector<double>& upper);
