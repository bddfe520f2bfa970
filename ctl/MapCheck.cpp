// SPDX-License-Identifier: Apache-2.0
// map check: what the check of a map asks of the device and its pages.
#include "ctl/MapCheck.h"

#include <optional>

#include "ctl/PageCheck.h"
#include "host/device/DeviceEngine.h"
#include "host/util/Files.h"
#include "host/util/UnknownKeys.h"
#include "patch/MapCheck.h"

namespace ctl {

namespace {

constexpr size_t kLargestPage = 16 * 1024 * 1024;

// Pages of a folder and a described device, or none.
class Surroundings : public cloudclient::MapSurroundings {
 public:
  Surroundings(const std::string& pages, const host::DeviceModel* device) : m_pages(pages) {
    if (device != nullptr) m_device.emplace(*device);
  }

  bool KnowsDevice() const override { return m_device.has_value(); }
  bool HasPoint(uint16_t number) const override { return m_device->IsPoint(number); }
  bool HasName(const std::string& name, std::string& hint) const override;
  std::vector<std::string> UnknownKeys(const json_t* object,
                                       const std::vector<std::string>& known) const override {
    return host::UnknownKeys(object, known);
  }
  std::string PageFolder() const override { return m_pages; }
  bool ReadPage(const std::string& page, std::string& text) const override;
  void CheckPage(const std::string& where, const std::string& page,
                 const cloudclient::ResourceUrlEntry& resource, Findings& findings) const override {
    ctl::CheckPage(where, page, resource, m_device ? &m_device->Model() : nullptr, findings);
  }

 private:
  const std::string m_pages;
  std::optional<host::DeviceEngine> m_device;
};

bool Surroundings::HasName(const std::string& name, std::string& hint) const {
  std::string text;
  if (m_device->NamedText(name, text)) return true;
  std::vector<std::string> names;
  for (const host::PointModel& point : m_device->Model().points) names.push_back(point.name);
  hint = host::MeantHint(name, names);
  return false;
}

// In the folder, or in the nearest one above that has the page.
bool Surroundings::ReadPage(const std::string& page, std::string& text) const {
  for (std::string folder = m_pages;; folder.erase(folder.rfind('/'))) {
    if (!host::ReadFile(folder + "/" + page, kLargestPage, text)) return true;
    if (folder.empty()) return false;
  }
}

}  // namespace

Findings CheckMap(const cloudclient::PatchMap& map, json_t* root, const std::string& pages,
                  const host::DeviceModel* device) {
  return cloudclient::CheckMap(map, root, Surroundings(pages, device));
}

}  // namespace ctl
