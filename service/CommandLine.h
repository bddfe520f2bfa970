// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_COMMANDLINE_H_
#define SERVICE_COMMANDLINE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace cloudservice {

enum class Command {
  kServe,
  kBackup,
  kAddAccount,
  kListAccounts,
  kRemoveAccount,
  kAddOperator,
  kListOperators,
  kRemoveOperator,
};

// What the command line says.
struct Options {
  Command command = Command::kServe;
  std::string subject;                // of an account or operator command: e-mail address or name
  bool secretFromInput = false;       // account add, operator add
  bool replace = false;               // account add: in place of the keys that it has
  bool withAppliances = false;        // account remove
  bool withToken = false;             // operator add
  bool create = false;                // account add, operator add: the database where it is missing
  std::string address = "127.0.0.1";  // an IPv4 or IPv6 address, without brackets
  std::uint16_t port = 8443;          // 0: any free one
  std::string database = "cloudservice.db";
  std::string email;                // with the key: an account to be there; both or neither
  std::string registrationKey;      // as above
  std::string registrationKeyFile;  // in its place: a file, or "-", whose first line is the key
  std::string backup;               // kBackup: the file
  bool plainHttp = false;
  std::string certificate;  // PEM files; both or neither
  std::string key;
  std::size_t maxBody = 1024 * 1024;  // bytes
  int ioTimeout = 60;                 // seconds
  int retention = 7;                  // days of the histories of values
  int eventRetention = 365;           // days of events
};

// The options of the command line. Without a value: the process is to end with `status`, and what
// had to be said (help, version, one message about a wrong argument) has been printed.
std::optional<Options> ParseOptions(int argc, const char* const* argv, int& status);

// Splits "ADDR:PORT" or "[ADDR]:PORT" into `address` and `port`; false when it is neither.
bool ParseListen(const std::string& text, std::string& address, std::uint16_t& port);

}  // namespace cloudservice

#endif  // SERVICE_COMMANDLINE_H_
