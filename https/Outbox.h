// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_OUTBOX_H_
#define HTTPS_OUTBOX_H_

#include <functional>
#include <optional>
#include <string>

#include "base/RetryWait.h"
#include "https/OutboxFiles.h"
#include "platform/util/LxLinuxMutex.h"

namespace cloudclient {

class HttpsClient;

// What is to be delivered waits here on the disk until the service has answered, over outages and
// ends of the process. Only where the policy names a folder (base/Policy.h); docs/policy.md says
// what a user sees.
//
// Each delivery has a key of its own, by which the service takes none twice (`Message-Key`).
// Deliveries go out in order. Any thread may put; one at a time sends, holds
// and asks. The folder is opened by the
// first operation that needs it, and tried again by the next ones as long as it can't be.
class Outbox {
 public:
  Outbox() = default;
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // Whether the policy asks for an outbox.
  static bool IsWanted();

  // A key that nothing else has: 32 hexadecimal digits; empty where there are no random numbers.
  static std::string NewKey();

  // Put an event, or the document of a resource (its path behind the service's base URL), behind
  // what waits. `chassis` is the identifier by which they name the chassis, `key` the one that an
  // event goes out with, a new one where it is empty. True when it is on the
  // disk, and with that as good as delivered; false, after a message, when it could not be put: the
  // caller then sends it as without an outbox. Block for the disk.
  bool PutEvent(const std::string& document, const std::string& chassis,
                const std::string& key = {});
  bool PutPatch(const std::string& resource, const std::string& document,
                const std::string& chassis);

  // Sends what waits, some hundreds at most, until the service does not take one; that one and
  // those behind it are tried again after a pause, which doubles from call to call. What the
  // service refuses for good (400 to 499 but 401, 403, 408 and 429), and what has become older than
  // the policy keeps, is dropped with a message. Sends nothing while the configuration has no URL,
  // token or chassis. Ends after the request under way once `goOn` says no. Blocks for its
  // requests.
  void Send(HttpsClient* client, const std::function<bool()>& goOn);

  // Begins the pause: for what finds that the service can't be asked at present.
  void Hold();

  // Whether nothing waits and no pause is under way; also true where there is no outbox, or none
  // that could be opened.
  bool IsIdle();

 private:
  enum class Outcome { kTaken, kRefused, kHeld };

  bool IsOpen();
  bool Put(OutboxRecord record);
  bool Next(OutboxRecord& record, uint64_t& number);
  void Done(uint64_t number);
  bool IsHeld() const;
  static bool Readdress(OutboxRecord& record);
  static Outcome Deliver(HttpsClient& client, OutboxRecord record);

  LxLinuxMutex m_mutex;  // guards what follows, never held over a request
  std::optional<OutboxFiles> m_files;
  std::string m_toldProblem;  // the last one that the log has
  bool m_toldFull = false;
  // Of the thread that sends.
  RetryWait m_pause;
};

}  // namespace cloudclient

#endif  // HTTPS_OUTBOX_H_
