// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_API_H_
#define SERVICE_API_API_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/api/Feed.h"
#include "service/api/Query.h"
#include "service/api/Views.h"
#include "service/auth/Operators.h"
#include "service/http/Message.h"
#include "service/http/Target.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// What operators may ask, as openapi.json describes it: requests in, answers out, no sockets. One
// thread. What is given to it outlives it.
class OperatorApi {
 public:
  // `secure`: cookies are for TLS alone.
  OperatorApi(Store& store, Operators& operators, Feed& feed, const Log& log, Clock clock,
              bool secure);

  // Whether a request with this target is for this service.
  static bool Serves(const std::string& target);

  // Answers a request; whatever goes wrong becomes an error answer and a line in the log.
  Response Handle(const Request& request);

 private:
  // A request on its way to its operation.
  struct Call {
    const Request& request;
    Target target;
    std::string uuid;  // the path's segment that names an appliance
    Proof proof;
    Identity who;
    Query query;
  };

  enum class Access { kAnyone, kOperator };

  struct Route {
    const char* method;
    std::vector<std::string> path;  // behind /api/v1; "*" stands for the UUID
    Access access;
    std::vector<std::string> parameters;
    Response (OperatorApi::*operation)(const Call& call);
  };

  static const std::vector<Route>& Routes();
  static const Route& FindRoute(const Request& request, const Target& target, std::string& allowed);
  Response Dispatch(const Request& request, std::string& allowed);
  void Authorize(const Route& route, const Request& request, const Proof& proof, Identity& who);
  Response Refused(const Request& request, unsigned status, const std::string& reason);

  Response GetDescription(const Call& call);
  Response SignIn(const Call& call);
  Response GetSession(const Call& call);
  Response SignOut(const Call& call);
  std::string Cookie(const std::string& session, const char* attributes) const;

  Response ListAppliances(const Call& call);
  Response GetAppliance(const Call& call);
  Response ListAlarms(const Call& call);
  ApplianceRecord FindAppliance(const std::string& uuid);

  Response ListEvents(const Call& call);

  Response ListResources(const Call& call);
  Response GetResource(const Call& call);
  Response ListNumbers(const Call& call);
  Response GetHistory(const Call& call);
  DocumentRecord FindDocument(const Call& call);

  Response GetStream(const Call& call);

  Store& m_store;
  Operators& m_operators;
  Feed& m_feed;
  const Log& m_log;
  const Clock m_clock;
  const bool m_secure;
};

}  // namespace cloudservice

#endif  // SERVICE_API_API_H_
