// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_API_H_
#define SERVICE_API_API_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/api/Feed.h"
#include "service/api/Query.h"
#include "service/api/Views.h"
#include "service/auth/Operators.h"
#include "service/http/Message.h"
#include "service/http/Router.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// The operators' interface, as openapi.json describes it: it gets requests and returns answers,
// without sockets. Any thread may call it. The store, the operators, the feed and the log outlive
// it.
class OperatorApi {
 public:
  // `secure`: browsers send the cookie over TLS only. `command`: the beginning of commands on the
  // service's database, without what is secret.
  OperatorApi(Store& store, Operators& operators, Feed& feed, const Log& log, Clock clock,
              bool secure, std::string command);

  // Whether this interface serves requests with this target.
  static bool Serves(const Target& target);

  // The routes of its answers.
  std::vector<const Route*> ListRoutes() const { return m_routes.List(); }

  // Whether answering takes long because a password has to be checked.
  bool IsSlow(const Request& request) const;

  // The refusal of a request whose body is still to come: nothing takes it, or not from this
  // sender. None when the body should come.
  std::optional<Response> RefuseHead(const Request& head);

  // Answers a request. An exception becomes an error answer and a line in the log. Blocks for a
  // slow hash where a password is checked.
  Response Handle(const Request& request);

 private:
  // A request with what has been found out about it.
  struct Call {
    const Request& request;
    std::string name;  // the path's segment that names an appliance, by its UUID, or an alarm
    Credentials credentials;
    Identity who;
    Query query;
  };

  enum class Access { kAnyone, kOperator };

  struct Endpoint {
    Access access = Access::kOperator;
    std::vector<std::string> parameters;  // names that the query may have
    Response (OperatorApi::*operation)(const Call& call) = nullptr;
  };

  // What a path offers.
  struct Found {
    std::string allowed;     // the methods for the header Allow
    Route* route = nullptr;  // null: there is no such path
  };

  void AddRoutes();
  const Endpoint& Find(const Request& request, std::vector<std::string>& names, Found& found) const;
  // Does `work`, which notes what is at the path. What it throws becomes an answer.
  Response Guarded(const Request& request, const std::function<Response(Found& found)>& work);
  // Guarded() without the route.
  Response Caught(const Request& request, const std::function<Response(Found& found)>& work,
                  Found& found);
  Response Dispatch(const Request& request, Found& found);
  Identity Authorize(const Endpoint& endpoint, const Request& request,
                     const Credentials& credentials);
  Response Refused(const Request& request, unsigned status, const std::string& reason);

  Response GetDescription(const Call& call);
  Response SignIn(const Call& call);
  Response GetSession(const Call& call);
  Response SignOut(const Call& call);
  std::string Cookie(const std::string& session, const char* attributes) const;

  Response ListAppliances(const Call& call);
  Response GetAppliance(const Call& call);
  Response RemoveAppliance(const Call& call);
  Response ListAlarms(const Call& call);

  Response ListEvents(const Call& call);
  Response ListFleetEvents(const Call& call);

  Response ListFleetAlarms(const Call& call);
  Response Acknowledge(const Call& call);
  Response EndAcknowledgement(const Call& call);
  // Throws ApiError (404) when there is no such open alarm.
  void FindSilences();
  void KeepWord(const Call& call, const std::optional<Acknowledgement>& word);

  Response ListResources(const Call& call);
  Response GetResource(const Call& call);
  Response ListNumbers(const Call& call);
  Response GetHistory(const Call& call);

  Response GetStream(const Call& call);

  Store& m_store;
  Operators& m_operators;
  Feed& m_feed;
  const Log& m_log;
  const Clock m_clock;
  const bool m_secure;
  const std::string m_command;
  Router<Endpoint> m_routes;
};

}  // namespace cloudservice

#endif  // SERVICE_API_API_H_
