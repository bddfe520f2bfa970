// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_VIEWS_H_
#define SERVICE_REDFISH_VIEWS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "service/redfish/Call.h"

namespace cloudservice {

// The end of a history's path, after the path of its document.
constexpr const char* kHistoryBelow = "/Oem/Quorvan:History";

// The type of a document at this path, which is below a chassis or a manager.
const char* TypeAt(const Target& target);

// The view of a resource: the document `sent` by the manager with the UUID `owner` for `path`, in
// the shape of `type`. Where it is too large, the answer to a GET is refused (throws Refusal), and
// the answer to another request shows the resource as if nothing had been sent.
Json ShapedFor(const Call& call, Transaction& store, const std::string& owner, const char* type,
               const std::string& path, const Json& sent);

// Adds links to the resources and to the history below a chassis to its view; without `chassis`,
// those below the manager itself to the view of the manager.
void LinkResources(Transaction& store, const std::string& owner,
                   const std::optional<std::string>& chassis, Json& view);

// The readings in the body of a PATCH, with the time `now`.
Readings ReadingsOf(const Call& call, const std::optional<std::string>& chassis, std::int64_t now);

// A manager's name and UUID for the log: "NAME (UUID u)".
std::string Named(const std::string& name, const std::string& uuid);
std::string Named(const SenderRecord& manager);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_VIEWS_H_
