// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_COMMANDLINE_H_
#define SERVICE_COMMANDLINE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "service/redfish/Quota.h"
#include "service/util/Log.h"
#include "service/util/TrustedProxies.h"

namespace cloudservice {

enum class Command {
  kServe,
  kBackup,
  kCopy,
  kAddAccount,
  kListAccounts,
  kRemoveAccount,
  kAddOperator,
  kListOperators,
  kRemoveOperator,
};

// The values of the command line's options, and the command that it names.
struct Options {
  Command command = Command::kServe;
  std::string file;                   // with more options; these have been taken from it
  std::string subject;                // the account's e-mail address or the operator's name
  bool secretFromInput = false;       // account add, operator add: read the secret from the input
  bool replace = false;               // account add: the new key replaces the account's others
  bool withAppliances = false;        // account remove: remove the account's appliances too
  bool withToken = false;             // operator add: a token instead of a password
  bool create = false;                // account add, operator add: make a missing database
  std::string address = "127.0.0.1";  // an IPv4 or IPv6 address, without brackets
  std::uint16_t port = 8443;          // 0: any free port
  std::string database = "cloudservice.db";
  std::string email;                // with the key: the account that gets it; both or neither
  std::string registrationKey;      // that account's key
  std::string registrationKeyFile;  // in its place: a file, or "-", whose first line is the key
  std::string backup;               // kBackup: the file that becomes the copy
  std::string from;                 // kCopy: the databases
  std::string to;
  bool plainHttp = false;
  std::string certificate;  // PEM files; both or neither
  std::string key;
  std::size_t maxBody = 1024 * 1024;  // bytes
  std::size_t maxConnections = 10000;
  std::size_t maxConnectionsOfSender = 2000;  // from one address
  TrustedProxies trustedProxies;
  int ioTimeout = 60;        // seconds
  int retention = 7;         // days for which readings are kept
  int eventRetention = 365;  // days for which events are kept
  Quotas quotas;             // of each appliance
  bool metricsOfAppliances = false;
  LogLevel logLevel = LogLevel::kInfo;
};

// Reads the command line, and the file of options that it names. Returns none when the process is
// to end with `status`; the help, the version or one message about a wrong argument has been
// printed by then.
std::optional<Options> ParseOptions(int argc, const char* const* argv, int& status);

}  // namespace cloudservice

#endif  // SERVICE_COMMANDLINE_H_
