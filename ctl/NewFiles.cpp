// SPDX-License-Identifier: Apache-2.0
// Writing several files as one.
#include "ctl/NewFiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "host/util/Files.h"

namespace ctl {

namespace {

using host::Problem;

constexpr size_t kLargestFile = size_t{64} << 20;
constexpr mode_t kForAll = 0644;

// Files on their way: what was begun and not kept is taken back.
class Writing {
 public:
  explicit Writing(bool replace) : m_replace(replace) {}
  ~Writing() {
    for (const std::string& path : m_waiting) unlink(path.c_str());
    if (m_kept) return;
    for (const Former& former : m_former) PutBack(former);
  }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

  // Writes the text beside the file: what fails for want of room or rights fails here.
  Problem Prepare(const NewFile& file) {
    if (Problem problem = host::MakeFolders(host::FolderOf(file.path))) {
      return problem.With(host::FolderOf(file.path));
    }
    const std::string beside = file.path + ".new";
    m_waiting.push_back(beside);
    const Problem problem = Replace(beside, file.text, Wanted(file.path));
    return problem ? problem.With(beside) : Problem();
  }

  Problem Place(const NewFile& file) {
    const std::string beside = file.path + ".new";
    Former former;
    former.path = file.path;
    const Problem problem = host::ReadFile(file.path, kLargestFile, former.text);
    if (problem && problem.Errno() != ENOENT) return problem.With(file.path);
    former.wasThere = !problem;
    former.ownership = Wanted(file.path);
    // A link is made only where nothing is.
    const bool placed = m_replace ? rename(beside.c_str(), file.path.c_str()) == 0
                                  : link(beside.c_str(), file.path.c_str()) == 0;
    if (!placed) return Problem::OfErrno(errno).With(file.path);
    m_former.push_back(std::move(former));
    return {};
  }

  void Keep() { m_kept = true; }

 private:
  // What a file was.
  struct Former {
    std::string path;
    bool wasThere = false;
    std::string text;
    host::Ownership ownership;
  };

  // As it is, or as its folder's owner's.
  static host::Ownership Wanted(const std::string& path) {
    host::Ownership wanted = host::OwnershipOf(path);
    if (access(path.c_str(), F_OK) != 0) wanted.mode = kForAll;
    return wanted;
  }

  static Problem Replace(const std::string& path, const std::string& text,
                         const host::Ownership& wanted) {
    Problem warning;
    return host::ReplaceFile(path, wanted, text, warning);
  }

  static void PutBack(const Former& former) {
    if (former.wasThere) {
      static_cast<void>(Replace(former.path, former.text, former.ownership));
    } else {
      unlink(former.path.c_str());
    }
  }

  const bool m_replace;
  std::vector<std::string> m_waiting;
  std::vector<Former> m_former;
  bool m_kept = false;
};

}  // namespace

Problem WriteNewFiles(const std::vector<NewFile>& files, bool replace) {
  for (const NewFile& file : files) {
    if (!replace && access(file.path.c_str(), F_OK) == 0) {
      return Problem::OfErrno(EEXIST).With(file.path);
    }
  }
  Writing writing(replace);
  for (const NewFile& file : files) {
    if (Problem problem = writing.Prepare(file)) return problem;
  }
  for (const NewFile& file : files) {
    if (Problem problem = writing.Place(file)) return problem;
  }
  writing.Keep();
  return {};
}

}  // namespace ctl
