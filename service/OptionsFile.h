// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPTIONSFILE_H_
#define SERVICE_OPTIONSFILE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace cloudservice {

// One option of a file: "max-body = 65536" in the line `line`, which counts from 1.
struct FileOption {
  std::size_t line = 0;
  std::string name;   // without dashes
  std::string value;  // as it stands there, without blanks around it; not empty
};

// Reads a file of options, one a line: NAME = VALUE. Empty lines and those that begin with # are
// passed over; a value may hold blanks and any character. What the names and values mean is not
// looked at. Throws std::runtime_error, whose text names the file, and the line where it is one
// that is wrong.
std::vector<FileOption> ReadOptionsFile(const std::string& path);

}  // namespace cloudservice

#endif  // SERVICE_OPTIONSFILE_H_
