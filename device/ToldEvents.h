// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_TOLDEVENTS_H_
#define DEVICE_TOLDEVENTS_H_

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "device/DeviceEvent.h"
#include "https/OutboxFiles.h"
#include "platform/util/LxLinuxMutex.h"

namespace cloudclient {

// What the device has told and the poster has not taken yet, on the disk, so that no end of the
// process loses it. Only with an outbox: in its folder, in the subfolder "told".
//
// An event has its time and its key here. Between its post and `Done` the process may end: posted
// once more, it is the same document under the same key. Any thread.
class ToldEvents {
 public:
  ToldEvents() = default;
  ToldEvents(const ToldEvents&) = delete;
  ToldEvents& operator=(const ToldEvents&) = delete;

  // Opens the folder, unless that has been done: puts what was told to earlier processes before
  // what is in `queue`, and that on the disk. A folder that can't be opened is told of once, and
  // tried again by the next call. Whether there was something.
  bool Open(std::vector<DeviceEvent>& queue);

  // Puts an event behind the others and numbers it; one that can't be put has the number 0, after a
  // message unless the folder is not open. Blocks for the disk.
  void Put(DeviceEvent& event);

  // When an event was told, and its key; the key is empty when it is not on the disk.
  struct Telling {
    time_t time = 0;
    std::string key;
  };
  Telling TellingOf(const DeviceEvent& event);

  // Takes an event off.
  void Done(const DeviceEvent& event);

 private:
  void Append(DeviceEvent& event);

  LxLinuxMutex m_mutex;  // guards what follows
  std::optional<OutboxFiles> m_files;
  bool m_isRead = false;
  std::string m_toldProblem;  // the last one that the log has
};

}  // namespace cloudclient

#endif  // DEVICE_TOLDEVENTS_H_
