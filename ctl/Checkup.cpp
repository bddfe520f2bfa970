// SPDX-License-Identifier: Apache-2.0
// What a look at everything came to, for persons and as JSON.
#include "ctl/Checkup.h"

#include <algorithm>

#include "ctl/Output.h"

namespace ctl {

namespace {

const char* WordOf(Check::Verdict verdict) {
  switch (verdict) {
    case Check::Verdict::kGood:
      return "good";
    case Check::Verdict::kNotice:
      return "notice";
    case Check::Verdict::kWrong:
      return "wrong";
    case Check::Verdict::kSkipped:
      break;
  }
  return "skipped";
}

std::string Padded(std::string text, size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text + "  ";
}

}  // namespace

bool Checkup::IsWrong(const std::string& subject) const {
  return std::any_of(m_checks.begin(), m_checks.end(), [&](const Check& check) {
    return check.subject == subject && check.verdict == Check::Verdict::kWrong;
  });
}

size_t Checkup::CountWrong() const {
  return static_cast<size_t>(
      std::count_if(m_checks.begin(), m_checks.end(),
                    [](const Check& check) { return check.verdict == Check::Verdict::kWrong; }));
}

std::string Checkup::Text(size_t from) const {
  constexpr size_t kVerdictWidth = 7;  // "skipped"
  size_t width = 0;
  for (const Check& check : m_checks) width = std::max(width, check.subject.size());
  std::string text;
  for (size_t i = from; i < m_checks.size(); ++i) {
    const Check& check = m_checks[i];
    text += Padded(WordOf(check.verdict), kVerdictWidth) + Padded(check.subject, width) +
            Printable(check.text) + "\n";
    if (check.toDo.empty()) continue;
    text +=
        Padded("", kVerdictWidth) + Padded("", width) + "to do: " + Printable(check.toDo) + "\n";
  }
  return text;
}

host::JsonRef Checkup::Json() const {
  host::JsonRef all(json_array());
  for (const Check& check : m_checks) {
    host::JsonRef object(json_object());
    host::PutJson(object.get(), "verdict", host::JsonString(WordOf(check.verdict)));
    host::PutJson(object.get(), "subject", host::AnyText(check.subject));
    host::PutJson(object.get(), "text", host::AnyText(check.text));
    host::PutJson(object.get(), "toDo", host::AnyText(check.toDo));
    host::AppendJson(all.get(), std::move(object));
  }
  return all;
}

}  // namespace ctl
