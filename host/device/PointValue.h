// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_POINTVALUE_H_
#define HOST_DEVICE_POINTVALUE_H_

#include <string>

#include "host/device/DeviceModel.h"
#include "host/util/Problem.h"

namespace host {

// The value of a point, of what its source told; the problem where that can be no value.

// The text of the point's state of that number, else the number times the scale, with the point's
// decimals.
Problem ValueOfNumber(const PointModel& point, double number, std::string& value);

// The text of the point's state of that name or number. Of a point with a scale the number that the
// text is. Else the text: UTF-8 of up to 253 bytes, in which a quotation mark becomes an
// apostrophe, a backslash a slash and a control character a blank. Values stand in documents as
// they are, and a device is not to write into these.
Problem ValueOfText(const PointModel& point, const std::string& text, std::string& value);

}  // namespace host

#endif  // HOST_DEVICE_POINTVALUE_H_
