// SPDX-License-Identifier: Apache-2.0
// Values of the configuration as they are asked for and shown.
#include "ctl/ConfigValues.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "ctl/Dial.h"
#include "ctl/Output.h"
#include "ctl/QuietTerminal.h"
#include "host/config/ConfigKeys.h"
#include "host/util/Files.h"

namespace ctl {

namespace {

using host::Problem;

constexpr size_t kLongestSecret = 64 * 1024;

// Until the end of the input; at a terminal until the end of the line.
std::string ReadInput(const std::string& key) {
  const QuietTerminal terminal(key + ": ");
  std::string text;
  for (int c = std::getchar(); c != EOF && text.size() <= kLongestSecret; c = std::getchar()) {
    if (c == '\n' && terminal.IsTerminal()) break;
    text += static_cast<char>(c);
  }
  return text;
}

// Takes the end of the line off; false when that leaves none, or several.
bool IsOneLine(std::string& secret) {
  if (!secret.empty() && secret.back() == '\n') secret.pop_back();
  if (!secret.empty() && secret.back() == '\r') secret.pop_back();
  const bool isLine = secret.find_first_of(std::string("\n\0", 2)) == std::string::npos;
  return isLine && !secret.empty() && secret.size() <= kLongestSecret;
}

// They would end a header's line, or write on a terminal.
bool HoldsControlByte(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
  });
}

// Whether the daemon can make its addresses of that one: it puts paths behind it as it is.
Problem CheckUrl(const std::string& key, const std::string& url) {
  size_t host = 0;
  for (const char* scheme : {"https://", "http://"}) {
    const size_t length = std::char_traits<char>::length(scheme);
    if (strncasecmp(url.c_str(), scheme, length) == 0) host = length;
  }
  if (host == 0) return Problem(key + " begins with https:// or http://");
  if (url.size() == host) return Problem(key + " names no host");
  if (url.back() == '/') return Problem(key + " has no slash at its end");
  if (HoldsControlByte(url) || url.find_first_of(" ?#") != std::string::npos) {
    return Problem(key + " has no blanks, no control bytes, no ? and no #");
  }
  return {};
}

bool IsUuid(const std::string& text) {
  constexpr char kShape[] = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (text.size() != sizeof(kShape) - 1) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool fits =
        kShape[i] == '-' ? text[i] == '-' : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!fits) return false;
  }
  return true;
}

}  // namespace

host::Problem CheckValue(const host::ConfigStore::Key& key, const std::string& value) {
  using Form = host::ConfigStore::Form;
  const std::string name = key.json.name;
  if (key.json.type == host::JsonKey::Type::kFlag && value != "true" && value != "false") {
    return Problem(name + " takes true or false, not '" + value + "'");
  }
  if (key.form == Form::kName && (value.empty() || value == "Uninitialized")) {
    return Problem(name + " is a name: the daemon does not connect an appliance that has none");
  }
  if (key.form == Form::kUrl && !value.empty()) return CheckUrl(name, value);
  if (HoldsControlByte(value)) return Problem(name + " has no control bytes");
  if (key.form == Form::kUuid && !value.empty() && !IsUuid(value)) {
    return Problem(name +
                   " has the form 6d7a7c3e-5a54-4a0e-9d0b-6f1c2a3b4c5d, or is empty for a new one");
  }
  return {};
}

std::string EndedByName(const std::string& name) {
  const host::ConfigStore& cloud = host::CloudStore();
  const bool connected = cloud.Flag(host::kEnabled) && !cloud.Text(host::kXAuthToken).empty();
  if (!connected || name == host::SysInfoStore().Text(host::kSysName)) return "";
  const host::JsonRef chassis = cloud.Object(host::kChassis);
  return "a new name unregisters the appliance: " + WithoutUser(cloud.Text(host::kUrl)) +
         " deletes manager " + cloud.Text(host::kUuid) + ", " +
         std::to_string(json_object_size(chassis.get())) + " chassis and their history";
}

bool ReadSecret(const std::string& key, std::string& secret) {
  secret = ReadInput(key);
  if (IsOneLine(secret)) return true;
  PrintError("standard input does not hold one line with the value of " + key);
  return false;
}

Problem ReadSecretFile(const std::string& file, std::string& secret) {
  if (const Problem problem = host::ReadFile(file, kLongestSecret, secret))
    return problem.With(file);
  return IsOneLine(secret) ? Problem() : Problem(file + " does not hold one line");
}

}  // namespace ctl
