// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_POINTTABLE_H_
#define CTL_POINTTABLE_H_

#include <string>
#include <vector>

#include "host/device/SourceLoader.h"
#include "host/util/JsonKeys.h"
#include "host/util/Problem.h"

namespace ctl {

// A point that a line of a table describes.
struct TableRow {
  size_t line = 0;  // from 1
  host::OfferedPoint point;
};

// Reads a table of points that a person wrote: a line each, fields separated by commas, blanks
// around them. The first line names the columns, in any order: "Name", which is needed, "Unit",
// "Decimals", "Scale", "States" ("0=Off; 1=On") and the keys that a point of the source has. An
// empty field takes its default. Empty lines and those that begin with # are passed over. A problem
// names the line.
host::Problem ReadPointTable(const std::string& text, const std::vector<host::JsonKey>& keys,
                             std::vector<TableRow>& rows);

}  // namespace ctl

#endif  // CTL_POINTTABLE_H_
