// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_ZONES_MACHINEROOT_H_
#define TESTS_UNIT_ZONES_MACHINEROOT_H_

#include <map>
#include <string>

namespace zones {

// Makes a folder of its own the root of this process, and the file "etc/localtime" in it the
// machine's zone: TZ is not set any more. To be made before a second thread is; its end leads back
// to the machine's root, TZ stays away.
class MachineRoot {
 public:
  // `names`: the zones that will be needed. Check `Error`: without privileges there may be no root
  // to be had.
  explicit MachineRoot(std::initializer_list<const char*> names);
  ~MachineRoot();
  MachineRoot(const MachineRoot&) = delete;
  MachineRoot& operator=(const MachineRoot&) = delete;

  // Empty, or what failed.
  const std::string& Error() const { return m_error; }

  // Makes it the machine's zone, as a person does: a file in the place of the other.
  void SetZone(const std::string& name);

 private:
  std::map<std::string, std::string> m_zones;  // by name
  std::string m_folder;
  std::string m_error;
  int m_formerRoot = -1;
};

}  // namespace zones

#endif  // TESTS_UNIT_ZONES_MACHINEROOT_H_
