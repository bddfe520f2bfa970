// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_CALL_H_
#define SERVICE_REDFISH_CALL_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/http/Message.h"
#include "service/http/Router.h"
#include "service/json/Json.h"
#include "service/redfish/LookUps.h"
#include "service/redfish/QueryOptions.h"
#include "service/store/Transaction.h"

namespace cloudservice {

// A request with what the service has found out about it so far.
struct Call {
  const Request& request;
  Target target;                           // the request's; in an expansion that of a link
  std::vector<std::string> names = {};     // the segments for which the endpoint's path has "*"
  std::optional<SenderRecord> owner = {};  // the manager whose token the request has
  Json body = {};                          // for POST and PATCH
  QueryOptions query = {};                 // for GET
  std::shared_ptr<LookUps> lookUps = std::make_shared<LookUps>();
  std::int64_t account = 0;    // for a registration: the account whose key the request has
  std::string tokenHash = {};  // of the request's token, once the sender was looked for
};

// The result of an operation: a document, or a text of another type, or neither.
// NOLINTNEXTLINE(bugprone-exception-escape): a document throws nothing when it is moved.
struct Answer {
  unsigned status = 200;
  Json document;  // null: none
  std::vector<std::pair<std::string, std::string>> headers;
  std::string text;  // where `document` is null
  std::string type;  // Content-Type of `text`
  // For the log, written after the transaction; `routine` where they come all day.
  std::vector<std::string> lines;
  bool routine = false;
};

// 200 with the document.
Answer Found(Json document);
// 201 with the document that was created; the service adds Location and ETag. Null: 201 with
// neither.
Answer Created(Json document);
// 204.
Answer Done();

// The senders that may call an operation, and the status for all others.
enum class Access {
  kAnyone,
  kAppliance,   // a sender with a known token; else 401
  kItsManager,  // the manager whose UUID is the first of Call::names; else 404
  kItsChassis,  // the manager of the chassis that the first of Call::names identifies; else 404
};

// The query options that a GET takes: none; $select and $expand; these and $top and $skip.
enum class QueryUse { kNone, kResource, kCollection };

// Runs in one transaction together with the check of the sender. It may be run again, so that it
// has no effect outside of the transaction but its answer. Throws Refusal.
using Operation = std::function<Answer(const Call& call, Transaction& store)>;

struct Endpoint {
  Access access = Access::kAppliance;
  QueryUse query = QueryUse::kNone;
  Operation operation;
  // Runs before the operation and outside of all transactions, for work that takes long.
  std::function<void(Call& call)> before = nullptr;
};

using Routes = Router<Endpoint>;

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_CALL_H_
