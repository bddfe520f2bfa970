// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICEMODEL_H_
#define HOST_DEVICE_DEVICEMODEL_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/device/EventStates.h"
#include "host/util/Json.h"

namespace host {

// A file that holds a number.
struct FileSource {
  std::string path;  // the appliance's
  double scale = 1;
};

struct PointModel {
  uint16_t id = 0;
  std::string name;
  std::string value;
  std::string unit;
  int decimals = 0;
  uint32_t modules = 1;
  uint32_t report = 0;
  std::optional<FileSource> source;
};

// A rule: it raises and clears an event by the value of a point.
struct WhenModel {
  enum class Kind {
    kAbove,      // a number above the limit; cleared when it is back by more than the hysteresis
    kBelow,      // the same below it
    kEquals,     // the text, or the number, of the operand; cleared by any other value
    kNotEquals,  // the other way round
    kMissing,    // no value: none can be told, or it is empty; cleared by a value
  };
  // What a value is compared with: a number where there is one, else a text.
  struct Operand {
    std::optional<double> number;
    std::string text;
  };

  uint16_t point = 0;
  Kind kind = Kind::kAbove;
  double limit = 0;
  double hysteresis = 0;
  Operand operand;
  uint16_t state = kAlarm;  // the state that it raises
};

struct EventModel {
  uint16_t gddId = 0;
  std::string text;
  uint32_t modules = 1;
  uint16_t state = kCleared;  // of module 0, at start
  std::optional<WhenModel> when;
};

// The managed device as its file describes it.
struct DeviceModel {
  int velId = 0;
  std::optional<std::string> psi;
  std::string label;
  int pollSeconds = 1;
  std::vector<PointModel> points;
  std::vector<EventModel> events;
};

// Reads a description by the table of its keys (DeviceKeys.h). What is missing or wrong takes its
// default; each wrong key adds one text that names it to `problems`. A point or event without a
// number of its own is left out.
DeviceModel ParseDeviceModel(const json_t* root, std::vector<std::string>& problems);

// The same of a file of this machine. Problems and unknown keys are logged. A file that is missing
// or can't be parsed is a device without points.
DeviceModel LoadDeviceModel(const std::string& path);

}  // namespace host

#endif  // HOST_DEVICE_DEVICEMODEL_H_
