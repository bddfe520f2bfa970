// SPDX-License-Identifier: Apache-2.0
// Letters of every alphabet in lower case, and words that are looked for.
#include "service/util/Words.h"

#include <locale.h>

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <iterator>
#include <sstream>

#include <boost/locale/utf.hpp>

#include "service/util/Text.h"

namespace cloudservice {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;

constexpr wint_t kFinalSigma = 0x3C2;
constexpr wint_t kSigma = 0x3C3;
constexpr wint_t kDotAbove = 0x307;

// The locale is part of the C library; without it the letters beyond A to Z stay as they are.
locale_t Alphabets() {
  static const locale_t alphabets = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return alphabets;
}

void AppendFolded(wint_t letter, std::string& folded) {
  if (Alphabets() != nullptr) letter = towlower_l(letter, Alphabets());
  if (letter == kFinalSigma) letter = kSigma;
  if (letter == kDotAbove) return;
  Utf8::encode(static_cast<boost::locale::utf::code_point>(letter), std::back_inserter(folded));
}

}  // namespace

std::string Folded(std::string_view text) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::all_of(text.begin(), text.end(), isAscii)) return Lower(std::string(text));
  std::string folded;
  folded.reserve(text.size());
  for (const char* at = text.data(); at != text.data() + text.size();) {
    const char* const begin = at;
    const auto letter = Utf8::decode(at, text.data() + text.size());
    if (boost::locale::utf::is_valid_codepoint(letter)) {
      AppendFolded(letter, folded);
    } else {
      at = begin + 1;
      folded.push_back(*begin);
    }
  }
  return folded;
}

Words::Words(const std::string& text) {
  std::istringstream words(Folded(text));
  for (std::string word; words >> word;) m_words.push_back(word);
}

std::string Words::Text() const {
  std::string text;
  for (const std::string& word : m_words) text += word + ' ';
  return text;
}

bool Words::AreIn(const std::vector<std::string_view>& texts) const {
  if (AreNone()) return true;
  std::string all;
  for (const std::string_view text : texts) all += Folded(text) + ' ';
  return std::all_of(m_words.begin(), m_words.end(),
                     [&](const std::string& word) { return all.find(word) != std::string::npos; });
}

}  // namespace cloudservice
