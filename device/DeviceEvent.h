// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DEVICEEVENT_H_
#define DEVICE_DEVICEEVENT_H_

#include <cstdint>

namespace cloudclient {

// A queued device event: the first 16 bytes of the engine's notification, field for field.
struct DeviceEvent {
  uint32_t velId;       // first word of the notification, 0 when queued; used as device instance
  uint32_t gddId;       // the event's number in the device's data dictionary
  uint16_t module;      // module that the event concerns
  uint16_t eventState;  // state code, see LxVelEventUtil
  uint32_t spare;       // copied through, never read

  uint64_t told = 0;  // its number among ToldEvents; 0 when it is not there
};

}  // namespace cloudclient

#endif  // DEVICE_DEVICEEVENT_H_
