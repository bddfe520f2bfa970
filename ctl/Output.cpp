// SPDX-License-Identifier: Apache-2.0
// Texts, tables and JSON on the terminal.
#include "ctl/Output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "host/util/Log.h"

namespace ctl {

namespace {

int g_errors = 0;

// Characters of a UTF-8 text.
size_t Width(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

int ErrorCount() { return g_errors; }

void PrintError(const std::string& text) {
  ++g_errors;
  std::fprintf(stderr, "cloudclientctl: %s\n", Printable(text).c_str());
}

void PrintLine(const std::string& text) { std::printf("%s\n", text.c_str()); }

void PrintJson(const json_t* value) {
  const std::unique_ptr<char, decltype(&std::free)> text(
      json_dumps(value, JSON_INDENT(2) | JSON_ENCODE_ANY), &std::free);
  if (text) PrintLine(text.get());
}

std::string Printable(const std::string& text) {
  // In UTF-8 there are more of them, which a terminal may obey: U+0080 to U+009F.
  std::string printable = host::EscapeControls(text);
  for (size_t at = printable.find('\xC2'); at != std::string::npos;
       at = printable.find('\xC2', at + 1)) {
    const auto next = at + 1 < printable.size() ? static_cast<unsigned char>(printable[at + 1]) : 0;
    if (next < 0x80 || next > 0x9f) continue;
    constexpr char kDigits[] = "0123456789ABCDEF";
    printable.replace(at, 2, std::string("\\xC2\\x") + kDigits[next >> 4U] + kDigits[next & 0xFU]);
  }
  return printable;
}

std::string Cell(const json_t* object, const char* key) {
  const json_t* const value = json_object_get(object, key);
  if (json_is_integer(value)) return std::to_string(json_integer_value(value));
  return Printable(host::JsonText(value));
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  if (rows.size() < 2) return;
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] - Width(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    PrintLine(line);
  }
}

}  // namespace ctl
