#include "commands/RecordPrinter.h"

#include <fmt/format.h>

#include <string>
#include <valarray>
#include <vector>

#include "Persistent.h"
#include "ValueAccess.h"

namespace {

std::string Text(double value) { return fmt::format("{}", value); }
std::string Text(const pvINT32& value) { return std::to_string(long(value)); }
std::string Text(const pvFLOAT64& value) { return Text(double(value)); }
std::string Text(const std::string& value) { return fmt::format("\"{}\"", value); }

template <class TContainer>
std::string List(const TContainer& values) {
  std::string text = "[";
  bool first = true;
  for (const auto& value : values) {
    if (!first) text += ", ";
    text += Text(value);
    first = false;
  }
  return text + "]";
}

template <class TInner>
std::string Nested(const std::vector<std::vector<TInner>>& lists) {
  std::string text = "[";
  for (size_t i = 0; i < lists.size(); ++i) text += (i > 0 ? ", " : "") + List(lists[i]);
  return text + "]";
}

// Collects "name = value" lines.
class CLinePrinter : public CFieldVisitor {
 public:
  std::vector<std::string> lines;  // in visiting order

  void Field(const char* name, pvINT32& value) override { Add(name, Text(value)); }
  void Field(const char* name, pvUINT32& value) override {
    Add(name, std::to_string(CValueAccess::Get(value)));
  }
  void Field(const char* name, pvFLOAT64& value) override { Add(name, Text(value)); }
  void Field(const char* name, std::string& value) override { Add(name, Text(value)); }
  void Field(const char* name, std::vector<pvINT32>& value) override { Add(name, List(value)); }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override { Add(name, List(value)); }
  void Field(const char* name, std::vector<std::string>& value) override { Add(name, List(value)); }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    Add(name, Nested(value));
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    Add(name, Nested(value));
  }

 private:
  void Add(const char* name, const std::string& value) {
    lines.push_back(fmt::format("{} = {}", name, value));
  }
};

// Collects the fields as JSON members.
class CJsonCollector : public CFieldVisitor {
 public:
  CJson object = CJson::object();

  void Field(const char* name, pvINT32& value) override { object[name] = long(value); }
  void Field(const char* name, pvUINT32& value) override {
    object[name] = CValueAccess::Get(value);
  }
  void Field(const char* name, pvFLOAT64& value) override { object[name] = JsonNumber(value); }
  void Field(const char* name, std::string& value) override { object[name] = value; }
  void Field(const char* name, std::vector<pvINT32>& value) override {
    object[name] = Array(value);
  }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override {
    object[name] = Array(value);
  }
  void Field(const char* name, std::vector<std::string>& value) override { object[name] = value; }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    object[name] = Nested(value);
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    object[name] = Nested(value);
  }

 private:
  static CJson Item(const pvINT32& value) { return long(value); }
  static CJson Item(const pvFLOAT64& value) { return JsonNumber(value); }

  template <class TContainer>
  static CJson Array(const TContainer& values) {
    CJson array = CJson::array();
    for (const auto& value : values) array.push_back(Item(value));
    return array;
  }
  template <class TInner>
  static CJson Nested(const std::vector<std::vector<TInner>>& lists) {
    CJson array = CJson::array();
    for (const auto& list : lists) array.push_back(Array(list));
    return array;
  }
};

}  // namespace

CJson RecordJson(pvPersistent& record) {
  CJsonCollector key;
  record.VisitKey(key);
  CJsonCollector data;
  record.VisitData(data);
  CJson object = CJson::object();
  object["record"] = record.RecordName();
  object["key"] = std::move(key.object);
  object["fields"] = std::move(data.object);
  return object;
}

void PrintRecord(FILE* out, pvPersistent& record) {
  CLinePrinter key;
  record.VisitKey(key);
  CLinePrinter data;
  record.VisitData(data);
  std::string heading;
  for (const std::string& line : key.lines) heading += (heading.empty() ? "" : ", ") + line;
  fmt::print(out, "{} ({})\n", record.RecordName(), heading);
  for (const std::string& line : data.lines) fmt::print(out, "  {}\n", line);
}
