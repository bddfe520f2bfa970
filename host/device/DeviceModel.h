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

// What a source of a module is by the file: its own keys are checked when the module is known.
struct ModuleSource {
  std::string type;      // empty where it is `from` another one
  std::string from;      // which of the device's sources it belongs to; empty when it is its own
  std::string settings;  // the JSON text of the object that describes it
  std::string where;     // the object's place in the file, as problems tell it
};

// Where the value of a point comes from.
struct PointSource {
  std::string path;     // of a file that holds a number, the appliance's; empty for a module's
  ModuleSource module;  // of others
};

// A source that points and events share, by its name.
struct NamedSource {
  std::string name;
  ModuleSource module;
};

// The text of a state, by what the source tells: a number where it is one, however it is written.
struct StateText {
  std::string told;
  std::optional<double> number;
  std::string text;
};

struct PointModel {
  uint16_t id = 0;
  std::string name;
  std::string value;
  std::string unit;
  int decimals = 0;
  std::optional<double> scale;  // what a source's number is multiplied by
  std::vector<StateText> states;
  uint32_t modules = 1;
  uint32_t report = 0;
  std::optional<PointSource> source;
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
  std::optional<ModuleSource> source;  // what else raises and clears it
};

// The managed device as its file describes it.
struct DeviceModel {
  int velId = 0;
  std::optional<std::string> psi;
  std::string label;
  int pollSeconds = 1;
  std::vector<NamedSource> sources;
  std::vector<PointModel> points;
  std::vector<EventModel> events;
};

// Reads a description by the table of its keys (DeviceKeys.h). What is missing or wrong takes its
// default; each wrong key adds one text that names it to `problems`. A point or event without a
// number of its own is left out. What only a module knows of its sources is not looked at.
DeviceModel ParseDeviceModel(const json_t* root, std::vector<std::string>& problems);

// The same of a file of this machine. Problems and unknown keys are logged. A file that is missing
// or can't be parsed is a device without points.
DeviceModel LoadDeviceModel(const std::string& path);

// Logs what is wrong in a file, and which of its keys are not known.
void LogFindings(const std::string& path, const std::vector<std::string>& problems,
                 const std::vector<std::string>& unknown);

}  // namespace host

#endif  // HOST_DEVICE_DEVICEMODEL_H_
