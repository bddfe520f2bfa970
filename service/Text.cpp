#include "service/Text.h"

#include <algorithm>

namespace cloudservice {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t from = 0;
  for (;;) {
    const std::size_t to = text.find(separator, from);
    pieces.push_back(text.substr(from, to - from));
    if (to == std::string::npos) return pieces;
    from = to + 1;
  }
}

}  // namespace cloudservice
