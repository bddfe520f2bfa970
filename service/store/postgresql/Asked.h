// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_ASKED_H_
#define SERVICE_STORE_POSTGRESQL_ASKED_H_

#include <map>
#include <optional>
#include <vector>

namespace cloudservice::postgresql {

// Thrown through a unit of work that shares a transaction with others: what it asks for is looked
// up together with what they ask for, and then it is run again. No std::exception, so that nothing
// on its way takes it for a failure.
struct AskedLater {};

// What units of work that share a transaction ask for by keys of one kind.
template <typename Key, typename Found>
struct Asked {
  std::map<Key, std::optional<Found>> known;  // nothing: the database has none
  std::vector<Key> waiting;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_ASKED_H_
