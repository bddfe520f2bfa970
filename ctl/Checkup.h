// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CHECKUP_H_
#define CTL_CHECKUP_H_

#include <string>
#include <vector>

#include "host/util/Json.h"

namespace ctl {

// What looking at one thing came to.
struct Look {
  enum class Verdict {
    kGood,
    kNotice,   // it works, and should be known
    kWrong,    // it does not work, or will not
    kSkipped,  // it can't be looked at, for what is wrong before it
  };

  Verdict verdict;
  std::string subject;  // "clock"
  std::string text;     // what was seen
  std::string toDo;     // empty for nothing
};

// All that was looked at, in order.
class Checkup {
 public:
  void Good(const std::string& subject, const std::string& text) {
    Add({Look::Verdict::kGood, subject, text, {}});
  }
  void Notice(const std::string& subject, const std::string& text, const std::string& toDo = {}) {
    Add({Look::Verdict::kNotice, subject, text, toDo});
  }
  void Wrong(const std::string& subject, const std::string& text, const std::string& toDo) {
    Add({Look::Verdict::kWrong, subject, text, toDo});
  }
  void Skipped(const std::string& subject, const std::string& text) {
    Add({Look::Verdict::kSkipped, subject, text, {}});
  }

  // Whether anything of a subject is wrong.
  bool IsWrong(const std::string& subject) const;
  size_t CountWrong() const;
  const std::vector<Look>& All() const { return m_looks; }

  // For a person, from this check on: a line each, and one below it for what to do.
  std::string Text(size_t from = 0) const;
  // An array of objects: "verdict" ("good", "notice", "wrong", "skipped"), "subject", "text",
  // "toDo".
  host::JsonRef Json() const;

 private:
  void Add(Look look) { m_looks.push_back(std::move(look)); }

  std::vector<Look> m_looks;
};

}  // namespace ctl

#endif  // CTL_CHECKUP_H_
