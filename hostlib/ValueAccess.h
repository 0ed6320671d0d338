#pragma once

#include <cstdint>

#include "PersistentValues.h"

// Reads the value of a pvUINT32, which offers no conversion of its own.
struct CValueAccess {
  static uint32_t Get(const pvUINT32& value) { return value.m_nValue; }
};
