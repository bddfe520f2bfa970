// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_VIEWS_H_
#define SERVICE_API_VIEWS_H_

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/http/Message.h"
#include "service/json/Json.h"
#include "service/store/Store.h"

namespace cloudservice {

// JSON views of what appliances have sent, for operators. Their members are those of openapi.json.

constexpr std::array<const char*, 3> kStateNames = {"alive", "late", "offline"};
constexpr std::array<const char*, 3> kSeverityNames = {"Fault", "Alarm", "Warning"};

Json CountsView(const AlarmCounts& counts);
std::optional<Severity> Worst(const AlarmCounts& counts);

Json ApplianceView(const ApplianceRecord& appliance, std::int64_t now);
Json AlarmView(const AlarmRecord& alarm);
Json EventView(const LoggedEvent& entry);

template <typename T>
Json OrNull(const std::optional<T>& value) {
  if (!value) return nullptr;
  return *value;
}

Json TimeOrNull(const std::optional<std::int64_t>& time);

// The value of the member if it is a string, else null.
Json TextOrNull(const Json& object, const char* name);

// The members of these names that are texts, as long as the object lives.
std::vector<std::string_view> TextsOf(const Json& object, std::initializer_list<const char*> names);

Response ApiAnswer(unsigned status, const Json& document);

}  // namespace cloudservice

#endif  // SERVICE_API_VIEWS_H_
