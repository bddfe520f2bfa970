// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_PAGES_H_
#define HOST_DEVICE_PAGES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/device/DeviceEngine.h"

namespace host {

// `text` with `{{point:ID}}`, `{{label}}`, `{{psi}}` and `{{uuid}}` replaced by their values. In
// place of a point's value that can't be told or is empty comes what stands behind the bar of
// `{{point:ID|null}}`, nothing without one. What is inserted is not looked at again. Everything
// else stays.
std::string RenderPage(const DeviceEngine& engine, const std::string& uuid,
                       const std::string& text);

// A mark `{{point:ID}}` or `{{point:ID|null}}`: where it begins, and the point that it asks for.
struct PointMark {
  size_t position;
  uint16_t point;
};

// Those of a text that rendering replaces, in their order, whether there is such a point or not.
std::vector<PointMark> PointMarks(const std::string& text);

// The text of a page, rendered; empty when there is none, and, with a message, when it would hold
// a NUL byte: whoever takes such a text for a request's body counts more than he sends.
std::string GetPage(const DeviceEngine& engine, const std::string& uuid, const std::string& query,
                    const std::string& page);

}  // namespace host

#endif  // HOST_DEVICE_PAGES_H_
