// SPDX-License-Identifier: Apache-2.0
// The cloud section: its values, its chassis, a fresh UUID.
#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "host/config/ConfigKeys.h"
#include "host/config/ConfigObjects.h"
#include "host/util/Json.h"

namespace cfg_cloud {

const char* const CfgCloud::CONFIGURATION_SET = "cloud";

}  // namespace cfg_cloud

namespace host {
namespace {

int Result(const Problem& problem) { return problem ? 1 : 0; }

// A random UUID (version 4) as text; empty when there is no randomness.
std::string RandomUuid() {
  uint8_t bytes[16] = {};
  size_t filled = 0;
  while (filled < sizeof(bytes)) {
    ssize_t got = getrandom(bytes + filled, sizeof(bytes) - filled, 0);
    if (got > 0) filled += static_cast<size_t>(got);
    if (got < 0 && errno != EINTR) return "";
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);  // the variant of RFC 9562
  std::string text;
  for (size_t i = 0; i < sizeof(bytes); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    char digits[3];
    snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned int>(bytes[i]));
    text += digits;
  }
  return text;
}

class StoredCloud : public cfg_cloud::CfgCloud {
 public:
  explicit StoredCloud(ConfigStore& store) : m_store(store) {}

  bool Save() override;
  int GetEnableState(bool& enabled) const override;
  int GetUrl(std::string& url) const override;
  int GetUserEmail(std::string& email) const override;
  int GetKey(std::string& key) const override;
  int GetUnitName(std::string& name) const override;
  int SetUnitName(const std::string& name) override;
  int GetUUID(std::string& uuid) const override;
  int SetUUID(const std::string& uuid) override;
  int GetXAuthToken(std::string& token) const override;
  int SetXAuthToken(const std::string& token) override;
  bool IsFullyConfigured() const override;
  int LoadAllChassis() override;
  int GetConfiguredChassis(
      std::map<std::string, cfg_cloud::CfgCloudChassis>& chassis) const override;
  int GetNumCfgChassis(unsigned int& count) const override;
  int AddChassis(const std::string& id, int velId) override;
  int RemoveChassis(const std::string& id) override;
  int RemoveAllChassis() override;

 private:
  ConfigStore& m_store;
};

bool StoredCloud::Save() { return m_store.Save(); }

int StoredCloud::GetEnableState(bool& enabled) const {
  enabled = m_store.Flag(kEnabled);
  return 0;
}

int StoredCloud::GetUrl(std::string& url) const {
  url = m_store.Text(kUrl);
  return 0;
}

int StoredCloud::GetUserEmail(std::string& email) const {
  email = m_store.Text(kUserEmail);
  return 0;
}

int StoredCloud::GetKey(std::string& key) const {
  key = m_store.Text(kRegistrationKey);
  return 0;
}

int StoredCloud::GetUnitName(std::string& name) const {
  name = m_store.Text(kUnitName);
  return 0;
}

int StoredCloud::SetUnitName(const std::string& name) {
  return Result(m_store.SetText(kUnitName, name));
}

int StoredCloud::GetUUID(std::string& uuid) const {
  uuid = m_store.Text(kUuid);
  return 0;
}

int StoredCloud::SetUUID(const std::string& uuid) {
  const std::string value = uuid.empty() ? RandomUuid() : uuid;
  return value.empty() ? 1 : Result(m_store.SetText(kUuid, value));
}

int StoredCloud::GetXAuthToken(std::string& token) const {
  token = m_store.Text(kXAuthToken);
  return 0;
}

int StoredCloud::SetXAuthToken(const std::string& token) {
  return Result(m_store.SetText(kXAuthToken, token));
}

bool StoredCloud::IsFullyConfigured() const {
  for (const char* key : {kUrl, kUserEmail, kRegistrationKey, kUuid, kUnitName}) {
    if (m_store.Text(key).empty()) return false;
  }
  return true;
}

int StoredCloud::LoadAllChassis() { return m_store.Reload() ? 0 : 1; }

int StoredCloud::GetConfiguredChassis(
    std::map<std::string, cfg_cloud::CfgCloudChassis>& chassis) const {
  chassis.clear();
  const JsonRef list = m_store.Object(kChassis);
  const char* id = nullptr;
  json_t* entry = nullptr;
  json_object_foreach(list.get(), id, entry) {
    const json_t* velId = json_object_get(entry, kVelocityInstance);
    const json_int_t number = json_integer_value(velId);
    const bool valid = json_is_integer(velId) && number >= std::numeric_limits<int>::min() &&
                       number <= std::numeric_limits<int>::max();
    chassis[id] =
        valid ? cfg_cloud::CfgCloudChassis(static_cast<int>(number)) : cfg_cloud::CfgCloudChassis();
  }
  return 0;
}

int StoredCloud::GetNumCfgChassis(unsigned int& count) const {
  const JsonRef list = m_store.Object(kChassis);
  count = static_cast<unsigned int>(json_object_size(list.get()));
  return 0;
}

int StoredCloud::AddChassis(const std::string& id, int velId) {
  JsonRef entry(json_pack("{s:i}", kVelocityInstance, velId));
  return entry == nullptr ? 1 : Result(m_store.SetMember(kChassis, id, std::move(entry)));
}

int StoredCloud::RemoveChassis(const std::string& id) {
  return Result(m_store.SetMember(kChassis, id, nullptr));
}

int StoredCloud::RemoveAllChassis() {
  m_store.ClearObject(kChassis);
  return 0;
}

}  // namespace

std::unique_ptr<cfg_cloud::CfgCloud> CloudOn(ConfigStore& store) {
  return std::make_unique<StoredCloud>(store);
}

}  // namespace host
