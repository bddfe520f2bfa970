#ifndef SERVICE_API_VIEWS_H_
#define SERVICE_API_VIEWS_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "service/http/Message.h"
#include "service/redfish/Document.h"
#include "service/store/Store.h"

namespace cloudservice {

// How operators see what appliances have sent. The members are those of openapi.json.

enum class State { kAlive, kLate, kOffline };
constexpr std::array<const char*, 3> kStateNames = {"alive", "late", "offline"};

// Seconds that stand for the interval of an appliance that has sent no heartbeat yet; the
// registration stands for the heartbeat.
constexpr std::int64_t kFirstInterval = 120;
// From so many intervals since the last heartbeat on an appliance is late, and offline.
constexpr std::int64_t kLateFactor = 2;
constexpr std::int64_t kOfflineFactor = 3;
State StateOf(const ManagerRecord& manager, std::int64_t now);

enum class Severity { kFault, kAlarm, kWarning };
constexpr std::array<const char*, 3> kSeverityNames = {"Fault", "Alarm", "Warning"};

// What a word that opens an alarm counts as.
Severity SeverityOf(const std::string& word);

// Open alarms by severity.
using AlarmCounts = std::array<std::int64_t, 3>;
Json CountsView(const AlarmCounts& counts);
std::optional<Severity> Worst(const AlarmCounts& counts);

Json ApplianceView(const ApplianceRecord& appliance, const AlarmCounts& alarms, std::int64_t now);
Json AlarmView(const AlarmRecord& alarm);
Json EventView(const LoggedEvent& entry);

// The member where it is a string, else null.
Json TextOrNull(const Json& object, const char* name);

Response ApiAnswer(unsigned status, const Json& document);
// In one line.
std::string CompactText(const Json& document);

}  // namespace cloudservice

#endif  // SERVICE_API_VIEWS_H_
