// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_PLD_LXPLDPROXY_H_
#define PLATFORM_PLD_LXPLDPROXY_H_

#include <cstdint>
#include <list>
#include <string>

class LxProductIdentSeq;

// Status of a device-data operation: 0 success, else an error code that callers only log.
typedef int LxDpStatus;

// Notification of an event's change of state. Big-endian 32-bit layout: offsets 0, 4, 8, 10, 12.
struct LxPldEventNotification {
  uint32_t status;      // 0 for a valid notification
  uint32_t gddId;       // the event's number in the device's data dictionary
  uint16_t module;      // instance of a multi-module point, from 0
  uint16_t eventState;  // state code, see LxVelEventUtil
  uint32_t spare;
};

// Notification of a change of value. Big-endian 32-bit layout: offsets 0, 4, 8, 12, 14, 16, 20.
struct LxPldCovNotification {
  uint32_t status;   // 0 for a valid notification
  uint32_t pointId;  // the point whose value changed
  uint32_t word2;
  uint16_t extra;
  uint16_t word3;
  uint32_t word4;
  // Always pld::kCovValueSize bytes, filled with NUL. The first 16 bits hold the reading times ten
  // as an unsigned number, high byte first; the value's text follows from the third byte.
  const char* valueText;
};

// Way to the device-data engine: the managed device's events and point values. Device and point
// numbers are those of the engine; one proxy answers for every device number.
//
// Queries may be called from any thread and answer at once or after the engine's own time-out.
class LxPldProxy {
 public:
  // One active event. Big-endian 32-bit layout: offsets 0, 4, 8.
  struct ActiveEvent {
    uint32_t module;  // in the low 16 bits
    uint32_t gddId;
    uint16_t eventState;
  };

  // Callbacks. `status` is 0 on success; the pointed-to records are borrowed for the call.
  typedef void (*EventCallback)(int status, const LxPldEventNotification* notification);
  typedef void (*CovCallback)(int status, const LxPldCovNotification* notification);
  typedef void (*ActiveEventsCallback)(int status, const std::list<ActiveEvent*>& events);

  virtual ~LxPldProxy() = default;

  // Asks for the notifications of a device. `options` is 0. Registering again replaces the
  // callback. 0 on success. Callbacks run inside the dispatch operations, on their thread.
  virtual int RegisterEventNotification(EventCallback callback, unsigned int options,
                                        int velId) = 0;
  virtual int RegisterCovNotification(CovCallback callback, unsigned int options, int velId) = 0;

  // Delivers pending notifications to the registered callback. Non-zero while more are pending.
  virtual int DispatchEvents() = 0;
  virtual int DispatchCovs() = 0;

  // Has the device's active events handed to `callback`, either before the call returns or within
  // two seconds on another thread. Non-zero when the query could not be made.
  virtual int GetActiveEvents(ActiveEventsCallback callback, int velId) = 0;

  // The point-value query: replaces `text` by the value of `point`. Arguments 2 to 5 select what
  // of the point is read: 1, 0, 0, 0 its value, 1, 0, pld::kCelsius, 0 its value in degrees
  // Celsius; point pld::kLabelPoint is the device's label. `reserved` is 0. 0 on success; on
  // failure non-zero and an empty text.
  virtual int GetPointText(std::string& text, uint16_t device, uint16_t point, uint16_t arg2,
                           uint16_t arg3, int32_t arg4, int16_t arg5, int reserved) = 0;

  // Replaces `text` by the display text of an event. `reserved` is 0, `format` "%s". 0 on success;
  // on failure non-zero and an empty text.
  virtual int GetEventText(std::string& text, uint16_t device, uint16_t gddId, uint16_t module,
                           int reserved, const char* format) = 0;

  // The number of the report that holds a point or event, and the largest number of modules of a
  // report. On failure the last argument is as it was.
  virtual LxDpStatus GetReportNumber(uint16_t device, uint16_t point, uint32_t& report) = 0;
  virtual LxDpStatus GetMaxModuleCount(uint16_t device, uint16_t report, uint32_t& count) = 0;

  // Resolution of a point: may change `factor`. 0 for a point that has one or needs none,
  // non-zero for an unknown point.
  virtual int GetResolution(int32_t& factor, uint16_t device, uint16_t point) = 0;

  // Points `*psi` at the device's product sequence identifier, which the proxy owns and keeps, and
  // returns true; false when it is not known.
  virtual bool GetProdSeqId(LxProductIdentSeq** psi, unsigned short velId) const = 0;
};

#endif  // PLATFORM_PLD_LXPLDPROXY_H_
