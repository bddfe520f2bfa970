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

// A request on its way to its operation.
struct Call {
  const Request& request;
  Target target;                            // of what is asked for; in an expansion that of a link
  std::vector<std::string> names = {};      // the path's segments that stand for an identifier
  std::optional<ManagerRecord> owner = {};  // whose token it carries
  Json body = {};                           // of a POST or PATCH
  QueryOptions query = {};                  // of a GET
  std::shared_ptr<LookUps> lookUps = std::make_shared<LookUps>();
  std::int64_t account = 0;  // of a registration: whose key it carries
};

// What an operation answers: a document, or a text of another type, or neither.
// NOLINTNEXTLINE(bugprone-exception-escape): a document throws nothing when it is moved.
struct Answer {
  unsigned status = 200;
  Json document;  // null: none
  std::vector<std::pair<std::string, std::string>> headers;
  std::string text;  // of `type`
  std::string type;
  std::vector<std::string> lines;  // for the log, once what they tell has happened
};

// 200 with the document.
Answer Found(Json document);
// 201 with what was created, which says its address and its tag.
Answer Created(Json document);
// 204.
Answer Done();

// Which senders an operation is for, and what others are answered.
enum class Access {
  kAnyone,
  kAppliance,   // whoever has a token; 401
  kItsManager,  // the path's first identifier is the sender's UUID; 404
  kItsChassis,  // that of a chassis of the sender's; 404
};

// Which of the query's options a GET takes: none; $select and $expand; $top and $skip too.
enum class QueryUse { kNone, kResource, kCollection };

// Runs in one transaction with the look at the sender. May be run again: what it does beside the
// transaction is in its answer.
using Operation = std::function<Answer(const Call& call, Transaction& store)>;

struct Endpoint {
  Access access = Access::kAppliance;
  QueryUse query = QueryUse::kNone;
  Operation operation;
  // Runs before it, outside of all transactions: what takes long.
  std::function<void(Call& call)> before = nullptr;
};

using Routes = Router<Endpoint>;

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_CALL_H_
