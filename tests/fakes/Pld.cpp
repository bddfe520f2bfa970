// SPDX-License-Identifier: Apache-2.0
#include "fakes/Pld.h"

#include <cmath>
#include <cstdlib>
#include <list>

#include "fakes/Platform.h"
#include "platform/pld/LxVelEventUtil.h"
#include "platform/pld/PldQueryWorker.h"

namespace fakes {
namespace {

constexpr int kUnknown = 1;

char g_clearedText[32] = "Cleared";

template <typename Map, typename Key, typename Value>
typename Map::mapped_type ValueOr(const Map& map, const Key& key, const Value& otherwise) {
  const auto found = map.find(key);
  return found == map.end() ? otherwise : found->second;
}

// Status of a text query: as scripted for its number, else whether the number is known.
int TextStatus(const std::map<uint16_t, int>& scripted, uint16_t number, bool known,
               std::string& text) {
  const int status = ValueOr(scripted, number, known ? 0 : kUnknown);
  if (status != 0) text.clear();
  return status;
}

template <typename Map, typename Key>
bool Find(const Map& map, const Key& key, std::string& text) {
  const auto found = map.find(key);
  if (found == map.end()) return false;
  text = found->second;
  return true;
}

}  // namespace

void PldProxy::Notifies(uint32_t gddId, uint16_t module, uint16_t state, int status) {
  pendingEvents.push_back({status, {0, gddId, module, state, 0}});
}

void PldProxy::Changes(uint32_t pointId, const std::string& value, int status) {
  PendingCov cov = {status, {0, pointId, 0, 0, 0, 0, nullptr}, {}};
  const auto tenths = static_cast<uint16_t>(std::lround(strtod(value.c_str(), nullptr) * 10));
  cov.value[0] = static_cast<char>(tenths >> 8);
  cov.value[1] = static_cast<char>(tenths & 0xFF);
  value.copy(cov.value.data() + 2, cov.value.size() - 3);
  pendingCovs.push_back(cov);
}

void SetClearedText(const std::string& text) {
  g_clearedText[text.copy(g_clearedText, sizeof g_clearedText - 1)] = '\0';
}

void PldProxy::HasActive(uint32_t gddId, uint32_t module, uint16_t state) {
  activeEvents.push_back({module, gddId, state});
}

void PldProxy::HasModules(uint16_t point, uint32_t count) {
  const auto report = static_cast<uint16_t>(100 + reports.size());
  reports[point] = report;
  moduleCounts[report] = count;
}

int PldProxy::RegisterEventNotification(EventCallback callback, unsigned int options, int velId) {
  eventRegistrations.push_back({options, velId});
  if (registerEventStatus == 0) eventCallback = callback;
  return registerEventStatus;
}

int PldProxy::RegisterCovNotification(CovCallback callback, unsigned int options, int velId) {
  covRegistrations.push_back({options, velId});
  if (registerCovStatus == 0) covCallback = callback;
  return registerCovStatus;
}

int PldProxy::DispatchEvents() {
  ++eventDispatches;
  if (onDispatchEvents) onDispatchEvents();
  if (eventCallback == nullptr || pendingEvents.empty()) return 0;
  const PendingEvent event = pendingEvents.front();
  pendingEvents.pop_front();
  eventCallback(event.status, &event.notification);
  return pendingEvents.empty() ? 0 : 1;
}

int PldProxy::DispatchCovs() {
  ++covDispatches;
  if (onDispatchCovs) onDispatchCovs();
  if (covCallback == nullptr || pendingCovs.empty()) return 0;
  PendingCov cov = pendingCovs.front();
  pendingCovs.pop_front();
  cov.notification.valueText = cov.value.data();
  covCallback(cov.status, &cov.notification);
  return pendingCovs.empty() ? 0 : 1;
}

int PldProxy::GetActiveEvents(ActiveEventsCallback callback, int velId) {
  activeEventsAsked.push_back(velId);
  if (activeEventsStatus != 0) return activeEventsStatus;
  std::vector<ActiveEvent> records = activeEvents;
  std::list<ActiveEvent*> events;
  for (ActiveEvent& record : records) events.push_back(&record);
  if (activeEventsAnswered) callback(activeEventsCallbackStatus, events);
  return 0;
}

int PldProxy::GetPointText(std::string& text, uint16_t device, uint16_t point, uint16_t arg2,
                           uint16_t arg3, int32_t arg4, int16_t arg5, int reserved) {
  const RecordLock lock(RecordMutex());
  pointsAsked.push_back({device, point, arg2, arg3, arg4, arg5, reserved});
  const bool known = Find(pointQueries, std::make_tuple(point, arg2, arg3, arg4, arg5), text) ||
                     Find(points, point, text);
  return TextStatus(pointStatus, point, known, text);
}

int PldProxy::GetEventText(std::string& text, uint16_t device, uint16_t gddId, uint16_t module,
                           int reserved, const char* format) {
  const RecordLock lock(RecordMutex());
  eventTextsAsked.push_back({device, gddId, module, reserved, format});
  const bool known = Find(eventTextsOfModule, std::make_pair(gddId, module), text) ||
                     Find(eventTexts, gddId, text);
  return TextStatus(eventTextStatus, gddId, known, text);
}

LxDpStatus PldProxy::GetReportNumber(uint16_t, uint16_t point, uint32_t& report) {
  ++reportsAsked;
  const auto found = reports.find(point);
  if (found == reports.end()) return kUnknown;
  report = found->second;
  return 0;
}

LxDpStatus PldProxy::GetMaxModuleCount(uint16_t, uint16_t report, uint32_t& count) {
  ++moduleCountsAsked;
  const auto found = moduleCounts.find(report);
  if (found == moduleCounts.end()) return kUnknown;
  count = found->second;
  return 0;
}

int PldProxy::GetResolution(int32_t& factor, uint16_t, uint16_t point) {
  const bool known = resolutions.count(point) != 0;
  const int status = ValueOr(resolutionStatus, point, known ? 0 : kUnknown);
  if (status == 0 && known) factor = resolutions[point];
  return status;
}

bool PldProxy::GetProdSeqId(LxProductIdentSeq** out, unsigned short) const {
  if (!knowsPsi) return false;
  *out = &platform().proxy.psi;
  return true;
}

}  // namespace fakes

std::string PldQueryWorker::GetDocument(LxPldProxy* proxy, const std::string& query,
                                        const std::string& page, int velId) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  fakes::Pages& pages = fakes::platform().pages;
  pages.asked.push_back({query, page, velId, proxy != nullptr});
  std::string text;
  if (!fakes::Find(pages.texts, page + "?" + query, text)) fakes::Find(pages.texts, page, text);
  return text;
}

struct LxVelEventUtil::Impl {
  uint16_t state;
};

const char* const LxVelEventUtil::TYPE_CLEARED_STRING = fakes::g_clearedText;

LxVelEventUtil::LxVelEventUtil(uint16_t eventState) : m_impl(new Impl{eventState}) {}
LxVelEventUtil::~LxVelEventUtil() { delete m_impl; }
std::string LxVelEventUtil::GetEventStateString() const {
  return fakes::ValueOr(fakes::platform().stateTexts, m_impl->state, std::string("Unknown"));
}
