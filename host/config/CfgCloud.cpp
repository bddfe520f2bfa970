// The cloud section: its values, its chassis, a fresh UUID.
#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "host/config/CfgCloudHost.h"
#include "host/config/Configuration.h"
#include "host/util/Json.h"

namespace cfg_cloud {

const char* const CfgCloud::CONFIGURATION_SET = "cloud";

}  // namespace cfg_cloud

namespace host {
namespace {

int Result(bool done) { return done ? 0 : 1; }

}  // namespace

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

bool CfgCloudHost::Save() { return m_store.Save(); }

int CfgCloudHost::GetEnableState(bool& enabled) const {
  enabled = m_store.Flag(kEnabled);
  return 0;
}

int CfgCloudHost::GetUrl(std::string& url) const {
  url = m_store.Text(kUrl);
  return 0;
}

int CfgCloudHost::GetUserEmail(std::string& email) const {
  email = m_store.Text(kUserEmail);
  return 0;
}

int CfgCloudHost::GetKey(std::string& key) const {
  key = m_store.Text(kRegistrationKey);
  return 0;
}

int CfgCloudHost::GetUnitName(std::string& name) const {
  name = m_store.Text(kUnitName);
  return 0;
}

int CfgCloudHost::SetUnitName(const std::string& name) {
  return Result(m_store.SetText(kUnitName, name));
}

int CfgCloudHost::GetUUID(std::string& uuid) const {
  uuid = m_store.Text(kUuid);
  return 0;
}

int CfgCloudHost::SetUUID(const std::string& uuid) {
  const std::string value = uuid.empty() ? RandomUuid() : uuid;
  return Result(!value.empty() && m_store.SetText(kUuid, value));
}

int CfgCloudHost::GetXAuthToken(std::string& token) const {
  token = m_store.Text(kXAuthToken);
  return 0;
}

int CfgCloudHost::SetXAuthToken(const std::string& token) {
  return Result(m_store.SetText(kXAuthToken, token));
}

bool CfgCloudHost::IsFullyConfigured() const {
  for (const char* key : {kUrl, kUserEmail, kRegistrationKey, kUuid, kUnitName}) {
    if (m_store.Text(key).empty()) return false;
  }
  return true;
}

int CfgCloudHost::LoadAllChassis() { return Result(m_store.Reload()); }

int CfgCloudHost::GetConfiguredChassis(
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

int CfgCloudHost::GetNumCfgChassis(unsigned int& count) const {
  const JsonRef list = m_store.Object(kChassis);
  count = static_cast<unsigned int>(json_object_size(list.get()));
  return 0;
}

int CfgCloudHost::AddChassis(const std::string& id, int velId) {
  JsonRef entry(json_pack("{s:i}", kVelocityInstance, velId));
  return Result(entry != nullptr && m_store.SetMember(kChassis, id, std::move(entry)));
}

int CfgCloudHost::RemoveChassis(const std::string& id) {
  return Result(m_store.SetMember(kChassis, id, nullptr));
}

int CfgCloudHost::RemoveAllChassis() { return Result(m_store.ClearObject(kChassis)); }

}  // namespace host
