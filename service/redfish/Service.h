// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SERVICE_H_
#define SERVICE_REDFISH_SERVICE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/auth/Accounts.h"
#include "service/http/Message.h"
#include "service/redfish/Call.h"
#include "service/redfish/Quota.h"
#include "service/redfish/RecentSenders.h"
#include "service/redfish/Refusal.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// The Redfish service: it gets requests and returns answers, without sockets. It finds the
// operation of a request, identifies the sender, runs the operation in a transaction, and writes
// its answer out. Any thread may call its operations. The store, the log and the accounts outlive
// it.
class RedfishService {
 public:
  RedfishService(Store& store, const Log& log, Accounts& accounts, const Clock& clock,
                 const Retention& retention = {}, const Quotas& quotas = {});

  // Answers a request. An exception becomes an error answer and a line in the log.
  Response Handle(const Request& request);
  // Begins a change of a sender who is known, if it is small: a heartbeat, a document, an event.
  // All else is for Handle().
  bool Begin(const std::shared_ptr<const Request>& request, Ready ready);
  // Whether answering takes long because a key has to be checked.
  bool IsSlow(const Request& request) const;

  // The refusal of a request whose body is still to come: nothing takes it, or not from this
  // sender. None when the body should come.
  std::optional<Response> RefuseHead(const Request& head);

  // The routes of its answers.
  std::vector<const Route*> ListRoutes() const { return m_routes.List(); }
  // What quotas have refused so far.
  QuotaRefusals::Counts OverQuotas() const { return m_overQuota.Total(); }

  // Answers a request that could not be read, and writes a line about it into the log.
  Response Refuse(unsigned status, const Request& request, const std::string& reason);

 private:
  // What a path offers: the operation of the call's method (null: none), and the methods for the
  // header Allow (empty: there is no such path).
  struct Place {
    const Endpoint* endpoint = nullptr;
    std::string allowed;
    Route* route = nullptr;
  };

  Place Find(Call& call, const std::string& method) const;
  // The operation that the call asks for; null for OPTIONS. Throws Refusal when there is none.
  // `place` gets what there is, also then.
  const Endpoint* FindOrRefuse(Call& call, const std::string& method, Place& place) const;
  // Does `work`, which notes what is at the path. What it throws becomes an answer.
  Response Guarded(const Request& request, const std::function<Response(Place& place)>& work);
  Response Dispatch(const Request& request, Place& place);
  Response Get(Call& call, const Endpoint& endpoint);
  Response Change(Call& call, const Endpoint& endpoint, const std::string& method);
  // Makes a change; its sender is not checked yet.
  Answer Changed(Call& call, const Endpoint& endpoint, Transaction& store) const;
  // The document that a GET of the path would answer; null when that would be refused. Made once
  // for each request and path.
  const Json& Fetched(const Call& call, Transaction& store, const std::string& path) const;
  Json Answered(Call call, Transaction& store) const;
  // Applies $expand and $select to the document of an answer.
  Json Chosen(const Call& call, Transaction& store, const Json& document) const;
  std::optional<std::string> CurrentTag(const Call& call, Transaction& store) const;
  void Tell(const Answer& answer) const;
  Response Refused(const Refusal& refusal, const Request& request) const;

  Store& m_store;
  const Log& m_log;
  const Clock m_clock;
  Routes m_routes;
  QuotaRefusals m_overQuota;
  RecentSenders m_recent;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SERVICE_H_
