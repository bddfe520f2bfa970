// SPDX-License-Identifier: Apache-2.0
// Texts that messages mask.
#include "host/util/Secrets.h"

#include <algorithm>
#include <deque>
#include <vector>

#include "host/util/Mutex.h"

namespace host {
namespace {

constexpr size_t kMostSecrets = 16;
constexpr size_t kShortestSecret = 4;

struct Secrets {
  Mutex mutex;
  std::deque<std::string> texts GUARDED_BY(mutex);
};

// Never destroyed: the log may speak until the end.
Secrets& TheSecrets() {
  static auto* const secrets = new Secrets;
  return *secrets;
}

}  // namespace

void KeepSecret(const std::string& text) {
  if (text.size() < kShortestSecret) return;
  Secrets& secrets = TheSecrets();
  const MutexLock guard(secrets.mutex);
  if (std::find(secrets.texts.begin(), secrets.texts.end(), text) != secrets.texts.end()) return;
  if (secrets.texts.size() == kMostSecrets) secrets.texts.pop_front();
  secrets.texts.push_back(text);
}

std::string WithoutSecrets(std::string text) {
  std::vector<std::string> texts;
  {
    Secrets& secrets = TheSecrets();
    const MutexLock guard(secrets.mutex);
    texts.assign(secrets.texts.begin(), secrets.texts.end());
  }
  // One may hold another: the longer goes first, lest the rest of it stays.
  std::sort(texts.begin(), texts.end(),
            [](const auto& one, const auto& other) { return one.size() > other.size(); });
  for (const std::string& secret : texts) {
    for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos;
         at += sizeof(kMask) - 1) {
      text.replace(at, secret.size(), kMask);
    }
  }
  return text;
}

}  // namespace host
