#pragma once

#include <cstdint>

// The persistent value types of record fields. Each holds exactly one value of
// its width and nothing else, so a std::vector or std::valarray of them is laid
// out like an array of the plain value.

// A 32-bit signed integer field.
class pvINT32 {
 public:
  pvINT32() : m_nValue(0) {}
  pvINT32(long nValue) : m_nValue(static_cast<int32_t>(nValue)) {}  // NOLINT: implicit by design
  pvINT32(const pvINT32&) = default;
  pvINT32& operator=(long nValue) {
    m_nValue = static_cast<int32_t>(nValue);
    return *this;
  }
  pvINT32& operator=(const pvINT32&) = default;
  operator long() const { return m_nValue; }  // NOLINT: implicit by design

 private:
  int32_t m_nValue;  // the value
};

// A 32-bit unsigned integer field. Hosts read it back through
// CValueAccess (hostlib/ValueAccess.h).
class pvUINT32 {
 public:
  pvUINT32() : m_nValue(0) {}
  pvUINT32(unsigned long nValue) : m_nValue(static_cast<uint32_t>(nValue)) {}  // NOLINT
  pvUINT32& operator=(unsigned long nValue) {
    m_nValue = static_cast<uint32_t>(nValue);
    return *this;
  }

 private:
  friend struct CValueAccess;
  uint32_t m_nValue;  // the value
};

// A 64-bit IEEE double field.
class pvFLOAT64 {
 public:
  pvFLOAT64() : m_dValue(0.0) {}
  pvFLOAT64(double dValue) : m_dValue(dValue) {}  // NOLINT: implicit by design
  pvFLOAT64(const pvFLOAT64&) = default;
  pvFLOAT64& operator=(double dValue) {
    m_dValue = dValue;
    return *this;
  }
  pvFLOAT64& operator=(const pvFLOAT64&) = default;
  operator double() const { return m_dValue; }  // NOLINT: implicit by design

 private:
  double m_dValue;  // the value
};

static_assert(sizeof(pvINT32) == 4, "pvINT32 holds one 32-bit integer");
static_assert(sizeof(pvUINT32) == 4, "pvUINT32 holds one 32-bit integer");
static_assert(sizeof(pvFLOAT64) == 8, "pvFLOAT64 holds one double");
