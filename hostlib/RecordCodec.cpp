#include "RecordCodec.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "Checksum.h"
#include "Persistent.h"
#include "TaskDatabase.h"
#include "ValueAccess.h"

// Values are copied as their in-memory bytes, which are the little-endian
// bytes of the format only on a little-endian machine.
static_assert(
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
    "the record encoding copies values in the machine's byte order, which must be little-endian");
static_assert(std::is_trivially_copyable_v<pvINT32> && std::is_trivially_copyable_v<pvUINT32> &&
                  std::is_trivially_copyable_v<pvFLOAT64>,
              "persistent values are copied byte for byte");

namespace {

// The type of a field as the layout hash sees it. Stored values: they only
// ever grow at the end.
enum class CFieldKind : unsigned char {
  kInt32 = 1,
  kUInt32 = 2,
  kFloat64 = 3,
  kText = 4,
  kInt32List = 5,
  kFloat64Array = 6,
  kTextList = 7,
  kInt32Lists = 8,
  kFloat64Lists = 9,
};

constexpr unsigned char kFormatTag[4] = {'D', 'R', 1, 0};
constexpr size_t kHeaderSize = 12;
constexpr size_t kChecksumSize = 4;
constexpr size_t kCountSize = 4;

// The fields a walk has seen: their number and the FNV-1a hash (Fowler, Noll,
// Vo) of their names and kinds.
class CFieldLayout {
 public:
  void Add(const char* name, CFieldKind kind) {
    for (const char* c = name; *c != '\0'; ++c) Mix(static_cast<unsigned char>(*c));
    Mix(0);
    Mix(static_cast<unsigned char>(kind));
    ++m_fieldCount;
  }
  bool operator==(const CFieldLayout& other) const {
    return m_hash == other.m_hash && m_fieldCount == other.m_fieldCount;
  }
  std::string Describe() const {
    char text[64];
    std::snprintf(text, sizeof text, "%" PRIu32 " fields, layout 0x%08" PRIx32, m_fieldCount,
                  m_hash);
    return text;
  }

  uint32_t m_hash = 2166136261u;  // FNV-1a offset basis, then the running hash
  uint32_t m_fieldCount = 0;      // fields added so far

 private:
  void Mix(unsigned char byte) { m_hash = (m_hash ^ byte) * 16777619u; }
};

uint32_t ReadU32(const unsigned char* bytes) {
  uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

std::string Hex32(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08" PRIx32, value);
  return text;
}

// Appends each field's encoding to a byte string.
class CRecordEncoder final : public CFieldVisitor {
 public:
  explicit CRecordEncoder(std::vector<unsigned char>& bytes) : m_bytes(bytes) {}

  void Field(const char* name, pvINT32& value) override {
    m_layout.Add(name, CFieldKind::kInt32);
    AppendBytes(&value, sizeof value);
  }
  void Field(const char* name, pvUINT32& value) override {
    m_layout.Add(name, CFieldKind::kUInt32);
    AppendBytes(&value, sizeof value);
  }
  void Field(const char* name, pvFLOAT64& value) override {
    m_layout.Add(name, CFieldKind::kFloat64);
    AppendBytes(&value, sizeof value);
  }
  void Field(const char* name, std::string& value) override {
    m_layout.Add(name, CFieldKind::kText);
    AppendText(name, value);
  }
  void Field(const char* name, std::vector<pvINT32>& value) override {
    m_layout.Add(name, CFieldKind::kInt32List);
    AppendArray(name, value.data(), value.size());
  }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override {
    m_layout.Add(name, CFieldKind::kFloat64Array);
    AppendArray(name, value.size() > 0 ? &value[0] : nullptr, value.size());
  }
  void Field(const char* name, std::vector<std::string>& value) override {
    m_layout.Add(name, CFieldKind::kTextList);
    AppendCount(name, value.size());
    for (const std::string& text : value) AppendText(name, text);
  }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    m_layout.Add(name, CFieldKind::kInt32Lists);
    AppendCount(name, value.size());
    for (const std::vector<pvINT32>& list : value) AppendArray(name, list.data(), list.size());
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    m_layout.Add(name, CFieldKind::kFloat64Lists);
    AppendCount(name, value.size());
    for (const std::vector<pvFLOAT64>& list : value) AppendArray(name, list.data(), list.size());
  }

  const CFieldLayout& Layout() const { return m_layout; }

 private:
  void AppendBytes(const void* data, size_t size) {
    if (size == 0) return;
    const auto* first = static_cast<const unsigned char*>(data);
    m_bytes.insert(m_bytes.end(), first, first + size);
  }
  void AppendCount(const char* name, size_t count) {
    if (count > UINT32_MAX)
      throw CDatabaseError(std::string("field ") + name + " holds " + std::to_string(count) +
                           " items, more than a record can store (4294967295)");
    const auto count32 = static_cast<uint32_t>(count);
    AppendBytes(&count32, sizeof count32);
  }
  template <class TValue>
  void AppendArray(const char* name, const TValue* items, size_t count) {
    AppendCount(name, count);
    AppendBytes(items, count * sizeof(TValue));
  }
  void AppendText(const char* name, const std::string& text) {
    AppendArray(name, text.data(), text.size());
  }

  std::vector<unsigned char>& m_bytes;  // the encoding so far; not owned
  CFieldLayout m_layout;                // the fields appended so far
};

// Walks the encoded fields alongside the record's VisitData. Checking walk
// (assign false): reads every length against the bytes left and records the
// first shortage, changing nothing. Assigning walk: copies the values into the
// record's fields; run only after a checking walk found the bytes intact.
class CRecordDecoder final : public CFieldVisitor {
 public:
  CRecordDecoder(const unsigned char* fields, size_t size, bool assign)
      : m_next(fields), m_left(size), m_assign(assign) {}

  void Field(const char* name, pvINT32& value) override {
    m_layout.Add(name, CFieldKind::kInt32);
    ReadObject(name, value);
  }
  void Field(const char* name, pvUINT32& value) override {
    m_layout.Add(name, CFieldKind::kUInt32);
    ReadObject(name, value);
  }
  void Field(const char* name, pvFLOAT64& value) override {
    m_layout.Add(name, CFieldKind::kFloat64);
    ReadObject(name, value);
  }
  void Field(const char* name, std::string& value) override {
    m_layout.Add(name, CFieldKind::kText);
    ReadText(name, Target(value));
  }
  void Field(const char* name, std::vector<pvINT32>& value) override {
    m_layout.Add(name, CFieldKind::kInt32List);
    ReadList(name, Target(value));
  }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override {
    m_layout.Add(name, CFieldKind::kFloat64Array);
    uint32_t count = 0;
    const unsigned char* items = TakeArray(name, sizeof(pvFLOAT64), &count);
    if (items == nullptr || !m_assign) return;
    value.resize(count);
    if (count > 0) std::memcpy(&value[0], items, count * sizeof(pvFLOAT64));
  }
  void Field(const char* name, std::vector<std::string>& value) override {
    m_layout.Add(name, CFieldKind::kTextList);
    ReadLists(name, Target(value), [this, name](std::string* text) { ReadText(name, text); });
  }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    m_layout.Add(name, CFieldKind::kInt32Lists);
    ReadLists(name, Target(value),
              [this, name](std::vector<pvINT32>* list) { ReadList(name, list); });
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    m_layout.Add(name, CFieldKind::kFloat64Lists);
    ReadLists(name, Target(value),
              [this, name](std::vector<pvFLOAT64>* list) { ReadList(name, list); });
  }

  const CFieldLayout& Layout() const { return m_layout; }
  const std::string& Problem() const { return m_problem; }  // empty while the bytes are intact
  size_t BytesLeft() const { return m_left; }

 private:
  // Where an assigning walk writes a field; null in a checking walk.
  template <class TValue>
  TValue* Target(TValue& value) const {
    return m_assign ? &value : nullptr;
  }

  // The next size bytes, or null (with the shortage recorded) when fewer are left.
  const unsigned char* Take(const char* name, size_t size) {
    if (!m_problem.empty()) return nullptr;
    if (size > m_left) {
      m_problem = std::string("field ") + name + " needs " + std::to_string(size) +
                  " bytes where only " + std::to_string(m_left) + " are left";
      return nullptr;
    }
    const unsigned char* taken = m_next;
    m_next += size;
    m_left -= size;
    return taken;
  }
  // Reads a count of items of itemSize bytes (at least) each and checks that
  // so many bytes are left, before anything is allocated for them.
  bool TakeCount(const char* name, size_t itemSize, uint32_t* count) {
    const unsigned char* countBytes = Take(name, kCountSize);
    if (countBytes == nullptr) return false;
    *count = ReadU32(countBytes);
    if (*count > m_left / itemSize) {
      m_problem = std::string("field ") + name + " claims " + std::to_string(*count) +
                  " items, more than the " + std::to_string(m_left) + " bytes left can hold";
      return false;
    }
    return true;
  }
  const unsigned char* TakeArray(const char* name, size_t itemSize, uint32_t* count) {
    return TakeCount(name, itemSize, count) ? Take(name, *count * itemSize) : nullptr;
  }

  template <class TValue>
  void ReadObject(const char* name, TValue& value) {
    const unsigned char* bytes = Take(name, sizeof(TValue));
    if (bytes != nullptr && m_assign) std::memcpy(&value, bytes, sizeof(TValue));
  }
  void ReadText(const char* name, std::string* target) {
    uint32_t count = 0;
    const unsigned char* bytes = TakeArray(name, 1, &count);
    if (bytes != nullptr && target != nullptr)
      target->assign(reinterpret_cast<const char*>(bytes), count);
  }
  template <class TValue>
  void ReadList(const char* name, std::vector<TValue>* target) {
    uint32_t count = 0;
    const unsigned char* items = TakeArray(name, sizeof(TValue), &count);
    if (items == nullptr || target == nullptr) return;
    target->resize(count);
    if (count > 0) std::memcpy(target->data(), items, count * sizeof(TValue));
  }
  // A count, then each element read by readElement (every element takes at
  // least its own 4-byte count or length).
  template <class TElement, class TReadElement>
  void ReadLists(const char* name, std::vector<TElement>* target, TReadElement readElement) {
    uint32_t count = 0;
    if (!TakeCount(name, kCountSize, &count)) return;
    if (target != nullptr) target->resize(count);
    for (uint32_t i = 0; i < count; ++i) readElement(target != nullptr ? &(*target)[i] : nullptr);
  }

  const unsigned char* m_next;  // first byte not yet read
  size_t m_left;                // bytes not yet read
  bool m_assign;                // true: write values into the record; false: only check
  CFieldLayout m_layout;        // the fields walked so far
  std::string m_problem;        // the first shortage found; empty while none
};

}  // namespace

void EncodeRecordData(pvPersistent& record, std::vector<unsigned char>& bytes) {
  bytes.assign(kFormatTag, kFormatTag + sizeof kFormatTag);
  bytes.resize(kHeaderSize);  // count and layout are filled in after the walk
  CRecordEncoder encoder(bytes);
  record.VisitData(encoder);
  std::memcpy(&bytes[4], &encoder.Layout().m_fieldCount, 4);
  std::memcpy(&bytes[8], &encoder.Layout().m_hash, 4);
  const uint32_t checksum = Crc32(bytes.data(), bytes.size());
  const auto* checksumBytes = reinterpret_cast<const unsigned char*>(&checksum);
  bytes.insert(bytes.end(), checksumBytes, checksumBytes + kChecksumSize);
}

void DecodeRecordData(const unsigned char* bytes, size_t size, pvPersistent& record) {
  if (size < kHeaderSize + kChecksumSize)
    throw CRecordDamaged(std::to_string(size) + " bytes, fewer than the " +
                         std::to_string(kHeaderSize + kChecksumSize) + " of the smallest record");
  const uint32_t storedChecksum = ReadU32(bytes + size - kChecksumSize);
  const uint32_t checksum = Crc32(bytes, size - kChecksumSize);
  if (checksum != storedChecksum)
    throw CRecordDamaged("checksum mismatch (stored " + Hex32(storedChecksum) + ", computed " +
                         Hex32(checksum) + " over " + std::to_string(size - kChecksumSize) +
                         " bytes)");
  if (std::memcmp(bytes, kFormatTag, sizeof kFormatTag) != 0)
    throw CRecordDamaged("unknown encoding (format tag " + Hex32(ReadU32(bytes)) + ")");

  CFieldLayout storedLayout;
  storedLayout.m_fieldCount = ReadU32(bytes + 4);
  storedLayout.m_hash = ReadU32(bytes + 8);
  const unsigned char* fields = bytes + kHeaderSize;
  const size_t fieldBytes = size - kHeaderSize - kChecksumSize;

  CRecordDecoder check(fields, fieldBytes, false);
  record.VisitData(check);
  if (!(check.Layout() == storedLayout))
    throw CRecordDamaged(std::string("the stored fields (") + storedLayout.Describe() +
                         ") are not those of this program's " + record.RecordName() + " (" +
                         check.Layout().Describe() + ")");
  if (!check.Problem().empty()) throw CRecordDamaged(check.Problem());
  if (check.BytesLeft() > 0)
    throw CRecordDamaged(std::to_string(check.BytesLeft()) +
                         " bytes left over after the last field");

  CRecordDecoder assign(fields, fieldBytes, true);
  record.VisitData(assign);
}
