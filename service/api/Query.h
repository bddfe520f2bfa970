// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_QUERY_H_
#define SERVICE_API_QUERY_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/http/Target.h"
#include "service/util/Words.h"

namespace cloudservice {

// The parameters of a request's query. Each is checked when it is read; a parameter that is missing
// is none. Every operation throws ApiError (400) that names the parameter.
class Query {
 public:
  // Accepts only the parameters `names` and "pretty", each at most once.
  Query(const Target& target, const std::vector<std::string>& names);

  // A text of up to `most` bytes.
  std::optional<std::string> Text(const std::string& name, std::size_t most = 4096) const;
  std::string RequiredText(const std::string& name) const;
  std::optional<std::string> OneOf(const std::string& name,
                                   const std::vector<std::string>& words) const;
  std::optional<std::int64_t> Number(const std::string& name, std::int64_t least,
                                     std::int64_t most) const;
  // Seconds since 1970.
  std::optional<std::int64_t> Time(const std::string& name) const;

  // "limit", which all lists take: how many items an answer has at most.
  std::int64_t Limit() const;
  // A short text that items are compared with.
  std::optional<std::string> Word(const std::string& name) const;
  // "q": what to search for.
  Words Sought() const;

 private:
  std::map<std::string, std::string> m_values;
};

}  // namespace cloudservice

#endif  // SERVICE_API_QUERY_H_
