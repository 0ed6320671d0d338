#include "RecordFields.h"

#include <cstring>
#include <limits>
#include <sstream>

#include "ValueAccess.h"

namespace {

double FromBits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

const std::vector<double> kAwkwardDoubles = {
    FromBits(0x7FF8000000012345ull),  // quiet NaN with a payload
    FromBits(0xFFF8000000000001ull),  // negative NaN
    FromBits(0x7FF0000000000BADull),  // signalling NaN
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    -0.0,
    std::numeric_limits<double>::denorm_min(),
    -std::numeric_limits<double>::denorm_min() * 12345,
    std::numeric_limits<double>::max(),
    1.0 / 3.0,
};

const std::vector<std::string> kAwkwardTexts = {
    "",
    "Zähne ≤ 40 – 歯車 – \xF0\x9F\x94\xA7",
    std::string("NUL\0inside", 10),
    std::string(5000, 'x') + "end",
    "line one\nline two\ttabbed",
};

const size_t kArrayLengths[] = {0, 1, 3, 20};

// Hands every kind of field to TVisitor::Each(name, value).
template <class TVisitor>
class CEachField : public CFieldVisitor {
 public:
  void Field(const char* name, pvINT32& value) override { Self().Each(name, value); }
  void Field(const char* name, pvUINT32& value) override { Self().Each(name, value); }
  void Field(const char* name, pvFLOAT64& value) override { Self().Each(name, value); }
  void Field(const char* name, std::string& value) override { Self().Each(name, value); }
  void Field(const char* name, std::vector<pvINT32>& value) override { Self().Each(name, value); }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override {
    Self().Each(name, value);
  }
  void Field(const char* name, std::vector<std::string>& value) override {
    Self().Each(name, value);
  }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    Self().Each(name, value);
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    Self().Each(name, value);
  }

 private:
  TVisitor& Self() { return static_cast<TVisitor&>(*this); }
};

// Fills each field from a running counter offset by the seed, so that
// different fields and different seeds get different values; lists (and the
// lists inside lists) take the lengths 0, 1, 3 and 20 in turn.
class CFieldFiller final : public CEachField<CFieldFiller> {
 public:
  explicit CFieldFiller(unsigned seed) : m_next(seed) {}
  template <class TValue>
  void Each(const char*, TValue& value) {
    Fill(value);
  }

 private:
  void Fill(pvINT32& value) {
    const unsigned n = m_next++;
    if (n % 7 == 0)
      value = std::numeric_limits<int32_t>::min();
    else if (n % 7 == 1)
      value = std::numeric_limits<int32_t>::max();
    else
      value = static_cast<long>(n * 2654435761u % 200000) - 100000;
  }
  void Fill(pvUINT32& value) { value = 0xFFFFFFFFul - m_next++; }
  void Fill(pvFLOAT64& value) { value = kAwkwardDoubles[m_next++ % kAwkwardDoubles.size()]; }
  void Fill(std::string& value) { value = kAwkwardTexts[m_next++ % kAwkwardTexts.size()]; }
  template <class TList>
  void Fill(TList& list) {
    list.resize(kArrayLengths[m_next++ % 4]);
    for (auto& item : list) Fill(item);
  }

  unsigned m_next;  // drives every value
};

// "name=value" per field; lists as "[count] item item ...", nested in braces.
class CFieldDescriber final : public CEachField<CFieldDescriber> {
 public:
  template <class TValue>
  void Each(const char* name, const TValue& value) {
    m_text << name << '=';
    Put(value);
    m_text << '\n';
  }
  std::string Text() const { return m_text.str(); }

 private:
  void Put(const pvINT32& value) { m_text << ' ' << static_cast<long>(value); }
  void Put(const pvUINT32& value) { m_text << ' ' << CValueAccess::Get(value); }
  void Put(const pvFLOAT64& value) {
    const double plain = value;
    uint64_t bits;
    std::memcpy(&bits, &plain, sizeof bits);
    m_text << ' ' << std::hex << bits << std::dec;
  }
  void Put(const std::string& value) { m_text << " [" << value.size() << "]" << value; }
  template <class TList>
  void Put(const TList& list) {
    m_text << " {[" << list.size() << "]";
    for (const auto& item : list) Put(item);
    m_text << " }";
  }

  std::ostringstream m_text;  // the description so far
};

}  // namespace

void FillFields(pvPersistent& record, unsigned seed) {
  CFieldFiller filler(seed);
  record.VisitData(filler);
}

std::string DescribeFields(pvPersistent& record) {
  CFieldDescriber describer;
  record.VisitData(describer);
  return describer.Text();
}
