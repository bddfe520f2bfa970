// SPDX-License-Identifier: Apache-2.0
#ifndef UNIT_HTTPS_OUTBOXTEST_H_
#define UNIT_HTTPS_OUTBOXTEST_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/PlatformTest.h"
#include "https/OutboxFiles.h"

namespace unit {

using cloudclient::OutboxFiles;
using cloudclient::OutboxRecord;

constexpr uint64_t kMaxBytes = 65536;

// A folder of its own for the outbox, which is not made yet.
class OutboxFolderTest : public fakes::PlatformTest {
 protected:
  OutboxFolderTest() {
    std::string name = std::filesystem::temp_directory_path() / "outbox.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    m_base = name;
  }
  ~OutboxFolderTest() override { std::filesystem::remove_all(m_base); }

  std::string Base() const { return m_base.string(); }
  std::string Folder() const { return (m_base / "var" / "outbox").string(); }
  std::string FileNamed(const std::string& name) const { return Folder() + "/" + name; }

  // Names of the folder's files, in order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  uint64_t BytesOnDisk() const {
    uint64_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      bytes += entry.file_size();
    }
    return bytes;
  }

  static std::string Text(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  static void Write(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }

 private:
  std::filesystem::path m_base;
};

}  // namespace unit

#endif  // UNIT_HTTPS_OUTBOXTEST_H_
