// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_NEWDEVICE_H_
#define CTL_NEWDEVICE_H_

#include <string>
#include <vector>

#include "host/device/SourceLoader.h"
#include "host/util/Json.h"

namespace ctl {

// What a person says of a new device.
struct NewDeviceWords {
  std::string type;      // of its sources
  std::string label;     // UTF-8
  std::string sequence;  // the product sequence identifier, as "1.0.0"
};

// A file among the device's data files, by its name there.
struct DataText {
  std::string name;
  std::string text;
};

// A device's description that begins with what sources offer, and the data files that go with it.
class NewDevice {
 public:
  NewDevice(const NewDeviceWords& words, const host::Offer& offer);

  const json_t* Description() const { return m_description.get(); }  // of device.json

  // "cloudchassis.txt", "covpatchmap.txt", the pages that it names, and "README.md", which explains
  // them and lists the points.
  std::vector<DataText> DataFiles() const;

  // A row a point: number, name, value as found, unit, source.
  std::vector<std::vector<std::string>> Rows() const;

 private:
  // Where the service shows a point.
  enum class Place { kTemperature, kFan, kVoltage, kPower, kReading, kState };

  struct Point {
    int id = 0;
    std::string name;   // in queries
    std::string title;  // for persons; fit for a page
    std::string unit;
    std::string value;
    std::string source;
    Place place = Place::kReading;
  };

  static Place PlaceOf(const host::OfferedPoint& point);
  void AddSource(const NewDeviceWords& words, const host::OfferedSource& source);
  void AddPoint(const std::string& source, const host::OfferedPoint& offered);
  void AddSilence(const std::string& source, int point);
  bool Has(std::initializer_list<Place> places) const;
  std::string Member(const Point& point, const std::string& value) const;
  std::string Elements(Place place) const;
  std::string Page(const std::vector<std::pair<std::string, Place>>& arrays) const;
  void AddResource(const char* name, const char* below, std::initializer_list<Place> places,
                   json_t* map) const;
  std::string MapText() const;
  std::string ReadmeText() const;

  host::JsonRef m_description;
  std::vector<Point> m_points;
  std::vector<std::string> m_names;  // that are taken
};

}  // namespace ctl

#endif  // CTL_NEWDEVICE_H_
