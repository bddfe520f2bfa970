// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_OUTPUT_H_
#define CTL_OUTPUT_H_

#include <string>
#include <vector>

#include "host/util/Json.h"

namespace ctl {

// Prints on standard error, in one line, what went wrong.
void PrintError(const std::string& text);

// How many errors were printed so far.
int ErrorCount();

// Writes a line to standard output.
void PrintLine(const std::string& text);

// Writes a JSON value to standard output, indented.
void PrintJson(const json_t* value);

// An integer or a text among an object's members, for a terminal; empty for anything else.
std::string Cell(const json_t* object, const char* key);

// Writes rows of cells to standard output, columns aligned; the first row is the heading. Nothing
// without a row beyond it.
void PrintTable(const std::vector<std::vector<std::string>>& rows);

// `text` for a terminal: control bytes become "\xNN".
std::string Printable(const std::string& text);

}  // namespace ctl

#endif  // CTL_OUTPUT_H_
