// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "ServiceTest.h"
#include "service/http/Pretty.h"
#include "service/ops/ApplianceMetrics.h"
#include "service/ops/Operations.h"
#include "service/store/Backup.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class OperationsTest : public ServiceTest {
 protected:
  Response AskBefore(const std::string& method, const std::string& target,
                     const std::string& sent = "", const std::string& body = "") {
    return operations.Handle(Request{method, target, body, sent, "192.0.2.7"});
  }
  std::string Metrics() { return AskBefore("GET", "/metrics").body; }

  std::string token = Token("u-1");
  Operations operations{
      *store,
      log,
      [this] { return now; },
      {[this](const Request& request) { return service->Handle(request); },
       [this](unsigned status, const Request& request, const std::string& reason) {
         return service->Refuse(status, request, reason);
       },
       [this](const Request& head) { return service->RefuseHead(head); },
       [] {
         return Load{
             {3, 4, 5}, 6, 14, 13, {7, 8, 9, 10}, {{"quota_bytes", 11}, {"all_streams", 12}}};
       },
       service->ListRoutes()}};

  // The value of a metric; -1 when there is none.
  double Metric(const std::string& sample) {
    const std::string text = Metrics();
    const std::size_t at = text.find("\ncloudservice_" + sample + " ");
    return at == std::string::npos ? -1 : std::stod(text.substr(text.find(' ', at + 1)));
  }
};

// Cases that damage the file, or fill its disk.
using SqliteOperationsTest = OperationsTest;

TEST_F(OperationsTest, Health_is_told_without_a_token) {
  const Response response = AskBefore("GET", "/healthz");
  EXPECT_EQ(response.status, 200u);
  EXPECT_EQ(response.body, R"({"status":"ok"})");
  EXPECT_EQ(AskBefore("GET", "/healthz?pretty").body, "{\n  \"status\": \"ok\"\n}\n");
}

TEST_F(OperationsTest, Json_is_indented_for_who_asks_for_it) {
  const std::string event = "/redfish/v1/Managers/u-1/Oem/Quorvan:Events";
  const std::string text = R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "a, \"b\": {"})";
  const auto expectBoth = [&](const std::string& method, const std::string& target,
                              const std::string& body = "") {
    const std::string compact = AskBefore(method, target, token, body).body;
    EXPECT_EQ(compact, Json::parse(compact).dump()) << target;
    const char* mark = target.find('?') == std::string::npos ? "?" : "&";
    for (const char* option : {"pretty", "pretty=true", "pre%74ty=%74rue"}) {
      const std::string indented = AskBefore(method, target + mark + option, token, body).body;
      EXPECT_EQ(indented, Json::parse(indented).dump(2) + "\n") << target;
    }
    const std::string same = AskBefore(method, target + mark + "pretty=false", token, body).body;
    EXPECT_EQ(same, Json::parse(same).dump()) << target;
  };
  expectBoth("GET", "/redfish/v1/");
  expectBoth("GET", "/redfish/v1/Schemas/QuorvanEvent.v1_0_0.json");
  expectBoth("GET", "/redfish/v1/Chassis?$top=1&$expand=.&$select=Members/Name");
  expectBoth("GET", "/redfish/v1/Oem/Quorvan:Events?Cleared=false");
  expectBoth("GET", "/redfish/v1/Managers/u-1/Oem/Quorvan:History");
  expectBoth("GET", "/redfish/v1/nothing");
  expectBoth("POST", event, text);
  expectBoth("POST", event, "{");
  expectBoth("GET", "/healthz");
}

TEST_F(OperationsTest, Nothing_but_json_is_indented) {
  EXPECT_THAT(AskBefore("GET", "/metrics?pretty").body, StartsWith("# HELP "));
  EXPECT_EQ(AskBefore("GET", "/redfish/v1/$metadata?pretty").body,
            AskBefore("GET", "/redfish/v1/$metadata").body);
}

TEST_F(OperationsTest, Key_of_a_registration_may_end_like_the_option) {
  (*store)->AddRegistrationKey("a", HashPassword("k&pretty"), false, now);
  const Response response =
      AskBefore("POST", "/redfish/v1/Managers?setup_email=a&registration_key=k&pretty", "",
                R"({"UUID": "u-2"})");
  EXPECT_EQ(response.status, 201u);
  EXPECT_EQ(response.body, Json::parse(response.body).dump());
}

TEST_F(OperationsTest, Both_forms_have_one_entity_tag) {
  const std::string path = "/redfish/v1/Managers/u-1";
  const std::string tag = Header(AskBefore("GET", path, token), "ETag");
  EXPECT_EQ(Header(AskBefore("GET", path + "?pretty", token), "ETag"), tag);
  const auto with = [&](const std::string& method, const char* header, const std::string& target) {
    return operations.Handle(Request{method, target, "{}", token, "", {{header, tag}}}).status;
  };
  EXPECT_EQ(with("GET", "If-None-Match", path + "?pretty"), 304u);
  EXPECT_EQ(with("GET", "If-Match", path + "?pretty"), 200u);
  EXPECT_EQ(with("PATCH", "If-Match", path + "?pretty"), 204u);
  EXPECT_EQ(with("PATCH", "If-None-Match", path + "?pretty"), 412u);
  EXPECT_EQ(with("PATCH", "If-Match", path), 204u);
}

TEST(PrettyTest, Has_a_line_for_each_member_and_element) {
  EXPECT_EQ(Indented(R"({"a":[1,{"b":"x,:[\\\"]{"}],"c":{},"d":[],"e":[[]]})"),
            "{\n  \"a\": [\n    1,\n    {\n      \"b\": \"x,:[\\\\\\\"]{\"\n    }\n  ],\n"
            "  \"c\": {},\n  \"d\": [],\n  \"e\": [\n    []\n  ]\n}\n");
}

TEST(PrettyTest, Is_not_longer_than_may_be) {
  const std::string text = "[\n  1\n]\n";
  EXPECT_EQ(Indented("[1]", text.size()), text);
  EXPECT_EQ(Indented("[1]", text.size() - 1), std::nullopt);
  Response response;
  response.body = "[" + std::string(kMaxIndented, '1') + "]";
  const std::string before = response.body;
  IndentIfAsked("/?pretty", response);
  EXPECT_EQ(response.body, before);
}

TEST_F(SqliteOperationsTest, Database_that_cannot_be_read_is_told) {
  Database(folder.File("service.db")).Execute("PRAGMA foreign_keys = OFF; DROP TABLE manager");
  for (const char* target : {"/healthz", "/metrics"}) {
    EXPECT_EQ(AskBefore("GET", target).status, 503u) << target;
  }
}

TEST_F(OperationsTest, Both_are_only_read) {
  for (const char* target : {"/healthz", "/metrics"}) {
    EXPECT_EQ(AskBefore("HEAD", target).status, 200u);
    const Response response = AskBefore("POST", target);
    EXPECT_EQ(response.status, 405u);
    EXPECT_EQ(Header(response, "Allow"), "GET, HEAD");
  }
}

TEST_F(OperationsTest, Each_answer_has_a_line_and_its_identifier) {
  const Response first = AskBefore("GET", "/redfish/v1/Managers?uuid=u-1", token);
  const std::string id = Header(first, "X-Request-Id");
  EXPECT_THAT(id, EndsWith("-1"));
  EXPECT_THAT(lines.back(), HasSubstr(" request " + id +
                                      " from 192.0.2.7: GET /redfish/v1/Managers?uuid=u-1: 302, 0 "
                                      "bytes, "));
  EXPECT_THAT(lines.back(), EndsWith(" ms"));
  const Response second = AskBefore("GET", "/nowhere");
  EXPECT_EQ(Header(second, "X-Request-Id"), id.substr(0, id.size() - 1) + "2");
}

TEST_F(OperationsTest, Unreadable_request_has_its_line) {
  Request unread;
  unread.peer = "192.0.2.8";
  EXPECT_EQ(operations.Refuse(431, unread, "too large").status, 431u);
  EXPECT_THAT(lines.back(), HasSubstr(" from 192.0.2.8: unreadable: 431, "));
}

TEST_F(OperationsTest, Line_holds_neither_key_nor_token_and_stays_one) {
  AskBefore("POST", kRegistration, "", R"({"UUID": "u-2"})");
  AskBefore("GET", "/a\nb", token);
  for (const std::string& line : lines) {
    EXPECT_THAT(line, Not(HasSubstr("key-7")));
    EXPECT_THAT(line, Not(HasSubstr(token)));
    EXPECT_THAT(line, Not(HasSubstr("\n")));
  }
}

TEST_F(OperationsTest, Metrics_count_what_was_answered) {
  AskBefore("GET", "/redfish/v1");
  AskBefore("GET", "/redfish/v1");
  AskBefore("BREW", "/pot");
  EXPECT_EQ(Header(AskBefore("GET", "/metrics"), "Content-Type"), "");
  const Response response = AskBefore("GET", "/metrics");
  EXPECT_EQ(response.type, "text/plain; version=0.0.4; charset=utf-8");
  EXPECT_THAT(response.body,
              HasSubstr("# TYPE cloudservice_requests_total counter\n"
                        "cloudservice_requests_total{method=\"GET\",status=\"200\"} 3\n"
                        "cloudservice_requests_total{method=\"other\",status=\"404\"} 1\n"));
  for (const char* sample :
       {"connections 3", "connections_refused_total{limit=\"all\"} 4",
        "connections_refused_total{limit=\"sender\"} 5", "body_bytes 6", "answer_bytes 14",
        "streams 13", "requests_waiting{lane=\"changes\"} 7", "requests_waiting{lane=\"looks\"} 8",
        "requests_waiting{lane=\"sign_ins\"} 9", "requests_waiting{lane=\"health\"} 10",
        "requests_refused_total{limit=\"quota_bytes\"} 11",
        "requests_refused_total{limit=\"all_streams\"} 12", "writes_waiting 0"}) {
    EXPECT_THAT(response.body, HasSubstr(std::string("\ncloudservice_") + sample + "\n"));
  }
  EXPECT_THAT(response.body, HasSubstr("cloudservice_start_time_seconds 1772716029\n"));
}

TEST_F(OperationsTest, Metrics_tell_how_long_the_answers_of_a_route_took) {
  const std::string duration = "request_duration_seconds";
  AskBefore("GET", "/redfish/v1/Managers/u-1", token);
  AskBefore("HEAD", "/redfish/v1/Managers/u-1", token);
  AskBefore("GET", "/redfish/v1/Managers/u-9", token);
  AskBefore("PATCH", "/redfish/v1/Managers/u-1", token, "{}");
  AskBefore("GET", "/nowhere");
  AskBefore("GET", "/healthz");
  const std::string look = R"({route="/redfish/v1/Managers/*",kind="look"})";
  EXPECT_EQ(Metric(duration + "_count" + look), 3);
  EXPECT_GT(Metric(duration + "_sum" + look), 0);
  EXPECT_EQ(Metric(duration + R"(_bucket{route="/redfish/v1/Managers/*",kind="look",le="+Inf"})"),
            3);
  EXPECT_EQ(Metric(duration + R"(_bucket{route="/redfish/v1/Managers/*",kind="look",le="5"})"), 3);
  EXPECT_EQ(Metric(duration + R"(_count{route="/redfish/v1/Managers/*",kind="change"})"), 1);
  EXPECT_EQ(Metric(duration + R"(_count{route="other",kind="look"})"), 1);
  EXPECT_EQ(Metric(duration + R"(_count{route="/healthz",kind="look"})"), 1);
  EXPECT_GT(Metric(duration + R"(_count{route="/metrics",kind="look"})"), 5);
  EXPECT_EQ(Metric(duration + R"(_count{route="/redfish/v1/Chassis",kind="look"})"), -1)
      << "nobody has asked for it";
}

TEST_F(OperationsTest, Metrics_tell_what_the_store_does) {
  const double reads = Metric(R"(store_duration_seconds_count{operation="read"})");
  const double writes = Metric(R"(store_duration_seconds_count{operation="write"})");
  AskBefore("PATCH", "/redfish/v1/Managers/u-1", token, "{}");
  EXPECT_EQ(Metric(R"(store_duration_seconds_count{operation="write"})"), writes + 1);
  EXPECT_GT(Metric(R"(store_duration_seconds_count{operation="read"})"), reads + 1);
  EXPECT_GT(Metric(R"(store_duration_seconds_sum{operation="write"})"), 0);
  EXPECT_EQ(Metric("store_repeats_total"), 0);
  EXPECT_EQ(Metric("database_log_bytes") > 0, !OnPostgres());
}

TEST_F(OperationsTest, Size_of_the_database_is_asked_for_once_a_minute) {
  const double before = Metric("database_bytes");
  EXPECT_GT(before, 0);
  const std::string large = Json{{"A", RandomHex(250000)}}.dump();
  EXPECT_EQ(AskBefore("PATCH", "/redfish/v1/Managers/u-1/A", token, large).status, 204u);
  now += 59;
  EXPECT_EQ(Metric("database_bytes"), before);
  ++now;
  EXPECT_GT(Metric("database_bytes"), before + 100000);
}

// Files of this process have no more than these bytes while it lives: the disk is full.
class DiskWith {
 public:
  explicit DiskWith(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_before);
    const struct rlimit limit = {bytes, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~DiskWith() { setrlimit(RLIMIT_FSIZE, &m_before); }
  DiskWith(const DiskWith&) = delete;
  DiskWith& operator=(const DiskWith&) = delete;

 private:
  struct rlimit m_before = {};
};

TEST_F(SqliteOperationsTest, Health_fails_from_a_failed_change_to_the_next_one_that_succeeds) {
  const std::string chassis = "/redfish/v1/Chassis";
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 200u);
  {
    const DiskWith few(1);
    EXPECT_EQ(AskBefore("POST", chassis, token, "{}").status, 500u);
    EXPECT_EQ(AskBefore("PATCH", "/redfish/v1/Managers/u-1/X", token, "{}").status, 500u);
  }
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 503u);
  EXPECT_THAT(lines.at(lines.size() - 3), EndsWith("error: the last change is not on the disk"));
  EXPECT_EQ(AskBefore("GET", chassis, token).status, 200u);
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 503u);
  EXPECT_EQ(AskBefore("POST", chassis, token, "{}").status, 201u);
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 200u);
  {
    const DiskWith few(1);
    EXPECT_EQ(AskBefore("POST", chassis, token, "{}").status, 500u);
  }
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 503u);
  EXPECT_EQ(AskBefore("PATCH", "/redfish/v1/Managers/u-1/X", token, "{}").status, 204u);
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 200u);
}

// Behind a balancer nobody sends a change to who is not well.
TEST_F(SqliteOperationsTest, Health_is_restored_by_the_clean_up_once_the_disk_takes_changes) {
  {
    const DiskWith few(1);
    EXPECT_EQ(AskBefore("POST", "/redfish/v1/Chassis", token, "{}").status, 500u);
    EXPECT_FALSE(cleanUp->RemoveLeft());
    EXPECT_EQ(AskBefore("GET", "/healthz").status, 503u);
  }
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 503u);
  EXPECT_FALSE(cleanUp->RemoveLeft());
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 200u);
}

TEST_F(OperationsTest, Change_that_the_schema_forbids_is_no_failure_of_the_disk) {
  EXPECT_THROW((*store)->AddChassis({"c", "nobody", "{}", 1}), DatabaseError);
  EXPECT_EQ(AskBefore("GET", "/healthz").status, 200u);
}

TEST_F(OperationsTest, Metrics_count_what_is_held) {
  const std::string id = Chassis(token);
  (*store)->AddEvent({0, "u-1", id, "m", "Alarm", "{}", 1}, "m");
  EXPECT_THAT(Metrics(), HasSubstr("cloudservice_silent_appliances 1\n"));
  (*store)->AddHeartbeat("u-1", now, 90, "");
  now += 3 * 90 - 1;
  EXPECT_THAT(Metrics(), HasSubstr("cloudservice_appliances{state=\"alive\"} 0\n"
                                   "cloudservice_appliances{state=\"late\"} 1\n"
                                   "cloudservice_appliances{state=\"offline\"} 0\n"));
  ++now;
  const std::string metrics = Metrics();
  EXPECT_THAT(metrics, HasSubstr("cloudservice_appliances{state=\"late\"} 0\n"
                                 "cloudservice_appliances{state=\"offline\"} 1\n"));
  EXPECT_THAT(metrics, HasSubstr("cloudservice_chassis 1\n"));
  EXPECT_THAT(metrics, HasSubstr("cloudservice_open_alarms 1\n"));
  EXPECT_THAT(metrics, Not(HasSubstr("cloudservice_database_bytes 0\n")));
}

class SqliteBackupTest : public ServiceTest {
 protected:
  std::string Fails(const std::string& source, const std::string& file) {
    try {
      BackUp(source, file);
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << file << " was written";
    return "";
  }
  const std::string database = folder.File("service.db");
  const std::string copy = folder.File("copy.db");
};

TEST_F(SqliteBackupTest, Holds_all_that_was_answered) {
  const std::string token = Token("u-1", "Rack 7");
  BackUp(database, copy);
  Register("u-2");
  TestStore restored(copy);
  EXPECT_EQ(restored->FindManager("u-1")->name, "Rack 7");
  EXPECT_FALSE(restored->FindManager("u-2"));
  EXPECT_EQ(std::filesystem::status(copy).permissions() & std::filesystem::perms(077),
            std::filesystem::perms::none);
}

TEST_F(SqliteBackupTest, Replaces_no_file) {
  EXPECT_THAT(Fails(database, database), HasSubstr("service.db: it is there already"));
  std::ofstream(copy) << "precious";
  EXPECT_THAT(Fails(database, copy), StartsWith("cannot write " + copy));
  EXPECT_EQ(std::filesystem::file_size(copy), 8u);
}

TEST_F(SqliteBackupTest, Touches_nothing_of_a_similar_name) {
  const std::string source = copy + ".new";
  { TestStore made(source); }
  std::ofstream(folder.File("other.new")) << "precious";
  BackUp(source, copy);
  BackUp(source, folder.File("other"));
  EXPECT_EQ(std::filesystem::file_size(folder.File("other.new")), 8u);
  EXPECT_NO_THROW(TestStore(source).Check());
}

TEST_F(SqliteBackupTest, Of_nothing_makes_nothing) {
  const std::string none = folder.File("none.db");
  EXPECT_THAT(Fails(none, copy), HasSubstr("cannot open " + none));
  EXPECT_FALSE(std::filesystem::exists(none));
  Database(none).Execute("CREATE TABLE theirs (x)");
  EXPECT_THAT(Fails(none, copy), HasSubstr("is the database of another program"));
  EXPECT_FALSE(std::filesystem::exists(copy));
  EXPECT_THAT(Fails(database, folder.File("no/copy.db")), HasSubstr("cannot write "));
}

TEST_F(OperationsTest, Gauges_of_appliances_are_told_where_they_are_wanted) {
  store->Write([&](Transaction& work) {
    work.AddManager({"u-2", "Pump \"7\\\n", "{}", now, {}}, "t-2");
    work.AddHeartbeat("u-1", now - 1, 90, "");
    work.AddHeartbeat("u-2", now - 1000, 90, "");
    work.AddChassis({"c-2", "u-2", "{}", now});
    work.AddEvent({0, "u-2", "c-2", "c-2", "FAULT", "{}", now}, "c-2");
  });
  EXPECT_THAT(Metrics(), Not(HasSubstr("cloudservice_appliance_")));
  MetricsWriter out;
  WriteAppliances(out, *store, now);
  EXPECT_THAT(out.Text(), HasSubstr("\ncloudservice_appliance_info{uuid=\"u-1\",name=\"Unit 7\","
                                    "model=\"Kyros\",serial=\"\",firmware=\"\"} 1\n"));
  EXPECT_THAT(out.Text(), HasSubstr("{uuid=\"u-2\",name=\"Pump \\\"7\\\\\\n\","));
  EXPECT_THAT(out.Text(), HasSubstr("# TYPE cloudservice_appliance_state gauge\n"
                                    "cloudservice_appliance_state{uuid=\"u-2\"} 2\n"
                                    "cloudservice_appliance_state{uuid=\"u-1\"} 0\n"));
  EXPECT_THAT(out.Text(),
              HasSubstr("\ncloudservice_appliance_last_heartbeat_timestamp_seconds{uuid=\"u-1\"} " +
                        std::to_string(now - 1) + "\n"));
  EXPECT_THAT(out.Text(), EndsWith("appliances that have any.\n"
                                   "# TYPE cloudservice_appliance_open_alarms gauge\n"
                                   "cloudservice_appliance_open_alarms{uuid=\"u-2\","
                                   "severity=\"fault\"} 1\n"));
}

TEST_F(OperationsTest, Gauges_of_appliances_are_those_of_all_pages) {
  constexpr int kMany = 1001;
  store->Write([&](Transaction& work) {
    for (int i = 1; i < kMany; ++i) {
      const std::string uuid = "many-" + std::to_string(i);
      work.AddManager({uuid, "n", "{}", now, {}}, uuid);
    }
  });
  MetricsWriter out;
  WriteAppliances(out, *store, now);
  const std::string sample = "\ncloudservice_appliance_state{";
  int count = 0;
  for (std::size_t at = 0; (at = out.Text().find(sample, at)) != std::string::npos; ++at) ++count;
  EXPECT_EQ(count, kMany);
}

}  // namespace
}  // namespace cloudservice
