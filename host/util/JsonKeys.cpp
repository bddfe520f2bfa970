// SPDX-License-Identifier: Apache-2.0
// What the tables of files' keys ask for: types and ranges of values, keys that are unknown.
#include "host/util/JsonKeys.h"

#include <cstring>
#include <stdexcept>

#include "host/util/UnknownKeys.h"

namespace host {
namespace {

using Type = JsonKey::Type;

Problem CheckText(const JsonKey& key, const json_t* value) {
  if (!json_is_string(value)) return Problem("is not a text");
  const size_t length = json_string_length(value);
  if (std::memchr(json_string_value(value), 0, length) != nullptr) {
    return Problem("holds a NUL byte");
  }
  if (key.high == 0 || length <= static_cast<size_t>(key.high)) return {};
  return Problem("is longer than " + std::to_string(key.high) + " bytes");
}

Problem CheckTexts(const JsonKey& key, const json_t* value) {
  if (!json_is_array(value) || json_array_size(value) == 0) {
    return Problem("is not an array of texts");
  }
  for (size_t i = 0; i < json_array_size(value); ++i) {
    const Problem problem = CheckText(key, json_array_get(value, i));
    if (problem) return Problem("[" + std::to_string(i) + "] " + problem.Text());
  }
  return {};
}

Problem CheckNamedTexts(const JsonKey& key, const json_t* value) {
  if (!json_is_object(value)) return Problem("is not an object");
  // jansson iterates over its objects only without const.
  auto* iterated = const_cast<json_t*>(value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  const char* name = nullptr;
  json_t* text = nullptr;
  json_object_foreach(iterated, name, text) {
    const Problem problem = CheckText(key, text);
    if (problem) return Problem("has a \"" + std::string(name) + "\" that " + problem.Text());
  }
  return {};
}

Problem CheckInteger(const JsonKey& key, const json_t* value) {
  const json_int_t number = json_integer_value(value);
  const bool ranged = key.low != key.high;
  if (json_is_integer(value) && (!ranged || (number >= key.low && number <= key.high))) return {};
  std::string words = "is not an integer";
  if (ranged) words += " from " + std::to_string(key.low) + " to " + std::to_string(key.high);
  return Problem(words);
}

Problem Require(bool good, const char* words) { return good ? Problem() : Problem(words); }

void AddUnknownKeys(const json_t* object, const std::vector<JsonKey>& keys,
                    const std::string& where, std::vector<std::string>& unknown) {
  std::vector<std::string> names;
  names.reserve(keys.size());
  for (const JsonKey& key : keys) names.emplace_back(key.name);
  for (const std::string& key : UnknownKeys(object, names)) unknown.push_back(key + where);
  for (const JsonKey& key : keys) {
    const json_t* const value = json_object_get(object, key.name);
    const std::string name = "\"" + std::string(key.name) + "\"";
    if (key.type == Type::kObject) {
      AddUnknownKeys(value, key.inner, " in " + name + where, unknown);
    } else if (key.type == Type::kObjects) {
      for (size_t i = 0; i < json_array_size(value); ++i) {
        AddUnknownKeys(json_array_get(value, i), key.inner,
                       " of " + name + "[" + std::to_string(i) + "]" + where, unknown);
      }
    }
  }
}

}  // namespace

const JsonKey& KeyOf(const std::vector<JsonKey>& keys, const char* name) {
  for (const JsonKey& key : keys) {
    if (std::strcmp(key.name, name) == 0) return key;
  }
  throw std::logic_error(std::string("no table holds the key ") + name);
}

Problem CheckJson(const JsonKey& key, const json_t* value) {
  switch (key.type) {
    case Type::kText:
      return CheckText(key, value);
    case Type::kFlag:
      return Require(json_is_boolean(value), "is neither true nor false");
    case Type::kTrue:
      return Require(json_is_true(value), "is not true");
    case Type::kInteger:
      return CheckInteger(key, value);
    case Type::kNumber:
      return Require(json_is_number(value), "is not a number");
    case Type::kTextOrNumber:
      return Require(json_is_string(value) || json_is_number(value),
                     "is neither a text nor a number");
    case Type::kTexts:
      return CheckTexts(key, value);
    case Type::kNamedTexts:
      return CheckNamedTexts(key, value);
    case Type::kObject:
    case Type::kNamedObjects:
    case Type::kOpenObject:
      return Require(json_is_object(value), "is not an object");
    case Type::kObjects:
      break;
  }
  return Require(json_is_array(value), "is not an array");
}

std::vector<std::string> UnknownKeysOf(const json_t* object, const std::vector<JsonKey>& keys) {
  std::vector<std::string> unknown;
  AddUnknownKeys(object, keys, "", unknown);
  return unknown;
}

}  // namespace host
