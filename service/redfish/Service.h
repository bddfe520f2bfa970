#ifndef SERVICE_REDFISH_SERVICE_H_
#define SERVICE_REDFISH_SERVICE_H_

#include <string>
#include <vector>

#include "service/Clock.h"
#include "service/Log.h"
#include "service/http/Message.h"
#include "service/http/Target.h"
#include "service/owners/Accounts.h"
#include "service/redfish/Document.h"
#include "service/store/Store.h"

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

  // Drops what is older than it is to be kept; a failure becomes a line in the log.
  void RemoveOld();

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
  };

  enum class Access { kAnyone, kOwner };

  struct Route {
    const char* method;
    // "*" stands for one segment, one "**" for one or more.
    std::vector<std::string> path;
    Access access;
    Response (RedfishService::*operation)(const Call& call);
  };

  static const std::vector<Route>& Routes();
  const Route& FindRoute(Call& call, std::string& allowed) const;
  Response Dispatch(Call& call, std::string& allowed);
  Response Answer(const Request& request);
  Response Refused(unsigned status, const std::string& method, const std::string& target,
                   const std::string& reason);

  Response GetVersions(const Call& call);
  Response GetRoot(const Call& call);

  Response ListManagers(const Call& call);
  Response RegisterManager(const Call& call);
  Response GetManager(const Call& call);
  Response PatchManager(const Call& call);
  Response DeleteManager(const Call& call);
  Response FindManagerByUuid(const Call& call, const std::string& uuid);
  // Throws Refusal (401) where the account is not to be had, except for one that has to wait.
  Admission Admit(const Call& call);
  Json ManagerView(const ManagerRecord& manager);
  Json HeartbeatView(const Heartbeat& heartbeat) const;
  bool IsOverdue(const Heartbeat& heartbeat) const;
  Response TakeHeartbeat(const Call& call);

  Response ListChassis(const Call& call);
  Response CreateChassis(const Call& call);
  Response GetChassis(const Call& call);
  Response PatchChassis(const Call& call);
  Response DeleteChassis(const Call& call);
  ChassisRecord OwnChassis(const Call& call);
  Json ChassisView(const ChassisRecord& chassis) const;

  Response GetChassisResource(const Call& call);
  Response PatchChassisResource(const Call& call);
  Response GetManagerResource(const Call& call);
  Response PatchManagerResource(const Call& call);
  Response GetResource(const Call& call);
  Response PatchResource(const Call& call, const std::optional<std::string>& chassis);

  Response GetChassisHistory(const Call& call);
  Response GetManagerHistory(const Call& call);
  Response GetHistory(const Call& call);
  Response ListHistoryMembers(const Call& call, const std::string& path);
  Response GetHistoryValues(const Call& call, const std::string& path, const HistoryQuery& query);
  // What `patch`, taken for the document at `path`, says about its numbers.
  Readings ReadingsOf(const Call& call, const std::optional<std::string>& chassis,
                      const Json& patch) const;

  Response ListEvents(const Call& call);
  Response PostEvent(const Call& call);
  Response GetEvent(const Call& call);
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

// "NAME (UUID u)": how the log names a manager.
std::string Named(const ManagerRecord& manager);

Response JsonResponse(unsigned status, const Json& document);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SERVICE_H_
