#include "tasks/LocalTime.h"

#include <ctime>

std::string LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
  return text;
}
