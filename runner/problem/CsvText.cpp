#include "problem/CsvText.h"

#include <csv.h>

#include <memory>

namespace {

// What the parser's callbacks build.
struct SCsvReading {
  std::vector<CCsvRecord> records;
  CCsvRecord current;  // the record being read
  int line = 1;        // the line being fed to the parser
};

void EndField(void* field, size_t size, void* data) {
  auto& reading = *static_cast<SCsvReading*>(data);
  if (reading.current.fields.empty()) reading.current.line = reading.line;
  reading.current.fields.emplace_back(static_cast<const char*>(field), size);
}

void EndRecord(int, void* data) {
  auto& reading = *static_cast<SCsvReading*>(data);
  reading.records.push_back(std::move(reading.current));
  reading.current = CCsvRecord();
}

}  // namespace

std::vector<CCsvRecord> SplitCsv(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) text.remove_prefix(3);
  csv_parser parser{};
  if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
  const std::unique_ptr<csv_parser, void (*)(csv_parser*)> owner(&parser, csv_free);
  SCsvReading reading;
  // Fed one line at a time, so that the callbacks know the line they are on.
  for (size_t start = 0; start < text.size(); ++reading.line) {
    const size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
    if (csv_parse(&parser, text.data() + start, end - start, EndField, EndRecord, &reading) !=
        end - start) {
      throw CCsvError(reading.line, csv_error(&parser) == CSV_EPARSE
                                        ? "malformed CSV: a quote inside an unquoted field, "
                                          "or text after a closing quote"
                                        : csv_strerror(csv_error(&parser)));
    }
    start = end;
  }
  if (csv_fini(&parser, EndField, EndRecord, &reading) != 0) {
    throw CCsvError(reading.line - 1, "malformed CSV: a quoted field does not end");
  }
  return reading.records;
}
