// SPDX-License-Identifier: Apache-2.0
#include "zones/MachineRoot.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace zones {

namespace fs = std::filesystem;

MachineRoot::MachineRoot(std::initializer_list<const char*> names) {
  for (const char* const name : names) {
    std::ifstream file(std::string("/usr/share/zoneinfo/") + name, std::ios::binary);
    m_zones[name].assign(std::istreambuf_iterator<char>(file), {});
  }
  char folder[] = "/tmp/machine_root-XXXXXX";
  if (mkdtemp(folder) == nullptr) {
    m_error = std::string("mkdtemp: ") + strerror(errno);
    return;
  }
  m_folder = folder;
  fs::create_directory(m_folder + "/etc");
  m_formerRoot = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
  // Who is not root may change it in a namespace of users of his own.
  const bool changed = chroot(folder) == 0 || (unshare(CLONE_NEWUSER) == 0 && chroot(folder) == 0);
  if (!changed || chdir("/") != 0) m_error = std::string("chroot: ") + strerror(errno);
  unsetenv("TZ");
}

MachineRoot::~MachineRoot() {
  if (m_folder.empty()) return;
  if (fchdir(m_formerRoot) == 0 && chroot(".") == 0) fs::remove_all(m_folder);
  close(m_formerRoot);
}

void MachineRoot::SetZone(const std::string& name) {
  std::ofstream("/etc/localtime.new", std::ios::binary) << m_zones.at(name);
  fs::rename("/etc/localtime.new", "/etc/localtime");
}

}  // namespace zones
