// SPDX-License-Identifier: Apache-2.0
// Which changes a unit of work notes.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

void SqliteTransaction::NoteAppliance(const std::string& uuid) {
  Note({Change::What::kAppliance, uuid, 0, {}});
}

void SqliteTransaction::NoteGone(const std::string& uuid) {
  Note({Change::What::kGone, uuid, 0, {}});
}

void SqliteTransaction::NoteDocument(const std::string& manager, const DocumentName& document) {
  Note({Change::What::kDocument, manager, 0, document});
}

}  // namespace cloudservice
