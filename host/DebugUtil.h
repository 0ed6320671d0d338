#pragma once

#include <cstdio>
#include <valarray>

// Dumps of arrays to a log stream, one labelled line per array:
//   <label> [n]: v0 v1 v2 ...
// Doubles are written with 17 significant digits so that they read back
// exactly. A null stream writes nothing.
class CDebugUtil {
 public:
  static void DumpIntegerArray(const char* pszLabel, FILE* pStream,
                               const std::valarray<int>& values);
  static void DumpDoubleArray(const char* pszLabel, FILE* pStream,
                              const std::valarray<double>& values);
};
