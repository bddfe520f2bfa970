// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SERVICE_H_
#define SERVICE_REDFISH_SERVICE_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/auth/Accounts.h"
#include "service/http/Message.h"
#include "service/http/Target.h"
#include "service/json/Json.h"
#include "service/redfish/LookUps.h"
#include "service/redfish/QueryOptions.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Shape.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

struct HistoryQuery;

// How long things are kept, in seconds.
struct Retention {
  std::int64_t history = 7 * 24 * 3600;
  std::int64_t events = 365 * 24 * 3600;
};

// The Redfish service: requests in, answers out, no sockets. One thread. The store, the log and the
// accounts outlive it.
class RedfishService {
 public:
  RedfishService(Store& store, const Log& log, Accounts& accounts, Clock clock,
                 Retention retention = {});

  // Drops some of what is older than it is to be kept; true: there may be more. A failure becomes a
  // line in the log.
  bool RemoveOld();

  // Answers a request; whatever goes wrong becomes an error answer and a line in the log.
  Response Handle(const Request& request);

  // The answer to a request that could not be read, and its line in the log.
  Response Refuse(unsigned status, const std::string& method, const std::string& target,
                  const std::string& reason);

 private:
  // A request on its way to its operation.
  struct Call {
    const Request& request;
    Target target;
    std::vector<std::string> names;      // the path's segments that stand for an identifier
    std::optional<ManagerRecord> owner;  // whose token it carries
    QueryOptions query;                  // of a GET
    std::shared_ptr<LookUps> lookUps = std::make_shared<LookUps>();
  };

  enum class Access { kAnyone, kOwner };
  // Which of the query's options a GET takes: none; $select and $expand; $top and $skip too.
  enum class Options { kNone, kResource, kCollection };
  using Operation = Response (RedfishService::*)(const Call& call);

  struct Route {
    const char* method;
    // "*" stands for one segment, one "**" for one or more.
    std::vector<std::string> path;
    Access access;
    Options options;
    Operation operation;
  };

  static const std::vector<Route>& Routes();
  // The route of the call with this method, or null; fills the call's names, and `allowed` with the
  // methods that its path has, as the Allow header has them. Empty: there is no such path.
  static const Route* FindRoute(Call& call, const std::string& method, std::string& allowed);
  static bool MayTake(const Call& call, const Route& route) {
    return route.access == Access::kAnyone || call.owner;
  }
  Response Answer(const Request& request);
  Response Dispatch(Call& call, std::string& allowed);
  Response Get(Call& call, const Route& route, const std::string& allowed);
  // What a GET of the path would answer, made once a request; null when it would be refused.
  const Json& Fetched(const Call& call, const std::string& path);
  Json Answered(Call call);
  std::optional<std::string> CurrentTag(const Call& call);
  Response Refused(const Refusal& refusal, const std::string& method, const std::string& target);

  Response GetVersions(const Call& call);
  Response GetRoot(const Call& call);
  Response GetServiceDocument(const Call& call);
  Response GetMetadata(const Call& call);
  Response GetSchemaFile(const Call& call);
  Response ListSchemas(const Call& call);
  Response GetSchema(const Call& call);
  Response ListRegistries(const Call& call);
  Response GetRegistry(const Call& call);
  Response GetSessionService(const Call& call);
  Response ListSessions(const Call& call);

  Response ListManagers(const Call& call);
  Response RegisterManager(const Call& call);
  Response GetManager(const Call& call);
  Response PatchManager(const Call& call);
  Response DeleteManager(const Call& call);
  Response FindManagerByUuid(const Call& call, const std::string& uuid);
  // Throws Refusal (401) where the account is not to be had, except for one that has to wait.
  Admission Admit(const Call& call);
  Json ManagerView(const Call& call, const ManagerRecord& manager);
  Json HeartbeatView(const Heartbeat& heartbeat) const;
  bool IsOverdue(const Heartbeat& heartbeat) const;
  Response TakeHeartbeat(const Call& call);

  Response ListChassis(const Call& call);
  Response CreateChassis(const Call& call);
  Response GetChassis(const Call& call);
  Response PatchChassis(const Call& call);
  Response DeleteChassis(const Call& call);
  // Both throw Refusal (404) unless the chassis is the owner's.
  ChassisRecord OwnChassis(const Call& call);
  const std::string& OwnChassisId(const Call& call);
  Json ChassisView(const Call& call, const ChassisRecord& chassis);

  Response GetSensors(const Call& call);
  Response GetChassisResource(const Call& call);
  Response PatchChassisResource(const Call& call);
  Response GetManagerResource(const Call& call);
  Response PatchManagerResource(const Call& call);
  Response GetResource(const Call& call);
  Response PatchResource(const Call& call, const std::optional<std::string>& chassis);
  // What was sent for the resource of the owner's at `path`, as it is shown. Throws Refusal where
  // it is too large for the answer to a GET; what another answer shows is then as if nothing were
  // sent.
  Json ShapedFor(const Call& call, const ManagerRecord& owner, const char* type,
                 const std::string& path, const Json& sent);
  Resolver ResolverFor(const Call& call, const ManagerRecord& owner);
  std::string SchemaAt(const ManagerRecord& owner, const std::string& path);
  std::string SchemaBelow(const ManagerRecord& owner, const Target& target);
  // Adds to the view of a chassis or a manager the links to what lies below it.
  void LinkResources(const ManagerRecord& owner, const std::optional<std::string>& chassis,
                     Json& view);
  // Throws Refusal (400) for a patch that would change members that the service gives, and nothing
  // else.
  static void RefuseReadOnly(const Json& patch, const Json& given);

  Response GetChassisHistory(const Call& call);
  Response GetManagerHistory(const Call& call);
  Response GetHistory(const Call& call);
  Response ListHistoryMembers(const Call& call, const std::string& path);
  Response GetHistoryValues(const Call& call, const std::string& path, const HistoryQuery& query);
  // What `patch`, taken for the document at `path`, says about its numbers.
  Readings ReadingsOf(const Call& call, const std::optional<std::string>& chassis,
                      const Json& patch) const;

  Response ListEvents(const Call& call);
  // The collection of all events.
  Json EventsView(const Call& call);
  Response PostEvent(const Call& call);
  Response GetEvent(const Call& call);
  Json EventView(const Call& call, const EventRecord& event);
  std::string OriginChassis(const Call& call, const Json& document, AlarmEffect effect);
  void LogEvent(const EventRecord& event, const std::string& text, const std::string& alarm,
                AlarmOutcome outcome) const;

  // Throws Refusal (404) unless `uuid` is the owner's.
  static void RequireOwn(const Call& call, const std::string& uuid);

  Store& m_store;
  const Log& m_log;
  Accounts& m_accounts;
  const Clock m_clock;
  const Retention m_retention;
};

// What follows the path of a document in that of its history.
constexpr const char* kHistoryBelow = "/Oem/Quorvan:History";

// "NAME (UUID u)": how the log names a manager.
std::string Named(const ManagerRecord& manager);

// The document, with a link to the schema of its type if it has one.
Response JsonResponse(unsigned status, const Json& document);
// 201 for what now stands at the document's own address.
Response CreatedResponse(const Json& document);
// 204.
Response DoneResponse();
// A page of a collection of `count` members: those at the paths `shown`. `next` is the query of the
// page that follows; empty: none does.
Json CollectionPage(const std::string& path, const char* type, const std::string& name,
                    std::size_t count, const std::vector<std::string>& shown,
                    const std::string& next);
// A collection of the members at these paths, of which the query of the call may want a part.
Json CollectionView(const std::string& path, const char* type, const std::string& name,
                    const std::vector<std::string>& members, const QueryOptions& query);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SERVICE_H_
