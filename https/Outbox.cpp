// SPDX-License-Identifier: Apache-2.0
// What waits on the disk for the service: putting and sending.
#include "https/Outbox.h"

#include <ctime>
#include <map>

#include "base/CloudCfg.h"
#include "base/Masked.h"
#include "base/MutexGuard.h"
#include "base/Policy.h"
#include "base/RandomBytes.h"
#include "base/ServiceUrl.h"
#include "https/HttpsClient.h"
#include "platform/util/LocalPath.h"
#include "platform/util/dlog.h"

namespace cloudclient {
namespace {

constexpr char kUnit[] = "Outbox";
constexpr char kChassisPath[] = "/redfish/v1/Chassis/";

// Deliveries of one call: a long queue must not keep the heartbeat from going out.
constexpr int kMostAtOnce = 300;

// Seconds.
constexpr long kFirstPause = 5;
constexpr long kLongestPause = 60;

constexpr time_t kSecondsOfDay = 86400;

// `text` with another identifier wherever it names the chassis `from`.
std::string WithChassis(std::string text, const std::string& from, const std::string& to) {
  const std::string old = kChassisPath + from;
  for (size_t at = text.find(old); at != std::string::npos; at = text.find(old, at)) {
    const size_t end = at + old.size();
    const bool whole = end == text.size() || text[end] == '/' || text[end] == '"';
    if (whole) text.replace(at, old.size(), kChassisPath + to);
    at += whole ? sizeof kChassisPath - 1 + to.size() : old.size();
  }
  return text;
}

bool IsTooOld(const OutboxRecord& record) {
  const time_t most = ThePolicy().outbox.maxDays * kSecondsOfDay;
  return IsOfSetClock(record.time) && time(nullptr) - record.time > most;
}

bool IsRefusedForGood(long status) {
  const bool mayPass = status == 401 || status == 403 || status == 408 || status == 429;
  return status >= 400 && status < 500 && !mayPass;
}

}  // namespace

bool Outbox::IsWanted() { return !ThePolicy().outbox.folder.empty(); }

std::string Outbox::NewKey() {
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char bytes[16];
  if (!RandomBytes(bytes, sizeof bytes)) return {};
  std::string key;
  for (const unsigned char byte : bytes) {
    key += kDigits[byte >> 4U];
    key += kDigits[byte & 0xFU];
  }
  return key;
}

// Opens the folder if that has not been done. The caller holds the mutex.
bool Outbox::IsOpen() {
  if (m_files && m_files->IsOpen()) return true;
  const Policy::Outbox& policy = ThePolicy().outbox;
  if (!m_files) m_files.emplace(LocalPath(policy.folder), policy.maxBytes);
  const std::string problem = m_files->Open();
  if (!problem.empty()) {
    if (problem != m_toldProblem) {
      __dlog_printf(3, kUnit, "%s: Failed to open the outbox (%s): events go out without it",
                    "Open", problem.c_str());
    }
    m_toldProblem = problem;
    return false;
  }
  if (m_files->SkippedBytes() != 0) {
    __dlog_printf(4, kUnit, "%s: %lu bytes in %s are no entries", "Open",
                  static_cast<unsigned long>(m_files->SkippedBytes()), policy.folder.c_str());
  }
  if (m_files->Count() != 0) {
    __dlog_printf(5, kUnit, "%s: %lu entries wait for the service", "Open",
                  static_cast<unsigned long>(m_files->Count()));
  }
  return true;
}

bool Outbox::PutEvent(const std::string& document, const std::string& chassis,
                      const std::string& key) {
  return Put({0, key, {}, chassis, document});
}

bool Outbox::PutPatch(const std::string& resource, const std::string& document,
                      const std::string& chassis) {
  // A record without a resource would be an event.
  return !resource.empty() && Put({0, {}, resource, chassis, document});
}

bool Outbox::Put(OutboxRecord record) {
  if (!IsWanted()) return false;
  const MutexGuard guard(m_mutex);
  if (guard.Status() != 0 || !IsOpen()) return false;
  record.time = time(nullptr);
  if (record.key.empty()) record.key = NewKey();
  size_t dropped = 0;
  const std::string problem =
      record.key.empty() ? "no random numbers" : m_files->Append(record, dropped);
  if (dropped != 0 && !m_toldFull) {
    __dlog_printf(4, kUnit, "%s: the outbox is full: the oldest entries give way", "Put");
    m_toldFull = true;
  }
  if (problem.empty()) return true;
  __dlog_printf(3, kUnit, "%s: Failed to put an entry into the outbox (%s)", "Put",
                problem.c_str());
  return false;
}

void Outbox::Send(HttpsClient* client, const std::function<bool()>& goOn) {
  if (!IsWanted() || IsHeld()) return;
  OutboxRecord record;
  uint64_t number = 0;
  for (int count = 0; count < kMostAtOnce && goOn() && Next(record, number); ++count) {
    if (Deliver(*client, record) == Outcome::kHeld) {
      Hold();
      return;
    }
    m_pause.Reset();
    Done(number);
  }
}

// The oldest that is not too old; false when there is none, or none that can be read at present.
bool Outbox::Next(OutboxRecord& record, uint64_t& number) {
  const MutexGuard guard(m_mutex);
  if (guard.Status() != 0 || !IsOpen()) return false;
  size_t damaged = 0;
  size_t old = 0;
  bool found = false;
  std::string problem;
  for (;; ++old) {
    size_t dropped = 0;
    found = m_files->Front(record, number, dropped, problem);
    damaged += dropped;
    if (!found || !IsTooOld(record)) break;
    m_files->Remove(number);
  }
  if (!problem.empty()) {
    __dlog_printf(3, kUnit, "%s: Failed to read the outbox (%s)", "Send", problem.c_str());
    Hold();
  }
  if (damaged != 0) {
    __dlog_printf(3, kUnit, "%s: %lu entries of the outbox were removed or damaged", "Send",
                  static_cast<unsigned long>(damaged));
  }
  if (old != 0) {
    __dlog_printf(4, kUnit, "%s: %lu entries of the outbox were too old", "Send",
                  static_cast<unsigned long>(old));
  }
  return found;
}

// Takes a delivery off, unless it had to give way meanwhile.
void Outbox::Done(uint64_t number) {
  const MutexGuard guard(m_mutex);
  if (guard.Status() != 0) return;
  m_files->Remove(number);
  if (m_files->Count() == 0) m_toldFull = false;
}

void Outbox::Hold() { m_pause.Begin(RetryWait::Now(), kFirstPause, kLongestPause); }

bool Outbox::IsHeld() const { return !m_pause.IsOver(RetryWait::Now()); }

bool Outbox::IsIdle() {
  if (!IsWanted()) return true;
  const MutexGuard guard(m_mutex);
  if (guard.Status() != 0) return true;
  return !IsHeld() && (!IsOpen() || m_files->Count() == 0);
}

// Has a delivery name a chassis that is configured: after a registration it is another one. False
// while there is none.
bool Outbox::Readdress(OutboxRecord& record) {
  std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
  CloudCfg()->GetConfiguredChassis(configured);
  if (configured.empty()) return false;
  if (configured.count(record.chassis) != 0) return true;
  const std::string& chassis = configured.begin()->first;
  record.resource = WithChassis(record.resource, record.chassis, chassis);
  record.document = WithChassis(record.document, record.chassis, chassis);
  return true;
}

Outbox::Outcome Outbox::Deliver(HttpsClient& client, OutboxRecord record) {
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string token;
  std::string baseUrl;
  std::string uuid;
  const bool isConfigured = cfg->GetXAuthToken(token) == 0 && !token.empty() &&
                            cfg->GetUrl(baseUrl) == 0 && cfg->GetUUID(uuid) == 0;
  if (!isConfigured || !Readdress(record)) return Outcome::kHeld;

  const std::string url = record.IsEvent() ? EventsUrl(baseUrl, uuid) : baseUrl + record.resource;
  __dlog_printf(7, kUnit, "%s: url: %s  doc: %s", "Send", Masked(url).c_str(),
                Masked(record.document).c_str());
  long status = 0;
  if (record.IsEvent()) {
    client.PostEvent(url, record.document, token, record.key, status);
  } else {
    client.PatchResource(url, token, record.document, status);
  }
  // Without a status nothing was sent, also where the transport reports no failure.
  if (status >= 200 && status < 300) return Outcome::kTaken;
  if (!IsRefusedForGood(status)) return Outcome::kHeld;
  __dlog_printf(3, kUnit, "%s: the service refuses an entry of the outbox for good (%ld)", "Send",
                status);
  return Outcome::kRefused;
}

}  // namespace cloudclient
