// SPDX-License-Identifier: Apache-2.0
// An agent or a listener of the device's file.
#include "host/device/sources/snmp/Snmp.h"

#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/snmp/Agent.h"
#include "host/device/sources/snmp/Listener.h"
#include "host/device/sources/snmp/Walk.h"

namespace host {
namespace {

constexpr uint16_t kAgentPort = 161;
constexpr uint16_t kTrapPort = 162;
constexpr size_t kMostWalked = 10000;  // objects of a walk

// The identifier that the key's text is; none, and a fault, of another text.
std::optional<Oid> NeededOid(const Settings& settings, const char* key, SettingFaults& faults) {
  if (!settings.Holds(key)) {
    faults.push_back({key, "is missing"});
    return std::nullopt;
  }
  std::optional<Oid> oid = ParseOid(settings.Text(key));
  if (!oid) faults.push_back({key, "is no object identifier of numbers"});
  return oid;
}

class Agent : public SourceConnection {
 public:
  Agent(NetAddress address, const Settings& settings, const SourceLimits& limits)
      : m_agent(std::move(address), settings.Text("Credentials"), settings.Text("Version") == "3",
                limits) {}

  void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) override {
    std::optional<Oid> oid = NeededOid(Settings(settings), "Oid", faults);
    if (oid) m_agent.Add(point, std::move(*oid));
  }
  Problem Read(SourceSink& sink) override { return m_agent.Read(sink); }

 private:
  SnmpAgent m_agent;
};

// Bytes of hexadecimal digits; empty of another text.
std::string BytesOf(const std::string& digits) {
  std::string bytes;
  if (digits.size() % 2 != 0) return bytes;
  if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

class Traps : public SourceConnection {
 public:
  Traps(NetAddress address, const Settings& settings)
      : m_address(std::move(address)),
        m_credentials(settings.Text("Credentials")),
        m_engine(BytesOf(settings.Text("Engine"))),
        m_isVersion3(settings.Text("Version") == "3") {}

  void AddPoint(size_t /*point*/, const std::string& /*settings*/, SettingFaults& faults) override {
    faults.push_back({"From", "names a listener"});
  }

  void AddEvent(size_t event, const std::string& settings, SettingFaults& faults) override {
    const Settings its(settings);
    Told told;
    told.event = event;
    if (!its.Holds("Raise") && !its.Holds("Clear")) faults.push_back({"Raise", "is missing"});
    if (its.Holds("Raise")) told.raise = NeededOid(its, "Raise", faults).value_or(Oid());
    if (its.Holds("Clear")) told.clear = NeededOid(its, "Clear", faults).value_or(Oid());
    told.sender = its.Text("Sender");
    if (faults.empty()) m_events.push_back(std::move(told));
  }

  Problem Read(SourceSink& /*sink*/) override {
    if (m_listener.IsOpen()) return {};
    SnmpIdentity identity;
    if (Problem problem = ReadIdentity(m_credentials, m_isVersion3, identity)) return problem;
    Problem problem = m_listener.Open(m_address, identity, m_engine);
    if (problem) m_listener.Close();
    return problem;
  }

  int EventFd() const override { return m_listener.Fd(); }

  void TakeEvents(SourceSink& sink) override {
    for (const SnmpTrap& trap : m_listener.Take()) {
      for (const Told& told : m_events) {
        if (!told.sender.empty() && told.sender != trap.sender) continue;
        if (trap.name.empty()) continue;
        if (trap.name == told.raise) sink.Event(told.event, true);
        if (trap.name == told.clear) sink.Event(told.event, false);
      }
    }
  }

 private:
  struct Told {
    size_t event = 0;
    Oid raise;           // empty where it is not asked for
    Oid clear;           // the same
    std::string sender;  // any when empty
  };

  const NetAddress m_address;
  const std::string m_credentials;
  const std::string m_engine;
  const bool m_isVersion3;
  std::vector<Told> m_events;
  SnmpListener m_listener;
};

// A way to the agent of the settings, which were looked at.
Problem OpenSession(const Settings& settings, const SourceLimits& limits, SnmpSession& session) {
  SnmpIdentity identity;
  const bool isVersion3 = settings.Text("Version") == "3";
  if (Problem problem = ReadIdentity(settings.Text("Credentials"), isVersion3, identity)) {
    return problem;
  }
  const auto address = ParseNetAddress(settings.Text("Address"), kAgentPort);
  return session.Open(address.value_or(NetAddress()), identity, limits);
}

// The sensors that the agent has, and with an identifier all numbers below it.
Problem FindPoints(const SnmpAsk& ask, const std::optional<Oid>& begin, const WalkLimits& limits,
                   std::vector<OfferedPoint>& points, bool& isCut) {
  SnmpTree tree;
  if (begin) {
    if (Problem problem = WalkTree(ask, *begin, limits, tree, isCut)) return problem;
    points = PointsOfTree(tree, *begin);
    return points.empty() ? Problem("its device has no number below " + OidText(*begin))
                          : Problem();
  }
  if (Problem problem = WalkTree(ask, kSensorTable, limits, tree, isCut)) return problem;
  SnmpTree names;
  for (const Oid& column : {kPartNames, kPartDescriptions}) {
    if (Problem problem = WalkTree(ask, column, limits, names, isCut)) return problem;
  }
  points = PointsOfSensors(tree, names);
  return points.empty() ? Problem(
                              "its device has no table of sensors (ENTITY-SENSOR-MIB): name "
                              "the object below which its numbers are")
                        : Problem();
}

}  // namespace

std::vector<JsonKey> SnmpModule::ConnectionKeys() const {
  using Type = JsonKey::Type;
  return {{"Address", Type::kText},
          {"Listen", Type::kText},
          {"Version", Type::kText},
          {"Engine", Type::kText},
          {"Credentials", Type::kText},
          TimeoutKey(),
          RetriesKey()};
}

std::vector<JsonKey> SnmpModule::PointKeys() const { return {{"Oid", JsonKey::Type::kText}}; }

std::vector<JsonKey> SnmpModule::EventKeys() const {
  using Type = JsonKey::Type;
  return {{"Raise", Type::kText}, {"Clear", Type::kText}, {"Sender", Type::kText}};
}

std::unique_ptr<SourceConnection> SnmpModule::Open(const std::string& settings,
                                                   const SourceLimits& limits,
                                                   SettingFaults& faults) const {
  const Settings its(settings);
  const std::string version = its.Text("Version");
  if (version != "2c" && version != "3") faults.push_back({"Version", "is neither 2c nor 3"});
  const std::string credentials = its.Needed("Credentials", faults);
  if (!credentials.empty() && credentials.front() != '/') {
    faults.push_back({"Credentials", "is not an absolute path"});
  }
  const bool listens = its.Holds("Listen");
  const char* const where = listens ? "Listen" : "Address";
  const std::string text = its.Needed(where, faults);
  const auto address = ParseNetAddress(text, listens ? kTrapPort : kAgentPort);
  if (!text.empty() && !address) faults.push_back({where, "is no host with or without a port"});
  if (listens && its.Holds("Address")) faults.push_back({"Address", "stands beside a \"Listen\""});
  const bool needsEngine = listens && version == "3";
  if (needsEngine && BytesOf(its.Text("Engine")).empty()) {
    faults.push_back({"Engine", "is no even number of hexadecimal digits"});
  }
  if (!faults.empty()) return nullptr;
  if (listens) return std::make_unique<Traps>(*address, its);
  return std::make_unique<Agent>(*address, its, limits);
}

Problem SnmpModule::FindOffer(const OfferRequest& request, SettingFaults& faults,
                              Offer& offer) const {
  const std::optional<Oid> begin = request.begin.empty() ? std::nullopt : ParseOid(request.begin);
  if (!request.begin.empty() && !begin) {
    return Problem("\"" + request.begin + "\" is no object identifier of numbers");
  }
  const Settings its(request.settings);
  if (its.Holds("Listen")) return Problem("a listener has no points");
  static_cast<void>(Open(request.settings, request.limits, faults));
  if (!faults.empty()) return {};
  SnmpSession session;
  if (Problem problem = OpenSession(its, request.limits, session)) return problem;
  const SnmpAsk ask = [&session](PduRef asked, PduRef& answer) {
    return session.Ask(std::move(asked), answer);
  };
  OfferedSource source;
  source.name = its.Text("Address");
  source.settings = request.settings;
  const WalkLimits limits = {kMostWalked, request.untilMs};
  if (Problem problem = FindPoints(ask, begin, limits, source.points, offer.isCut)) return problem;
  if (source.points.size() > request.most) {
    source.points.resize(request.most);
    offer.isCut = true;
  }
  offer.sources.push_back(std::move(source));
  return {};
}

}  // namespace host
