// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_POLICYFILE_H_
#define BASE_POLICYFILE_H_

#include <string>
#include <vector>

#include "base/Policy.h"

namespace cloudclient {

// The appliance's policy file: a JSON object of groups of keys, `{"Preset": "hardened",
// "Transport": {"StallSeconds": 20}}`. Each key, its values and what they do: docs/policy.md.
constexpr char kPolicyFile[] = "/etc/cloudclient/policy.json";

// A key of the policy and what is in force of it.
struct PolicyValue {
  enum class Origin { kDefault, kPreset, kFile };

  std::string key;    // "Transport.StallSeconds"
  std::string value;  // as JSON, or a word for what JSON has none ("none")
  Origin origin;
  bool secret;  // the value is none to show
};

// What reading a policy file came to.
struct PolicyReading {
  bool exists = false;  // there is a file
  // Empty, or why the file can't be used: its path, then line and column where it is a place in it.
  // Of what the file holds it quotes names of keys alone.
  std::string problem;
  Policy policy;                    // of the defaults without a file, or with a problem
  std::vector<PolicyValue> values;  // of all keys; empty without a file and with a problem
};

// What is in force without a file, key by key.
std::vector<PolicyValue> DefaultPolicyValues();

// Reads the policy file at `path`, which is this machine's. No file is no policy; everything else
// that is no policy is a problem: a file that can't be read, that is no JSON object, that holds a
// key twice, one that is not known, or a value of the wrong type or out of its range. Never throws
// but for want of memory.
PolicyReading ReadPolicy(const std::string& path);

// The same for the text of a file, which `path` names in the problem.
PolicyReading ParsePolicy(const std::string& path, const std::string& text);

}  // namespace cloudclient

#endif  // BASE_POLICYFILE_H_
