// SPDX-License-Identifier: Apache-2.0
// The begin and the end of a unit of work, and its changes for the store's listener.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

SqliteTransaction::SqliteTransaction(Database& database, TotalsCache& totals,
                                     DatabaseTransaction::Mode mode)
    : m_database(database), m_totals(totals), m_transaction(database, mode) {}

void SqliteTransaction::Commit() {
  m_transaction.Commit();
  if (m_countsChanged) m_totals.Drop();
}

void SqliteTransaction::NoteAppliance(const std::string& uuid) {
  m_changes.push_back({Change::What::kAppliance, uuid, 0, {}});
}

void SqliteTransaction::NoteGone(const std::string& uuid) {
  m_changes.push_back({Change::What::kGone, uuid, 0, {}});
}

void SqliteTransaction::NoteDocument(const std::string& manager, const DocumentName& document) {
  m_changes.push_back({Change::What::kDocument, manager, 0, document});
}

}  // namespace cloudservice
