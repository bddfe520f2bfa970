// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_FORMATS_H_
#define SERVICE_REDFISH_SCHEMA_FORMATS_H_

#include <optional>
#include <string>

namespace cloudservice {

// The text as a time of the form 2026-03-05T14:07:09[.5](Z|+01:00), which it has to have except
// for the colon of its offset. Without a value for everything else, times that no calendar and no
// clock shows included.
std::optional<std::string> ValidTime(const std::string& text);

// +01:00, up to 19:59 as the published pattern has it.
bool IsOffset(const std::string& text);
// P1DT2H3M4.5S, and parts of it; none is negative.
bool IsDuration(const std::string& text);
// 8-4-4-4-12 hexadecimal digits.
bool IsUuid(const std::string& text);
// Made of the characters of which URIs and references to them are made.
bool IsUri(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_FORMATS_H_
