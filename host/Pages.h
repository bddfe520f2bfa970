#ifndef HOST_PAGES_H_
#define HOST_PAGES_H_

#include <string>

#include "host/DeviceEngine.h"

namespace host {

// `text` with `{{point:ID}}`, `{{label}}`, `{{psi}}` and `{{uuid}}` replaced by their values; a
// value that can't be told is empty. Values are inserted as they are and not looked at again.
// Everything else stays.
std::string RenderPage(const DeviceEngine& engine, const std::string& uuid,
                       const std::string& text);

// The text of a page, rendered; empty when there is none.
std::string GetPage(const DeviceEngine& engine, const std::string& uuid, const std::string& query,
                    const std::string& page);

}  // namespace host

#endif  // HOST_PAGES_H_
