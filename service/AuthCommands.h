// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTHCOMMANDS_H_
#define SERVICE_AUTHCOMMANDS_H_

#include <iosfwd>
#include <string>

#include "service/CommandLine.h"
#include "service/util/Clock.h"

namespace cloudservice {

// Carries out `account` or `operator` on the database, whether a service uses it or not. What the
// command makes or lists goes to `out`; secrets that are not to be made up are read from `in`, a
// line. Throws std::runtime_error that says what is wrong; nothing is changed then.
void RunOwnersCommand(const Options& options, const Clock& clock, std::istream& in,
                      std::ostream& out);

// The first line of the file, of `in` where its name is "-". Throws std::runtime_error when there
// is none, or nothing in it.
std::string ReadSecret(const std::string& file, std::istream& in);

}  // namespace cloudservice

#endif  // SERVICE_AUTHCOMMANDS_H_
