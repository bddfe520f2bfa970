// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_FORMATS_H_
#define SERVICE_REDFISH_SCHEMA_FORMATS_H_

#include <optional>
#include <string>

namespace cloudservice {

// The text as a time of the form 2026-03-05T14:07:09[.5](Z|+01:00). Only the colon of the offset
// may be missing; it is added. None for every other text, also for dates and times that do not
// exist.
std::optional<std::string> ValidTime(const std::string& text);

// Whether the text is an offset like +01:00, up to 19:59, as the published pattern allows.
bool IsOffset(const std::string& text);
// Whether the text is a duration like P1DT2H3M4.5S or with some of its parts; none is negative.
bool IsDuration(const std::string& text);
// Whether the text has the form of a UUID: 8-4-4-4-12 hexadecimal digits.
bool IsUuid(const std::string& text);
// Whether the text has only characters that a URI or a reference may have.
bool IsUri(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_FORMATS_H_
