// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_CONTROLPROTOCOL_H_
#define HOST_DEVICE_CONTROLPROTOCOL_H_

#include <string>

#include "host/device/DeviceEngine.h"

namespace host {

// The answer to one line of the control socket, without a line end. Never throws for what the line
// holds: whatever is wrong with it is said in the answer.
std::string AnswerControlLine(DeviceEngine& engine, const std::string& line);

// The answer that says what went wrong.
std::string ControlError(const std::string& text);

}  // namespace host

#endif  // HOST_DEVICE_CONTROLPROTOCOL_H_
