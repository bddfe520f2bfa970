// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_EVENTDOCUMENT_H_
#define DEVICE_EVENTDOCUMENT_H_

#include <string>

#include "device/CloudAlarm.h"

namespace cloudclient {

// The JSON document of one event, by which the service hears that an alarm of the chassis
// `chassisId` became active or was cleared; which of the two, CloudAlarm's IsActive says. Its
// spacing is fixed. Values are inserted as they are.
std::string EventDocument(const CloudAlarm& alarm, const std::string& chassisId);

}  // namespace cloudclient

#endif  // DEVICE_EVENTDOCUMENT_H_
