// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_READINGLABELS_H_
#define SERVICE_API_READINGLABELS_H_

#include <optional>
#include <string>
#include <vector>

#include "service/json/Json.h"
#include "service/json/Numbers.h"

namespace cloudservice {

// The meaning of a number in a document, for people.
struct ReadingLabel {
  std::string name;                     // "Supply temperature"
  std::optional<std::string> unit;      // "°C", "%"
  std::optional<std::string> quantity;  // "temperature" or "humidity"
  std::optional<std::string> extreme;   // "highest" or "lowest": the appliance's of seven days
};

// The meaning of the number at `pointer`, a place that the document has. The label's name begins
// with "Name" (else "DeviceName", "MemberId") of the object around the number. A reading has that
// name alone, also where the object is the document, such as that of a sensor; for every other
// number the words of its member follow. The unit is the member's last word ("ReadingCelsius",
// "HumidityPercent"), or "ReadingUnits" of the object. The "Reading" of an excerpt
// ("TemperatureCelsius": {"Reading": 21}) has name and unit of the member around it.
ReadingLabel LabelOf(const Json& document, const std::string& pointer);

// The meaning of a number as far as its name tells it, for a document that has no place for the
// number any more.
ReadingLabel LabelOf(const std::vector<NameStep>& steps);

}  // namespace cloudservice

#endif  // SERVICE_API_READINGLABELS_H_
