// SPDX-License-Identifier: Apache-2.0
// A file of options, line by line.
#include "service/OptionsFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace cloudservice {

namespace {

std::string Trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

bool IsQuoted(const std::string& value) {
  return value.size() > 1 && value.front() == value.back() &&
         (value.front() == '"' || value.front() == '\'');
}

// The option of a line that is neither empty nor a comment. Throws a text without the place.
FileOption OptionOf(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) throw std::runtime_error("neither NAME = VALUE nor a # comment");
  FileOption option;
  option.name = Trimmed(text.substr(0, equals));
  option.value = Trimmed(text.substr(equals + 1));
  if (option.value.empty()) throw std::runtime_error("'" + option.name + "' has no value");
  if (IsQuoted(option.value)) {
    throw std::runtime_error("the value of '" + option.name + "' stands without quotes");
  }
  return option;
}

}  // namespace

std::vector<FileOption> ReadOptionsFile(const std::string& path) {
  std::vector<FileOption> options;
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
  std::string text;
  for (std::size_t line = 1; std::getline(file, text); ++line) {
    text = Trimmed(text);
    if (text.empty() || text.front() == '#') continue;
    try {
      options.push_back(OptionOf(text));
      options.back().line = line;
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(path + ":" + std::to_string(line) + ": " + error.what());
    }
  }
  if (file.bad()) throw std::runtime_error(path + " cannot be read");
  return options;
}

}  // namespace cloudservice
