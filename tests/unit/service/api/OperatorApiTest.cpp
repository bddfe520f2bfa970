// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include "ServiceFixture.h"
#include "service/api/Api.h"
#include "service/api/Downsampling.h"
#include "service/api/Feed.h"
#include "service/api/ReadingLabels.h"

namespace cloudservice {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Times, Instants_are_read_with_every_kind_of_offset) {
  EXPECT_EQ(ParseTime("2026-03-05T13:07:09Z"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T13:07:09.250Z"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T14:07:09+01:00"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T14:07:09+0100"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T09:37:09-0330"), 1772716029);
  EXPECT_EQ(ParseTime("2024-02-29T00:00:00Z"), 1709164800);
}

TEST(Times, What_names_no_instant_is_none) {
  using namespace std::string_literals;
  for (const std::string& text :
       {""s, "2026-03-05"s, "2026-03-05T13:07Z"s, "2026-03-05T13:07:09"s, "2026-02-29T00:00:00Z"s,
        "2026-13-01T00:00:00Z"s, "2026-03-05T24:00:00Z"s, "2026-03-05T13:07:60Z"s,
        "2026-03-05T13:07:09.Z"s, "2026-03-05T13:07:09+1"s, "2026-03-05T13:07:09+24:00"s,
        "2026-03-05T13:07:09Zx"s, "2026-03-05T13:07:09Z\0"s, "2026-03-05 13:07:09Z"s,
        "-026-03-05T13:07:09Z"s}) {
    EXPECT_FALSE(ParseTime(text)) << text;
  }
}

std::vector<double> Values(const Downsampling& downsampling) {
  std::vector<double> values;
  for (const Sample& sample : downsampling.Samples()) values.push_back(sample.value);
  return values;
}

TEST(DownsamplingTest, Few_samples_are_kept_as_they_are) {
  Downsampling downsampling(0, 100, 4);
  for (const std::int64_t time : {0, 1, 2, 99}) downsampling.Add({time, 5});
  EXPECT_THAT(Values(downsampling), ElementsAre(5, 5, 5, 5));
}

TEST(DownsamplingTest, Each_part_keeps_its_lowest_and_highest_in_the_order_of_time) {
  Downsampling downsampling(0, 100, 5);
  const double values[] = {3, 9, 1, 4, 7, 7};
  const std::int64_t times[] = {0, 10, 49, 50, 60, 99};
  for (int i = 0; i < 6; ++i) downsampling.Add({times[i], values[i]});
  EXPECT_THAT(Values(downsampling), ElementsAre(9, 1, 4, 7));
  EXPECT_EQ(downsampling.Lowest()->time, 49);
  EXPECT_EQ(downsampling.Highest()->time, 10);
}

TEST(DownsamplingTest, Stretches_of_any_length_are_parted) {
  Downsampling downsampling(-4000000000000, 4000000000000, 2);
  for (int i = 0; i < 5; ++i) downsampling.Add({3999999999990 + i, double(i)});
  EXPECT_THAT(Values(downsampling), ElementsAre(0, 4));
  EXPECT_FALSE(Downsampling(0, 1, 2).Lowest());
}

std::string Described(const char* document, const char* pointer) {
  const ReadingLabel meaning = LabelOf(Json::parse(document), pointer);
  return meaning.name + "|" + meaning.unit.value_or("-") + "|" + meaning.quantity.value_or("-") +
         "|" + meaning.extreme.value_or("-");
}

TEST(Names, Numbers_are_named_by_what_stands_around_them) {
  const char* const thermal =
      R"({"Name": "Thermal", "HumidityPercent": 4, "FanSpeedRPM": 1, "a/b": [[1, 2], [3]],
          "Temperatures": [{"Name": "Supply", "ReadingCelsius": 1, "UpperThresholdCritical": 2},
                           {"MemberId": "inlet humidity", "Reading": 3, "ReadingUnits": "%RH"},
                           {"Reading": 4, "ReadingUnits": "Widgets"}, {"ReadingCelsius": 5}],
          "SevenDays": {"LowestHumidity": 1, "HighestTemperature": 2, "HighestPressure": 3}})";
  EXPECT_EQ(Described(thermal, "/HumidityPercent"), "Humidity|%|humidity|-");
  EXPECT_EQ(Described(thermal, "/FanSpeedRPM"), "Fan speed|rpm|-|-");
  EXPECT_EQ(Described(thermal, "/a~1b/0/1"), "a/b 0 1|-|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/0/ReadingCelsius"), "Supply|°C|temperature|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/0/UpperThresholdCritical"),
            "Supply: Upper threshold critical|-|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/1/Reading"), "inlet humidity|%|humidity|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/2/Reading"), "Reading|Widgets|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/3/ReadingCelsius"), "Reading|°C|temperature|-");
  EXPECT_EQ(Described(thermal, "/SevenDays/LowestHumidity"), "Lowest humidity|%|humidity|lowest");
  EXPECT_EQ(Described(thermal, "/SevenDays/HighestTemperature"),
            "Highest temperature|°C|temperature|highest");
  EXPECT_EQ(Described(thermal, "/SevenDays/HighestPressure"), "Highest pressure|-|-|-");
  EXPECT_EQ(Described(R"({"": 1})", "/"), "|-|-|-");
}

std::string DescribedByName(const std::string& name) {
  const ReadingLabel meaning = LabelOf(StepsOf(name));
  return meaning.name + "|" + meaning.unit.value_or("-") + "|" + meaning.quantity.value_or("-") +
         "|" + meaning.extreme.value_or("-");
}

TEST(Names, What_is_gone_is_named_as_far_as_its_name_tells) {
  EXPECT_EQ(DescribedByName("T[MemberId=Supply]/ReadingCelsius"), "Supply|°C|temperature|-");
  EXPECT_EQ(DescribedByName("T[MemberId=a~1b]/UpperLimit"), "a/b: Upper limit|-|-|-");
  EXPECT_EQ(DescribedByName("T[@odata.id=~1x]/ReadingCelsius"), "Reading|°C|temperature|-");
  EXPECT_EQ(DescribedByName("T[3]/Reading"), "Reading|-|-|-");
  EXPECT_EQ(DescribedByName("Limits[3][0]"), "Limits 3 0|-|-|-");
  EXPECT_EQ(DescribedByName("Oem/Quorvan/HumidityPercent"), "Humidity|%|humidity|-");
  EXPECT_EQ(DescribedByName("SevenDays/LowestHumidity"), "Lowest humidity|%|humidity|lowest");
  EXPECT_EQ(DescribedByName("[0]"), " 0|-|-|-");
}

class Followed : public ServiceTest {
 protected:
  Followed() {
    operators.AddWithToken("script");
    person = (*store)->FindOperator("script")->id;
  }
  std::shared_ptr<Stream> Open(const std::string& last = "") { return feed.Open(person, "", last); }
  // The types of the events that wait.
  static std::string Types(Stream& stream) {
    std::istringstream lines(stream.Take());
    std::string types;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("event: ", 0) == 0) types += line.substr(7) + " ";
    }
    return types;
  }

  // Up to where the stream has told.
  static std::string IdentifierOf(Stream& stream) {
    const std::string text = stream.Take();
    return text.substr(4, text.find('\n') - 4);
  }

  Operators operators{*store, [this] { return now; }, [this] { return steady; }};
  std::int64_t person = 0;
  Feed feed{*store, operators, log, [this] { return now; }};
};

TEST_F(Followed, First_block_says_where_the_stream_is) {
  EXPECT_THAT(Open()->Take(), EndsWith("-0\n\n"));
}

TEST_F(Followed, Changes_are_told_once_each_to_everyone) {
  const auto first = Open();
  const auto second = Open();
  const std::string token = Token("u-1");
  Chassis(token);
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  Ask("DELETE", "/redfish/v1/Managers/u-1", token);
  EXPECT_EQ(Types(*first), "appliance resource appliance resource gone ");
  EXPECT_EQ(Types(*second), "appliance resource appliance resource gone ");
}

TEST_F(Followed, New_registration_drops_what_there_was) {
  Token("u-1");
  const auto stream = Open();
  Token("u-1");
  EXPECT_EQ(Types(*stream), "gone appliance ");
}

TEST_F(Followed, Chassis_is_told_as_it_comes_and_as_it_goes) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  stream->Take();
  const std::string path = "/redfish/v1/Chassis/" + Chassis(token);
  const std::string uri = "\"uri\":\"" + path + "\"";
  EXPECT_THAT(stream->Take(),
              AllOf(HasSubstr("event: resource\n"), HasSubstr(uri), HasSubstr("\"updated\":\"20"),
                    HasSubstr("event: appliance\n")));
  Ask("DELETE", path, token);
  EXPECT_THAT(stream->Take(),
              AllOf(HasSubstr("event: resource\n"), HasSubstr(uri), HasSubstr("\"updated\":null"),
                    HasSubstr("event: appliance\n")));
}

TEST_F(Followed, Refused_request_tells_nothing) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, "[]");
  Ask("POST", "/hb/u-1", token, "{}");
  Register("a b");
  EXPECT_EQ(Types(*stream), "");
}

TEST_F(Followed, Overdue_appliances_are_told_at_the_tick_after) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto stream = Open();
  now += 179;
  feed.Tick();
  EXPECT_EQ(Types(*stream), "");
  now += 1;
  feed.Tick();
  EXPECT_THAT(stream->Take(), HasSubstr("\"state\":\"late\""));
  now += 500;
  feed.Tick();
  EXPECT_THAT(stream->Take(), HasSubstr("\"state\":\"offline\""));
  now -= 600;
  feed.Tick();
  EXPECT_THAT(stream->Take(), HasSubstr("\"state\":\"alive\"")) << "the clock was set back";
}

TEST_F(Followed, What_came_due_while_nobody_read_is_caught_up_with) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  stream->End();
  now += 1000;
  feed.Tick();
  EXPECT_THAT(Open(id)->Take(), HasSubstr("\"state\":\"offline\""));
}

TEST_F(Followed, Nothing_is_made_ready_while_nobody_follows) {
  Token("u-1");
  Open()->End();
  // Without it no appliance can be told of.
  Database(folder.File("service.db")).Execute("PRAGMA foreign_keys = OFF; DROP TABLE account");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  EXPECT_THAT(lines, Not(testing::Contains(HasSubstr("error: "))));
}

TEST_F(Followed, Reader_who_comes_back_is_told_what_nobody_read) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  stream->End();
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token,
      R"({"MessageId": "m", "Severity": "OK", "Message": "x"})");
  const auto again = Open(id);
  EXPECT_EQ(Types(*again), "resource event ");
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 2})");
  EXPECT_EQ(Types(*again), "resource ");
  EXPECT_EQ(Types(*Open(id)), "resource event resource ");
}

TEST_F(Followed, What_nobody_waits_for_is_forgotten) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  stream->End();
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  const auto other = Open();
  EXPECT_NE(IdentifierOf(*other), id);
  EXPECT_EQ(Types(*Open(id)), "reset ");
}

TEST_F(Followed, More_than_is_remembered_makes_who_comes_back_load_afresh) {
  Token("u-1");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  stream->End();
  for (std::size_t i = 0; i < Feed::kRemembered; ++i) (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto again = Open(id);
  EXPECT_THAT(Types(*again), StartsWith("appliance "));
  again->End();
  for (std::size_t i = 0; i <= Feed::kRemembered; ++i) (*store)->AddHeartbeat("u-1", now, 90, "");
  EXPECT_EQ(Types(*Open(id)), "reset ");
}

TEST_F(Followed, Events_are_remembered_up_to_their_bytes) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  const std::string large =
      Json{{"MessageId", "m"}, {"Severity", "OK"}, {"Message", std::string(200000, 'x')}}.dump();
  for (int i = 0; i < 4; ++i)
    Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token, large);
  EXPECT_EQ(Types(*Open(id)), "event event event event ");
  for (int i = 0; i < 2; ++i)
    Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token, large);
  EXPECT_EQ(Types(*Open(id)), "reset ");
}

TEST_F(Followed, Reader_who_leaves_too_much_is_cut_off_alone) {
  const std::string token = Token("u-1");
  const auto slow = Open();
  const auto quick = Open();
  const std::string large =
      Json{{"MessageId", "m"}, {"Severity", "OK"}, {"Message", std::string(200000, 'x')}}.dump();
  int events = 0;
  while (!slow->Ended() && events < 20) {
    Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token, large);
    EXPECT_EQ(Types(*quick), "event ");
    ++events;
  }
  EXPECT_TRUE(slow->Ended());
  EXPECT_EQ(slow->Take(), "");
  EXPECT_EQ(feed.Streams(), 1u);
}

TEST_F(Followed, Streams_have_an_end) {
  std::vector<std::shared_ptr<Stream>> streams;
  for (std::size_t i = 0; i < Feed::kMaxStreams; ++i) streams.push_back(Open());
  EXPECT_EQ(Open(), nullptr);
  streams.front()->Detach();
  EXPECT_NE(Open(), nullptr);
}

TEST_F(Followed, Comment_comes_with_every_third_tick) {
  const auto stream = Open();
  stream->Take();
  feed.Tick();
  feed.Tick();
  EXPECT_EQ(stream->Take(), "");
  feed.Tick();
  EXPECT_EQ(stream->Take(), ": still here\n\n");
}

TEST_F(Followed, Stream_ends_at_the_tick_after_its_session) {
  const std::string session = operators.Begin(person);
  const auto stream = feed.Open(person, session, "");
  steady += kSessionSeconds - 1;
  feed.Tick();
  EXPECT_FALSE(stream->Ended());
  steady += 1;
  feed.Tick();
  EXPECT_TRUE(stream->Ended());
}

TEST_F(Followed, Database_that_fails_is_logged_and_makes_readers_load_afresh) {
  const auto stream = Open();
  stream->Take();
  Database(folder.File("service.db")).Execute("PRAGMA foreign_keys = OFF; DROP TABLE event");
  feed.Tick();
  EXPECT_EQ(Types(*stream), "reset ");
  Database(folder.File("service.db")).Execute("DROP TABLE operator");
  feed.Tick();
  EXPECT_THAT(lines.back(), HasSubstr("error: the streams miss something: no such table"));
}

TEST(StreamTest, Woken_reader_takes_all_and_detached_one_is_left_alone) {
  Stream stream(10);
  int woken = 0;
  stream.Attach([&] { ++woken; });
  stream.Write("abc");
  stream.Write("def");
  EXPECT_EQ(woken, 2);
  EXPECT_EQ(stream.Take(), "abcdef");
  stream.Write("0123456789");
  EXPECT_FALSE(stream.Ended());
  stream.Write("x");
  EXPECT_TRUE(stream.Ended());
  EXPECT_EQ(woken, 4);
  stream.Detach();
  stream.Write("abc");
  EXPECT_EQ(woken, 4);
  EXPECT_EQ(stream.Take(), "");
}

class Api : public Followed {
 protected:
  Response AskApi(const std::string& method, const std::string& target,
                  std::vector<std::pair<std::string, std::string>> headers = {}) {
    return api.Handle(Request{method, target, "", "", "192.0.2.7", std::move(headers)});
  }
  OperatorApi api{*store, operators, feed, log, [this] { return now; }, true};
};

TEST_F(Api, Serves_what_lies_below_api_alone) {
  EXPECT_TRUE(OperatorApi::Serves("/api"));
  EXPECT_TRUE(OperatorApi::Serves("/api/v1/x?y"));
  EXPECT_TRUE(OperatorApi::Serves("/api?x"));
  EXPECT_FALSE(OperatorApi::Serves("/apix"));
  EXPECT_FALSE(OperatorApi::Serves("/?/api/"));
  EXPECT_FALSE(OperatorApi::Serves("/redfish/v1"));
}

TEST_F(Api, Session_is_found_among_other_cookies) {
  const std::string session = operators.Begin(person);
  for (const std::string& cookie :
       {"session=" + session, "a=b; session=" + session, "x; session=" + session + "; c=d"}) {
    EXPECT_EQ(AskApi("GET", "/api/v1/session", {{"cookie", cookie}}).status, 200u) << cookie;
  }
  for (const std::string& cookie : {"mysession=" + session, "session=" + session + "x",
                                    std::string("session="), std::string(";;;")}) {
    EXPECT_EQ(AskApi("GET", "/api/v1/session", {{"Cookie", cookie}}).status, 401u) << cookie;
  }
}

TEST_F(Api, Wrong_header_is_not_made_good_by_a_session) {
  const std::string cookie = "session=" + operators.Begin(person);
  EXPECT_EQ(
      AskApi("GET", "/api/v1/session", {{"Cookie", cookie}, {"Authorization", "Bearer x"}}).status,
      401u);
}

TEST_F(Api, Refusals_are_logged_without_what_was_searched) {
  const std::string cookie = "session=" + operators.Begin(person);
  AskApi("GET", "/api/v1/appliances?q=private&limit=0", {{"Cookie", cookie}});
  EXPECT_THAT(lines.back(), HasSubstr("refused: GET /api/v1/appliances?...: 400 \"limit\" takes"));
  EXPECT_THAT(lines.back(), Not(HasSubstr("private")));
}

}  // namespace
}  // namespace cloudservice
