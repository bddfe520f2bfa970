// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "platform/util/LocalPath.h"
#include "platform/util/LxLinuxMutex.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/NetUtils.h"
#include "platform/util/dlog.h"

namespace {

// The number that fills the whole text; false when there is none, or it is not between the limits.
bool ToNumber(const std::string& text, long lowest, long highest, long& value) {
  const size_t digits = text.find_first_of("+-") == 0 ? 1 : 0;
  if (digits == text.size() || text.find_first_not_of("0123456789", digits) != std::string::npos) {
    return false;
  }
  errno = 0;
  const long number = strtol(text.c_str(), nullptr, 10);
  if (errno != 0 || number < lowest || number > highest) return false;
  value = number;
  return true;
}

template <typename Number>
bool To(const std::string& text, Number& value) {
  long number = 0;
  using Limits = std::numeric_limits<Number>;
  if (!ToNumber(text, Limits::min(), Limits::max(), number)) return false;
  value = static_cast<Number>(number);
  return true;
}

}  // namespace

void __dlog_printf(int level, const char* unit, const char* format, ...) {
  const int error = errno;
  va_list arguments;
  va_start(arguments, format);
  flockfile(stderr);
  fprintf(stderr, "%d %s ", level, unit);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  funlockfile(stderr);
  va_end(arguments);
  errno = error;
}

std::string LocalPath(const std::string& path) { return path; }

int orv_netutils::GetGlobalAddress(std::string& address) {
  address = "192.0.2.99";
  return 0;
}

struct LxLinuxMutex::Impl {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

LxLinuxMutex::LxLinuxMutex() : m_impl(new Impl) {}
LxLinuxMutex::~LxLinuxMutex() { delete m_impl; }

unsigned int LxLinuxMutex::Lock() {
  return static_cast<unsigned int>(pthread_mutex_lock(&m_impl->mutex));
}

unsigned int LxLinuxMutex::Unlock() {
  return static_cast<unsigned int>(pthread_mutex_unlock(&m_impl->mutex));
}

void LxStringUtils::Split(const std::string& text, char delimiter,
                          std::vector<std::string>& pieces) {
  std::vector<std::string> split;
  size_t begin = 0;
  for (size_t end = text.find(delimiter); end != std::string::npos;
       end = text.find(delimiter, begin)) {
    split.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  split.push_back(text.substr(begin));
  pieces.swap(split);
}

bool LxStringUtils::ConvertStringToLong(const std::string& text, int32_t& value) {
  return To(text, value);
}

bool LxStringUtils::ConvertStringToInt16(const std::string& text, int16_t& value) {
  return To(text, value);
}

bool LxStringUtils::IsInteger(const std::string& text) {
  int32_t value = 0;
  return To(text, value);
}
