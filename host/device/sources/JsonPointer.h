// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_JSONPOINTER_H_
#define HOST_DEVICE_SOURCES_JSONPOINTER_H_

#include <optional>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"
#include "host/util/Json.h"

namespace host {

// A place in a JSON document (RFC 6901): "/Temperatures/0/ReadingCelsius"; "" is all of it.
class JsonPointer {
 public:
  // None of a text that is no pointer.
  static std::optional<JsonPointer> Parse(const std::string& text);

  // What is there; null when nothing is. Borrowed from the document.
  const json_t* Find(const json_t* document) const;

 private:
  std::vector<std::string> m_steps;
};

// Tells a point what a document holds at a place: a number, a text, or "true" and "false" of a
// flag. Null, an array, an object and nothing at all are no value.
void TellJson(const json_t* document, const JsonPointer& pointer, size_t point, SourceSink& sink);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_JSONPOINTER_H_
