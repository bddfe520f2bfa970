// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_PLD_H_
#define FAKES_PLD_H_

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/pld/LxPldProxy.h"
#include "platform/pld/LxProductIdentSeq.h"

namespace fakes {

class ProductIdentSeq : public LxProductIdentSeq {
 public:
  std::string text = "1.2.3";

  void ConvertPsiToStr(std::string& out) const override { out = text; }
};

// One call of the point-value query.
struct PointQuery {
  uint16_t device;
  uint16_t point;
  uint16_t arg2;
  uint16_t arg3;
  int32_t arg4;
  int16_t arg5;
  int reserved;
};

// One call of the event-text query.
struct EventTextQuery {
  uint16_t device;
  uint16_t gddId;
  uint16_t module;
  int reserved;
  std::string format;
};

struct Registration {
  unsigned int options;
  int velId;
};

struct PendingEvent {
  int status;
  LxPldEventNotification notification;
};

struct PendingCov {
  int status;
  LxPldCovNotification notification;  // `valueText` is set at the delivery
  std::array<char, 256> value;
};

// The device-data engine: the managed device's events, values and their notifications.
class PldProxy : public LxPldProxy {
 public:
  // Notifications.
  int registerEventStatus = 0;
  int registerCovStatus = 0;
  std::vector<Registration> eventRegistrations;
  std::vector<Registration> covRegistrations;
  EventCallback eventCallback = nullptr;
  CovCallback covCallback = nullptr;
  // Each dispatch delivers the first pending one, and answers 1 while more are pending.
  std::deque<PendingEvent> pendingEvents;
  std::deque<PendingCov> pendingCovs;
  int eventDispatches = 0;
  int covDispatches = 0;
  std::function<void()> onDispatchEvents;
  std::function<void()> onDispatchCovs;

  // The device raises, changes or clears an event, and has a new reading: what the next dispatch
  // delivers.
  void Notifies(uint32_t gddId, uint16_t module, uint16_t state, int status = 0);
  void Changes(uint32_t pointId, const std::string& value, int status = 0);

  // Active events.
  std::vector<ActiveEvent> activeEvents;
  int activeEventsStatus = 0;          // of the query; non-zero: no callback
  int activeEventsCallbackStatus = 0;  // given to the callback
  bool activeEventsAnswered = true;    // whether the callback is called at all
  std::vector<int> activeEventsAsked;

  void HasActive(uint32_t gddId, uint32_t module, uint16_t state);

  // Texts. A point is looked up by all its query arguments, then by its number alone; a point or
  // event that is in no table is unknown.
  std::map<std::tuple<uint16_t, uint16_t, uint16_t, int32_t, int16_t>, std::string> pointQueries;
  std::map<uint16_t, std::string> points = {{4329, "Unit label"}};
  std::map<uint16_t, int> pointStatus;
  std::vector<PointQuery> pointsAsked;
  std::map<std::pair<uint16_t, uint16_t>, std::string> eventTextsOfModule;  // event and module
  std::map<uint16_t, std::string> eventTexts;
  std::map<uint16_t, int> eventTextStatus;
  std::vector<EventTextQuery> eventTextsAsked;

  // Reports, module counts and resolutions.
  std::map<uint16_t, uint32_t> reports;       // of a point or event
  std::map<uint16_t, uint32_t> moduleCounts;  // of a report
  std::map<uint16_t, int32_t> resolutions;    // factor of a point
  std::map<uint16_t, int> resolutionStatus;   // overrides success or failure
  int reportsAsked = 0;
  int moduleCountsAsked = 0;

  // Gives a point or event a report of its own with so many modules.
  void HasModules(uint16_t point, uint32_t count);

  ProductIdentSeq psi;
  bool knowsPsi = true;

  int RegisterEventNotification(EventCallback callback, unsigned int options, int velId) override;
  int RegisterCovNotification(CovCallback callback, unsigned int options, int velId) override;
  int DispatchEvents() override;
  int DispatchCovs() override;
  int GetActiveEvents(ActiveEventsCallback callback, int velId) override;
  int GetPointText(std::string& text, uint16_t device, uint16_t point, uint16_t arg2, uint16_t arg3,
                   int32_t arg4, int16_t arg5, int reserved) override;
  int GetEventText(std::string& text, uint16_t device, uint16_t gddId, uint16_t module,
                   int reserved, const char* format) override;
  LxDpStatus GetReportNumber(uint16_t device, uint16_t point, uint32_t& report) override;
  LxDpStatus GetMaxModuleCount(uint16_t device, uint16_t report, uint32_t& count) override;
  int GetResolution(int32_t& factor, uint16_t device, uint16_t point) override;
  bool GetProdSeqId(LxProductIdentSeq** out, unsigned short velId) const override;
};

// The platform's text of its cleared state, of 31 bytes at most; "Cleared" until it is changed.
void SetClearedText(const std::string& text);

}  // namespace fakes

#endif  // FAKES_PLD_H_
