// SPDX-License-Identifier: Apache-2.0
// Processor time and memory of processes, as the kernel tells them.
#include "Proc.h"

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

namespace fleet {

namespace {

std::string TextOf(int pid, const char* name) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/" + name);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// All processes that are there, each with its parent.
std::map<int, int> Parents() {
  std::map<int, int> parents;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    const int pid = std::stoi(name);
    if (const auto stat = ParseStat(TextOf(pid, "stat"))) parents[pid] = stat->parent;
  }
  return parents;
}

std::vector<int> FamilyOf(int pid) {
  const std::map<int, int> parents = Parents();
  std::vector<int> family = {pid};
  for (std::size_t i = 0; i < family.size(); ++i) {
    for (const auto& [child, parent] : parents) {
      if (parent == family[i]) family.push_back(child);
    }
  }
  return family;
}

}  // namespace

std::optional<ProcessStat> ParseStat(const std::string& text) {
  // The name before it is in brackets and may hold anything.
  const std::size_t name = text.rfind(')');
  if (name == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(name + 1));
  std::string state;
  ProcessStat stat;
  fields >> state >> stat.parent;
  // Group, session, terminal, its group, flags, and four counts of page faults.
  std::string skipped;
  for (int i = 0; i < 9; ++i) fields >> skipped;
  for (int i = 0; i < 4; ++i) {
    std::int64_t ticks = 0;
    fields >> ticks;
    stat.ticks += ticks;
  }
  fields >> skipped >> skipped >> stat.threads;
  if (!fields) return std::nullopt;
  return stat;
}

std::int64_t KibOf(const std::string& text, const std::string& name) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, name.size() + 1, name + ":") != 0) continue;
    std::int64_t value = 0;
    std::istringstream(line.substr(name.size() + 1)) >> value;
    return value;
  }
  return 0;
}

Usage UsageOf(int pid) {
  Usage usage;
  const auto perSecond = static_cast<double>(sysconf(_SC_CLK_TCK));
  for (const int one : FamilyOf(pid)) {
    const auto stat = ParseStat(TextOf(one, "stat"));
    if (!stat && one == pid) throw std::runtime_error("no process " + std::to_string(pid));
    if (!stat) continue;
    const std::string memory = TextOf(one, "smaps_rollup");
    usage.cpuSeconds += static_cast<double>(stat->ticks) / perSecond;
    usage.residentKib += KibOf(memory, "Rss");
    usage.proportionalKib += KibOf(memory, "Pss");
    usage.processes += 1;
    usage.threads += stat->threads;
  }
  return usage;
}

}  // namespace fleet
