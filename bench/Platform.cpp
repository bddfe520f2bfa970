// As much platform as the transport needs, and no cost of its own: what is measured is the
// transport.

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "platform/util/LxLinuxMutex.h"
#include "platform/util/NetUtils.h"
#include "platform/util/dlog.h"

struct LxLinuxMutex::Impl {
  std::mutex mutex;
};

LxLinuxMutex::LxLinuxMutex() : m_impl(new Impl) {}
LxLinuxMutex::~LxLinuxMutex() { delete m_impl; }

unsigned int LxLinuxMutex::Lock() {
  m_impl->mutex.lock();
  return 0;
}

unsigned int LxLinuxMutex::Unlock() {
  m_impl->mutex.unlock();
  return 0;
}

int orv_netutils::GetGlobalAddress(std::string& address) {
  address = "192.0.2.17";
  return 0;
}

void __dlog_printf(int level, const char* unit, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fprintf(stderr, "%d %s ", level, unit);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  va_end(arguments);
}
