// SPDX-License-Identifier: Apache-2.0
// What docs/messages.md says of a line of the daemon's log.
#include "ctl/MessageTable.h"

#include <cctype>
#include <sstream>

namespace ctl {

namespace {

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The cells of a line of a table; none of any other line.
std::vector<std::string> CellsOf(const std::string& line) {
  std::vector<std::string> cells;
  if (line.empty() || line.front() != '|') return cells;
  for (size_t from = 1; from < line.size();) {
    const size_t bar = std::min(line.find('|', from), line.size());
    cells.push_back(Trimmed(line.substr(from, bar - from)));
    from = bar + 1;
  }
  return cells;
}

// Without the marks of code and emphasis, and of links their text alone.
std::string Plain(const std::string& cell) {
  std::string plain;
  for (size_t at = 0; at < cell.size(); ++at) {
    const size_t end = cell[at] == '[' ? cell.find("](", at) : std::string::npos;
    const size_t close = end == std::string::npos ? end : cell.find(')', end);
    if (close != std::string::npos) {
      plain += cell.substr(at + 1, end - at - 1);
      at = close;
    } else if (cell[at] != '`' && cell.compare(at, 2, "**") != 0) {
      plain += cell[at];
    } else if (cell[at] == '*') {
      ++at;
    }
  }
  return plain;
}

// A cell that refers to the one above it, with that one's text.
std::string Resolved(const std::string& cell, const std::string& above) {
  for (const std::string reference : {"the same", "as above"}) {
    if (cell.compare(0, reference.size(), reference) != 0) continue;
    const std::string rest = cell.substr(reference.size());
    const bool refers = rest.empty() || rest.front() == ',' || rest.front() == ':';
    if (refers) return above + rest;
  }
  return cell;
}

// The texts between backticks.
std::vector<std::string> Quoted(const std::string& cell) {
  std::vector<std::string> quoted;
  for (size_t from = cell.find('`'); from != std::string::npos; from = cell.find('`', from)) {
    const size_t end = cell.find('`', from + 1);
    if (end == std::string::npos) break;
    quoted.push_back(cell.substr(from + 1, end - from - 1));
    from = end + 1;
  }
  return quoted;
}

bool IsLevel(const std::string& cell) {
  return cell.size() == 1 && std::isdigit(static_cast<unsigned char>(cell.front())) != 0;
}

// Where in a line its message may begin: at its beginning, behind a priority, behind time and
// level, and behind what the journal writes.
std::vector<size_t> BeginningsOf(const std::string& line) {
  std::vector<size_t> all = {0};
  if (line.size() > 3 && line[0] == '<' && line[2] == '>') all.push_back(3);
  const size_t time = line.find(' ');
  const bool hasLevel = time != std::string::npos && time + 2 < line.size() &&
                        IsLevel(line.substr(time + 1, 1)) && line[time + 2] == ' ';
  if (hasLevel) all.push_back(time + 3);
  const size_t process = line.find("]: ");
  if (process != std::string::npos) all.push_back(process + 3);
  return all;
}

}  // namespace

MessageTable::MessageTable(const std::string& document) {
  std::istringstream lines(document);
  std::string numbers;  // the name of the table of numbers that is being read
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> cells = CellsOf(line);
    if (cells.empty()) {
      numbers.clear();
    } else if (cells.size() == 4 && IsLevel(cells[0])) {
      TakeMessage(cells);
    } else if (cells.size() == 2 && Quoted(cells[0]).size() == 1 && cells[1] == "meaning") {
      numbers = Plain(cells[0]);
    } else if (cells.size() == 2 && !numbers.empty()) {
      m_numbers[numbers][cells[0]] = Plain(cells[1]);
    }
  }
}

void MessageTable::TakeMessage(const std::vector<std::string>& cells) {
  Message message;
  const bool isFirst = m_messages.empty();
  message.happened = Resolved(Plain(cells[2]), isFirst ? "" : m_messages.back().happened);
  message.toDo = Resolved(Plain(cells[3]), isFirst ? "" : m_messages.back().toDo);
  for (const std::string& text : Quoted(cells[1])) {
    message.pattern = PatternOf(text);
    m_messages.push_back(message);
  }
}

MessageTable::Pattern MessageTable::PatternOf(const std::string& text) {
  Pattern pattern;
  size_t from = 0;
  for (size_t open = text.find('<'); open != std::string::npos; open = text.find('<', from)) {
    const size_t close = text.find('>', open);
    if (close == std::string::npos) break;
    pattern.fixed.push_back(text.substr(from, open - from));
    pattern.names.push_back(text.substr(open + 1, close - open - 1));
    from = close + 1;
  }
  const std::string last = text.substr(from);
  pattern.fixed.push_back(last.substr(0, last.find_last_not_of(' ') + 1));
  for (const std::string& part : pattern.fixed) pattern.fixedSize += part.size();
  return pattern;
}

// `values` becomes what stands for each name.
bool MessageTable::Fits(const Pattern& pattern, const std::string& line,
                        std::vector<std::string>& values) {
  values.clear();
  // Blanks at the end of a line get lost, or come with the message.
  const bool endsFixed = !pattern.fixed.back().empty();
  const std::string text = endsFixed ? line.substr(0, line.find_last_not_of(' ') + 1) : line;
  const std::string& first = pattern.fixed.front();
  if (text.compare(0, first.size(), first) != 0) return false;
  size_t from = first.size();
  for (size_t i = 1; i < pattern.fixed.size(); ++i) {
    const std::string& fixed = pattern.fixed[i];
    const bool isLast = i + 1 == pattern.fixed.size();
    if (isLast && text.size() < from + fixed.size()) return false;
    const size_t at = isLast ? text.size() - fixed.size() : text.find(fixed, from);
    if (at == std::string::npos || text.compare(at, fixed.size(), fixed) != 0) return false;
    values.push_back(text.substr(from, at - from));
    from = at + fixed.size();
  }
  return from == text.size();
}

const MessageTable::Message* MessageTable::Best(const std::string& text,
                                                std::vector<std::string>& values) const {
  const Message* best = nullptr;
  std::vector<std::string> found;
  for (const Message& message : m_messages) {
    const bool isBetter = best == nullptr || message.pattern.fixedSize > best->pattern.fixedSize;
    if (!isBetter || !Fits(message.pattern, text, found)) continue;
    best = &message;
    values = found;
  }
  return best;
}

std::optional<Explanation> MessageTable::Find(const std::string& line) const {
  const std::string whole = line.substr(0, line.find_last_not_of('\r') + 1);
  for (const size_t begin : BeginningsOf(whole)) {
    std::vector<std::string> values;
    const Message* const message = Best(whole.substr(begin), values);
    if (message == nullptr) continue;
    Explanation explanation{message->happened, message->toDo, {}};
    for (size_t i = 0; i < values.size(); ++i) {
      const std::string& name = message->pattern.names[i];
      const auto numbers = m_numbers.find(name);
      if (numbers == m_numbers.end()) continue;
      const auto meaning = numbers->second.find(values[i]);
      if (meaning == numbers->second.end()) continue;
      explanation.numbers.push_back(name + " " + values[i] + ": " + meaning->second);
    }
    return explanation;
  }
  return std::nullopt;
}

}  // namespace ctl
