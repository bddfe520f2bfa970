// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_COPY_SERVICECOPY_H_
#define SERVICE_STORE_COPY_SERVICECOPY_H_

#include <chrono>
#include <functional>
#include <string>

#include "service/store/copy/Side.h"

namespace cloudservice {

// How a copy tells what it does.
struct CopyProgress {
  // Takes a line without its end.
  std::function<void(const std::string& line)> tell;
  // A clock that is never set, and how long a table's rows may go on until the next line.
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  std::chrono::seconds every{5};
};

// Copies a whole service from one database to the other, in steps that are on the disk each, and
// then compares both by the number and the sum of each table's rows. What a copy that was broken
// off has done is not done again. Blocks. Throws DatabaseError that says what is wrong; what has
// been copied stays then, and no service uses it.
void CopyService(CopySide& source, CopySide& target, const CopyProgress& progress);

// The same, with the names of the databases.
void CopyService(const std::string& source, const std::string& target,
                 const CopyProgress& progress);

}  // namespace cloudservice

#endif  // SERVICE_STORE_COPY_SERVICECOPY_H_
