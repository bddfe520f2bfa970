// SPDX-License-Identifier: Apache-2.0
// The changes of a unit of work, for the store's listener.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

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
