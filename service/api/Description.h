// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_DESCRIPTION_H_
#define SERVICE_API_DESCRIPTION_H_

#include <string>

namespace cloudservice {

// The text of openapi.json.
extern const std::string kDescription;

}  // namespace cloudservice

#endif  // SERVICE_API_DESCRIPTION_H_
