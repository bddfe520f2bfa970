// SPDX-License-Identifier: Apache-2.0
// How much one appliance may keep and send.
#include <algorithm>

#include "ServiceTest.h"
#include "service/redfish/Quota.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::IsEmpty;

class QuotaTest : public ServiceTest {
 protected:
  QuotaTest() {
    now -= now % 86400;
    Allow({5, 1000, 3, 5});
  }

  void Allow(const Quotas& quotas) {
    service = std::make_unique<RedfishService>(
        *store, log, *accounts, [this] { return now; }, Retention(), quotas);
  }
  Response Patch(const std::string& path, const std::string& body) {
    return Ask("PATCH", kManager + path, token, body);
  }
  Response Post(const std::string& body) {
    return Ask("POST", kManager + "/Oem/Quorvan:Events", token, body);
  }
  Response Post() { return Post(Event("m")); }
  static std::string Event(const std::string& message) {
    return Json{{"MessageId", "x"}, {"Severity", "OK"}, {"Message", message}}.dump();
  }
  std::string MessageOf(const Response& response) {
    return Json::parse(response.body).at("error").at("code").get<std::string>();
  }
  std::vector<std::string> LinesOf(const std::string& what) {
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&](const std::string& line) { return line.find(what) != std::string::npos; });
    return found;
  }

  const std::string kManager = "/redfish/v1/Managers/u-1";
  const std::string token = Token("u-1");
};

TEST_F(QuotaTest, Defaults_are_far_from_what_the_daemon_sends) {
  const Quotas quotas;
  EXPECT_EQ(quotas.documents, 10000);
  EXPECT_EQ(quotas.bytes, 64 * 1024 * 1024);
  EXPECT_EQ(quotas.eventsOfDay, 100000);
  EXPECT_EQ(quotas.events, 10000000);
}

TEST_F(QuotaTest, So_many_documents_are_kept_and_those_go_on_to_change) {
  const std::string chassis = Chassis(token);
  for (const char* path : {"/a", "/b", "/c"}) EXPECT_EQ(Patch(path, "{}").status, 204u) << path;
  const Response refused = Patch("/d", "{}");
  EXPECT_EQ(refused.status, 507u);
  EXPECT_EQ(MessageOf(refused), "Base.1.16.InsufficientStorage");
  EXPECT_EQ(ErrorText(refused), "The appliance would keep more than 5 documents.");
  EXPECT_EQ(Ask("POST", "/redfish/v1/Chassis", token, "{}").status, 507u);
  EXPECT_EQ(Ask("GET", kManager + "/d", token).status, 404u);
  EXPECT_EQ(Patch("/a", R"({"more": 1})").status, 204u);
  EXPECT_EQ(Patch("", R"({"more": 1})").status, 204u);
  EXPECT_EQ(service->OverQuotas(), (QuotaRefusals::Counts{2, 0, 0, 0}));
  EXPECT_EQ(Ask("DELETE", "/redfish/v1/Chassis/" + chassis, token).status, 204u);
  while (cleanUp->RemoveLeft()) {
  }
  EXPECT_EQ(Patch("/d", "{}").status, 204u);
}

TEST_F(QuotaTest, So_many_bytes_are_kept_to_the_last_one) {
  const std::int64_t left = 1000 - (*store)->FindUsage("u-1").bytes;
  const auto sized = [](std::int64_t bytes) {
    return Json{{"a", std::string(static_cast<std::size_t>(bytes) - 8, 'x')}}.dump();
  };
  ASSERT_EQ(sized(left).size(), static_cast<std::size_t>(left));
  EXPECT_EQ(Patch("/a", sized(left + 1)).status, 507u);
  EXPECT_EQ(Patch("/a", sized(left)).status, 204u);
  EXPECT_EQ((*store)->FindUsage("u-1").bytes, 1000);
  const Response refused = Patch("/b", "{}");
  EXPECT_EQ(refused.status, 507u);
  EXPECT_EQ(ErrorText(refused), "The appliance would keep more than 1000 bytes of documents.");
  for (const std::string& path : {std::string(), std::string("/a")}) {
    EXPECT_EQ(Patch(path, R"({"b": 1})").status, 507u) << path;
  }
  EXPECT_EQ(Ask("POST", "/redfish/v1/Chassis", token, "{}").status, 507u);
  EXPECT_EQ(service->OverQuotas(), (QuotaRefusals::Counts{0, 5, 0, 0}));
}

TEST_F(QuotaTest, What_becomes_smaller_is_taken_over_the_quota) {
  const std::string chassis = Chassis(token, R"({"a": "long"})");
  const std::string path = "/redfish/v1/Chassis/" + chassis;
  EXPECT_EQ(Patch("/a", R"({"a": "long", "b": 1})").status, 204u);
  EXPECT_EQ(Patch("", R"({"a": "long"})").status, 204u);
  Allow({1, 10, 1, 1});
  for (const std::string& one : {path, kManager, kManager + "/a"}) {
    EXPECT_EQ(Ask("PATCH", one, token, R"({"a": "longer"})").status, 507u) << one;
    EXPECT_EQ(Ask("PATCH", one, token, R"({"a": "gone"})").status, 204u) << one;
    EXPECT_EQ(Ask("PATCH", one, token, R"({"a": null})").status, 204u) << one;
  }
  EXPECT_EQ(Ask("DELETE", path, token).status, 204u);
}

TEST_F(QuotaTest, Registration_is_taken_and_begins_anew) {
  Allow({1, 10, 1, 5});
  EXPECT_EQ(Post().status, 201u);
  EXPECT_EQ(Post().status, 429u);
  const std::string again = Token("u-1");
  EXPECT_EQ(Ask("POST", kManager + "/Oem/Quorvan:Events", again, Event("m")).status, 201u);
}

TEST_F(QuotaTest, So_many_events_are_taken_a_day) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Post().status, 201u);
  now += 3600;
  const Response refused = Post();
  EXPECT_EQ(refused.status, 429u);
  EXPECT_EQ(Header(refused, "Retry-After"), std::to_string(23 * 3600));
  EXPECT_EQ(MessageOf(refused), "Base.1.16.GeneralError");
  EXPECT_EQ(ErrorText(refused), "The appliance has sent more than 3 events on this day (UTC).");
  EXPECT_EQ((*store)->CountEvents("u-1"), 3);
  now += 23 * 3600 - 1;
  EXPECT_EQ(Header(Post(), "Retry-After"), "1");
  ++now;
  EXPECT_EQ(Post().status, 201u);
  EXPECT_EQ(service->OverQuotas(), (QuotaRefusals::Counts{0, 0, 2, 0}));
}

TEST_F(QuotaTest, So_many_events_are_kept_until_clean_up_makes_room) {
  for (int day = 0; day < 5; ++day, now += 86400) EXPECT_EQ(Post().status, 201u);
  const Response refused = Post();
  EXPECT_EQ(refused.status, 507u);
  EXPECT_EQ(ErrorText(refused), "The appliance would keep more than 5 events.");
  EXPECT_EQ(Header(refused, "Retry-After"), "");
  EXPECT_EQ((*store)->CountEvents("u-1"), 5);
  store->Write([&](Transaction& unit) { unit.RemoveOld({0, now - 4 * 86400, 100}); });
  EXPECT_EQ(Post().status, 201u);
  EXPECT_EQ(Post().status, 507u);
  EXPECT_EQ(service->OverQuotas(), (QuotaRefusals::Counts{0, 0, 0, 2}));
}

TEST_F(QuotaTest, Log_tells_of_an_appliance_and_a_quota_once_an_hour) {
  Allow({1, 1000, 1, 5});
  Post();
  for (int i = 0; i < 3; ++i) Post();
  EXPECT_THAT(LinesOf("refused: "), IsEmpty());
  ASSERT_EQ(LinesOf("over quota: ").size(), 1u);
  EXPECT_THAT(lines.back(), EndsWith(" over quota: Unit 7 (UUID u-1): 429 The appliance has sent "
                                     "more than 1 events on this day (UTC)."));
  Patch("/a", "{}");
  EXPECT_EQ(LinesOf("over quota: ").size(), 2u);
  const std::string other = Token("u-2", "Unit 8");
  Ask("PATCH", "/redfish/v1/Managers/u-2/a", other, "{}");
  EXPECT_EQ(LinesOf("over quota: Unit 8 (UUID u-2): 507 ").size(), 1u);
  now += 3599;
  Post();
  EXPECT_EQ(LinesOf("over quota: ").size(), 3u);
  ++now;
  Post();
  EXPECT_EQ(LinesOf("over quota: ").size(), 4u);
}

TEST_F(QuotaTest, Log_tells_again_after_very_many_appliances) {
  QuotaRefusals refusals;
  const auto add = [&](int n, std::int64_t when) {
    return refusals.Add(OverQuota(Quotas::kBytes, {std::to_string(n), "n", {}}, "x"), when);
  };
  EXPECT_TRUE(add(0, 1));
  for (int n = 1; n < 10000; ++n) EXPECT_TRUE(add(n, 3000));
  EXPECT_FALSE(add(9999, 3601)) << "that of an hour ago made room";
  EXPECT_TRUE(add(10000, 3601));
  EXPECT_FALSE(add(9999, 3601)) << "and not those of the last hour";
  EXPECT_EQ(refusals.Total()[Quotas::kBytes], 10003u);
}

TEST_F(QuotaTest, Texts_of_an_event_are_bounded) {
  const auto with = [](const Json& more) {
    Json event = {{"MessageId", "x"}, {"Severity", "OK"}, {"Message", "m"}};
    event.update(more);
    return event.dump();
  };
  const auto text = [](std::size_t size) { return std::string(size, 'x'); };
  const auto expect = [&](const Json& good, const Json& bad, const std::string& why) {
    Allow({});
    EXPECT_EQ(Post(with(good)).status, 201u) << why;
    const Response refused = Post(with(bad));
    EXPECT_EQ(refused.status, 400u) << why;
    EXPECT_EQ(ErrorText(refused), why);
  };
  expect({{"MessageId", text(1024)}}, {{"MessageId", text(1025)}},
         "\"MessageId\" has more than 1024 bytes.");
  expect({{"Severity", "OK"}}, {{"Severity", text(1025)}},
         "\"Severity\" has more than 1024 bytes.");
  expect({{"Message", text(16384)}}, {{"Message", text(16385)}},
         "\"Message\" has more than 16384 bytes.");
  expect({{"MessageArgs", {"a", text(16384)}}}, {{"MessageArgs", {"a", text(16385)}}},
         "\"MessageArgs/1\" has more than 16384 bytes.");
  expect({{"MessageArgs", std::vector<std::string>(100)}},
         {{"MessageArgs", std::vector<std::string>(101)}},
         "\"MessageArgs\" has more than 100 elements.");
  const std::string chassis = "/redfish/v1/Chassis/" + Chassis(token);
  const Json of = {{"@odata.id", chassis}};
  expect(
      {{"MessageId", "258"}, {"OriginOfCondition", of}, {"MessageArgs", {"", "", "", text(1024)}}},
      {{"MessageId", "258"}, {"OriginOfCondition", of}, {"MessageArgs", {"", "", "", text(1025)}}},
      "\"MessageArgs/3\" has more than 1024 bytes.");
}

TEST_F(QuotaTest, Event_as_a_whole_is_bounded) {
  Json event = Json::parse(Event("m"));
  event["Other"] = "";
  const std::size_t bare = event.dump().size();
  event["Other"] = std::string(64 * 1024 - bare, 'x');
  EXPECT_EQ(Post(event.dump()).status, 201u);
  event["Other"] = std::string(64 * 1024 - bare + 1, 'x');
  const Response refused = Post(event.dump());
  EXPECT_EQ(refused.status, 413u);
  EXPECT_EQ(MessageOf(refused), "Base.1.16.PayloadTooLarge");
  EXPECT_EQ(ErrorText(refused), "An event may have 65536 bytes.");
}

}  // namespace
}  // namespace cloudservice
