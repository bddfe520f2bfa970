// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_COPY_TABLES_H_
#define SERVICE_STORE_COPY_TABLES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace cloudservice {

// What a copy of a service carries, as tables that are the same whichever back end keeps them.
// Everything keeps its number, and what refers to it keeps that; a chassis is referred to by its
// identifier. What was removed and still has rows is not carried; neither are sessions, failed
// tries and changes, which are of the moment.

struct CopiedColumn {
  enum class Type { kNumber, kText };

  std::string name;
  Type type;
  // False: the value follows from other rows, and only some back end keeps it.
  bool compared = true;
};

struct CopiedTable {
  std::size_t number;  // in CopiedTables()
  std::string name;
  std::vector<CopiedColumn> columns;
};

// All tables. What a row refers to is in a table before its own.
const std::vector<CopiedTable>& CopiedTables();
// The table of this name. There has to be one.
const CopiedTable& CopiedTableOf(const std::string& name);
// The place of the column in the table's rows. There has to be one of this name.
std::size_t PlaceOf(const CopiedTable& table, const std::string& column);
// "a, b, c": the names of the table's columns.
std::string ColumnsOf(const CopiedTable& table);

// A value; std::monostate: it is null.
using CopiedValue = std::variant<std::monostate, std::int64_t, std::string>;
// In the order of the table's columns.
using CopiedRow = std::vector<CopiedValue>;

std::size_t BytesOf(const CopiedRow& row);
// For messages: "event 17", "resource 3 /redfish/v1/..."; not longer than a line can be.
std::string NameOf(const CopiedTable& table, const CopiedRow& row);

}  // namespace cloudservice

#endif  // SERVICE_STORE_COPY_TABLES_H_
