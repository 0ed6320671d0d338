#pragma once

// The module is built with hidden visibility: nothing is exported unless it is
// marked DISCRETE_EXPORT. Entry points and the public operations of the search
// tree carry the mark; everything else stays private to libDiscrete.so.
#define DISCRETE_EXPORT __attribute__((visibility("default")))
