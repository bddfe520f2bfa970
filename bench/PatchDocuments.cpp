// SPDX-License-Identifier: Apache-2.0
// Compares PatchMgr's replacement of temperature tags with a plain copy of the same bytes and the
// same queries of the host platform's engine, its seven-day words with a plain copy, and its
// loading of map files with parsing them alone:
//
//   patch_documents [ROUNDS]
//
// Each round runs both sides of every size, each side first in turn, for at least a few
// milliseconds of processor time. Printed are medians, and the least and the most of the rounds.
//
// Exits 1 when a goal is missed. The tags of a document, which grow with its size, may cost at most
// three times the copy and the queries, at every size. Of words and map files no cost may grow
// worse than in proportion: tenfold bytes or points may cost at most thirtyfold. That much is left
// to caches and to the machine's noise; a power more would be a hundredfold. By the median of the
// rounds' quotients.

#include <jansson.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/device/DeviceEngine.h"
#include "host/device/DeviceModel.h"
#include "host/device/DeviceProxy.h"
#include "patch/PatchMgr.h"

namespace {

using cloudclient::PatchMgr;

constexpr double kLargestRatio = 3;
constexpr double kLargestGrowth = 3;
constexpr double kShortestRunUs = 3000;
constexpr size_t kStep = 10;  // from one size to the next
constexpr uint16_t kFirstPoint = 1000;
constexpr size_t kPoints = 100;
const char kReading[] = "21.5";

// An engine with a table of points.
host::DeviceModel Device() {
  host::DeviceModel model;
  for (size_t point = 0; point < kPoints; ++point) {
    host::PointModel entry;
    entry.id = static_cast<uint16_t>(kFirstPoint + point);
    entry.value = kReading;
    model.points.push_back(entry);
  }
  return model;
}

uint16_t PointOfTag(size_t tag) { return static_cast<uint16_t>(kFirstPoint + tag % kPoints); }

typedef std::function<void()> Work;

// Microseconds of this thread's processor time that `work` takes, as a mean of so many repetitions.
double Measure(const Work& work, int repetitions) {
  const auto now = [] {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
  };
  const double begin = now();
  for (int i = 0; i < repetitions; ++i) work();
  return (now() - begin) / repetitions;
}

// How often `work` is to be repeated; warms up.
int Repetitions(const Work& work) {
  const double once = std::max(std::min(Measure(work, 1), Measure(work, 1)), 0.01);
  return std::max(1, static_cast<int>(kShortestRunUs / once));
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// `a` through `b`, round by round.
std::vector<double> Ratios(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> ratios;
  for (size_t i = 0; i < a.size(); ++i) ratios.push_back(a[i] / b[i]);
  return ratios;
}

std::string Spread(const std::vector<double>& values) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  char text[100];
  snprintf(text, sizeof text, "%8.2f (%.2f to %.2f)", Median(values), *least, *most);
  return text;
}

// One size of the work, on both sides, and what each round of it took.
struct Cell {
  std::string title;
  Work ours;
  Work plain;
  std::vector<double> oursUs;
  std::vector<double> plainUs;
};

// By the size that growth is asked in: bytes or points.
typedef std::map<size_t, Cell> Cells;

// Runs all cells in turn, round after round, so that a slow moment of the machine meets them all.
void Run(Cells& cells, int rounds) {
  std::map<const Cell*, std::pair<int, int>> counts;
  for (const auto& entry : cells) {
    const Cell& cell = entry.second;
    counts[&cell] = {Repetitions(cell.ours), Repetitions(cell.plain)};
  }
  for (int round = 0; round < rounds; ++round) {
    for (auto& entry : cells) {
      Cell& cell = entry.second;
      const auto [oursCount, plainCount] = counts[&cell];
      if (round % 2 == 0) cell.oursUs.push_back(Measure(cell.ours, oursCount));
      cell.plainUs.push_back(Measure(cell.plain, plainCount));
      if (round % 2 == 1) cell.oursUs.push_back(Measure(cell.ours, oursCount));
    }
  }
  for (const auto& entry : cells) {
    const Cell& cell = entry.second;
    printf("%-22s  PatchMgr %12.2f us  plain %12.2f us  ratio %s\n", cell.title.c_str(),
           Median(cell.oursUs), Median(cell.plainUs),
           Spread(Ratios(cell.oursUs, cell.plainUs)).c_str());
  }
}

// Whether the larger cell takes what the smaller takes, tenfold, but for the tolerated growth.
bool GrowsInProportion(const Cell& smaller, const Cell& larger) {
  std::vector<double> growths = Ratios(larger.oursUs, smaller.oursUs);
  for (double& growth : growths) growth /= kStep;
  const bool met = Median(growths) <= kLargestGrowth;
  printf("%-22s  to %-22s  cost a unit, times %s  goal %.0f: %s\n", smaller.title.c_str(),
         larger.title.c_str(), Spread(growths).c_str(), kLargestGrowth, met ? "met" : "MISSED");
  return met;
}

// Compares each cell with the one that is a step smaller.
bool GrowInProportion(const Cells& cells) {
  bool met = true;
  for (const auto& [size, cell] : cells) {
    const auto smaller = cells.find(size / kStep);
    if (smaller != cells.end()) met &= GrowsInProportion(smaller->second, cell);
  }
  return met;
}

// Whether each cell takes at most so many times what the plain work takes.
bool StayInRatio(const Cells& cells) {
  bool met = true;
  for (const auto& entry : cells) {
    const double ratio = Median(Ratios(entry.second.oursUs, entry.second.plainUs));
    met &= ratio <= kLargestRatio;
    printf("%-22s  ratio %.2f  goal %.0f: %s\n", entry.second.title.c_str(), ratio, kLargestRatio,
           ratio <= kLargestRatio ? "met" : "MISSED");
  }
  return met;
}

// A document of `size` bytes with its tags, or what stands in their places, evenly spread.
std::string Document(size_t size, size_t tags, bool edited) {
  std::string text;
  size_t shortBy = 0;  // of what it has with the tags
  for (size_t tag = 0; tag < tags; ++tag) {
    const std::string mark = "temp_uom_celsius~" + std::to_string(PointOfTag(tag));
    text += "\"T\":" + (edited ? kReading : mark) + ",";
    if (edited) shortBy += mark.size() - (sizeof kReading - 1);
    const size_t filled = (tag + 1) * (size / tags) - shortBy;
    while (text.size() + 15 < filled) text += R"("Reading":"42",)";
    text.resize(std::max(text.size(), filled), ' ');
  }
  return text;
}

std::string Size(size_t bytes) {
  return bytes >= 1000000 ? std::to_string(bytes / 1000000) + " MB"
                          : std::to_string(bytes / 1000) + " kB";
}

// What the two sides of a document work on.
struct DocumentWork {
  std::string document;
  std::string text;
  size_t tags;
  host::DeviceEngine engine{Device()};
  host::DeviceProxy proxy{engine};
  PatchMgr patchMgr;

  DocumentWork(std::string content, size_t tagCount)
      : document(std::move(content)), tags(tagCount) {
    patchMgr.SetPldProxy(&proxy);
    patchMgr.NewDayAccumulators();
  }

  void ReplaceTags() {
    text = document;
    patchMgr.UpdateDocWithTempUomValues(0, text);
  }

  void FillWords() {
    text = document;
    patchMgr.FillSevenDayValues(text);
  }

  void CopyAndAsk() {
    text = document;
    LxPldProxy& queries = proxy;
    for (size_t tag = 0; tag < tags; ++tag) {
      std::string value;
      queries.GetPointText(value, 0, PointOfTag(tag), 1, 0, 4125, 0, 0);
    }
  }
};

[[noreturn]] void Fail(const char* what) {
  std::cerr << "patch_documents: " << what << "\n";
  exit(2);
}

// Documents with a tag in so many bytes.
bool CompareTags(size_t bytesOfTag, int rounds) {
  Cells cells;
  for (const size_t size : {1000, 10000, 100000, 1000000}) {
    const size_t tags = size / bytesOfTag;
    const auto work = std::make_shared<DocumentWork>(Document(size, tags, false), tags);
    work->ReplaceTags();
    if (work->document.size() != size || work->text != Document(size, tags, true)) {
      Fail("the tags were not replaced");
    }
    Cell& cell = cells[size];
    cell.title = Size(size) + ", " + std::to_string(tags) + " tags";
    cell.ours = [work] { work->ReplaceTags(); };
    cell.plain = [work] { work->CopyAndAsk(); };
  }
  Run(cells, rounds);
  return StayInRatio(cells);
}

// Documents that have the seven-day words at their end.
bool CompareWords(int rounds) {
  Cells cells;
  for (const size_t size : {1000, 10000, 100000, 1000000}) {
    const auto work = std::make_shared<DocumentWork>(
        Document(size, 1, true) + "7dayhightemp 7daylowtemp 7dayhighhum 7daylowhum", 0);
    work->FillWords();
    if (work->text.find("7day") != std::string::npos) Fail("the words were not replaced");
    Cell& cell = cells[size];
    cell.title = Size(size) + ", seven-day words";
    cell.ours = [work] { work->FillWords(); };
    cell.plain = [work] { work->CopyAndAsk(); };
  }
  Run(cells, rounds);
  return GrowInProportion(cells);
}

// Writes a map file of so many points, a hundred to a resource.
void WriteMap(const std::string& path, int points) {
  std::ofstream file(path);
  file << "{\"resourceUrls\": [";
  const int groups = (points + 99) / 100;
  for (int group = 0; group < groups; ++group) {
    file << (group == 0 ? "\n" : ",\n") << R"({"name": "r)" << group
         << R"(", "url": "/redfish/v1/Chassis/<chassisid>/R)" << group
         << R"(", "resourcePatch": "patch/r.txt", "resourceTag": "<chassisid>"})";
  }
  file << "]";
  for (int point = 0; point < points; ++point) {
    if (point % 100 == 0) file << (point == 0 ? "" : "]") << ",\n\"r" << point / 100 << "\": [";
    file << (point % 100 == 0 ? "\n" : ",\n") << R"({"id": )" << point << R"(, "pldQueryArgs": ")"
         << point % 60000
         << R"(,1,0,0,0", "patch": "{\"Reading\":%1}", "event": {"msgid": "Changed", )"
         << R"("message": "from %1 to %2", "numargs": 2, "arg1Type": "old"}})";
  }
  file << "]}\n";
}

size_t Load(const std::string& path) {
  PatchMgr patchMgr;
  patchMgr.InitCovPatchMaps(path);
  return patchMgr.GetMap().Points().size();
}

bool CompareMaps(int rounds) {
  char folder[] = "/tmp/patch_documents-XXXXXX";
  if (mkdtemp(folder) == nullptr) Fail("no folder for the map files");
  Cells cells;
  std::vector<std::string> paths;
  bool loaded = true;
  for (const size_t points : {10, 100, 1000, 10000}) {
    const std::string path = std::string(folder) + "/" + std::to_string(points);
    WriteMap(path, static_cast<int>(points));
    paths.push_back(path);
    loaded &= Load(path) == points;
    Cell& cell = cells[points];
    cell.title = "map of " + std::to_string(points) + " points";
    cell.ours = [path] { Load(path); };
    cell.plain = [path] { json_decref(json_load_file(path.c_str(), JSON_DECODE_ANY, nullptr)); };
  }
  if (loaded) Run(cells, rounds);
  for (const std::string& path : paths) unlink(path.c_str());
  rmdir(folder);
  if (!loaded) Fail("a map was not loaded");
  return GrowInProportion(cells);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? atoi(argv[1]) : 11;
  if (argc > 2 || rounds < 1) {
    std::cerr << "usage: patch_documents [ROUNDS]\n";
    return 2;
  }
  unsetenv("CLOUDCLIENT_ROOT");
  bool met = CompareTags(1000, rounds);
  met &= CompareTags(100, rounds);
  met &= CompareWords(rounds);
  met &= CompareMaps(rounds);
  return met ? 0 : 1;
}
