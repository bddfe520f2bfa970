// SPDX-License-Identifier: Apache-2.0
// From the device's file to connections: what sources say of themselves, by their modules' tables.
#include "host/device/SourceSetup.h"

#include <sys/eventfd.h>

#include <map>
#include <set>
#include <utility>

#include "host/util/JsonReader.h"
#include "host/util/Log.h"

namespace host {
namespace {

using Keys = std::vector<JsonKey>;

constexpr int kDefaultTimeoutSeconds = 5;
constexpr int kDefaultRetries = 1;

Keys Joined(const Keys& one, const Keys& other) {
  Keys keys = one;
  keys.insert(keys.end(), other.begin(), other.end());
  return keys;
}

// The keys that are the engine's.
const Keys& KindKeys() {
  static const Keys kKeys = {{"Type", JsonKey::Type::kText}, {"From", JsonKey::Type::kText}};
  return kKeys;
}

const Keys& RhythmKeys() {
  static const Keys kKeys = {{"PollSeconds", JsonKey::Type::kInteger, 1, 86400}};
  return kKeys;
}

const Keys& EventsOwnKeys() {
  static const Keys kKeys = {{"Module", JsonKey::Type::kInteger, 0, 1023},
                             {"State", JsonKey::Type::kText}};
  return kKeys;
}

// The members of an object that a table holds and that are what it asks for.
JsonRef Chosen(const JsonReader& reader, const Keys& keys) {
  JsonRef chosen(json_object());
  for (const JsonKey& key : keys) {
    if (const json_t* const value = reader.By(keys).Value(key.name)) {
      // jansson counts references without const.
      auto* shared = const_cast<json_t*>(value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
      PutJson(chosen.get(), key.name, JsonRef(json_incref(shared)));
    }
  }
  return chosen;
}

std::string CompactText(const JsonRef& object) {
  return DumpedJson(object.get(), JSON_COMPACT | JSON_SORT_KEYS);
}

// A module with its tables.
struct Kind {
  const SourceModule* module = nullptr;
  Keys connection;
  Keys point;
  Keys event;
};

class Setup {
 public:
  Setup(const DeviceModel& model, SourceLoader& loader, std::vector<std::string>& problems,
        std::vector<std::string>& unknown, std::vector<MissingModule>& missing)
      : m_model(model),
        m_loader(loader),
        m_problems(problems),
        m_unknown(unknown),
        m_missing(missing) {}

  PreparedSources Run() {
    for (const NamedSource& source : m_model.sources) AddNamed(source);
    for (const PointModel& point : m_model.points) {
      if (!point.source || !point.source->path.empty()) continue;
      if (!AddPoint(point, point.source->module)) m_prepared.unserved.push_back(point.id);
    }
    for (const EventModel& event : m_model.events) {
      if (event.source) AddEvent(event, *event.source);
    }
    return std::move(m_prepared);
  }

 private:
  // What a source says, and where it says it.
  struct Said {
    JsonRef object;
    const ModuleSource* source;
  };

  void AddNamed(const NamedSource& named);
  bool AddPoint(const PointModel& point, const ModuleSource& source);
  void AddEvent(const EventModel& event, const ModuleSource& source);
  PreparedSource* SourceOf(const Said& said, const Kind*& kind);
  JsonRef SettingsOf(const Said& said, const Kind& kind);
  PreparedSource* Open(const std::string& name, const Kind& kind, const Said& said,
                       const JsonRef& settings);
  const Kind* KindOf(const std::string& type);
  JsonReader Reader(const Said& said, const Keys& keys) {
    return JsonReader(said.object.get(), keys, said.source->where, m_problems);
  }
  void Report(const SettingFaults& faults, const Said& said);
  void FindUnknown(const Said& said, const Keys& keys);

  const DeviceModel& m_model;
  SourceLoader& m_loader;
  std::vector<std::string>& m_problems;
  std::vector<std::string>& m_unknown;
  std::vector<MissingModule>& m_missing;
  std::map<std::string, Kind> m_kinds;
  // Where a source stands among those that are prepared, by its name; none that was left out.
  struct Place {
    size_t index = 0;
    bool there = false;
    const Kind* kind = nullptr;
  };
  std::map<std::string, Place> m_named;
  std::map<std::string, Place> m_alike;  // by kind and settings
  PreparedSources m_prepared;
};

JsonRef ObjectOf(const ModuleSource& source) {
  JsonRef object(
      json_loadb(source.settings.data(), source.settings.size(), JSON_ALLOW_NUL, nullptr));
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

const Kind* Setup::KindOf(const std::string& type) {
  const auto known = m_kinds.find(type);
  if (known != m_kinds.end()) return known->second.module == nullptr ? nullptr : &known->second;
  Kind& kind = m_kinds[type];
  Problem problem;
  kind.module = m_loader.Load(type, problem);
  if (kind.module == nullptr) {
    m_missing.push_back({type, problem.Text()});
    return nullptr;
  }
  kind.connection = kind.module->ConnectionKeys();
  kind.point = kind.module->PointKeys();
  kind.event = kind.module->EventKeys();
  return &kind;
}

void Setup::Report(const SettingFaults& faults, const Said& said) {
  for (const SettingFault& fault : faults) {
    m_problems.push_back("\"" + fault.key + "\"" + said.source->where + " " + fault.what);
  }
}

void Setup::FindUnknown(const Said& said, const Keys& keys) {
  for (const std::string& key : UnknownKeysOf(said.object.get(), Joined(KindKeys(), keys))) {
    m_unknown.push_back(key + said.source->where);
  }
}

// What an object says of the connection.
JsonRef Setup::SettingsOf(const Said& said, const Kind& kind) {
  const Keys keys = Joined(RhythmKeys(), kind.connection);
  return Chosen(Reader(said, keys), keys);
}

// Makes the connection; null when it is left out.
PreparedSource* Setup::Open(const std::string& name, const Kind& kind, const Said& said,
                            const JsonRef& settings) {
  const auto integer = [&](const char* key, int otherwise) {
    const json_t* const value = json_object_get(settings.get(), key);
    return value == nullptr ? otherwise : static_cast<int>(json_integer_value(value));
  };
  if (m_prepared.stop == nullptr) {
    m_prepared.stop =
        std::make_shared<Fd>(Needed(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"));
  }
  PreparedSource source;
  source.name = name;
  source.intervalMs = int64_t{1000} * integer("PollSeconds", m_model.pollSeconds);
  source.limits.timeoutMs = 1000 * integer("TimeoutSeconds", kDefaultTimeoutSeconds);
  source.limits.retries = integer("Retries", kDefaultRetries);
  source.limits.stopFd = m_prepared.stop->Get();
  SettingFaults faults;
  source.connection = kind.module->Open(CompactText(settings), source.limits, faults);
  Report(faults, said);
  if (!faults.empty() || source.connection == nullptr) return nullptr;
  m_prepared.sources.push_back(std::move(source));
  return &m_prepared.sources.back();
}

void Setup::AddNamed(const NamedSource& named) {
  const Kind* const kind = KindOf(named.module.type);
  Place& place = m_named[named.name];
  if (kind == nullptr) return;
  const Said said = {ObjectOf(named.module), &named.module};
  FindUnknown(said, Joined(RhythmKeys(), kind->connection));
  place.kind = kind;
  place.index = m_prepared.sources.size();
  place.there = Open(named.name, *kind, said, SettingsOf(said, *kind)) != nullptr;
}

// The connection of a point or an event: the one that it names, or the one of all that are
// described like it. Null when there is none.
PreparedSource* Setup::SourceOf(const Said& said, const Kind*& kind) {
  const auto at = [&](const Place& place) {
    kind = place.kind;
    return place.there ? &m_prepared.sources[place.index] : nullptr;
  };
  if (!said.source->from.empty()) return at(m_named[said.source->from]);
  const Kind* const its = KindOf(said.source->type);
  if (its == nullptr) return nullptr;
  const JsonRef settings = SettingsOf(said, *its);
  const std::string name = said.source->type + " " + CompactText(settings);
  const auto [alike, isNew] = m_alike.emplace(name, Place());
  if (isNew) {
    alike->second.kind = its;
    alike->second.index = m_prepared.sources.size();
    alike->second.there = Open(name, *its, said, settings) != nullptr;
  }
  return at(alike->second);
}

bool Setup::AddPoint(const PointModel& point, const ModuleSource& source) {
  const Said said = {ObjectOf(source), &source};
  const Kind* kind = nullptr;
  PreparedSource* const prepared = SourceOf(said, kind);
  if (kind != nullptr) {
    const bool own = source.from.empty();
    FindUnknown(said,
                own ? Joined(Joined(RhythmKeys(), kind->connection), kind->point) : kind->point);
  }
  if (prepared == nullptr) return false;
  SettingFaults faults;
  prepared->connection->AddPoint(
      prepared->points.size(), CompactText(Chosen(Reader(said, kind->point), kind->point)), faults);
  Report(faults, said);
  if (!faults.empty()) return false;
  prepared->points.push_back(&point);
  return true;
}

void Setup::AddEvent(const EventModel& event, const ModuleSource& source) {
  const Said said = {ObjectOf(source), &source};
  const Kind* kind = nullptr;
  PreparedSource* const prepared = SourceOf(said, kind);
  if (kind != nullptr) {
    const Keys keys = Joined(EventsOwnKeys(), kind->event);
    const bool own = source.from.empty();
    FindUnknown(said, own ? Joined(Joined(RhythmKeys(), kind->connection), keys) : keys);
  }
  if (prepared == nullptr) return;
  const JsonReader own = Reader(said, EventsOwnKeys());
  SourceEvent its;
  its.gddId = event.gddId;
  its.module = static_cast<uint32_t>(own.Integer("Module", 0));
  SettingFaults faults;
  if (own.Holds("State") &&
      (!EventStateOf(own.Text("State"), its.state) || its.state == kCleared)) {
    faults.push_back({"State", "is none of Message, Warning, Alarm, Fault"});
  }
  if (its.module >= event.modules) faults.push_back({"Module", "is none of the event's"});
  const JsonRef settings = Chosen(Reader(said, kind->event), kind->event);
  if (faults.empty()) {
    prepared->connection->AddEvent(prepared->events.size(), CompactText(settings), faults);
  }
  Report(faults, said);
  if (faults.empty()) prepared->events.push_back(its);
}

}  // namespace

PreparedSources PrepareSources(const DeviceModel& model, SourceLoader& loader,
                               std::vector<std::string>& problems,
                               std::vector<std::string>& unknown,
                               std::vector<MissingModule>& missing) {
  return Setup(model, loader, problems, unknown, missing).Run();
}

PreparedSources LoadSources(const DeviceModel& model, const std::string& path) {
  std::vector<std::string> problems;
  std::vector<std::string> unknown;
  std::vector<MissingModule> missing;
  SourceLoader loader;
  PreparedSources prepared = PrepareSources(model, loader, problems, unknown, missing);
  LogFindings(path, problems, unknown);
  for (const MissingModule& module : missing) {
    HOST_LOG(3, "sources of the type \"%s\" are not read: %s", module.type.c_str(),
             module.reason.c_str());
  }
  return prepared;
}

}  // namespace host
