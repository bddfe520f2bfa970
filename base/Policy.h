// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_POLICY_H_
#define BASE_POLICY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace cloudclient {

// What a site asks of the daemon beyond its kept behaviour, which the defaults are: see
// docs/policy.md. Each value names who acts on it. Seconds are whole and at most a day; 0 is none.
struct Policy {
  // https/PolicyOptions, unless another is named. Files are paths of the appliance.
  struct Transport {
    bool verifyServer = false;  // the service's chain and host name are checked
    std::string caFile;         // against these; the system's store when both are empty
    std::string caPath;
    // "sha256//...", joined by ';'. When there is one, a key that matches is all that is asked.
    std::string pinnedPublicKeys;
    std::string clientCertificate;  // in PEM; none when empty
    std::string clientKey;          // in PEM; beside the certificate, in its file, when empty
    int minimumTls = 0;             // 12 or 13; 0 is libcurl's
    long connectTimeoutSeconds = 0;
    long requestTimeoutSeconds = 0;
    long stallSeconds = 0;
    // What libcurl's environment says when absent; an empty proxy is none.
    std::optional<std::string> proxy;
    std::optional<std::string> noProxy;
    std::string proxyAuth;        // "user:password"
    bool keepConnection = false;  // https/HttpsClient, as those that follow
    bool hostOfUrl = false;
    bool freshAnswers = false;

    // There is a deadline; a stop of the process then ends a request that is under way.
    bool HasDeadline() const {
      return connectTimeoutSeconds != 0 || requestTimeoutSeconds != 0 || stallSeconds != 0;
    }
  };

  // Waits between attempts to connect; app/CloudClientConnection.
  struct Registration {
    long firstRetrySeconds = 0;  // 0: a connection that failed is not tried again
    long mostRetrySeconds = 0;   // not below the first

    bool Retries() const { return firstRetrySeconds != 0; }
  };

  struct Search {
    bool endAtBase = false;  // device/DataFiles
  };

  // Of the changes of value that a pass of the poster finds; device/Poster.
  struct Changes {
    enum class Deliver {
      kFirst,   // the one that was queued first
      kLatest,  // the newest of each point, one PATCH a resource
      kAll,     // each, in order
    };
    Deliver deliver = Deliver::kFirst;
  };

  struct Alarms {
    bool pairAll = false;  // device/DeviceMgrAlarmSync
  };

  // What waits on the disk until the service has it; https/Outbox. Nothing does without a folder,
  // which is a path of the appliance.
  struct Outbox {
    std::string folder;
    uint64_t maxBytes = 16UL * 1024 * 1024;
    long maxDays = 30;
  };

  struct Queues {
    size_t most = 0;  // entries of each of the device's queues, 0 is any number; device/DeviceMgr
  };

  struct Log {
    bool maskSecrets = false;  // base/Masked
  };

  Transport transport;
  Registration registration;
  Log log;
  Alarms alarms;
  Outbox outbox;
  Queues queues;
  Changes changes;
  Search search;
};

// The policy in force: the kept behaviour until UsePolicy is called. Any thread.
const Policy& ThePolicy();

// Puts a policy in force, before a thread is started that asks for it.
void UsePolicy(const Policy& policy);

}  // namespace cloudclient

#endif  // BASE_POLICY_H_
