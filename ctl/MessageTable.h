// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_MESSAGETABLE_H_
#define CTL_MESSAGETABLE_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

// What is said of a message of the daemon's log, as plain text.
struct Explanation {
  std::string happened;
  std::string toDo;                  // empty for nothing
  std::vector<std::string> numbers;  // "AppResult 3: a request to the service failed"
};

// The tables of docs/messages.md, which this program carries.
class MessageTable {
 public:
  // Of the document's text. What is no row of messages or of numbers is passed over.
  explicit MessageTable(const std::string& document);

  // Of the message that a line of a log ends with, whatever stands before it: time and level, or
  // what the journal writes. Nothing for a line that holds none. Where several fit, that one with
  // the most fixed text.
  std::optional<Explanation> Find(const std::string& line) const;

  // How many messages there are.
  size_t Size() const { return m_messages.size(); }

 private:
  // "<name>" stands for any text.
  struct Pattern {
    std::vector<std::string> fixed;  // one more than names; the first and the last may be empty
    std::vector<std::string> names;
    size_t fixedSize = 0;
  };
  struct Message {
    Pattern pattern;
    std::string happened;
    std::string toDo;
  };

  static Pattern PatternOf(const std::string& text);
  static bool Fits(const Pattern& pattern, const std::string& line,
                   std::vector<std::string>& values);
  void TakeMessage(const std::vector<std::string>& cells);
  const Message* Best(const std::string& text, std::vector<std::string>& values) const;

  std::vector<Message> m_messages;
  // By the name of the numbers, as "AppResult".
  std::map<std::string, std::map<std::string, std::string>> m_numbers;
};

// The text of docs/messages.md as it was when the program was built.
extern const char* const kMessagesDocument;

}  // namespace ctl

#endif  // CTL_MESSAGETABLE_H_
