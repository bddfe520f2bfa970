// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_WORDS_H_
#define SERVICE_UTIL_WORDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace cloudservice {

// A text of UTF-8 in lower case, whatever the alphabet. The two small sigmas become one, and the
// capital of some i leaves no dot of its own behind. A byte that is not part of UTF-8 stays.
std::string Folded(std::string_view text);

// What somebody looks for: the words of a text, in any order and any case.
class Words {
 public:
  Words() = default;
  explicit Words(const std::string& text);

  bool AreNone() const { return m_words.empty(); }
  // The folded words, none of which is empty.
  const std::vector<std::string>& All() const { return m_words; }
  // The words with blanks between them, a text of the same Words.
  std::string Text() const;
  // Whether each word stands somewhere in the texts, within one of them; true without words.
  bool AreIn(const std::vector<std::string_view>& texts) const;

 private:
  std::vector<std::string> m_words;
};

}  // namespace cloudservice

#endif  // SERVICE_UTIL_WORDS_H_
