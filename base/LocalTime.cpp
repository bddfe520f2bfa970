#include "base/LocalTime.h"

namespace cloudclient {

struct tm LocalTimeNow() {
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  return local;
}

std::string LocalTimeText(const char* format, size_t size) {
  const struct tm local = LocalTimeNow();
  std::string text(size, '\0');
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // checked where this is called
  text.resize(strftime(text.data(), size, format, &local));
#pragma GCC diagnostic pop
  return text;
}

}  // namespace cloudclient
