#include "commands/JsonOutput.h"

#include <fmt/format.h>

#include <cmath>

CJson JsonDocument(const char* schemaName) {
  CJson document = CJson::object();
  document["schema"] = schemaName;
  document["schema_version"] = kJsonSchemaVersion;
  return document;
}

CJson JsonNumber(double value) { return std::isfinite(value) ? CJson(value) : CJson(nullptr); }

void PrintJson(FILE* out, const CJson& document) {
  // Replaces invalid UTF-8 in texts (they are user input) instead of throwing.
  fmt::print(out, "{}\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}
