// SPDX-License-Identifier: Apache-2.0
// An agent or a listener of the device's file.
#include "host/device/sources/snmp/Snmp.h"

#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/snmp/Agent.h"
#include "host/device/sources/snmp/Listener.h"

namespace host {
namespace {

constexpr uint16_t kAgentPort = 161;
constexpr uint16_t kTrapPort = 162;

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

}  // namespace host
