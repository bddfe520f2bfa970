// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTHCOMMANDS_H_
#define SERVICE_AUTHCOMMANDS_H_

#include <iosfwd>
#include <string>

#include "service/CommandLine.h"
#include "service/util/Clock.h"

namespace cloudservice {

// Carries out the command `account` or `operator` on the database, which a service may be using.
// Writes what the command makes or lists to `out`. Reads a secret that the caller chooses from
// `in`, as one line. Throws std::runtime_error that says what is wrong, and has changed nothing
// then.
void RunOwnersCommand(const Options& options, const Clock& clock, std::istream& in,
                      std::ostream& out);

// The first line of the file, or of `in` where `file` is "-". Throws std::runtime_error when there
// is no such line or it is empty.
std::string ReadSecret(const std::string& file, std::istream& in);

}  // namespace cloudservice

#endif  // SERVICE_AUTHCOMMANDS_H_
