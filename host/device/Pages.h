// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_PAGES_H_
#define HOST_DEVICE_PAGES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/device/DeviceEngine.h"

namespace host {

// `text` with `{{point:ID}}`, `{{label}}`, `{{psi}}` and `{{uuid}}` replaced by their values. A
// point without a value, or with an empty one, is replaced by the text after the bar of
// `{{point:ID|null}}`, by nothing when there is no bar. Inserted text is not searched for marks.
// Everything else stays as it is.
std::string RenderPage(const DeviceEngine& engine, const std::string& uuid,
                       const std::string& text);

// A mark `{{point:ID}}` or `{{point:ID|null}}`: where it begins, and the point that it asks for.
struct PointMark {
  size_t position;
  uint16_t point;
};

// The point marks of a text in their order, whether or not the device has the points.
std::vector<PointMark> PointMarks(const std::string& text);

// The rendered text of a page. Empty when there is no such page, and, with a message, when the text
// would hold a NUL byte: a request with that body would announce more bytes than it sends.
std::string GetPage(const DeviceEngine& engine, const std::string& uuid, const std::string& query,
                    const std::string& page);

}  // namespace host

#endif  // HOST_DEVICE_PAGES_H_
