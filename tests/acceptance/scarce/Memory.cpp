// SPDX-License-Identifier: Apache-2.0
// Memory for the daemon's own objects, jansson's and libcurl's. What lies below libcurl has its
// own.
#include <curl/curl.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "Scarce.h"

namespace {

void* Allocated(size_t size) {
  return scarce::IsWithoutMemory() ? nullptr : malloc(size == 0 ? 1 : size);
}

void* Cleared(size_t count, size_t size) {
  return scarce::IsWithoutMemory() ? nullptr : calloc(count, size);
}

void* Resized(void* memory, size_t size) {
  return scarce::IsWithoutMemory() ? nullptr : realloc(memory, size);
}

char* Copied(const char* text) { return scarce::IsWithoutMemory() ? nullptr : strdup(text); }

void* Object(size_t size) {
  void* const memory = Allocated(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

__attribute__((constructor)) void TakeJanssons() { json_set_alloc_funcs(&Allocated, &free); }

}  // namespace

void* operator new(size_t size) { return Object(size); }
void* operator new[](size_t size) { return Object(size); }
void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept { return Allocated(size); }
void* operator new[](size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocated(size);
}
void operator delete(void* memory) noexcept { free(memory); }
void operator delete[](void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
void operator delete[](void* memory, size_t /*size*/) noexcept { free(memory); }

extern "C" CURLcode __wrap_curl_global_init(long flags) {
  return curl_global_init_mem(flags, &Allocated, &free, &Resized, &Copied, &Cleared);
}
