// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICEENGINE_H_
#define HOST_DEVICE_DEVICEENGINE_H_

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/device/DeviceModel.h"
#include "host/util/Mutex.h"
#include "host/util/Problem.h"
#include "platform/pld/LxPldProxy.h"

namespace host {

// Changes that wait, of each key only the newest, in the order of the newest ones.
template <typename Key, typename Value>
class ChangeQueue {
  using Changes = std::list<std::pair<Key, Value>>;

 public:
  void Put(const Key& key, Value value) {
    // Nothing has changed where there is no memory for it.
    Changes change;
    change.emplace_back(key, std::move(value));
    const auto place = change.begin();
    const auto [known, isNew] = m_places.emplace(key, place);
    m_changes.splice(m_changes.end(), change);
    if (isNew) return;
    m_changes.erase(known->second);
    known->second = place;
  }
  bool IsEmpty() const { return m_changes.empty(); }
  std::pair<Key, Value> Take() {
    std::pair<Key, Value> first = std::move(m_changes.front());
    m_places.erase(first.first);
    m_changes.pop_front();
    return first;
  }
  void Clear() {
    m_changes.clear();
    m_places.clear();
  }

 private:
  Changes m_changes;
  std::map<Key, typename Changes::iterator> m_places;
};

// The managed device: its points and events, and the notifications that wait to be dispatched.
// Any thread; callbacks run without a lock held, on the thread that dispatches.
class DeviceEngine {
 public:
  explicit DeviceEngine(DeviceModel model);
  DeviceEngine(const DeviceEngine&) = delete;
  DeviceEngine& operator=(const DeviceEngine&) = delete;

  // The device's description. It never changes.
  const DeviceModel& Model() const { return m_model; }

  // Queries. They answer false for an unknown point or event, and for a point without a value: a
  // text is then empty, a number as it was.
  bool PointText(uint16_t point, std::string& text) const;
  // The value in degrees Celsius: converted where the point's unit is "degF".
  bool CelsiusText(uint16_t point, std::string& text) const;
  // The value of the first point of that name, empty when the point has none; false when no point
  // has the name.
  bool NamedText(const std::string& name, std::string& text) const;
  bool EventText(uint16_t gddId, std::string& text) const;
  bool IsPoint(uint16_t point) const;
  // The report of a point, or of an event (its own number).
  bool Report(uint16_t number, uint32_t& report) const;
  // The largest number of modules of a report's points and events.
  bool ModuleCount(uint32_t report, uint32_t& count) const;

  // All points with their values and all events with their states, in the order of the file.
  struct PointView {
    const PointModel* model;
    std::string value;
  };
  struct EventView {
    const EventModel* model;
    uint16_t module;
    uint16_t state;
  };
  std::vector<PointView> Points() const;
  std::vector<EventView> Events() const;

  // Changes.
  Problem SetPoint(uint16_t point, const std::string& value);
  Problem SetEvent(uint16_t gddId, uint32_t module, uint16_t state);

  // Takes the value that a point's source read; null when the source could not be read. The loss of
  // a value and its return are changes; the text of a lost value is empty.
  void SetFromSource(uint16_t point, const std::string* value);

  // Notifications. Changes of value are queued once their callback is registered, changes of events
  // after the last `ActiveEvents`. A queue keeps only the newest change of each point, and of each
  // event and module.
  void RegisterEvents(LxPldProxy::EventCallback callback);
  void RegisterCovs(LxPldProxy::CovCallback callback);
  // Deliver one notification; true while more are waiting.
  bool DispatchEvent();
  bool DispatchCov();
  // Hands the active events to `callback`, before it returns.
  void ActiveEvents(LxPldProxy::ActiveEventsCallback callback);

 private:
  struct Point {
    enum class State { kUnread, kMissing, kKnown };  // unread: its source was not asked yet
    std::string value;
    State state = State::kKnown;
  };
  using EventKey = std::pair<uint16_t, uint16_t>;  // event, module

  const PointModel* FindPoint(uint16_t point) const;
  const EventModel* FindEvent(uint16_t gddId) const;
  bool TextLocked(const PointModel& point, std::string& text) const REQUIRES(m_mutex);
  void SetValueLocked(const PointModel& point, Point next) REQUIRES(m_mutex);
  void SetStateLocked(EventKey key, uint16_t state) REQUIRES(m_mutex);
  void ApplyRulesLocked(const PointModel& point, bool starting) REQUIRES(m_mutex);
  void ApplyRuleLocked(const EventModel& event, const Point& point, bool starting)
      REQUIRES(m_mutex);

  const DeviceModel m_model;
  const std::map<uint16_t, const PointModel*> m_pointModels;  // by number
  // The rules of each point, by its number.
  const std::multimap<uint16_t, const EventModel*> m_rules;

  mutable Mutex m_mutex;
  std::map<uint16_t, Point> m_points GUARDED_BY(m_mutex);
  std::map<EventKey, uint16_t> m_active GUARDED_BY(m_mutex);  // what is not cleared
  LxPldProxy::EventCallback m_eventCallback GUARDED_BY(m_mutex) = nullptr;
  LxPldProxy::CovCallback m_covCallback GUARDED_BY(m_mutex) = nullptr;
  ChangeQueue<EventKey, uint16_t> m_eventChanges GUARDED_BY(m_mutex);
  ChangeQueue<uint16_t, std::string> m_valueChanges GUARDED_BY(m_mutex);
};

// The first 16 bits of a change of value: the number times ten, rounded to nearest. A text that is
// no number and a negative number give 0, a number too large gives 65535.
uint16_t TenfoldReading(const std::string& value);

}  // namespace host

#endif  // HOST_DEVICE_DEVICEENGINE_H_
