// SPDX-License-Identifier: Apache-2.0
// Reading the members of an object of a JSON file, and what is wrong with them.
#include "host/util/JsonReader.h"

#include <utility>

namespace host {

JsonReader::JsonReader(const json_t* object, const std::vector<JsonKey>& keys, std::string where,
                       std::vector<std::string>& problems)
    : m_object(object), m_keys(keys), m_where(std::move(where)), m_problems(problems) {}

const json_t* JsonReader::Value(const char* key) const {
  const json_t* const value = AnyValue(key);
  if (value == nullptr) return nullptr;
  const Problem problem = CheckJson(KeyOf(m_keys, key), value);
  if (!problem) return value;
  Wrong(key, problem.Text());
  return nullptr;
}

int64_t JsonReader::Integer(const char* key, int64_t otherwise) const {
  const json_t* const value = Value(key);
  return value == nullptr ? otherwise : json_integer_value(value);
}

double JsonReader::Number(const char* key, double otherwise) const {
  const json_t* const value = Value(key);
  return value == nullptr ? otherwise : json_number_value(value);
}

uint16_t JsonReader::Identity(const char* key) const {
  if (!Holds(key)) Wrong(key, "is missing");
  return static_cast<uint16_t>(Integer(key, 0));
}

std::optional<JsonReader> JsonReader::Inner(const char* key) const {
  return Inner(key, KeyOf(m_keys, key).inner);
}

std::optional<JsonReader> JsonReader::Inner(const char* key,
                                            const std::vector<JsonKey>& keys) const {
  const json_t* const value = Value(key);
  if (value == nullptr) return std::nullopt;
  return JsonReader(value, keys, " in " + Quoted(key) + m_where, m_problems);
}

JsonReader JsonReader::By(const std::vector<JsonKey>& keys) const {
  return JsonReader(m_object, keys, m_where, m_problems);
}

void JsonReader::Wrong(const std::string& key, const std::string& what) const {
  m_problems.push_back(Quoted(key) + m_where + " " + what);
}

}  // namespace host
