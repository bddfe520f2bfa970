// SPDX-License-Identifier: Apache-2.0
// The keys of the policy file, and the values that they may have.
#include "base/PolicyKeys.h"

#include <cstdio>
#include <cstring>

namespace cloudclient {
namespace {

using Type = PolicyKey::Type;

constexpr int64_t kLongestSeconds = 86400;

// An outbox below this has no room for a few large entries.
constexpr int64_t kSmallestOutbox = 65536;
constexpr int64_t kLargestOutbox = INT64_C(1) << 30U;
// The service knows the keys of what it has taken for so long: later it could take one twice.
constexpr int64_t kLongestKept = 60;

long Seconds(const json_t* value) { return static_cast<long>(json_integer_value(value)); }

// A word, also one that is written as a number.
std::string WordOf(const json_t* value) {
  if (!json_is_real(value)) return JsonText(value);
  char text[32];
  snprintf(text, sizeof text, "%.15g", json_real_value(value));
  return text;
}

std::string PinsOf(const json_t* value) {
  if (!json_is_array(value)) return JsonText(value);
  std::string pins;
  for (size_t i = 0; i < json_array_size(value); ++i) {
    pins += (i == 0 ? "" : ";") + JsonText(json_array_get(value, i));
  }
  return pins;
}

// "sha256//" and 32 bytes in base64.
bool IsPin(const std::string& text) {
  constexpr char kFront[] = "sha256//";
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr size_t kFrontSize = sizeof kFront - 1;
  constexpr size_t kDigitCount = 43;
  return text.size() == kFrontSize + kDigitCount + 1 && text.compare(0, kFrontSize, kFront) == 0 &&
         text.find_first_not_of(kDigits, kFrontSize) == text.size() - 1 && text.back() == '=';
}

std::string CheckNumber(const PolicyKey& key, const json_t* value) {
  const json_int_t number = json_integer_value(value);
  if (json_is_integer(value) && number >= key.least && number <= key.most) return {};
  return "is not an integer from " + std::to_string(key.least) + " to " + std::to_string(key.most);
}

std::string CheckWord(const PolicyKey& key, const json_t* value) {
  const std::string word = WordOf(value);
  const bool known = !word.empty() && word.find('|') == std::string::npos &&
                     std::strstr(key.words, ("|" + word + "|").c_str()) != nullptr;
  if (known) return {};
  std::string words;
  const std::string all = key.words;
  for (size_t begin = 1; begin < all.size(); begin = all.find('|', begin) + 1) {
    words +=
        (words.empty() ? "\"" : ", \"") + all.substr(begin, all.find('|', begin) - begin) + "\"";
  }
  return "is none of " + words;
}

std::string CheckPins(const json_t* value, std::string& element) {
  constexpr char kWrong[] = "is not \"sha256//\" and the hash of a public key in base64";
  if (!json_is_array(value)) return IsPin(JsonText(value)) ? "" : kWrong;
  for (size_t i = 0; i < json_array_size(value); ++i) {
    if (IsPin(JsonText(json_array_get(value, i)))) continue;
    element = std::to_string(i);
    return kWrong;
  }
  return json_array_size(value) == 0 ? "is empty" : "";
}

Policy::Changes::Deliver DeliverOf(const json_t* value) {
  using Deliver = Policy::Changes::Deliver;
  const std::string word = JsonText(value);
  if (word == "first") return Deliver::kFirst;
  return word == "all" ? Deliver::kAll : Deliver::kLatest;
}

bool LacksFreshAnswers(const Policy& policy) {
  return !policy.outbox.folder.empty() && !policy.transport.freshAnswers;
}

using Set = void (*)(Policy&, const json_t*);

constexpr PolicyKey Flag(const char* name, const char* hardened, Set set) {
  return {name, Type::kFlag, 0, nullptr, "false", hardened, false, set};
}
// 0 is "none" or "not bounded".
constexpr PolicyKey Number(const char* name, int64_t most, const char* hardened, Set set) {
  return {name, Type::kNumber, most, nullptr, "0", hardened, false, set};
}
// Seconds of which there is no 0: without the key there are none.
constexpr PolicyKey SomeSeconds(const char* name, const char* hardened, Set set) {
  return {name, Type::kNumber, kLongestSeconds, nullptr, "none", hardened, false, set, 1};
}
constexpr PolicyKey Word(const char* name, const char* words, const char* standard,
                         const char* hardened, Set set) {
  return {name, Type::kWord, 0, words, standard, hardened, false, set};
}
constexpr PolicyKey File(const char* name, Set set) {
  return {name, Type::kPath, 0, nullptr, "none", nullptr, false, set};
}
constexpr PolicyKey Environment(const char* name, Set set) {
  return {name, Type::kText, 0, nullptr, "the environment's", nullptr, false, set};
}

std::vector<PolicyKey> TransportKeys() {
  return {
      Flag("Transport.VerifyServer", "true",
           [](Policy& p, const json_t* v) { p.transport.verifyServer = json_is_true(v); }),
      File("Transport.CaFile",
           [](Policy& p, const json_t* v) { p.transport.caFile = JsonText(v); }),
      File("Transport.CaPath",
           [](Policy& p, const json_t* v) { p.transport.caPath = JsonText(v); }),
      {"Transport.PinnedPublicKey", Type::kPins, 0, nullptr, "none", nullptr, false,
       [](Policy& p, const json_t* v) { p.transport.pinnedPublicKeys = PinsOf(v); }},
      File("Transport.ClientCertificate",
           [](Policy& p, const json_t* v) { p.transport.clientCertificate = JsonText(v); }),
      File("Transport.ClientKey",
           [](Policy& p, const json_t* v) { p.transport.clientKey = JsonText(v); }),
      Word("Transport.MinimumTls", "|1.2|1.3|", "libcurl's", "\"1.2\"",
           [](Policy& p, const json_t* v) {
             p.transport.minimumTls = WordOf(v) == "1.3" ? 13 : 12;
           }),
      Number("Transport.ConnectTimeoutSeconds", kLongestSeconds, "15",
             [](Policy& p, const json_t* v) { p.transport.connectTimeoutSeconds = Seconds(v); }),
      Number("Transport.RequestTimeoutSeconds", kLongestSeconds, "60",
             [](Policy& p, const json_t* v) { p.transport.requestTimeoutSeconds = Seconds(v); }),
      Number("Transport.StallSeconds", kLongestSeconds, "30",
             [](Policy& p, const json_t* v) { p.transport.stallSeconds = Seconds(v); }),
      Environment("Transport.Proxy",
                  [](Policy& p, const json_t* v) { p.transport.proxy = JsonText(v); }),
      Environment("Transport.NoProxy",
                  [](Policy& p, const json_t* v) { p.transport.noProxy = JsonText(v); }),
      {"Transport.ProxyAuth", Type::kText, 0, nullptr, "none", nullptr, true,
       [](Policy& p, const json_t* v) { p.transport.proxyAuth = JsonText(v); }},
      Flag("Transport.KeepConnection", "true",
           [](Policy& p, const json_t* v) { p.transport.keepConnection = json_is_true(v); }),
      Flag("Transport.HostOfUrl", "true",
           [](Policy& p, const json_t* v) { p.transport.hostOfUrl = json_is_true(v); }),
      Flag("Transport.FreshAnswers", "true",
           [](Policy& p, const json_t* v) { p.transport.freshAnswers = json_is_true(v); }),
  };
}

std::vector<PolicyKey> OtherKeys() {
  return {
      SomeSeconds(
          "Registration.RetrySeconds.First", "5",
          [](Policy& p, const json_t* v) { p.registration.firstRetrySeconds = Seconds(v); }),
      SomeSeconds("Registration.RetrySeconds.Most", "300",
                  [](Policy& p, const json_t* v) { p.registration.mostRetrySeconds = Seconds(v); }),
      Word("Changes.Deliver", "|first|latest|all|", "\"first\"", "\"latest\"",
           [](Policy& p, const json_t* v) { p.changes.deliver = DeliverOf(v); }),
      Flag("Alarms.PairAll", "true",
           [](Policy& p, const json_t* v) { p.alarms.pairAll = json_is_true(v); }),
      {"Outbox.Folder", Type::kFolder, 0, nullptr, "none", "\"/var/lib/cloudclient/outbox\"", false,
       [](Policy& p, const json_t* v) { p.outbox.folder = JsonText(v); }},
      {"Outbox.MaxBytes", Type::kNumber, kLargestOutbox, nullptr, "16777216", "16777216", false,
       [](Policy& p, const json_t* v) {
         p.outbox.maxBytes = static_cast<uint64_t>(json_integer_value(v));
       },
       kSmallestOutbox},
      {"Outbox.MaxDays", Type::kNumber, kLongestKept, nullptr, "30", "30", false,
       [](Policy& p, const json_t* v) {
         p.outbox.maxDays = static_cast<long>(json_integer_value(v));
       },
       1},
      Number("Queues.Most", 1000000, "10000",
             [](Policy& p, const json_t* v) {
               p.queues.most = static_cast<size_t>(json_integer_value(v));
             }),
      Flag("Log.MaskSecrets", "true",
           [](Policy& p, const json_t* v) { p.log.maskSecrets = json_is_true(v); }),
      Flag("Search.EndAtBase", "true",
           [](Policy& p, const json_t* v) { p.search.endAtBase = json_is_true(v); }),
  };
}

// The preset is read before the others, by PolicyFile.cpp.
std::vector<PolicyKey> AllKeys() {
  std::vector<PolicyKey> keys = {
      Word(kPresetKey, "|hardened|", "none", nullptr, [](Policy&, const json_t*) {})};
  for (const auto& some : {TransportKeys(), OtherKeys()}) {
    keys.insert(keys.end(), some.begin(), some.end());
  }
  return keys;
}

}  // namespace

const std::vector<PolicyKey>& PolicyKeys() {
  static const std::vector<PolicyKey> keys = AllKeys();
  return keys;
}

const std::vector<PolicyContradiction>& PolicyContradictions() {
  static const std::vector<PolicyContradiction> contradictions = {
      {"Transport.CaFile",
       [](const Policy& p) { return !p.transport.caFile.empty() && !p.transport.verifyServer; },
       "does nothing without \"Transport.VerifyServer\""},
      {"Transport.CaPath",
       [](const Policy& p) { return !p.transport.caPath.empty() && !p.transport.verifyServer; },
       "does nothing without \"Transport.VerifyServer\""},
      {"Transport.ClientKey",
       [](const Policy& p) {
         return !p.transport.clientKey.empty() && p.transport.clientCertificate.empty();
       },
       "does nothing without \"Transport.ClientCertificate\""},
      {"Registration.RetrySeconds.First",
       [](const Policy& p) { return p.registration.mostRetrySeconds == 0; },
       "does nothing without \"Registration.RetrySeconds.Most\""},
      {"Registration.RetrySeconds.Most",
       [](const Policy& p) { return p.registration.firstRetrySeconds == 0; },
       "does nothing without \"Registration.RetrySeconds.First\""},
      {"Registration.RetrySeconds.First",
       [](const Policy& p) {
         return p.registration.firstRetrySeconds > p.registration.mostRetrySeconds;
       },
       "is above \"Registration.RetrySeconds.Most\""},
      {"Registration.RetrySeconds.Most",
       [](const Policy& p) {
         return p.registration.firstRetrySeconds > p.registration.mostRetrySeconds;
       },
       "is below \"Registration.RetrySeconds.First\""},
      // An answer that begins with what another one left can't be compared with anything.
      {"Outbox.Folder", LacksFreshAnswers, "needs \"Transport.FreshAnswers\""},
      {"Transport.FreshAnswers", LacksFreshAnswers, "is needed by \"Outbox.Folder\""},
      {"Outbox.MaxBytes", [](const Policy& p) { return p.outbox.folder.empty(); },
       "does nothing without \"Outbox.Folder\""},
      {"Outbox.MaxDays", [](const Policy& p) { return p.outbox.folder.empty(); },
       "does nothing without \"Outbox.Folder\""},
  };
  return contradictions;
}

std::string CheckPolicyValue(const PolicyKey& key, const json_t* value, std::string& element) {
  switch (key.type) {
    case Type::kFlag:
      return json_is_boolean(value) ? "" : "is neither true nor false";
    case Type::kNumber:
      return CheckNumber(key, value);
    case Type::kText:
      return json_is_string(value) ? "" : "is not a text";
    case Type::kPath:
      return JsonText(value).compare(0, 1, "/") == 0 ? "" : "is not an absolute path";
    case Type::kFolder:
      return json_is_string(value) && (JsonText(value) + "/")[0] == '/'
                 ? ""
                 : "is neither an absolute path nor empty";
    case Type::kWord:
      return CheckWord(key, value);
    case Type::kPins:
      break;
  }
  return CheckPins(value, element);
}

}  // namespace cloudclient
