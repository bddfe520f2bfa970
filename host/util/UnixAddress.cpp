// SPDX-License-Identifier: Apache-2.0
// Addresses of socket files, long paths included.
#include "host/util/UnixAddress.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "host/util/Files.h"

namespace host {

UnixAddress::UnixAddress(const std::string& path) {
  std::string name = path;
  if (name.size() >= sizeof(m_address.sun_path)) {
    m_folder = Fd(open(FolderOf(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder.IsOpen()) {
      m_failure = Problem::OfErrno(errno);
      return;
    }
    name = "/proc/self/fd/" + std::to_string(m_folder.Get()) + path.substr(path.rfind('/'));
  }
  if (name.size() >= sizeof(m_address.sun_path)) {
    m_failure = Problem::OfErrno(ENAMETOOLONG);
    return;
  }
  m_address.sun_family = AF_UNIX;
  std::memcpy(m_address.sun_path, name.data(), name.size());
}

}  // namespace host
