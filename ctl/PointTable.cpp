// SPDX-License-Identifier: Apache-2.0
// A table of points, as a person writes it.
#include "ctl/PointTable.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>
#include <utility>

#include "host/util/Json.h"
#include "host/util/Numbers.h"
#include "host/util/Trimmed.h"

namespace ctl {

namespace {

using host::JsonKey;
using host::Problem;

constexpr size_t kMostRows = 1000;

// The columns that every table may have, checked as the device's file is.
const std::vector<JsonKey>& OwnKeys() {
  static const std::vector<JsonKey> kKeys = {{"Name", JsonKey::Type::kText},
                                             {"Unit", JsonKey::Type::kText},
                                             {"Decimals", JsonKey::Type::kInteger, 0, 9},
                                             {"Scale", JsonKey::Type::kNumber},
                                             {"States", JsonKey::Type::kText}};
  return kKeys;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces(1);
  for (const char c : text) {
    if (c == separator) {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  for (std::string& piece : pieces) piece = host::Trimmed(piece);
  return pieces;
}

const JsonKey* KeyNamed(const std::vector<JsonKey>& keys, const std::string& name) {
  const auto is = [&name](const JsonKey& key) { return key.name == name; };
  const auto found = std::find_if(keys.begin(), keys.end(), is);
  return found == keys.end() ? nullptr : &*found;
}

// The field as the value that its key asks for; a text where it is none.
host::JsonRef ValueOf(const JsonKey& key, const std::string& field) {
  double number = 0;
  const bool isNumber = host::ParseNumber(field, number);
  const bool isWhole = isNumber && number == std::floor(number) && std::fabs(number) < 1e15;
  if (key.type == JsonKey::Type::kInteger && isWhole) {
    return host::JsonRef(json_integer(static_cast<json_int_t>(number)));
  }
  if (key.type == JsonKey::Type::kNumber && isNumber) return host::JsonRef(json_real(number));
  return host::JsonString(field);
}

Problem ReadStates(const std::string& field,
                   std::vector<std::pair<std::string, std::string>>& states) {
  for (const std::string& piece : Split(field, ';')) {
    const size_t equals = piece.find('=');
    const std::string told = host::Trimmed(piece.substr(0, equals));
    if (equals == std::string::npos || told.empty()) {
      return Problem("\"States\" is not written as 0=Off; 1=On");
    }
    states.emplace_back(told, host::Trimmed(piece.substr(equals + 1)));
  }
  return {};
}

class Table {
 public:
  Table(const std::vector<JsonKey>& keys, std::vector<TableRow>& rows)
      : m_keys(keys), m_rows(rows) {}

  Problem TakeLine(size_t number, const std::string& line) {
    return m_columns.empty() ? TakeHeading(line) : TakeRow(number, line);
  }
  bool HasHeading() const { return !m_columns.empty(); }

 private:
  Problem TakeHeading(const std::string& line) {
    std::set<std::string> seen;
    for (const std::string& name : Split(line, ',')) {
      const JsonKey* key = KeyNamed(OwnKeys(), name);
      if (key == nullptr) key = KeyNamed(m_keys, name);
      if (key == nullptr) return Problem("\"" + name + "\" is no column: they are " + Known());
      if (!seen.insert(name).second) return Problem("\"" + name + "\" is a column twice");
      m_columns.push_back(key);
    }
    return seen.count("Name") == 0 ? Problem("the column \"Name\" is missing") : Problem();
  }

  std::string Known() const {
    std::string known;
    for (const auto* keys : {&OwnKeys(), &m_keys}) {
      for (const JsonKey& key : *keys) known += (known.empty() ? "" : ", ") + std::string(key.name);
    }
    return known;
  }

  Problem TakeRow(size_t number, const std::string& line) {
    const std::vector<std::string> fields = Split(line, ',');
    if (fields.size() > m_columns.size()) return Problem("it has more fields than columns");
    if (m_rows.size() == kMostRows) {
      return Problem("there are more than " + std::to_string(kMostRows) + " points");
    }
    TableRow row;
    row.line = number;
    const host::JsonRef settings(json_object());
    for (size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].empty()) continue;
      if (Problem problem = TakeField(*m_columns[i], fields[i], settings.get(), row.point)) {
        return problem;
      }
    }
    if (row.point.name.empty()) return Problem("its \"Name\" is empty");
    row.point.settings = host::DumpedJson(settings.get(), JSON_COMPACT);
    m_rows.push_back(std::move(row));
    return {};
  }

  static Problem TakeField(const JsonKey& key, const std::string& field, json_t* settings,
                           host::OfferedPoint& point) {
    host::JsonRef value = ValueOf(key, field);
    if (value == nullptr) return Problem("\"" + std::string(key.name) + "\" is not UTF-8");
    if (Problem problem = host::CheckJson(key, value.get())) {
      return Problem("\"" + std::string(key.name) + "\" " + problem.Text());
    }
    const std::string name = key.name;
    if (KeyNamed(OwnKeys(), name) != &key) {
      host::PutJson(settings, key.name, std::move(value));
      return {};
    }
    if (name == "Name") point.name = field;
    if (name == "Unit") point.unit = field;
    if (name == "Decimals") point.decimals = static_cast<int>(json_integer_value(value.get()));
    if (name == "Scale") point.scale = json_number_value(value.get());
    return name == "States" ? ReadStates(field, point.states) : Problem();
  }

  const std::vector<JsonKey>& m_keys;
  std::vector<TableRow>& m_rows;
  std::vector<const JsonKey*> m_columns;
};

}  // namespace

Problem ReadPointTable(const std::string& text, const std::vector<JsonKey>& keys,
                       std::vector<TableRow>& rows) {
  Table table(keys, rows);
  std::istringstream lines(text);
  std::string line;
  for (size_t number = 1; std::getline(lines, line); ++number) {
    const std::string trimmed = host::Trimmed(line);
    if (trimmed.empty() || trimmed.front() == '#') continue;
    if (Problem problem = table.TakeLine(number, trimmed)) {
      return problem.With("line " + std::to_string(number));
    }
  }
  if (!table.HasHeading()) return Problem("it holds no line that names the columns");
  return rows.empty() ? Problem("it holds no point") : Problem();
}

}  // namespace ctl
