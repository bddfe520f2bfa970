// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_POSTGRESSIDE_H_
#define SERVICE_STORE_POSTGRESQL_POSTGRESSIDE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "service/store/copy/Side.h"
#include "service/store/postgresql/Connection.h"
#include "service/store/postgresql/EventDays.h"

namespace cloudservice::postgresql {

// A database on a server as a side of a copy. Who writes one owns its tables: the role of the
// service may neither make tables nor set the numbers that they give.
class PostgresSide : public CopySide {
 public:
  // Connects. `wait` is how long another user of the database may take to end.
  explicit PostgresSide(const std::string& url,
                        std::chrono::milliseconds wait = std::chrono::seconds(5));

  const std::string& Name() const override { return m_name; }
  std::string Identity() override;
  void BeginReading() override;
  void BeginWriting() override;
  std::int64_t Count(const CopiedTable& table) override;
  Rows Next(const CopiedTable& table, const std::string& place) override;
  Numbers LastNumbers() override;
  Notes Noted() override;
  void Arrange(const CopiedTable& table, CopiedRow& row) override;
  void Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
           const Notes& notes) override;
  void Finish(const Numbers& source) override;

 private:
  // Where Next() reads on: a cursor of the server's over the rows of a table or of a partition.
  struct Reading {
    const CopiedTable* table = nullptr;
    std::string place;     // behind what has been read
    std::int64_t day = 0;  // of the partition
    bool open = false;
  };

  void Seek(const CopiedTable& table, const std::string& place);
  std::optional<std::int64_t> NextDay(std::int64_t after);
  void OpenPartition(std::optional<std::int64_t> day, std::int64_t after);
  void Close();
  // Adds as many rows as one answer may have, and returns their bytes; none at the end of a table.
  std::size_t Fetch(std::vector<CopiedRow>& rows);
  std::string PlaceOf(const CopiedRow& row) const;

  // Sends the rows in a transaction, and ends it.
  void Send(const CopiedTable& table, const std::vector<CopiedRow>& rows, const Notes& notes,
            const Sql& end);
  void MakeDays(const CopiedTable& table, const std::vector<CopiedRow>& rows);
  void MakeDay(const std::string& table, std::int64_t day);
  bool IsRefused(const CopiedTable& table, const std::vector<CopiedRow>& rows);
  // Names the first of the rows that the server refuses.
  [[noreturn]] void FailFor(const CopiedTable& table, std::vector<CopiedRow> rows);

  const std::string m_name;
  const std::chrono::milliseconds m_wait;
  Connection m_connection;
  bool m_inTransaction = false;  // that reads
  Reading m_reading;
  EventDays m_days;
  Notes m_newDays;        // those of m_days that are not noted yet
  bool m_parted = false;  // events have come that are in partitions of days
  std::set<std::pair<std::string, std::int64_t>> m_made;  // partitions
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_POSTGRESSIDE_H_
