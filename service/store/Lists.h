// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_LISTS_H_
#define SERVICE_STORE_LISTS_H_

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "service/store/Transaction.h"

namespace cloudservice {

// Entries that are read at once.
constexpr std::int64_t kListPage = 100;

// Calls `take` with each entry of a list, in its order, and keeps no more than a page of them:
//
//   ForEach(store, take, &Transaction::ListResources, manager, chassis);
//
// `take` may move the entry away.
template <typename Take, typename Entry, typename... Parameters, typename... Scope>
void ForEach(Transaction& store, const Take& take,
             std::vector<Entry> (Transaction::*list)(Parameters...), const Scope&... scope) {
  // The list's last parameter.
  std::decay_t<std::tuple_element_t<sizeof...(Scope), std::tuple<Parameters...>>> page;
  page.limit = kListPage;
  for (;;) {
    std::vector<Entry> entries = (store.*list)(scope..., page);
    const bool more = entries.size() == static_cast<std::size_t>(page.limit);
    if (more) page.after = KeyOf(entries.back());
    for (Entry& entry : entries) take(entry);
    if (!more) return;
  }
}

// All entries of a list: AllOf(store, &Transaction::ListResources, manager, chassis).
template <typename Entry, typename... Parameters, typename... Scope>
std::vector<Entry> AllOf(Transaction& store, std::vector<Entry> (Transaction::*list)(Parameters...),
                         const Scope&... scope) {
  std::vector<Entry> all;
  ForEach(
      store, [&](Entry& entry) { all.push_back(std::move(entry)); }, list, scope...);
  return all;
}

}  // namespace cloudservice

#endif  // SERVICE_STORE_LISTS_H_
