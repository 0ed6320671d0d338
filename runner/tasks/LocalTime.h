#pragma once

// The local time now as the task database stores times: ISO 8601 without a
// zone, "2026-11-23T14:05:09".

#include <string>

std::string LocalTimeNow();
