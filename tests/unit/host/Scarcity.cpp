// SPDX-License-Identifier: Apache-2.0
#include "Scarcity.h"

#include <jansson.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr int kNone = -1;
thread_local int t_allocationsLeft = kNone;

// More than any process has in one piece, also where addresses have 32 bits.
constexpr size_t kHugeStack = SIZE_MAX / 4 * 3 / 4096 * 4096;

void* Allocated(size_t size) {
  if (t_allocationsLeft >= 0 && t_allocationsLeft-- == 0) throw std::bad_alloc();
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

// All memory of the tests comes from here.
void* operator new(size_t size) { return Allocated(size); }
void* operator new[](size_t size) { return Allocated(size); }
void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size);
}
void* operator new[](size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t /*size*/) noexcept { std::free(memory); }

FailingMemory::FailingMemory(int allocation) { t_allocationsLeft = allocation; }
FailingMemory::~FailingMemory() { t_allocationsLeft = kNone; }
bool FailingMemory::Failed() const { return t_allocationsLeft == kNone; }

namespace {

std::atomic<int> g_jsonLeft{kNone};

void* JsonAllocated(size_t size) {
  return g_jsonLeft >= 0 && g_jsonLeft-- == 0 ? nullptr : std::malloc(size);
}

}  // namespace

FailingJson::FailingJson(int allocation) {
  g_jsonLeft = allocation;
  json_set_alloc_funcs(&JsonAllocated, &std::free);
}
FailingJson::~FailingJson() { g_jsonLeft = kNone; }
bool FailingJson::Failed() const { return g_jsonLeft == kNone; }

NoThreads::NoThreads() {
  pthread_getattr_default_np(&m_before);
  pthread_attr_t huge = m_before;
  pthread_attr_setstacksize(&huge, kHugeStack);
  pthread_setattr_default_np(&huge);
}

NoThreads::~NoThreads() { pthread_setattr_default_np(&m_before); }
