// SPDX-License-Identifier: Apache-2.0
// Removing what removed managers, chassis and accounts have left, step by step.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

// A manager stands in many indexes, and leaves a row for its rest.
constexpr std::int64_t kRowsOfManager = 4;
// A document counts as a row more for each of these that it has.
constexpr std::int64_t kBytesOfRow = 4096;

const Sql kNextAccount(
    "SELECT id, account FROM removal WHERE account IS NOT NULL ORDER BY account LIMIT 1");
const Sql kNextRest("SELECT id, manager, chassis FROM removal ORDER BY id LIMIT 1");
const Sql kDone("DELETE FROM removal WHERE id = ?");

const Sql kMemberOfManager("SELECT id FROM member WHERE manager = ? LIMIT 1");
const Sql kMemberOfChassis("SELECT id FROM member WHERE chassis = ? LIMIT 1");
const Sql kRemoveReadings(
    "DELETE FROM reading WHERE id IN (SELECT id FROM reading WHERE member = ? LIMIT ?)");
const Sql kRemoveMember("DELETE FROM member WHERE id = ?");

// Rows of one table that go: `find` lists them, each with the number of bytes that it counts for,
// and `remove` removes those with the identifiers of a JSON array.
struct Rows {
  Rows(const std::string& table, const std::string& key, const std::string& bytes,
       const std::string& condition)
      : find("SELECT " + key + ", " + bytes + " FROM " + table + " WHERE " + condition +
             " LIMIT ?2"),
        remove("DELETE FROM " + table + " WHERE " + key + " IN (SELECT value FROM json_each(?))") {}

  const Sql find;
  const Sql remove;
};

const std::string kDocumentBytes = "length(document)";
const Rows kResourcesOfManager("resource", "id", kDocumentBytes, "manager = ?1");
const Rows kResourcesOfChassis("resource", "id", kDocumentBytes, "manager = ?1 AND chassis = ?3");
const Rows kAlarmsOfManager("alarm", "id", "0", "manager = ?1");
// The plus keeps the search away from the index of managers.
const Rows kAlarmsOfChassis("alarm", "id", "0", "+manager = ?1 AND chassis = ?3");
const Rows kEventsOfManager("event", "id", kDocumentBytes, "manager = ?1");
const Rows kSilencesOfManager("silence", "id", "0", "manager = ?1");
const Rows kMessagesOfManager("message", "id", "0", "manager = ?1");
const Rows kChassisOfManager("chassis", "number", kDocumentBytes, "manager = ?1");

// What a removed manager, or one of its chassis, has left.
struct Rest {
  std::int64_t id = 0;
  std::int64_t manager = 0;
  std::optional<std::int64_t> chassis;
};

std::vector<const Rows*> PartsOf(const Rest& rest) {
  if (rest.chassis) return {&kResourcesOfChassis, &kAlarmsOfChassis};
  return {&kResourcesOfManager, &kAlarmsOfManager,   &kEventsOfManager,
          &kMessagesOfManager,  &kSilencesOfManager, &kChassisOfManager};
}

// Each removes up to `most` rows, and returns for how many they count: less than `most` when none
// is left.
std::int64_t RemoveRows(Database& database, const Rows& rows, const Rest& rest, std::int64_t most) {
  Statement find(database, rows.find);
  find.Bind(rest.manager).Bind(most);
  if (rest.chassis) find.Bind(*rest.chassis);
  std::int64_t count = 0;
  std::string ids;
  while (count < most && find.Step()) {
    ids += (ids.empty() ? "[" : ",") + std::to_string(find.Number(0));
    count += 1 + find.Number(1) / kBytesOfRow;
  }
  if (count > 0) Statement(database, rows.remove).Bind(ids + "]").Run();
  return count;
}

std::int64_t RemoveNumbers(Database& database, const Rest& rest, std::int64_t most) {
  std::int64_t count = 0;
  while (count < most) {
    Statement next(database, rest.chassis ? kMemberOfChassis : kMemberOfManager);
    next.Bind(rest.chassis.value_or(rest.manager));
    if (!next.Step()) break;
    const std::int64_t member = next.Number(0);
    Statement(database, kRemoveReadings).Bind(member).Bind(most - count).Run();
    count += database.Changes();
    if (count == most) break;
    Statement(database, kRemoveMember).Bind(member).Run();
    ++count;
  }
  return count;
}

std::int64_t RemoveRest(Database& database, const Rest& rest, std::int64_t most) {
  std::int64_t count = RemoveNumbers(database, rest, most);
  for (const Rows* rows : PartsOf(rest)) {
    if (count < most) count += RemoveRows(database, *rows, rest, most - count);
  }
  if (count >= most) return count;
  Statement(database, kDone).Bind(rest.id).Run();
  return count + 1;
}

std::optional<Rest> NextRest(Database& database) {
  Statement next(database, kNextRest);
  if (!next.Step()) return std::nullopt;
  return Rest{next.Number(0), next.Number(1), next.OptionalNumber(2)};
}

}  // namespace

std::int64_t SqliteTransaction::RemoveNextManagers(std::int64_t most) {
  Statement next(m_database, kNextAccount);
  if (!next.Step()) return 0;
  const std::int64_t wanted = (most + kRowsOfManager - 1) / kRowsOfManager;
  const std::int64_t taken = TakeManagers(next.Number(1), wanted);
  if (taken < wanted) Statement(m_database, kDone).Bind(next.Number(0)).Run();
  return taken * kRowsOfManager + 1;
}

Left SqliteTransaction::RemoveNext(std::int64_t most) {
  for (std::int64_t count = 0; count < most;) {
    const std::int64_t managers = RemoveNextManagers(most - count);
    count += managers;
    if (managers > 0) continue;
    const std::optional<Rest> rest = NextRest(m_database);
    if (!rest) return Left::kNothing;
    count += RemoveRest(m_database, *rest, most - count);
  }
  if (Statement(m_database, kNextAccount).Step()) return Left::kManagers;
  return NextRest(m_database) ? Left::kRows : Left::kNothing;
}

}  // namespace cloudservice
