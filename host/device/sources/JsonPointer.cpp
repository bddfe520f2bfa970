// SPDX-License-Identifier: Apache-2.0
// Places in JSON documents.
#include "host/device/sources/JsonPointer.h"

namespace host {
namespace {

// The element's number: digits, without a zero before others. False for all else.
bool ParseIndex(const std::string& step, size_t& index) {
  constexpr size_t kMostDigits = 9;
  if (step.empty() || step.size() > kMostDigits) return false;
  if (step.find_first_not_of("0123456789") != std::string::npos) return false;
  if (step.size() > 1 && step.front() == '0') return false;
  index = 0;
  for (const char digit : step) index = index * 10 + static_cast<size_t>(digit - '0');
  return true;
}

// Replaces "~1" by "/" and "~0" by "~"; false for another "~".
bool Unescape(std::string& step) {
  std::string text;
  for (size_t i = 0; i < step.size(); ++i) {
    if (step[i] != '~') {
      text += step[i];
      continue;
    }
    const char next = ++i < step.size() ? step[i] : '\0';
    if (next != '0' && next != '1') return false;
    text += next == '0' ? '~' : '/';
  }
  step.swap(text);
  return true;
}

const json_t* Member(const json_t* value, const std::string& step) {
  size_t index = 0;
  if (json_is_array(value)) {
    return ParseIndex(step, index) ? json_array_get(value, index) : nullptr;
  }
  // A name with a NUL byte is in no document that jansson reads.
  if (step.find('\0') != std::string::npos) return nullptr;
  return json_object_get(value, step.c_str());
}

}  // namespace

std::optional<JsonPointer> JsonPointer::Parse(const std::string& text) {
  JsonPointer pointer;
  if (text.empty()) return pointer;
  if (text.front() != '/') return std::nullopt;
  for (size_t begin = 1;;) {
    const size_t end = text.find('/', begin);
    std::string step = text.substr(begin, end == std::string::npos ? end : end - begin);
    if (!Unescape(step)) return std::nullopt;
    pointer.m_steps.push_back(std::move(step));
    if (end == std::string::npos) return pointer;
    begin = end + 1;
  }
}

const json_t* JsonPointer::Find(const json_t* document) const {
  for (const std::string& step : m_steps) document = Member(document, step);
  return document;
}

void TellJson(const json_t* document, const JsonPointer& pointer, size_t point, SourceSink& sink) {
  const json_t* const value = pointer.Find(document);
  if (json_is_number(value)) {
    sink.Number(point, json_number_value(value));
  } else if (json_is_string(value)) {
    sink.Text(point, JsonText(value));
  } else if (json_is_boolean(value)) {
    sink.Text(point, json_is_true(value) ? "true" : "false");
  } else if (value == nullptr) {
    sink.NoValue(point, Problem("its pointer names nothing"));
  } else if (json_is_null(value)) {
    sink.NoValue(point, Problem("its pointer names null"));
  } else {
    sink.NoValue(point, Problem("its pointer names neither a number nor a text"));
  }
}

}  // namespace host
