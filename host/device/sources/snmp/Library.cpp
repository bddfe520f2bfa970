// SPDX-License-Identifier: Apache-2.0
// Net-SNMP made ready, its values, and who asks by it.
#include "host/device/sources/snmp/Library.h"

#include <arpa/inet.h>

#include <mutex>

#include "host/device/sources/Credentials.h"

namespace host {
namespace {

std::mutex& LibraryMutex() {
  static std::mutex mutex;
  return mutex;
}

// The library's own files and environment decide nothing, and it writes nothing: standard error is
// the daemon's log.
void MakeReady() {
  snmp_disable_log();
  for (const int option :
       {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
        NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE}) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
  }
  // Names of objects are not looked up: no file of them is read.
  std::string noFiles = "mibs :";
  netsnmp_config_remember(noFiles.data());
  init_snmp("cloudclient");
  netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
  snmp_disable_log();
}

SnmpValue NumberValue(double number) { return {SnmpValue::Kind::kNumber, number, {}}; }
SnmpValue TextValue(std::string text) { return {SnmpValue::Kind::kText, 0, std::move(text)}; }
SnmpValue NoneValue(const char* why) { return {SnmpValue::Kind::kNone, 0, why}; }

SnmpValue OctetsValue(const netsnmp_variable_list& variable) {
  const auto* const bytes = variable.val.string;
  if (bytes == nullptr) return TextValue({});
  std::string text(bytes, bytes + variable.val_len);
  // Devices count the NUL of their texts.
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return TextValue(text);
}

SnmpValue AddressValue(const netsnmp_variable_list& variable) {
  char text[INET_ADDRSTRLEN] = {};
  if (variable.val_len != sizeof(in_addr) || variable.val.string == nullptr ||
      inet_ntop(AF_INET, variable.val.string, text, sizeof(text)) == nullptr) {
    return NoneValue("its device answers an address that is none");
  }
  return TextValue(text);
}

// What has a length that its type does not ask for is no number.
bool Holds(const netsnmp_variable_list& variable, size_t size) {
  return variable.val.integer != nullptr && variable.val_len >= size;
}

SnmpValue FixedValue(const netsnmp_variable_list& variable) {
  constexpr double kHigh = 4294967296.0;
  switch (variable.type) {
    case ASN_INTEGER:
      if (Holds(variable, sizeof(long)))
        return NumberValue(static_cast<double>(*variable.val.integer));
      break;
    case ASN_COUNTER:
    case ASN_GAUGE:
    case ASN_TIMETICKS:
    case ASN_UINTEGER:
      if (Holds(variable, sizeof(long))) {
        return NumberValue(static_cast<uint32_t>(*variable.val.integer));
      }
      break;
    case ASN_COUNTER64:
      if (Holds(variable, sizeof(struct counter64))) {
        const struct counter64& counter = *variable.val.counter64;
        return NumberValue(static_cast<double>(counter.high & UINT32_MAX) * kHigh +
                           static_cast<double>(counter.low & UINT32_MAX));
      }
      break;
    case ASN_OPAQUE_FLOAT:
      if (Holds(variable, sizeof(float))) return NumberValue(double{*variable.val.floatVal});
      break;
    case ASN_OPAQUE_DOUBLE:
      if (Holds(variable, sizeof(double))) return NumberValue(*variable.val.doubleVal);
      break;
    default:
      return NoneValue("its device answers a type that is neither a number nor a text");
  }
  return NoneValue("its device answers a number that is none");
}

std::string TextOf(const JsonRef& object, const char* key, const char* otherwise) {
  const json_t* const value = json_object_get(object.get(), key);
  return value == nullptr ? otherwise : JsonText(value);
}

}  // namespace

SnmpLock::SnmpLock() {
  LibraryMutex().lock();
  static bool ready = false;
  if (ready) return;
  MakeReady();
  ready = true;
}

SnmpLock::~SnmpLock() { LibraryMutex().unlock(); }

SnmpValue ValueOf(const netsnmp_variable_list& variable) {
  switch (variable.type) {
    case ASN_OCTET_STR:
      return OctetsValue(variable);
    case ASN_OBJECT_ID:
      return TextValue(OidText(HeldOid(variable)));
    case ASN_IPADDRESS:
      return AddressValue(variable);
    case ASN_NULL:
      return NoneValue("its device answers nothing");
    case SNMP_NOSUCHOBJECT:
      return NoneValue("its device has no such object");
    case SNMP_NOSUCHINSTANCE:
      return NoneValue("its device has no such instance");
    case SNMP_ENDOFMIBVIEW:
      return NoneValue("its device shows nothing there");
    default:
      return FixedValue(variable);
  }
}

Oid NameOf(const netsnmp_variable_list& variable) {
  Oid name;
  for (size_t i = 0; i < variable.name_length; ++i) {
    name.push_back(static_cast<uint32_t>(variable.name[i]));
  }
  return name;
}

Oid HeldOid(const netsnmp_variable_list& variable) {
  Oid held;
  if (variable.type != ASN_OBJECT_ID || variable.val.objid == nullptr) return held;
  for (size_t i = 0; i < variable.val_len / sizeof(oid); ++i) {
    held.push_back(static_cast<uint32_t>(variable.val.objid[i]));
  }
  return held;
}

void ForgetUser(const u_char* engine, size_t engineLength, const char* name) {
  struct usmUser* const former = usm_get_user(engine, engineLength, name);
  if (former == nullptr) return;
  usm_remove_user(former);
  usm_free_user(former);
}

ProtocolOid AuthProtocol(const std::string& name) {
  if (name == "MD5") return {usmHMACMD5AuthProtocol, OID_LENGTH(usmHMACMD5AuthProtocol)};
  if (name == "SHA") return {usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)};
  if (name == "SHA-224") {
    return {usmHMAC128SHA224AuthProtocol, OID_LENGTH(usmHMAC128SHA224AuthProtocol)};
  }
  if (name == "SHA-256") {
    return {usmHMAC192SHA256AuthProtocol, OID_LENGTH(usmHMAC192SHA256AuthProtocol)};
  }
  if (name == "SHA-384") {
    return {usmHMAC256SHA384AuthProtocol, OID_LENGTH(usmHMAC256SHA384AuthProtocol)};
  }
  if (name == "SHA-512") {
    return {usmHMAC384SHA512AuthProtocol, OID_LENGTH(usmHMAC384SHA512AuthProtocol)};
  }
  return {};
}

ProtocolOid PrivProtocol(const std::string& name) {
  if (name == "DES") return {usmDESPrivProtocol, OID_LENGTH(usmDESPrivProtocol)};
  if (name == "AES") return {usmAESPrivProtocol, OID_LENGTH(usmAESPrivProtocol)};
  return {};
}

Problem ReadIdentity(const std::string& path, bool isVersion3, SnmpIdentity& identity) {
  constexpr size_t kLeastPassword = 8;
  JsonRef file;
  const std::vector<std::string> keys =
      isVersion3 ? std::vector<std::string>{"User", "AuthProtocol", "AuthPassword", "PrivProtocol",
                                            "PrivPassword"}
                 : std::vector<std::string>{"Community"};
  if (Problem problem = ReadCredentials(path, keys, file)) return problem;
  identity.isVersion3 = isVersion3;
  identity.community = TextOf(file, "Community", "");
  identity.user = TextOf(file, "User", "");
  identity.authProtocol = TextOf(file, "AuthProtocol", "SHA");
  identity.authPassword = TextOf(file, "AuthPassword", "");
  identity.privProtocol = TextOf(file, "PrivProtocol", "AES");
  identity.privPassword = TextOf(file, "PrivPassword", "");
  const auto wrong = [&path](const char* text) { return Problem(text).With(path); };
  if (!isVersion3) {
    return identity.community.empty() ? wrong("\"Community\" is missing") : Problem();
  }
  if (identity.user.empty()) return wrong("\"User\" is missing");
  if (AuthProtocol(identity.authProtocol).name == nullptr) {
    return wrong("\"AuthProtocol\" is none of MD5, SHA, SHA-224, SHA-256, SHA-384, SHA-512");
  }
  if (PrivProtocol(identity.privProtocol).name == nullptr) {
    return wrong("\"PrivProtocol\" is none of DES, AES");
  }
  if (identity.authPassword.size() < kLeastPassword ||
      identity.privPassword.size() < kLeastPassword) {
    return wrong("\"AuthPassword\" and \"PrivPassword\" have at least 8 bytes");
  }
  return {};
}

}  // namespace host
