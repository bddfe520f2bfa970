// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_READINGLABELS_H_
#define SERVICE_API_READINGLABELS_H_

#include <optional>
#include <string>
#include <vector>

#include "service/json/Json.h"
#include "service/json/Numbers.h"

namespace cloudservice {

// What a number in a document is, for people.
struct ReadingLabel {
  std::string name;                     // "Supply temperature"
  std::optional<std::string> unit;      // "°C", "%"
  std::optional<std::string> quantity;  // "temperature" or "humidity"
  std::optional<std::string> extreme;   // "highest" or "lowest", of seven days, by the appliance
};

// The meaning of the number at `pointer`, for which there is a place in the document. A reading has
// the name of what it is read from ("Name", else "MemberId", of the object around it), everything
// else the words of its member behind that name. Units come from the member's last word
// ("ReadingCelsius", "HumidityPercent") or from "ReadingUnits".
ReadingLabel LabelOf(const Json& document, const std::string& pointer);

// As much of it as the number's name tells, where the document has no place for it any more.
ReadingLabel LabelOf(const std::vector<NameStep>& steps);

}  // namespace cloudservice

#endif  // SERVICE_API_READINGLABELS_H_
