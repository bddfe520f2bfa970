// SPDX-License-Identifier: Apache-2.0
// The tables that a copy carries.
#include "service/store/copy/Tables.h"

#include <array>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace cloudservice {

namespace {

// A column holds numbers, or texts where that stands behind it. One in parentheses is not compared.
constexpr std::array<std::array<const char*, 2>, 13> kCarried = {{
    {"account", "id email:text created"},
    {"registration_key", "id account hash:text created"},
    {"operator", "id name:text password_hash:text token_hash:text created"},
    // Accounts that were removed with their managers, as long as some of these are there.
    {"removal", "account"},
    {"manager",
     "key uuid:text name:text token_hash:text registered account changed label:text model:text "
     "serial:text firmware:text faults alarms warnings heartbeats last_heartbeat "
     "heartbeat_interval late_at offline_at address:text document:text"},
    {"chassis", "number id:text manager document:text created changed"},
    {"resource", "manager path:text chassis:text document:text changed"},
    // "open": it stands for an alarm that is open.
    {"event",
     "id manager chassis:text message_id:text severity:text document:text received kind (open)"},
    {"alarm",
     "id manager chassis:text message_id:text severity:text rank event opening opened closed "
     "acknowledged acknowledged_by:text note:text"},
    {"silence",
     "id manager rank opened offline closed acknowledged acknowledged_by:text note:text"},
    // Those that have a reading, each with its last one.
    {"member", "id manager chassis:text path:text name:text (last_time) (last_value:text)"},
    {"reading", "id member time value:text"},
    {"message", "id manager key:text digest:text event received"},
}};

CopiedColumn ColumnFrom(std::string word) {
  const bool compared = word.front() != '(';
  if (!compared) word = word.substr(1, word.size() - 2);
  const std::size_t colon = word.find(':');
  return {word.substr(0, colon),
          colon == std::string::npos ? CopiedColumn::Type::kNumber : CopiedColumn::Type::kText,
          compared};
}

std::vector<CopiedTable> AllTables() {
  std::vector<CopiedTable> tables;
  for (const auto& [name, columns] : kCarried) {
    CopiedTable table = {tables.size(), name, {}};
    std::istringstream words(columns);
    for (std::string word; words >> word;) table.columns.push_back(ColumnFrom(word));
    tables.push_back(std::move(table));
  }
  return tables;
}

}  // namespace

const std::vector<CopiedTable>& CopiedTables() {
  static const std::vector<CopiedTable> tables = AllTables();
  return tables;
}

const CopiedTable& CopiedTableOf(const std::string& name) {
  for (const CopiedTable& table : CopiedTables()) {
    if (table.name == name) return table;
  }
  throw std::logic_error("no table " + name + " is copied");
}

std::size_t PlaceOf(const CopiedTable& table, const std::string& column) {
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (table.columns[i].name == column) return i;
  }
  throw std::logic_error("no column " + column + " is copied of " + table.name);
}

std::string ColumnsOf(const CopiedTable& table) {
  std::string names;
  for (const CopiedColumn& column : table.columns) {
    names += (names.empty() ? "" : ", ") + column.name;
  }
  return names;
}

std::size_t BytesOf(const CopiedRow& row) {
  std::size_t bytes = row.size() * sizeof(CopiedValue);
  for (const CopiedValue& value : row) {
    if (const auto* text = std::get_if<std::string>(&value)) bytes += text->size();
  }
  return bytes;
}

std::string NameOf(const CopiedTable& table, const CopiedRow& row) {
  constexpr std::size_t kShown = 200;
  std::string name = table.name;
  if (const auto* number = std::get_if<std::int64_t>(&row[0])) {
    name += " " + std::to_string(*number);
  }
  // The key of the others is their number alone.
  if (table.name == "resource") name += " " + std::get<std::string>(row[1]);
  return name.size() <= kShown ? name : name.substr(0, kShown) + "...";
}

}  // namespace cloudservice
