// SPDX-License-Identifier: Apache-2.0
// What the device has told and the poster has not taken yet, on the disk.
#include "device/ToldEvents.h"

#include <charconv>
#include <ctime>

#include "base/MutexGuard.h"
#include "base/Policy.h"
#include "https/Outbox.h"
#include "platform/util/LocalPath.h"
#include "platform/util/dlog.h"

namespace cloudclient {
namespace {

constexpr char kUnit[] = "ToldEvents";
constexpr char kFolder[] = "/told";

// Room for some ten thousand events, as many as the poster's queue is meant to hold.
constexpr uint64_t kMostBytes = 1024UL * 1024;

// "number module state".
std::string TextOf(const DeviceEvent& event) {
  return std::to_string(event.gddId) + " " + std::to_string(event.module) + " " +
         std::to_string(event.eventState);
}

// The number that `text` begins with, taken off with the blank behind it; 0 for none.
template <typename Number>
Number TakeNumber(std::string& text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  const size_t blank = text.find(' ');
  text.erase(0, blank == std::string::npos ? blank : blank + 1);
  return number;
}

DeviceEvent EventOf(std::string text, uint64_t number) {
  DeviceEvent event = {};
  event.gddId = TakeNumber<uint32_t>(text);
  event.module = TakeNumber<uint16_t>(text);
  event.eventState = TakeNumber<uint16_t>(text);
  event.told = number;
  return event;
}

}  // namespace

bool ToldEvents::Open(std::vector<DeviceEvent>& queue) {
  const MutexGuard guard(m_mutex);
  if (guard.Status() != 0 || m_isRead) return false;
  if (!m_files) m_files.emplace(LocalPath(ThePolicy().outbox.folder + kFolder), kMostBytes);
  const std::string problem = m_files->IsOpen() ? std::string() : m_files->Open();
  if (!problem.empty()) {
    if (problem != m_toldProblem) {
      __dlog_printf(3, kUnit,
                    "%s: what the device tells is not on the disk until it is posted (%s)", "Open",
                    problem.c_str());
    }
    m_toldProblem = problem;
    return false;
  }
  std::vector<DeviceEvent> events;
  OutboxRecord record;
  for (const uint64_t number : m_files->Numbers()) {
    if (m_files->Read(number, record)) events.push_back(EventOf(record.document, number));
  }
  // What was told while the folder could not be opened.
  for (DeviceEvent& event : queue) Append(event);
  queue.insert(queue.begin(), events.begin(), events.end());
  m_isRead = true;
  if (!events.empty()) {
    __dlog_printf(5, kUnit, "%s: %lu events were told before the start", "Open",
                  static_cast<unsigned long>(events.size()));
  }
  return !events.empty();
}

void ToldEvents::Put(DeviceEvent& event) {
  event.told = 0;
  const MutexGuard guard(m_mutex);
  if (guard.Status() == 0 && m_isRead) Append(event);
}

void ToldEvents::Append(DeviceEvent& event) {
  if (event.told != 0) return;
  size_t dropped = 0;  // only from the disk: the queue knows them
  const std::string problem =
      m_files->Append({time(nullptr), Outbox::NewKey(), {}, {}, TextOf(event)}, dropped);
  if (problem.empty()) {
    event.told = m_files->Newest();
    return;
  }
  __dlog_printf(3, kUnit, "%s: Failed to keep what the device told (%s)", "Put", problem.c_str());
}

ToldEvents::Telling ToldEvents::TellingOf(const DeviceEvent& event) {
  const MutexGuard guard(m_mutex);
  OutboxRecord record;
  const bool isThere = event.told != 0 && guard.Status() == 0 && m_files->Read(event.told, record);
  return isThere ? Telling{record.time, record.key} : Telling();
}

void ToldEvents::Done(const DeviceEvent& event) {
  const MutexGuard guard(m_mutex);
  if (event.told != 0 && guard.Status() == 0) m_files->Remove(event.told);
}

}  // namespace cloudclient
