// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_BATCH_H_
#define SERVICE_STORE_POSTGRESQL_BATCH_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "service/store/Records.h"
#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// The frequent changes of a transaction, which wait so that all of a kind are written by one
// statement. Managers are named by their keys.
class Batch {
 public:
  bool Empty() const { return m_owned.empty() && m_beats.empty() && m_documents.empty(); }

  // Makes other transactions that change what this manager keeps conflict with this one.
  void Own(std::int64_t manager) { m_owned.insert(manager); }
  // An empty `address` keeps the known one.
  void AddHeartbeat(std::int64_t manager, std::int64_t when, std::int64_t interval,
                    const std::string& address);
  // The manager, of which a heartbeat was added, is no longer one of those found in this state.
  void TakeFound(State found) { ++m_back.at(static_cast<std::size_t>(found)); }
  // Whether something of this document waits. It must be written before more is added.
  bool Has(std::int64_t manager, const std::string& path) const {
    return m_documents.count({manager, path}) > 0;
  }
  void PutResource(std::int64_t manager, const ResourceRecord& resource);
  // The day's partition has to be there.
  void AddReadings(std::int64_t manager, const Readings& readings);

  // Writes all, and is empty then. What can wait for the connection's next statement does. Throws
  // as Connection::Run() does.
  void Write(Connection& connection);

 private:
  struct Beats {
    std::int64_t count = 0;
    std::int64_t last = 0;
    std::int64_t interval = 0;
    std::string address;
  };

  void WriteBeats(Connection& connection) const;
  void WriteResources(Connection& connection) const;
  void WriteReadings(Connection& connection) const;

  // In the order of keys: of two transactions that change the same managers, one waits for the
  // other and not each for the other.
  std::set<std::int64_t> m_owned;
  std::map<std::int64_t, Beats> m_beats;
  StateCounts m_back = {};  // how many are alive again, by the states that they were found in
  std::set<std::pair<std::int64_t, std::string>> m_documents;  // by manager and path
  std::vector<std::pair<std::int64_t, ResourceRecord>> m_resources;
  std::vector<std::pair<std::int64_t, Readings>> m_readings;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_BATCH_H_
