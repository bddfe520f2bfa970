// SPDX-License-Identifier: Apache-2.0
#ifndef APP_CLOUDCLIENT_H_
#define APP_CLOUDCLIENT_H_

#include <jansson.h>

#include <cstdint>
#include <string>

#include "base/RetryWait.h"
#include "https/HttpsClient.h"
#include "platform/config/CfgCloud.h"
#include "platform/framework/LxBaseProxyApp.h"

namespace cloudclient {

class DeviceMgr;

// Result of an operation of the application.
typedef uint32_t AppResult;

// The values of AppResult.
enum : AppResult {
  kAppOk = 0,
  kAppNotConfigured = 1,        // a configuration value is missing
  kAppConfigUnreadable = 2,     // URL or token unreadable, or the chassis list not emptied
  kAppRequestFailed = 3,        // a request to the service failed
  kAppNoUrl = 4,                // chassis: no URL configured
  kAppUuidNotStored = 5,        // the UUID could not be stored
  kAppNoUnitName = 6,           // no usable system name, or it could not be stored
  kAppNotRegistered = 7,        // the service does not know the appliance, or gave no token
  kAppServiceNotReached = 8,    // the service root could not be fetched
  kAppRootNotJson = 9,          // the service root is not JSON
  kAppNoOdataId = 10,           // no usable "@odata.id"
  kAppNoCollection = 11,        // no "Managers", or no "ManagerForChassis"
  kAppNoToken = 13,             // chassis: no token readable
  kAppNoDevice = 14,            // chassis: no managed device
  kAppNoId = 16,                // a document without an `Id`
  kAppNoJson = 17,              // a document that is no JSON
  kAppDeleteRefused = 18,       // the service did not delete the chassis
  kAppDocumentNotFetched = 19,  // a document could not be fetched
  kAppManagerNotJson = 21,      // the manager's document is no JSON
  kAppNoLinks = 22,             // the manager's document has no "Links"
  kAppNoTemplate = 24,          // no chassis template
};

// The application: waits for the cloud client to be enabled, connects the appliance with the
// service, and reacts to changes of configuration. One object a process, on the main thread, from
// which every operation is called. Failures are logged and reported by result. An operation throws
// only what HttpsClient's GET or the platform throws; thrown out of a work step it ends the
// process.
class CloudClient : public LxBaseProxyApp {
 public:
  // `name` is the application's name at the framework. A set-up failure is logged and leaves the
  // application not ready.
  explicit CloudClient(const char* name);
  ~CloudClient() override;

  // Reads the policy file and puts it in force; once, before `Start`. False, with one message, when
  // there is a file that is no policy: nothing may run then, for it would without what was asked.
  bool TakePolicy();

  // Blocks until the cloud client is enabled or a stop is requested; returns at once when the
  // application is not ready. Always 0.
  int OnStart() override;
  // One work step; ends with a sleep of 5 seconds. Connects on the transition to enabled, once:
  // a failure is not retried before the next such transition, but where the policy asks for it.
  void DoWork() override;
  void OnStop() override;
  // Follows a change of the system name, which becomes the unit name and unregisters the appliance.
  void HandleCfgEvent(const LxConfigEvent& event) override;

  bool IsEnabled();
  // Makes the system name the unit name, and stores a UUID if there is none: what a connection
  // needs. kAppOk, kAppNotConfigured, kAppNoUnitName or kAppUuidNotStored.
  AppResult HasValidConfiguration();
  // Finds the manager, or registers and posts the chassis; then synchronises the alarms. While the
  // device manager runs, its poster is asked for the synchronisation, and the manager is stopped
  // until registration and chassis are posted, so that it begins with the new chassis.
  void ConnectWithCloudService();

  // Registration and look-up of the manager.

  // Creates the manager and stores the token. kAppNotConfigured, kAppRequestFailed, or
  // kAppNotRegistered when the answer holds no token.
  AppResult Register();
  // Deletes the manager; forgets token and chassis list whatever the service answers.
  // kAppRequestFailed; kAppConfigUnreadable when the token can't be read, nothing is then done, and
  // when the chassis list could not be emptied.
  AppResult Unregister();
  // The manager's document in `managerDoc`, untouched unless kAppOk. kAppNotRegistered after the
  // service refused the token; token and chassis list are then forgotten. kAppRequestFailed, or
  // GetManagersURI's result.
  AppResult GetManagerInstance(std::string& managerDoc);
  // Path of the service's collection of managers. kAppRootNotJson, kAppNoCollection,
  // kAppNoOdataId, or GetServiceRoot's result.
  AppResult GetManagersURI(std::string& managersPath);
  // The service root's document; `doc` is undefined unless kAppOk. kAppNotConfigured,
  // kAppServiceNotReached.
  AppResult GetServiceRoot(std::string& doc);
  // A document of the service from its first "{" on. kAppConfigUnreadable, kAppDocumentNotFetched,
  // kAppNoJson. Without a readable token kAppOk, `json` untouched.
  AppResult GetAuthDocument(const std::string& path, std::string& json);

  // The chassis.

  // Renders, posts and records the chassis. kAppNoUrl, kAppNoToken, kAppNoDevice, kAppNoTemplate,
  // kAppRequestFailed, kAppNoJson, kAppNoId. Does not return while there is no
  // template, as FindDataFile.
  AppResult PostChassisInstance();
  // Synchronises the alarms of the configured chassis. The document is not read.
  void ReconcileWithCloudService(const std::string& managerDoc);
  // Compares the manager's chassis links with the configured list and posts the chassis anew where
  // they differ. kAppManagerNotJson, kAppNoLinks, kAppNoCollection, or the post's result.
  AppResult ReconcileChassis(const std::string& managerDoc);
  // `Id` of the chassis document at a path. kAppNoJson, kAppNoId, or GetAuthDocument's result.
  AppResult GetChassisIdFromChassisDoc(const std::string& chassisPath, std::string& id);
  // Deletes a chassis at the service and forgets it whatever the service answers.
  // kAppDeleteRefused. Without a readable URL or token kAppOk: nothing is sent, and the chassis is
  // forgotten all the same. With an empty `id` the DELETE goes to the collection, and no chassis is
  // forgotten.
  AppResult DeleteChassisInstanceFromCloudService(const std::string& id);

 private:
  // The connection as the policy's retries see it; without them it stays kNone.
  enum class Connection {
    kNone,    // none is wanted: disabled, or a rename has unregistered the appliance
    kFailed,  // is tried again after a wait
    kMade,    // is looked at after the service has refused a token
  };

  void EnterEnabled();
  void EnterDisabled();
  // What enabling does: true when the appliance is connected then.
  bool GoIntoService();
  bool Connect();
  bool AddToService(AppResult found, const std::string& managerDoc);
  bool NeedsChassis();
  void KeepConnected();
  void NoteConnection(bool made);
  AppResult ValidateUnitName();
  bool RenameUnit();
  AppResult RecordChassis(const std::string& responseBody, int velId);
  AppResult TakeLinkedChassis(const std::string& managerDoc);
  AppResult FetchChassisId(const std::string& path, std::string& id);
  AppResult LinkedChassisId(const json_t* link, std::string& id);

  bool m_ready = false;
  HttpsClient m_httpsClient;
  cfg_cloud::CfgCloud* m_cfgCloud;
  DeviceMgr* m_deviceMgr = nullptr;
  Connection m_connection = Connection::kNone;
  RetryWait m_retryWait;   // before a connection that failed is tried again
  RetryWait m_lookUpWait;  // before a refused token leads to another look-up
};

}  // namespace cloudclient

#endif  // APP_CLOUDCLIENT_H_
