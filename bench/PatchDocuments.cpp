// Compares PatchMgr's editing of documents with a plain copy of the same bytes and the same number
// of platform queries, and its loading of map files with parsing them alone:
//
//   patch_documents [ROUNDS]
//
// Each round runs both sides of every size, each side first in turn, for at least a few
// milliseconds of processor time. Printed are medians, and the least and the most of the rounds.
//
// Exits 1 when a cost grows worse than in proportion: tenfold bytes at the same number of tags,
// tenfold tags in as many bytes, and tenfold points may each cost at most thirtyfold, by the median
// of the rounds' quotients. That much is left to caches and to the machine's noise; a power more
// would be a hundredfold.

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

#include "patch/PatchMgr.h"
#include "platform/pld/LxPldProxy.h"

namespace {

using cloudclient::PatchMgr;

constexpr double kLargestGrowth = 3;
constexpr double kShortestRunUs = 3000;
constexpr size_t kStep = 10;     // from one size to the next
constexpr size_t kTagRoom = 32;  // bytes of the document that a tag and its member take

// An engine that knows every point.
class Engine : public LxPldProxy {
 public:
  int RegisterEventNotification(EventCallback, unsigned int, int) override { return 0; }
  int RegisterCovNotification(CovCallback, unsigned int, int) override { return 0; }
  int DispatchEvents() override { return 0; }
  int DispatchCovs() override { return 0; }
  int GetActiveEvents(ActiveEventsCallback, int) override { return 0; }
  int GetPointText(std::string& text, uint16_t, uint16_t, uint16_t, uint16_t, int32_t, int16_t,
                   int) override {
    ++queries;
    text = "21.5";
    return 0;
  }
  int GetEventText(std::string&, uint16_t, uint16_t, uint16_t, int, const char*) override {
    return 1;
  }
  LxDpStatus GetReportNumber(uint16_t, uint16_t, uint32_t&) override { return 1; }
  LxDpStatus GetMaxModuleCount(uint16_t, uint16_t, uint32_t&) override { return 1; }
  int GetResolution(int32_t&, uint16_t, uint16_t) override { return 0; }
  bool GetProdSeqId(LxProductIdentSeq**, unsigned short) const override { return false; }

  long queries = 0;
};

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

// By the two sizes that growth is asked in: bytes and tags, or points and nothing.
typedef std::map<std::pair<size_t, size_t>, Cell> Cells;

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

// Compares each cell with the ones that are a step smaller in the one size or the other.
bool GrowInProportion(const Cells& cells) {
  bool met = true;
  for (const auto& [sizes, cell] : cells) {
    for (const auto& before : {std::make_pair(sizes.first / kStep, sizes.second),
                               std::make_pair(sizes.first, sizes.second / kStep)}) {
      const auto smaller = cells.find(before);
      if (smaller != cells.end() && before != sizes)
        met &= GrowsInProportion(smaller->second, cell);
    }
  }
  return met;
}

// A document of `size` bytes with its tags evenly spread, and the seven-day words at its end.
std::string Document(size_t size, size_t tags) {
  const std::string end =
      R"("High":7dayhightemp,"Low":7daylowtemp,"HighHumidity":7dayhighhum,"LowHumidity":7daylowhum})";
  std::string text = "{";
  const size_t stride = (size - end.size()) / tags;
  for (size_t tag = 0; tag < tags; ++tag) {
    text += R"("T":temp_uom_celsius~)" + std::to_string(1000 + tag) + ",";
    const size_t filled = (tag + 1) * stride;
    while (text.size() + 15 < filled) text += R"("Reading":"42",)";
    text.resize(std::max(text.size(), filled), ' ');
  }
  return text + end;
}

std::string Size(size_t bytes) {
  return bytes >= 1000000 ? std::to_string(bytes / 1000000) + " MB"
                          : std::to_string(bytes / 1000) + " kB";
}

// What the two sides of a document work on.
struct DocumentWork {
  std::string document;
  std::string edited;
  size_t tags;
  Engine engine;
  PatchMgr patchMgr;

  DocumentWork(size_t size, size_t tagCount) : document(Document(size, tagCount)), tags(tagCount) {
    patchMgr.SetPldProxy(&engine);
    patchMgr.NewDayAccumulators();
  }

  void Edit() {
    edited = document;
    patchMgr.FillSevenDayValues(edited);
    patchMgr.UpdateDocWithTempUomValues(0, edited);
  }

  void Copy() {
    edited = document;
    std::string text;
    LxPldProxy& proxy = engine;
    for (size_t tag = 0; tag < tags; ++tag) {
      proxy.GetPointText(text, 0, static_cast<uint16_t>(1000 + tag), 1, 0, 4125, 0, 0);
    }
  }

  bool IsEdited() const {
    return engine.queries == static_cast<long>(tags) && edited.find("7day") == std::string::npos &&
           edited.find("temp_uom") == std::string::npos;
  }
};

bool CompareDocuments(int rounds) {
  Cells cells;
  for (const size_t size : {1000, 10000, 100000, 1000000}) {
    for (const size_t tags : {1, 10, 100, 1000}) {
      if (tags * kTagRoom >= size) continue;
      const auto work = std::make_shared<DocumentWork>(size, tags);
      work->Edit();
      if (!work->IsEdited()) {
        std::cerr << "patch_documents: the document was not edited\n";
        exit(2);
      }
      Cell& cell = cells[{size, tags}];
      cell.title = Size(size) + ", " + std::to_string(tags) + " tags";
      cell.ours = [work] { work->Edit(); };
      cell.plain = [work] { work->Copy(); };
    }
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
  return patchMgr.GetPoints().size();
}

bool CompareMaps(int rounds) {
  char folder[] = "/tmp/patch_documents-XXXXXX";
  if (mkdtemp(folder) == nullptr) {
    std::cerr << "patch_documents: no folder for the map files\n";
    exit(2);
  }
  Cells cells;
  std::vector<std::string> paths;
  bool loaded = true;
  for (const size_t points : {10, 100, 1000, 10000}) {
    const std::string path = std::string(folder) + "/" + std::to_string(points);
    WriteMap(path, static_cast<int>(points));
    paths.push_back(path);
    loaded &= Load(path) == points;
    Cell& cell = cells[{points, 0}];
    cell.title = "map of " + std::to_string(points) + " points";
    cell.ours = [path] { Load(path); };
    cell.plain = [path] { json_decref(json_load_file(path.c_str(), JSON_DECODE_ANY, nullptr)); };
  }
  if (loaded) Run(cells, rounds);
  for (const std::string& path : paths) unlink(path.c_str());
  rmdir(folder);
  if (!loaded) {
    std::cerr << "patch_documents: a map was not loaded\n";
    exit(2);
  }
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
  const bool documents = CompareDocuments(rounds);
  const bool maps = CompareMaps(rounds);
  return documents && maps ? 0 : 1;
}
