// SPDX-License-Identifier: Apache-2.0
// Secrets in texts for the log.
#include "base/Masked.h"

#include <strings.h>

#include <algorithm>
#include <deque>
#include <mutex>
#include <vector>

#include "base/CloudCfg.h"
#include "base/Policy.h"

namespace cloudclient {
namespace {

constexpr char kMask[] = "********";
constexpr size_t kMaskSize = sizeof kMask - 1;
constexpr char kTokenHeader[] = "X-Auth-Token:";
constexpr size_t kTokenHeaderSize = sizeof kTokenHeader - 1;
constexpr size_t kMostTokens = 8;

struct Tokens {
  std::mutex mutex;
  std::deque<std::string> texts;
};

// Never destroyed: the log may speak until the end.
Tokens& TheTokens() {
  static auto* const tokens = new Tokens;
  return *tokens;
}

std::vector<std::string> Secrets() {
  std::vector<std::string> secrets(2);
  CloudCfg()->GetKey(secrets[0]);
  CloudCfg()->GetXAuthToken(secrets[1]);
  Tokens& tokens = TheTokens();
  const std::lock_guard<std::mutex> guard(tokens.mutex);
  secrets.insert(secrets.end(), tokens.texts.begin(), tokens.texts.end());
  // One may hold another: the longer goes first, lest the rest of it stays.
  std::sort(secrets.begin(), secrets.end(),
            [](const auto& one, const auto& other) { return one.size() > other.size(); });
  return secrets;
}

void MaskValue(std::string& text, const std::string& secret) {
  if (secret.empty()) return;
  for (size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += kMaskSize) {
    text.replace(at, secret.size(), kMask);
  }
}

// A token that is shown here may stand in the document behind the header block, and in later lines.
void MaskTokenHeaders(std::string& text) {
  for (size_t at = 0; at + kTokenHeaderSize < text.size(); ++at) {
    if (strncasecmp(text.c_str() + at, kTokenHeader, kTokenHeaderSize) != 0) continue;
    const size_t begin = text.find_first_not_of(" \t", at + kTokenHeaderSize);
    if (begin == std::string::npos) return;
    at = begin;
    const size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
    if (end == begin) continue;
    RememberToken(text.substr(begin, text.find_last_not_of(" \t", end - 1) + 1 - begin));
    text.replace(begin, end - begin, kMask);
  }
}

}  // namespace

std::string Masked(const std::string& text) {
  if (!ThePolicy().log.maskSecrets) return text;
  std::string masked = text;
  MaskTokenHeaders(masked);
  for (const std::string& secret : Secrets()) MaskValue(masked, secret);
  return masked;
}

void RememberToken(const std::string& token) {
  if (token.empty() || !ThePolicy().log.maskSecrets) return;
  Tokens& tokens = TheTokens();
  const std::lock_guard<std::mutex> guard(tokens.mutex);
  if (std::find(tokens.texts.begin(), tokens.texts.end(), token) != tokens.texts.end()) return;
  if (tokens.texts.size() == kMostTokens) tokens.texts.pop_front();
  tokens.texts.push_back(token);
}

}  // namespace cloudclient
