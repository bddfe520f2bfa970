// SPDX-License-Identifier: Apache-2.0
// Finding and loading the modules of sources.
#include "host/device/SourceLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <utility>

#include "host/util/Files.h"

namespace host {
namespace {

std::string ProgramsFolder() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
  if (length <= 0 || length == ssize_t{sizeof(path)}) return {};
  return FolderOf(std::string(path, static_cast<size_t>(length)));
}

std::string LoadError() {
  const char* const text = dlerror();
  return text == nullptr ? "it cannot be loaded" : text;
}

}  // namespace

std::vector<std::string> SourceFolders() {
  const std::string folder = ProgramsFolder();
  if (folder.empty()) return {};
  return {folder + "/sources", folder + "/" CLOUDCLIENT_SOURCES};
}

SourceLoader::SourceLoader(std::vector<std::string> folders) : m_folders(std::move(folders)) {}

const SourceModule* SourceLoader::Load(const std::string& type, Problem& problem) {
  auto known = m_loaded.find(type);
  if (known == m_loaded.end()) known = m_loaded.emplace(type, Find(type)).first;
  problem = known->second.problem;
  return known->second.module;
}

SourceLoader::Loaded SourceLoader::Find(const std::string& type) const {
  for (const std::string& folder : m_folders) {
    const std::string path = folder + "/" + type + ".so";
    if (access(path.c_str(), F_OK) != 0) continue;
    // At once and for itself: what is missing in it shows here, and what it brings along stays
    // unseen by others.
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return {nullptr, Problem(LoadError())};
    const auto* const entry = static_cast<const SourceEntry*>(dlsym(library, kSourceEntry));
    if (entry == nullptr) return {nullptr, Problem("is no module").With(path)};
    if (entry->interface != kSourceInterface) {
      return {nullptr, Problem("is of another version than this program").With(path)};
    }
    return {&entry->module(), Problem()};
  }
  return {nullptr, Problem("its module is not installed")};
}

}  // namespace host
