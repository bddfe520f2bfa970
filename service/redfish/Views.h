// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_VIEWS_H_
#define SERVICE_REDFISH_VIEWS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "service/redfish/Call.h"

namespace cloudservice {

// What follows the path of a document in that of its history.
constexpr const char* kHistoryBelow = "/Oem/Quorvan:History";

// The type that a document at this path below a chassis or a manager has.
const char* TypeAt(const Target& target);

// What was sent for the resource of the owner's at `path`, as it is shown. Throws Refusal where it
// is too large for the answer to a GET; what another answer shows is then as if nothing were sent.
Json ShapedFor(const Call& call, Transaction& store, const ManagerRecord& owner, const char* type,
               const std::string& path, const Json& sent);

// Adds to the view of a chassis, or of a manager, the links to what lies below it.
void LinkResources(Transaction& store, const ManagerRecord& owner,
                   const std::optional<std::string>& chassis, Json& view);

// What the body of a PATCH says about the numbers of its document, at the time `now`.
Readings ReadingsOf(const Call& call, const std::optional<std::string>& chassis, std::int64_t now);

// "NAME (UUID u)": how the log names a manager.
std::string Named(const ManagerRecord& manager);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_VIEWS_H_
