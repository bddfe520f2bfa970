// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_POLICYKEYS_H_
#define BASE_POLICYKEYS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "base/JsonText.h"
#include "base/Policy.h"

namespace cloudclient {

// Where a file names the preset, and the one preset that there is.
constexpr char kPresetKey[] = "Preset";
constexpr char kHardened[] = "hardened";

// A key of the policy file, and what its value has to be.
struct PolicyKey {
  enum class Type {
    kFlag,
    kNumber,  // an integer of `least` to `most`
    kText,    // of any characters, also none
    kPath,    // an absolute path
    kFolder,  // the same, or "" for none
    kWord,    // one of `words`; also a number, where a word is one
    kPins,    // "sha256//" and a hash in base64; one, or an array of them
  };

  const char* name;  // the groups that it stands in and its own, with points between
  Type type;
  int64_t most;
  const char* words;     // each between bars: "|1.2|1.3|"
  const char* standard;  // what is in force without the key: as JSON, or in words
  const char* hardened;  // what the preset makes of it, as JSON; null where it leaves it alone
  bool secret;           // the value is none to show
  // Takes a value that has passed CheckPolicyValue.
  void (*set)(Policy& policy, const json_t* value);
  int64_t least = 0;
};

// All keys that there is a behaviour for, in the order in which they are shown.
const std::vector<PolicyKey>& PolicyKeys();

// Empty, or why the key can't have this value: words that follow its name. `element` receives the
// number of the element that is wrong where it is one of an array.
std::string CheckPolicyValue(const PolicyKey& key, const json_t* value, std::string& element);

// A key that contradicts the rest of a policy.
struct PolicyContradiction {
  const char* key;
  bool (*holds)(const Policy& policy);
  const char* what;  // follows the key's name
};
const std::vector<PolicyContradiction>& PolicyContradictions();

}  // namespace cloudclient

#endif  // BASE_POLICYKEYS_H_
