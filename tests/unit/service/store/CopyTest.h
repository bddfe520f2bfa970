// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_COPYTEST_H_
#define TESTS_UNIT_SERVICE_COPYTEST_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TempFolder.h"
#include "service/store/Lists.h"
#include "service/store/Store.h"
#include "service/store/copy/ServiceCopy.h"
#include "service/store/sqlite/SqliteSide.h"

namespace cloudservice {

// A side whose writer can be stopped, and whose rows can be changed on their way.
class WatchedSide : public CopySide {
 public:
  explicit WatchedSide(std::unique_ptr<CopySide> side) : m_side(std::move(side)) {}

  // Called before each Put() and Finish().
  std::function<void()> beforeChange = [] {};
  std::function<void(const CopiedTable& table, CopiedRow& row)> change = [](const CopiedTable&,
                                                                            CopiedRow&) {};

  const std::string& Name() const override { return m_side->Name(); }
  std::string Identity() override { return m_side->Identity(); }
  void BeginReading() override { m_side->BeginReading(); }
  void BeginWriting() override { m_side->BeginWriting(); }
  std::int64_t Count(const CopiedTable& table) override { return m_side->Count(table); }
  Rows Next(const CopiedTable& table, const std::string& place) override {
    return m_side->Next(table, place);
  }
  Numbers LastNumbers() override { return m_side->LastNumbers(); }
  Notes Noted() override { return m_side->Noted(); }
  void Arrange(const CopiedTable& table, CopiedRow& row) override { m_side->Arrange(table, row); }
  void Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
           const Notes& notes) override {
    beforeChange();
    std::vector<CopiedRow> put = rows;
    for (CopiedRow& row : put) change(table, row);
    m_side->Put(table, put, notes);
  }
  void Finish(const Numbers& source) override {
    beforeChange();
    m_side->Finish(source);
  }

 private:
  const std::unique_ptr<CopySide> m_side;
};

constexpr std::int64_t kDaySeconds = 86400;
// Noon of some day.
constexpr std::int64_t kNoon = 20000 * kDaySeconds + kDaySeconds / 2;

// Fills a store with something of every kind, the odd ones included, and with what removals have
// left.
inline void FillService(Transaction& work) {
  work.AddRegistrationKey("a@b", "salt1 key1", false, 10);
  work.AddRegistrationKey("a@b", "salt1 key2", false, 11);
  work.AddRegistrationKey("gone@b", "salt2 key", false, 12);
  work.AddRegistrationKey("leaving@b", "salt3 key", false, 13);
  work.AddRegistrationKey("last@b", "salt4 key", false, 14);
  work.AddOperator({0, "olga", "salt hash", std::nullopt, 20});
  work.AddOperator({0, "script", std::nullopt, "tokenhash", 21});
  work.AddOperator({0, "last", "x", std::nullopt, 22});
  const auto account = [&](const std::string& email) { return work.FindAccount(email)->id; };
  const std::int64_t own = account("a@b");
  const std::int64_t gone = account("gone@b");
  const std::int64_t leaving = account("leaving@b");
  const std::int64_t last = account("last@b");
  const std::vector<std::pair<std::string, std::int64_t>> managers = {
      {"u", own}, {"v", own}, {"w", gone}, {"x", leaving}, {"again", own}, {"z", own}};
  for (const auto& [uuid, owner] : managers) {
    work.AddManager({uuid,
                     "name of " + uuid,
                     R"({"Name": "L)" + uuid + R"(", "Model": "M"})",
                     kNoon - 5000,
                     {},
                     owner,
                     "192.0.2.1"},
                    "token " + uuid);
    for (const char* number : {"1", "2"}) {
      work.AddChassis({"chassis" + uuid + number, uuid, R"({"c": "\n"})", kNoon - 4000});
    }
  }
  const auto put = [&](const std::string& uuid, const std::string& chassis, const std::string& path,
                       std::int64_t time, const std::vector<NumberRecord>& numbers) {
    std::optional<std::string> below;
    if (!chassis.empty()) below = chassis;
    work.PutResource({path, uuid, below, "{\"at\": " + std::to_string(time) + "}", time},
                     {path, uuid, below, time, numbers});
  };
  const std::string odd("/odd\0\1\xff'\"\\ path", 16);
  for (int i = 0; i < 130; ++i) {
    const std::int64_t time = kNoon + i * 3600;
    put("u", "chassisu1", "/t", time, {{"a", std::to_string(i)}, {"b", "1.5"}});
    put("v", "", odd, time, {{"c", std::to_string(i % 3)}});
    put("again", "chassisagain1", "/t", time, {{"a", "1"}});
    put("x", "chassisx2", "/t", time, {{"a", "7"}});
  }
  put("u", "chassisu1", "/t", kNoon, {{"a", "-1"}});  // the clock was set back
  put("u", "chassisu2", "/t2", kNoon, {{"a", "3"}});
  put("z", "chassisz1", "/t", kNoon, {{"a", "3"}});
  work.AddHeartbeat("u", kNoon, 60, "192.0.2.9");
  work.AddHeartbeat("u", kNoon + 60, 60, "");
  work.AddHeartbeat("v", kNoon + 60, 90, "");
  work.SetManagerDocument("u", R"({"Name": "Ü", "SerialNumber": "7"})", {"", "u", {}, kNoon, {}});
  work.SetChassisDocument("chassisv1", R"({"d": 1.50})", {"", "v", "chassisv1", kNoon, {}});
  const auto event = [&](const std::string& uuid, const std::string& chassis, const std::string& id,
                         const std::string& severity, std::int64_t received,
                         const std::string& alarm) {
    work.AddEvent({0, uuid, chassis, id, severity, "{\"e\": \"" + alarm + " é\"}", received},
                  alarm);
  };
  // The oldest stands for an open alarm, the one behind it does not.
  event("v", "chassisv1", "old", "Fault", kNoon - 400 * kDaySeconds, "old");
  event("v", "chassisv2", "old", "Warning", kNoon - 399 * kDaySeconds, "old");
  event("u", "", "m", "Message", kNoon - 300 * kDaySeconds, "m");
  for (int day = 0; day < 3; ++day) {
    for (int i = 0; i < 70; ++i) {
      const std::string id = "m" + std::to_string(i % 10);
      const std::int64_t time = kNoon + day * kDaySeconds + i;
      event(i % 2 == 0 ? "u" : "again", i % 2 == 0 ? "chassisu1" : "chassisagain1", id,
            i % 3 == 0 ? "Fault" : "Warning", time, id);
      event("z", "chassisz1", id, "Alarm", time, id);
      if (i % 4 == 0) event("u", "chassisu1", "258", "OK", time, "m" + std::to_string(i % 8));
    }
  }
  event("u", "chassisu2", "m", "Alarm", kNoon + 3 * kDaySeconds, "m");
  event("u", "chassisu1", "back", "Alarm", kNoon, "back");  // the clock was set back
  event("u", "chassisu1", "last", "OK", kNoon + 3 * kDaySeconds, "last");
  // "w" was silent, "u" is late, "v" was never heard.
  work.Settle(kNoon + 200, 99);
  work.AddHeartbeat("w", kNoon + 201, 600, "");
  AlarmFilter alarms;
  alarms.manager = "u";
  alarms.limit = 1;
  for (const AlarmName::Kind kind : {AlarmName::Kind::kAlarm, AlarmName::Kind::kSilence}) {
    alarms.kind = kind;
    const AlarmName name = work.ListAlarms(alarms).at(0).name;
    work.Acknowledge(name, Acknowledgement{kNoon + 250, "olga", "Ü"});
  }
  work.AddMessage("u", {"key", "digest", work.ListEventPage({"u", 0, 20, 1}).at(0), kNoon});
  work.AddMessage("u", {"last", "digest", work.ListEventPage({"u", 0, 90, 1}).at(0), kNoon + 1});
  work.AddMessage("z", {"key", "digest", 1, kNoon});
  work.AddSession("session", work.FindOperator("olga")->id, kNoon, 10);
  work.AddFailure("192.0.2.5", kNoon, 30, 10);
  work.DeleteChassis("chassisu2");
  work.DeleteManager("z");
  // Registered anew: what it had is not seen.
  work.AddManager({"again", "anew", "{}", kNoon, {}, own, ""}, "token anew");
  work.DeleteOperator("last");
  work.DeleteAccount(gone, false);
  work.DeleteAccount(leaving, true);
  work.DeleteAccount(last, false);
}
inline void FillService(Store& store) {
  store.Write([](Transaction& work) { FillService(work); });
}

// Everything that the store's operations tell, but the numbers of events.
class ToldService {
 public:
  explicit ToldService(Store& store) {
    store.Read([this](Transaction& look) {
      m_lines.clear();
      Owners(look);
      for (const ApplianceRecord& one : look.ListAppliances(All())) Appliance(look, one.uuid);
      FleetAlarms(look);
      Counts(look);
    });
  }
  const std::vector<std::string>& Lines() const { return m_lines; }

 private:
  static FleetFilter All() {
    FleetFilter all;
    all.now = kNoon + 3600;
    all.limit = 1000;
    return all;
  }
  static std::string Shown(const std::optional<std::string>& text) { return text ? *text : "-"; }
  static std::string Shown(const std::optional<std::int64_t>& number) {
    return number ? std::to_string(*number) : "-";
  }

  template <typename... Parts>
  void Line(const Parts&... parts) {
    std::string line;
    ((line += Part(parts) + "|"), ...);
    m_lines.push_back(line);
  }
  static std::string Part(const std::string& text) { return text; }
  static std::string Part(std::int64_t number) { return std::to_string(number); }

  void Owners(Transaction& look) {
    for (const AccountRecord& one : AllOf(look, &Transaction::ListAccounts)) {
      Line("account", one.id, one.email, one.created, one.keys, one.managers);
      for (const std::string& key : look.ListRegistrationKeys(one.id)) Line("key", key);
    }
    for (const OperatorRecord& one : AllOf(look, &Transaction::ListOperators)) {
      Line("operator", one.id, one.name, Shown(one.passwordHash), Shown(one.tokenHash),
           one.created);
    }
  }

  void Appliance(Transaction& look, const std::string& uuid) {
    const ApplianceRecord one = *look.FindAppliance(uuid);
    Line("appliance", uuid, one.shown.name, Shown(one.shown.model), Shown(one.shown.serial),
         Shown(one.shown.firmware), one.registered, one.changed, one.address, one.alarms[0],
         one.alarms[1], one.alarms[2], Shown(one.email), Shown(one.chassis));
    const ManagerRecord manager = *look.FindManager(uuid);
    Line("manager", manager.name, manager.document, manager.heartbeat.count,
         Shown(manager.heartbeat.last), Shown(manager.heartbeat.interval), Shown(manager.account),
         static_cast<std::int64_t>(StateOf(manager, kNoon + 200)));
    for (const char* token : {"token ", "token anew"}) {
      const auto sender = look.FindSender(token == std::string("token ") ? token + uuid : token);
      if (sender) Line("sender", sender->uuid, sender->name, Shown(sender->account));
    }
    for (const ChassisRecord& chassis : AllOf(look, &Transaction::ListChassisRecords, uuid)) {
      Line("chassis", chassis.number, chassis.id, chassis.document, chassis.created);
    }
    for (const DocumentRecord& document : AllOf(look, &Transaction::ListDocuments, uuid)) {
      Line("document", document.name.name, document.document, document.changed);
      const auto resource = look.FindResource(uuid, document.name.name);
      if (resource) Line("below", Shown(resource->chassis));
    }
    Events(look, uuid);
    Histories(look, uuid);
  }

  void Events(Transaction& look, const std::string& uuid) {
    for (const AlarmRecord& alarm : AllOf(look, &Transaction::ListOpenAlarms, uuid)) {
      Line("alarm", alarm.id, alarm.chassis, alarm.messageId, alarm.severity, alarm.document,
           alarm.opened);
    }
    LogFilter log;
    log.manager = uuid;
    log.limit = 1000;
    for (const LoggedEvent& one : look.ListLog(log)) Event(one);
    log.since = kNoon - 399 * kDaySeconds;
    log.until = kNoon + kDaySeconds;
    for (const LoggedEvent& one : look.ListLog(log)) Event(one);
    EventFilter filter;
    filter.manager = uuid;
    for (const bool cleared : {false, true}) {
      filter.cleared = cleared;
      for (const std::int64_t id : AllOf(look, &Transaction::ListEvents, filter)) {
        Line("of an alarm", cleared, look.FindEvent(uuid, id)->document);
      }
    }
    Line("events", look.CountEvents(uuid),
         static_cast<std::int64_t>(look.ListEventPage({uuid, 0, 1, 1000}).size()));
    for (const char* key : {"key", "last"}) {
      const auto message = look.FindMessage(uuid, key);
      if (!message) continue;
      Line("message", key, message->digest, message->received,
           look.FindEvent(uuid, message->event)->document);
    }
  }
  void Event(const LoggedEvent& one) {
    Line("event", one.event.chassis, one.event.messageId, one.event.severity, one.event.document,
         one.event.received, static_cast<std::int64_t>(one.event.kind), one.cleared);
  }

  void FleetAlarms(Transaction& look) {
    AlarmFilter filter;
    filter.limit = 1000;
    for (const bool open : {true, false}) {
      filter.open = open;
      for (const FleetAlarm& one : look.ListAlarms(filter)) {
        Line("of the fleet", static_cast<std::int64_t>(one.name.kind), one.name.id, one.manager,
             static_cast<std::int64_t>(one.severity), one.opened, Shown(one.closed), one.chassis,
             one.messageId, one.document, Shown(one.offline));
        const Acknowledgement word = one.acknowledged.value_or(Acknowledgement{});
        Line("acknowledged", word.time, word.by, word.note);
      }
    }
    FleetLogFilter log;
    log.limit = 1000;
    for (const FleetEvent& one : look.ListFleetLog(log)) {
      Line(one.label, one.entry.event.manager);
      Event(one.entry);
    }
  }

  void Histories(Transaction& look, const std::string& uuid) {
    const std::optional<std::string> any;
    for (const MemberRecord& member : AllOf(look, &Transaction::ListMembers, uuid, any)) {
      Line("member", member.id, member.path, member.name);
      HistoryFilter filter = {uuid, member.path, member.name, 0, 0, 1000};
      for (const HistoryValue& value : look.ListHistory(filter)) {
        Line("reading", value.id, value.time, value.value);
      }
      look.ReadHistory(member.id, 0, kNoon * 2, [&](std::int64_t time, const std::string& value) {
        Line("in time", time, value);
      });
    }
  }

  void Counts(Transaction& look) {
    const Totals totals = look.CountTotals();
    Line("totals", totals.managers, totals.chassis);
    for (std::size_t i = 0; i < 3; ++i) Line("open", totals.alarms[i], totals.alarmed[i]);
    const StateCounts states = look.CountStates(kNoon + 200);
    for (const std::int64_t state : states) Line("state", state);
    Line("silent", look.CountSilent());
  }

  std::vector<std::string> m_lines;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_COPYTEST_H_
