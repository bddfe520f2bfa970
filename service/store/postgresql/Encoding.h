// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_ENCODING_H_
#define SERVICE_STORE_POSTGRESQL_ENCODING_H_

#include <cstdint>
#include <string>
#include <vector>

namespace cloudservice::postgresql {

// PostgreSQL keeps texts of valid UTF-8 without the character NUL; the service keeps any bytes.
// Texts of UTF-8 without U+0000 and U+0001, as nearly all are, are stored as they are. In others
// U+0000 is stored as 01 "1", U+0001 as 01 "2", and a byte that is not part of UTF-8 as 01 "3" and
// two hexadecimal digits. Encoded texts of UTF-8 stand in the order of the texts themselves.
std::string Encoded(const std::string& text);
// The text whose encoding this is.
std::string Decoded(std::string encoded);

// The literal of an array, element by element.
class ArrayLiteral {
 public:
  void Add(const std::string& text);
  void Add(std::int64_t number);
  void AddNull();
  // The array, of encoded texts or of numbers. Called once.
  std::string Take();

 private:
  std::string& Next();

  std::string m_text;
};
// That of an array of encoded texts.
std::string ArrayOf(const std::vector<std::string>& texts);

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_ENCODING_H_
