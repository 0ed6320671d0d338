#pragma once

// What every JSON document the program prints has in common
// (docs/json-output.md): one object whose first members are "schema" (the
// document's name, e.g. "discrete-tree") and "schema_version"; member names
// in snake_case; numbers that are not finite written as null.

#include <cstdio>
#include <nlohmann/json.hpp>

using CJson = nlohmann::ordered_json;  // members in the order they are added

// The version of every document's schema; docs/json-output.md says what bumps it.
constexpr int kJsonSchemaVersion = 1;

// {"schema": name, "schema_version": kJsonSchemaVersion}, to be filled.
CJson JsonDocument(const char* schemaName);

// The number, or null when it is NaN or infinite.
CJson JsonNumber(double value);

// The document, indented by two spaces, and a newline. Doubles are written
// in the shortest form that reads back to the same double.
void PrintJson(FILE* out, const CJson& document);
