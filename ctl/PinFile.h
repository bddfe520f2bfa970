// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_PINFILE_H_
#define CTL_PINFILE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/util/Problem.h"

namespace ctl {

// No policy file that is written here is longer.
constexpr size_t kLargestPolicy = 64UL * 1024;

// The keys that the policy file at `path`, which is this machine's, pins; none without a file. A
// problem, which names the file, when there is one that is no policy.
host::Problem ReadPins(const std::string& path, std::vector<std::string>& pins);

// `result` becomes the text of a policy file with this pin, in place of all others or beside them;
// everything else stays as it is in `text`, in its order. An empty text is a file that is missing.
// A problem, which names `path`, when the text is no policy, or would be none.
host::Problem WithPin(const std::string& path, const std::string& text, const std::string& pin,
                      bool keepOthers, std::string& result);

// Does so with the file at `path`, which is made when it is missing: replaces it as a whole under
// its lock, as the daemon's configuration is, owner, group and mode kept, a link followed. On a
// problem, which names the file, it is as it was. `warning` is what else could not be done.
host::Problem WritePin(const std::string& path, const std::string& pin, bool keepOthers,
                       host::Problem& warning);

// Puts the file back: as this text, or, without one, away. Under its lock.
host::Problem PutPolicyBack(const std::string& path, const std::optional<std::string>& text);

}  // namespace ctl

#endif  // CTL_PINFILE_H_
