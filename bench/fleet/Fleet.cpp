// SPDX-License-Identifier: Apache-2.0
// The requests of appliances and operators, byte for byte, and what has to be answered.
#include "Fleet.h"

#include <array>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace fleet {

namespace {

// The alarm that comes and goes; seeded ones have other numbers and stay.
constexpr int kAlarm = 4711;
// Between two beats, as appliances announce it.
constexpr const char* kInterval = "90";
// A name and a password that nobody has, in base64.
constexpr const char* kWrong = "bm9ib2R5Om9uIG5vIGFjY291bnQ=";

const std::string kChassisPath = "/redfish/v1/Chassis/";

constexpr std::array<const char*, kKinds> kNames = {
    "register",  "chassis",    "beat", "value",  "raise",         "clear",
    "read-beat", "read-value", "view", "search", "wrong-password"};

// The number as so many hexadecimal digits.
std::string Hex(std::int64_t number, int digits) {
  std::array<char, 80> text = {};
  const int length = std::snprintf(text.data(), text.size(), "%0*" PRIx64, digits, number);
  return std::string(text.data(), static_cast<std::size_t>(length));
}

// Local time as an appliance writes it: the offset without a colon.
std::string Now() {
  const time_t now = time(nullptr);
  struct tm parts = {};
  localtime_r(&now, &parts);
  std::array<char, 32> text = {};
  return std::string(text.data(),
                     strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts));
}

// A temperature with one decimal that is not 0, so that every JSON library writes it alike. Values
// that follow one another differ.
std::string Temperature(std::int64_t value) {
  return std::to_string(15 + value / 9 % 20) + "." + std::to_string(value % 9 + 1);
}

// The requests of an appliance have these headers, in this order.
std::string Post(const std::string& path, const Identity& appliance, const std::string& body) {
  std::string text = "POST " + path + " HTTP/1.1\r\nHost: 192.0.2.7\r\n";
  text += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size());
  text += "\r\nAccept: application/json\r\n";
  if (!appliance.token.empty()) text += "X-Auth-Token: " + appliance.token + "\r\n";
  return text + "\r\n" + body;
}

std::string Get(const std::string& path, const Identity& appliance) {
  return "GET " + path + " HTTP/1.1\r\nHost: 192.0.2.7\r\nAccept: application/json\r\n" +
         "X-Auth-Token: " + appliance.token + "\r\n\r\n";
}

std::string Patch(const std::string& path, const Identity& appliance, const std::string& body) {
  return "PATCH " + path + " HTTP/1.1\r\nHost: 192.0.2.7\r\nX-Auth-Token: " + appliance.token +
         "\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nAccept: application/json\r\n\r\n" + body;
}

std::string Ask(const std::string& path, const std::string& host, const std::string& credentials) {
  return "GET /api/v1/" + path + " HTTP/1.1\r\nHost: " + host +
         "\r\nAccept: */*\r\nAuthorization: " + credentials + "\r\n\r\n";
}

std::string ManagerPath(const Identity& appliance) {
  return "/redfish/v1/Managers/" + appliance.uuid;
}

std::string BeatBody(const std::string& host, const Identity& appliance) {
  return R"({"HeartbeatDestination": "https://)" + host + "/hb/" + appliance.uuid +
         R"(", "HeartbeatInterval": )" + kInterval + "}";
}

// An event of the alarm, as the daemon puts it together.
std::string Event(const Identity& appliance, const std::string& begin, const std::string& text) {
  return "{ " + begin + R"(],"Message": "[1] )" + text + R"(","OriginOfCondition": )" +
         R"({"@odata.id": ")" + kChassisPath + appliance.chassis + R"("}, "Created": ")" + Now() +
         R"("})";
}

std::string ClearDocument(const Identity& appliance) {
  return Event(appliance,
               R"("MessageId": "258","Severity": "MESSAGE","MessageArgs": ["Unit1","System",")" +
                   Now() + R"(",")" + AlarmId(kAlarm) + "\"",
               "Filter clogged (Cleared).");
}

bool Holds(const Answer& answer, const std::string& text) {
  return answer.body.find(text) != std::string::npos;
}

// The number behind this name in a JSON text; -1 when there is none.
std::int64_t NumberOf(const std::string& text, const std::string& name) {
  const std::size_t at = text.find("\"" + name + "\":");
  if (at == std::string::npos) return -1;
  const char* begin = text.c_str() + at + name.size() + 3;
  char* end = nullptr;
  const std::int64_t number = std::strtoll(begin, &end, 10);
  return end == begin ? -1 : number;
}

std::string Unexpected(const Answer& answer) {
  return "answered " + std::to_string(answer.status) + " " + answer.body.substr(0, 200);
}

unsigned Expected(Kind kind) {
  switch (kind) {
    case Kind::kRegister:
    case Kind::kChassis:
    case Kind::kRaise:
    case Kind::kClear:
      return 201;
    case Kind::kValue:
      return 204;
    case Kind::kWrongPassword:
      return 401;
    default:
      return 200;
  }
}

}  // namespace

const char* NameOf(Kind kind) { return kNames.at(static_cast<std::size_t>(kind)); }

Identity IdentityOf(std::int64_t number) {
  return {"f1ee7000-5a54-4a0e-9d0b-" + Hex(number, 12), "f1ee7" + Hex(number, 59),
          "f1ee" + Hex(number, 12)};
}

std::string NameOfAppliance(std::int64_t number) {
  return "Hall " + std::to_string(number % 97) + " unit " + std::to_string(number);
}

std::string ManagerDocument(const Identity& appliance, const std::string& name) {
  return "{\n\"DateTime\": \"" + Now() +
         "\",\n\"FirmwareVersion\": \"1.0.0\",\n\"ManagerType\": \"ManagementController\","
         "\n\"Model\": \"Kyros\",\n\"Name\": \"" +
         name + "\",\n\"UUID\": \"" + appliance.uuid + "\"\n}\n";
}

std::string ChassisDocument(const Identity& appliance) {
  return "{\n  \"Name\": \"Cooling unit 7\",\n  \"ChassisType\": \"Module\",\n"
         "  \"AssetTag\": \"1.2.3\",\n  \"Supply\": \"21\",\n"
         "  \"Links\": {\"ManagedBy\": [{\"@odata.id\": \"" +
         ManagerPath(appliance) + "\"}]}\n}\n";
}

std::string ThermalDocument(std::int64_t value) {
  return "{\n  \"Temperatures\": [{\"MemberId\": \"supply\", \"ReadingCelsius\": " +
         Temperature(value) + "}],\n  \"Oem\": {\"Quorvan\": {\"Mode\": \"Cooling\"}}\n}\n";
}

std::string AlarmId(int alarm) { return "Zarvel.GDD." + std::to_string(alarm) + ":0"; }

std::string EventDocument(const Identity& appliance, int alarm, const char* severity) {
  return Event(appliance,
               R"("MessageId": ")" + AlarmId(alarm) + R"(","Severity": ")" + severity +
                   R"(","MessageArgs": ["Unit1","System","0", null)",
               "Filter clogged.");
}

std::string ThermalPath(const Identity& appliance) {
  return kChassisPath + appliance.chassis + "/Thermal";
}

Fleet::Fleet(std::int64_t appliances, std::string host, std::int64_t large, bool exact)
    : m_host(std::move(host)),
      m_large(IdentityOf(large)),
      m_exact(exact),
      m_appliances(static_cast<std::size_t>(appliances)) {
  for (std::int64_t i = 0; i < appliances; ++i) Of(i).identity = IdentityOf(i);
}

std::string Fleet::Search(std::int64_t before) const {
  std::string path =
      "appliances/" + m_large.uuid + "/events?q=nothing%20has%20this%20text&limit=100";
  if (before > 0) path += "&before=" + std::to_string(before);
  return Ask(path, m_host, std::string("Bearer ") + kOperatorToken);
}

std::string Fleet::Request(Kind kind, std::int64_t number) {
  switch (kind) {
    case Kind::kView:
      return Ask("appliances?sort=name&limit=100", m_host, std::string("Bearer ") + kOperatorToken);
    case Kind::kSearch:
      return Search(m_before);
    case Kind::kWrongPassword:
      return Ask("session", m_host, std::string("Basic ") + kWrong);
    default:
      break;
  }
  Appliance& appliance = Of(number);
  const Identity& identity = appliance.identity;
  const std::string events = ManagerPath(identity) + "/Oem/Quorvan:Events";
  switch (kind) {
    case Kind::kRegister:
      return Post(
          std::string("/redfish/v1/Managers?setup_email=") + kEmail + "&registration_key=fleet-key",
          {}, ManagerDocument(identity, NameOfAppliance(number)));
    case Kind::kChassis:
      return Post("/redfish/v1/Chassis", identity, ChassisDocument(identity));
    case Kind::kBeat:
      return Post("/hb/" + identity.uuid, identity, BeatBody(m_host, identity));
    case Kind::kValue:
      appliance.valueKept = false;
      return Patch(ThermalPath(identity), identity, ThermalDocument(++appliance.value));
    case Kind::kRaise:
      return Post(events, identity, EventDocument(identity, kAlarm, "Alarm"));
    case Kind::kClear:
      return Post(events, identity, ClearDocument(identity));
    case Kind::kReadBeat:
      return Get(ManagerPath(identity), identity);
    default:
      return Get(ThermalPath(identity), identity);
  }
}

std::string Fleet::CheckBeat(Appliance& appliance, const Answer& answer) const {
  const std::int64_t count = NumberOf(answer.body, "Count");
  const std::int64_t before = std::exchange(appliance.beats, count);
  if (count < 1 || NumberOf(answer.body, "IntervalSeconds") != 90 ||
      !Holds(answer, "\"Overdue\":false")) {
    return Unexpected(answer);
  }
  if (m_exact && before >= 0 && count != before + 1) {
    return "counted heartbeat " + std::to_string(count) + " after " + std::to_string(before);
  }
  return "";
}

std::string Fleet::CheckEvent(Kind kind, const Answer& answer) const {
  const std::string id = kind == Kind::kClear ? "258" : AlarmId(kAlarm);
  const bool right = Holds(answer, "\"MessageId\":\"" + id + "\"") &&
                     answer.location.rfind("/redfish/v1/Oem/Quorvan:Events/", 0) == 0;
  return right ? "" : Unexpected(answer);
}

std::string Fleet::CheckSearch(const Answer& answer) {
  // What is searched holds no such text; the search goes on where this part of it ended.
  if (!Holds(answer, "\"items\":[]")) return Unexpected(answer);
  m_before = NumberOf(answer.body, "next") > 0 ? NumberOf(answer.body, "next") : 0;
  return "";
}

std::string Fleet::Check(Kind kind, std::int64_t number, const Answer& answer) {
  // Where senders are limited, a wrong password may as well be put off.
  const bool putOff = kind == Kind::kWrongPassword && answer.status == 429;
  if (answer.status != Expected(kind) && !putOff) return Unexpected(answer);
  if (kind == Kind::kSearch) return CheckSearch(answer);
  if (kind == Kind::kView) {
    const bool right = NumberOf(answer.body, "total") > 0 && Holds(answer, "\"items\":[{");
    return right ? "" : Unexpected(answer);
  }
  if (kind == Kind::kWrongPassword) return "";
  Appliance& appliance = Of(number);
  switch (kind) {
    case Kind::kRegister:
      if (answer.token.empty()) return "answered without a token";
      appliance.identity.token = answer.token;
      appliance.beats = 0;
      return "";
    case Kind::kChassis:
      if (answer.location.rfind(kChassisPath, 0) != 0) return Unexpected(answer);
      appliance.identity.chassis = answer.location.substr(kChassisPath.size());
      return "";
    case Kind::kBeat:
      return CheckBeat(appliance, answer);
    case Kind::kValue:
      appliance.valueKept = true;
      return answer.body.empty() ? "" : Unexpected(answer);
    case Kind::kReadBeat:
      if (appliance.beats < 0 || NumberOf(answer.body, "Count") == appliance.beats) return "";
      return "lost heartbeats: " + std::to_string(appliance.beats) + " were answered, " +
             std::to_string(NumberOf(answer.body, "Count")) + " are there";
    case Kind::kReadValue:
      if (!appliance.valueKept) return "";
      return Holds(answer, "\"ReadingCelsius\":" + Temperature(appliance.value))
                 ? ""
                 : "lost value " + Temperature(appliance.value) + ": " + Unexpected(answer);
    default:
      return CheckEvent(kind, answer);
  }
}

void Fleet::Lost(Kind kind, std::int64_t number) {
  if (kind == Kind::kBeat) Of(number).beats = -1;
  if (kind == Kind::kValue) Of(number).valueKept = false;
}

}  // namespace fleet
