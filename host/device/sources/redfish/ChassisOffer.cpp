// SPDX-License-Identifier: Apache-2.0
// What a chassis of a controller could show.
#include "host/device/sources/redfish/ChassisOffer.h"

#include <set>
#include <utility>

#include "host/util/Clock.h"
#include "host/util/Numbers.h"

namespace host {
namespace {

constexpr char kChassisCollection[] = "/redfish/v1/Chassis";

// A member of a document's array that is a reading.
struct Reading {
  const char* array;
  const char* member;
  const char* unit;  // null: that of ReadingUnits
  int decimals;
};
constexpr Reading kReadings[] = {{"Temperatures", "ReadingCelsius", "degC", 1},
                                 {"Fans", "Reading", nullptr, 0},
                                 {"Voltages", "ReadingVolts", "V", 3},
                                 {"PowerControl", "PowerConsumedWatts", "W", 0}};

std::string TextAt(const json_t* object, const char* key) {
  return JsonText(json_object_get(object, key));
}

// The path that an object links to; empty when it is none: it goes behind the controller's URL, and
// would lead elsewhere.
std::string LinkOf(const json_t* object) {
  const std::string link = TextAt(object, "@odata.id");
  const bool isPath = link.rfind('/', 0) == 0 && link.find_first_of(" \r\n\t") == std::string::npos;
  return isPath ? link : std::string();
}

std::string UnitOf(const json_t* object) {
  const std::string told = TextAt(object, "ReadingUnits");
  if (told == "Cel") return "degC";
  if (told == "RPM") return "rpm";
  return told == "Percent" ? "%" : told;
}

class Survey {
 public:
  Survey(const FetchResource& fetch, int64_t untilMs, size_t most,
         std::vector<OfferedPoint>& points, bool& isCut)
      : m_fetch(fetch), m_untilMs(untilMs), m_most(most), m_points(points), m_isCut(isCut) {}

  // The path of the chassis of that Id, or of the only one.
  Problem FindChassis(const std::string& id, std::string& path) {
    JsonRef collection;
    if (Problem problem = m_fetch(kChassisCollection, collection)) return problem;
    const json_t* const members = json_object_get(collection.get(), "Members");
    std::string ids;
    for (size_t i = 0; i < json_array_size(members); ++i) {
      const std::string link = LinkOf(json_array_get(members, i));
      const std::string its = link.substr(link.rfind('/') + 1);
      if (id.empty() ? json_array_size(members) == 1 : its == id) path = link;
      ids += (ids.empty() ? "" : ", ") + its;
    }
    if (!path.empty()) return {};
    if (ids.empty()) return Problem("it has no chassis");
    return Problem(id.empty() ? "it has more than one chassis, name one of " + ids
                              : "it has no chassis \"" + id + "\", but " + ids);
  }

  Problem Look(const std::string& chassis) {
    JsonRef document;
    if (Problem problem = m_fetch(chassis, document)) return problem;
    for (const char* name : {"Thermal", "Power"}) {
      const std::string path = LinkOf(json_object_get(document.get(), name));
      if (path.empty()) continue;
      if (Problem problem = LookAtArrays(path)) return problem;
    }
    const std::string sensors = LinkOf(json_object_get(document.get(), "Sensors"));
    return sensors.empty() ? Problem() : LookAtSensors(sensors);
  }

 private:
  Problem LookAtArrays(const std::string& path) {
    JsonRef document;
    if (Problem problem = m_fetch(path, document)) return problem;
    for (const Reading& reading : kReadings) {
      const json_t* const array = json_object_get(document.get(), reading.array);
      for (size_t i = 0; i < json_array_size(array); ++i) {
        const json_t* const element = json_array_get(array, i);
        const std::string unit = reading.unit == nullptr ? UnitOf(element) : reading.unit;
        Add(element, path,
            std::string("/") + reading.array + "/" + std::to_string(i) + "/" + reading.member,
            json_object_get(element, reading.member), unit, reading.decimals);
      }
    }
    return {};
  }

  // Sensors are resources of their own; those that Thermal or Power name as well are left out.
  Problem LookAtSensors(const std::string& path) {
    JsonRef collection;
    if (Problem problem = m_fetch(path, collection)) return problem;
    const json_t* const members = json_object_get(collection.get(), "Members");
    for (size_t i = 0; i < json_array_size(members); ++i) {
      if (m_points.size() == m_most || MonotonicMs() >= m_untilMs) {
        m_isCut = true;
        return {};
      }
      const std::string link = LinkOf(json_array_get(members, i));
      JsonRef sensor;
      if (link.empty()) continue;
      if (Problem problem = m_fetch(link, sensor)) return problem;
      Add(sensor.get(), link, "/Reading", json_object_get(sensor.get(), "Reading"),
          UnitOf(sensor.get()), 1);
    }
    return {};
  }

  void Add(const json_t* part, const std::string& path, const std::string& pointer,
           const json_t* value, const std::string& unit, int decimals) {
    // A part that is not there has its place all the same.
    if (TextAt(json_object_get(part, "Status"), "State") == "Absent") return;
    if (!json_is_number(value) && !json_is_null(value)) return;
    OfferedPoint point;
    point.name = TextAt(part, "Name");
    if (!point.name.empty() && !m_names.insert(point.name).second) return;
    if (m_points.size() == m_most) {
      m_isCut = true;
      return;
    }
    const JsonRef settings(json_object());
    PutJson(settings.get(), "Path", AnyText(path));
    PutJson(settings.get(), "Pointer", AnyText(pointer));
    point.settings = DumpedJson(settings.get(), JSON_COMPACT);
    point.unit = unit;
    point.decimals = decimals;
    if (json_is_number(value)) point.value = NumberText(json_number_value(value), decimals);
    m_points.push_back(std::move(point));
  }

  const FetchResource& m_fetch;
  const int64_t m_untilMs;
  const size_t m_most;
  std::vector<OfferedPoint>& m_points;
  bool& m_isCut;
  std::set<std::string> m_names;
};

}  // namespace

Problem FindReadings(const FetchResource& fetch, const std::string& chassis, int64_t untilMs,
                     size_t most, std::vector<OfferedPoint>& points, bool& isCut) {
  Survey survey(fetch, untilMs, most, points, isCut);
  std::string path;
  if (Problem problem = survey.FindChassis(chassis, path)) return problem;
  if (Problem problem = survey.Look(path)) return problem;
  return points.empty() ? Problem("its chassis " + path + " has no readings") : Problem();
}

}  // namespace host
