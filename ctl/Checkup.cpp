// SPDX-License-Identifier: Apache-2.0
// What a look at everything came to, for persons and as JSON.
#include "ctl/Checkup.h"

#include <algorithm>

#include "ctl/Output.h"

namespace ctl {

namespace {

const char* WordOf(Look::Verdict verdict) {
  switch (verdict) {
    case Look::Verdict::kGood:
      return "good";
    case Look::Verdict::kNotice:
      return "notice";
    case Look::Verdict::kWrong:
      return "wrong";
    case Look::Verdict::kSkipped:
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
  return std::any_of(m_looks.begin(), m_looks.end(), [&](const Look& look) {
    return look.subject == subject && look.verdict == Look::Verdict::kWrong;
  });
}

size_t Checkup::CountWrong() const {
  return static_cast<size_t>(std::count_if(m_looks.begin(), m_looks.end(), [](const Look& look) {
    return look.verdict == Look::Verdict::kWrong;
  }));
}

std::string Checkup::Text(size_t from) const {
  constexpr size_t kVerdictWidth = 7;  // "skipped"
  size_t width = 0;
  for (const Look& look : m_looks) width = std::max(width, look.subject.size());
  std::string text;
  for (size_t i = from; i < m_looks.size(); ++i) {
    const Look& look = m_looks[i];
    text += Padded(WordOf(look.verdict), kVerdictWidth) + Padded(look.subject, width) +
            Printable(look.text) + "\n";
    if (look.toDo.empty()) continue;
    text += Padded("", kVerdictWidth) + Padded("", width) + "to do: " + Printable(look.toDo) + "\n";
  }
  return text;
}

host::JsonRef Checkup::Json() const {
  host::JsonRef all(json_array());
  for (const Look& look : m_looks) {
    host::JsonRef object(json_object());
    host::PutJson(object.get(), "verdict", host::JsonString(WordOf(look.verdict)));
    host::PutJson(object.get(), "subject", host::AnyText(look.subject));
    host::PutJson(object.get(), "text", host::AnyText(look.text));
    host::PutJson(object.get(), "toDo", host::AnyText(look.toDo));
    host::AppendJson(all.get(), std::move(object));
  }
  return all;
}

}  // namespace ctl
