// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SERVICE_H_
#define SERVICE_REDFISH_SERVICE_H_

#include <optional>
#include <string>

#include "service/auth/Accounts.h"
#include "service/http/Message.h"
#include "service/redfish/Call.h"
#include "service/redfish/Refusal.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// The Redfish service: requests in, answers out, no sockets. It finds the operation of a request,
// looks who sends it, runs the operation in a transaction, and makes its answer the bytes that the
// sender gets. One thread. The store, the log and the accounts outlive it.
class RedfishService {
 public:
  RedfishService(Store& store, const Log& log, Accounts& accounts, const Clock& clock,
                 const Retention& retention = {});

  // Answers a request; whatever goes wrong becomes an error answer and a line in the log.
  Response Handle(const Request& request);

  // The answer to a request that could not be read, and its line in the log.
  Response Refuse(unsigned status, const Request& request, const std::string& reason);

 private:
  // The operations of a path: which of them a call means, and what its Allow header names.
  struct Place {
    const Endpoint* endpoint = nullptr;
    std::string allowed;
  };

  Place Find(Call& call, const std::string& method) const;
  Response Dispatch(const Request& request, std::string& allowed);
  Response Get(Call& call, const Endpoint& endpoint);
  Response Change(Call& call, const Endpoint& endpoint, const std::string& method);
  // What a GET of the path would answer, made once a request; null when it would be refused.
  const Json& Fetched(const Call& call, Transaction& store, const std::string& path) const;
  Json Answered(Call call, Transaction& store) const;
  // The document of the answer with what the query's options make of it.
  Json Chosen(const Call& call, Transaction& store, Json document) const;
  std::optional<std::string> CurrentTag(const Call& call, Transaction& store) const;
  void Tell(const Answer& answer) const;
  Response Refused(const Refusal& refusal, const Request& request) const;

  Store& m_store;
  const Log& m_log;
  Routes m_routes;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SERVICE_H_
