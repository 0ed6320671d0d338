#include "tasks/RecordSql.h"

#include <fmt/format.h>

#include <map>
#include <stdexcept>

#include "Persistent.h"

namespace {

// The type codes of the record encoding (docs/task-database.md).
enum class EFieldType { Int32, Uint32, Float64, Text, Int32List, Float64Array, TextList, Nested };

// Collects each data field's name and type, in stored order.
class CLayoutReader : public CFieldVisitor {
 public:
  std::vector<std::pair<std::string, EFieldType>> fields;

  void Field(const char* name, pvINT32&) override { Add(name, EFieldType::Int32); }
  void Field(const char* name, pvUINT32&) override { Add(name, EFieldType::Uint32); }
  void Field(const char* name, pvFLOAT64&) override { Add(name, EFieldType::Float64); }
  void Field(const char* name, std::string&) override { Add(name, EFieldType::Text); }
  void Field(const char* name, std::vector<pvINT32>&) override { Add(name, EFieldType::Int32List); }
  void Field(const char* name, std::valarray<pvFLOAT64>&) override {
    Add(name, EFieldType::Float64Array);
  }
  void Field(const char* name, std::vector<std::string>&) override {
    Add(name, EFieldType::TextList);
  }
  void Field(const char* name, std::vector<std::vector<pvINT32>>&) override {
    Add(name, EFieldType::Nested);
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>&) override {
    Add(name, EFieldType::Nested);
  }

 private:
  void Add(const char* name, EFieldType type) { fields.emplace_back(name, type); }
};

// Collects the key fields' names.
class CKeyNames : public CFieldVisitor {
 public:
  std::vector<std::string> names;

  void Field(const char* name, pvINT32&) override { names.emplace_back(name); }
  void Field(const char*, pvUINT32&) override {}
  void Field(const char*, pvFLOAT64&) override {}
  void Field(const char*, std::string&) override {}
  void Field(const char*, std::vector<pvINT32>&) override {}
  void Field(const char*, std::valarray<pvFLOAT64>&) override {}
  void Field(const char*, std::vector<std::string>&) override {}
  void Field(const char*, std::vector<std::vector<pvINT32>>&) override {}
  void Field(const char*, std::vector<std::vector<pvFLOAT64>>&) override {}
};

// The value of the hex digit at 1-based character `position` of `hex`.
std::string Nibble(const std::string& hex, const std::string& position) {
  return fmt::format("(instr('0123456789ABCDEF', substr({}, {}, 1)) - 1)", hex, position);
}

// Byte `index` after `offset`.
std::string Byte(const std::string& hex, const std::string& offset, int index) {
  return fmt::format("({} * 16 + {})",
                     Nibble(hex, fmt::format("2 * ({}) + {}", offset, 2 * index + 1)),
                     Nibble(hex, fmt::format("2 * ({}) + {}", offset, 2 * index + 2)));
}

// Where a field is: an SQL expression of its byte offset over the offset
// columns o0, o1, ..., and how many of those columns it needs.
struct CFieldPlace {
  EFieldType type;
  std::string offset;
  size_t layers;
};

}  // namespace

std::string SqlUint32(const std::string& hex, const std::string& offset) {
  return fmt::format("({} + {} * 256 + {} * 65536 + {} * 16777216)", Byte(hex, offset, 0),
                     Byte(hex, offset, 1), Byte(hex, offset, 2), Byte(hex, offset, 3));
}

std::string SqlInt32(const std::string& hex, const std::string& offset) {
  return fmt::format("({} - ({} >= 128) * 4294967296)", SqlUint32(hex, offset),
                     Byte(hex, offset, 3));
}

std::string SqlFloat64(const std::string& hex, const std::string& offset) {
  std::string mantissa = fmt::format("({} % 16) * 281474976710656", Byte(hex, offset, 6));
  for (int index = 0; index < 6; ++index)
    mantissa += fmt::format(" + {} * {}", Byte(hex, offset, index), int64_t(1) << (8 * index));
  mantissa = "(" + mantissa + ")";
  const std::string exponent =
      fmt::format("({} / 16 + ({} % 128) * 16)", Byte(hex, offset, 6), Byte(hex, offset, 7));
  return fmt::format(
      "(CASE WHEN {e} = 2047 THEN CASE WHEN {m} = 0 THEN 9e999 END WHEN {e} = 0 THEN {m} * "
      "pow(2, -1074) ELSE ({m} + 4503599627370496) * pow(2, {e} - 1075) END * CASE WHEN {s} >= "
      "128 THEN -1.0 ELSE 1.0 END)",
      fmt::arg("e", exponent), fmt::arg("m", mantissa), fmt::arg("s", Byte(hex, offset, 7)));
}

std::string SqlText(const std::string& blob, const std::string& hex, const std::string& offset) {
  return fmt::format("CAST(substr({}, ({}) + 5, {}) AS TEXT)", blob, offset,
                     SqlUint32(hex, offset));
}

std::string FixedFieldOffset(pvPersistent& prototype, const std::string& field) {
  CLayoutReader layout;
  prototype.VisitData(layout);
  long offset = 12;  // the header
  for (const auto& [name, type] : layout.fields) {
    if (name == field) return std::to_string(offset);
    if (type == EFieldType::Int32 || type == EFieldType::Uint32) {
      offset += 4;
    } else if (type == EFieldType::Float64) {
      offset += 8;
    } else {
      break;
    }
  }
  throw std::logic_error(
      fmt::format("{} has no field {} at a fixed offset", prototype.RecordName(), field));
}

std::string RecordFieldsSql(pvPersistent& prototype, const std::vector<std::string>& fields) {
  CLayoutReader layout;
  prototype.VisitData(layout);
  // Walks the fields as the encoding lays them out: a fixed offset until the
  // first text or list, then one offset column per variable-length field.
  std::map<std::string, CFieldPlace> places;
  std::vector<std::string> offsetColumns;  // the expression of o0, o1, ...
  std::string base = "0";
  long step = 12;  // the header
  for (const auto& [name, type] : layout.fields) {
    const std::string offset = fmt::format("{} + {}", base, step);
    places[name] = {type, offset, offsetColumns.size()};
    if (type == EFieldType::Int32 || type == EFieldType::Uint32) {
      step += 4;
    } else if (type == EFieldType::Float64) {
      step += 8;
    } else if (type == EFieldType::TextList || type == EFieldType::Nested) {
      break;  // the fields after it have no offset that plain SQL can compute
    } else {
      const int itemSize = type == EFieldType::Text ? 1 : type == EFieldType::Int32List ? 4 : 8;
      offsetColumns.push_back(
          fmt::format("{} + 4 + {} * {}", offset, SqlUint32("h", offset), itemSize));
      base = fmt::format("o{}", offsetColumns.size() - 1);
      step = 0;
    }
  }

  std::string columns;
  size_t layers = 0;
  for (const std::string& name : fields) {
    const auto place = places.find(name);
    if (place == places.end())
      throw std::logic_error(
          fmt::format("{} has no field {} that SQL can locate", prototype.RecordName(), name));
    const CFieldPlace& field = place->second;
    layers = std::max(layers, field.layers);
    switch (field.type) {
      case EFieldType::Int32:
        columns += fmt::format(", {} AS {}", SqlInt32("h", field.offset), name);
        break;
      case EFieldType::Uint32:
        columns += fmt::format(", {} AS {}", SqlUint32("h", field.offset), name);
        break;
      case EFieldType::Float64:
        columns += fmt::format(", {} AS {}", SqlFloat64("h", field.offset), name);
        break;
      case EFieldType::Text:
        columns += fmt::format(", {} AS {}", SqlText("data", "h", field.offset), name);
        break;
      default:
        columns += fmt::format(", {} AS {}_at", field.offset, name);
    }
  }

  CKeyNames keys;
  prototype.VisitKey(keys);
  std::string keyList;
  for (const std::string& key : keys.names) keyList += key + ", ";
  // Each offset column is computed in a query of its own, which SQLite must
  // not flatten into the next (OFFSET 0): flattened, every column would
  // repeat the expressions of all those before it. They are a chain of
  // common table expressions rather than nested subqueries, whose depth
  // SQLite's parser limits.
  const std::string table = prototype.RecordName();
  std::string sql =
      fmt::format("WITH {}0 AS (SELECT {}data, hex(data) AS h FROM \"{}\")", table, keyList, table);
  for (size_t layer = 0; layer < layers; ++layer) {
    sql += fmt::format(", {}{} AS (SELECT *, {} AS o{} FROM {}{} LIMIT -1 OFFSET 0)", table,
                       layer + 1, offsetColumns[layer], layer, table, layer);
  }
  return fmt::format("{} SELECT {}data, h{} FROM {}{}", sql, keyList, columns, table, layers);
}
