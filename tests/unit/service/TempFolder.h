// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_TEMPFOLDER_H_
#define TESTS_UNIT_SERVICE_TEMPFOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace cloudservice {

// A folder of its own for one test, removed with the object.
class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "cloudservice-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = name;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string File(const std::string& name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_TEMPFOLDER_H_
