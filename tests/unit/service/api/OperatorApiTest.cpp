// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <limits>
#include <sstream>

#include "ServiceTest.h"
#include "service/api/Api.h"
#include "service/api/Feed.h"
#include "service/util/Text.h"

namespace cloudservice {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class FeedTest : public ServiceTest {
 protected:
  FeedTest() {
    operators.AddWithToken("script");
    person = (*store)->FindOperator("script")->id;
  }
  std::shared_ptr<Stream> Open(const std::string& last = "") { return feed.Open(person, "", last); }
  // What the stream has to tell.
  std::string Text(Stream& stream) {
    feed.TellChanges();
    return stream.Take();
  }
  // The types of the events.
  std::string Types(Stream& stream) { return TypesIn(Text(stream)); }
  static std::string TypesIn(const std::string& text) {
    std::istringstream lines(text);
    std::string types;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("event: ", 0) == 0) types += line.substr(7) + " ";
    }
    return types;
  }

  // Up to where the stream has told.
  std::string IdentifierOf(Stream& stream) { return IdentifierIn(Text(stream)); }
  static std::string IdentifierIn(const std::string& text) {
    const std::size_t start = text.rfind("id: ") + 4;
    return text.substr(start, text.find('\n', start) - start);
  }
  // The identifiers and types of the events.
  static std::vector<std::string> EventsIn(const std::string& text) {
    std::vector<std::string> events;
    for (const std::string& block : Split(text, '\n')) {
      if (block.rfind("id: ", 0) == 0) events.push_back(block);
      if (block.rfind("event: ", 0) == 0) events.back() += " " + block;
    }
    const auto bare = [](const std::string& one) { return one.find(" event: ") == one.npos; };
    events.erase(std::remove_if(events.begin(), events.end(), bare), events.end());
    return events;
  }

  // Heartbeats that each tell something new of the appliance.
  void Beat(std::size_t times) {
    store->Write([&](Transaction& work) {
      for (std::size_t i = 0; i < times; ++i) {
        interval = interval == 90 ? 91 : 90;
        work.AddHeartbeat("u-1", now, interval, "");
      }
    });
  }

  // An event of 200 kB.
  void SendLarge(const std::string& uuid) {
    const Json document = {{"Message", std::string(200000, 'x')}};
    (*store)->AddEvent({0, uuid, "", "m", "OK", document.dump(), now}, "m");
  }

  Operators operators{*store, [this] { return now; }};
  std::int64_t person = 0;
  std::int64_t interval = 90;
  std::atomic<int> woken = 0;
  Feed feed{*store, operators, log, [this] { return now; }, [this] { ++woken; }};
};

// Cases that change the database file itself.
using SqliteFeedTest = FeedTest;

// Another process on the database: a store and a feed of its own.
class TwoFeedsTest : public FeedTest {
 protected:
  std::shared_ptr<Stream> OpenThere(const std::string& last = "") {
    return there.Open(person, "", last);
  }
  std::string TextThere(Stream& stream) {
    there.TellChanges();
    return stream.Take();
  }

  TestStore storeThere{folder.File("service.db")};
  Operators operatorsThere{storeThere, [this] { return now; }};
  Feed there{storeThere, operatorsThere, log, [this] { return now; }, [] {}};
};

TEST_F(FeedTest, First_block_says_where_the_stream_is) {
  EXPECT_EQ(Open()->Take(), "id: 0-1772716029\n\n");
  Token("u-1");
  const std::int64_t last = (*store)->LastChange();
  EXPECT_EQ(Open()->Take(), "id: " + std::to_string(last) + "-1772716029\n\n");
}

TEST_F(FeedTest, Event_has_the_identifier_of_its_change) {
  const auto stream = Open();
  stream->Take();
  Token("u-1");
  const std::int64_t last = (*store)->LastChange();
  now += 7;
  EXPECT_THAT(Text(*stream),
              StartsWith("id: " + std::to_string(last) + "-1772716029\nevent: appliance\n"));
}

TEST_F(FeedTest, Change_wakes_once_until_it_is_told_and_only_while_there_is_a_reader) {
  Token("u-1");
  EXPECT_EQ(woken, 0);
  const auto stream = Open();
  Token("u-2");
  Token("u-3");
  EXPECT_EQ(woken, 1);
  feed.TellChanges();
  Token("u-4");
  EXPECT_GE(woken, 2);
}

TEST_F(FeedTest, Changes_are_told_once_each_to_everyone) {
  const auto first = Open();
  const auto second = Open();
  const std::string token = Token("u-1");
  Chassis(token);
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  feed.TellChanges();
  Ask("DELETE", "/redfish/v1/Managers/u-1", token);
  EXPECT_EQ(Types(*first), "appliance resource appliance resource gone ");
  EXPECT_EQ(Types(*second), "appliance resource appliance resource gone ");
}

TEST_F(FeedTest, New_registration_drops_what_there_was) {
  Token("u-1");
  const auto stream = Open();
  Token("u-1");
  EXPECT_EQ(Types(*stream), "gone appliance ");
}

TEST_F(FeedTest, Chassis_is_told_as_it_comes_and_as_it_goes) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  stream->Take();
  const std::string path = "/redfish/v1/Chassis/" + Chassis(token);
  const std::string uri = "\"uri\":\"" + path + "\"";
  EXPECT_THAT(Text(*stream), AllOf(HasSubstr("event: resource\n"), HasSubstr(uri),
                                   HasSubstr("\"updated\":\"20"), HasSubstr("event: appliance\n")));
  Ask("DELETE", path, token);
  EXPECT_THAT(Text(*stream), AllOf(HasSubstr("event: resource\n"), HasSubstr(uri),
                                   HasSubstr("\"updated\":null"), HasSubstr("event: appliance\n")));
}

TEST_F(FeedTest, Refused_request_tells_nothing) {
  const std::string token = Token("u-1");
  const auto stream = Open();
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, "[]");
  Ask("POST", "/hb/u-1", token, "{}");
  Register("a b");
  EXPECT_EQ(Types(*stream), "");
}

TEST_F(FeedTest, Heartbeats_that_tell_nothing_else_are_told_together) {
  for (const char* uuid : {"u-1", "u-2", "u-3"}) {
    Token(uuid);
    (*store)->AddHeartbeat(uuid, now, 90, "");
  }
  const auto stream = Open();
  const std::string before = IdentifierOf(*stream);
  (*store)->AddHeartbeat("u-3", now, 90, "");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  (*store)->AddHeartbeat("u-2", now + 1, 90, "");
  for (int i = 0; i < 400; ++i) (*store)->AddHeartbeat("u-1", now + 1, 90, "");
  EXPECT_EQ(Text(*stream), "");
  const std::string told = R"(event: heartbeats
data: {"heartbeats":[{"time":")" +
                           UtcTime(now) + R"(","uuids":["u-3"]},{"time":")" + UtcTime(now + 1) +
                           R"(","uuids":["u-1","u-2"]}]}

)";
  feed.Tick();
  const std::string text = stream->Take();
  EXPECT_THAT(text, StartsWith(told + "id: "));
  EXPECT_EQ(TypesIn(Open(IdentifierIn(text))->Take()), "");
  const std::string again = Open(before)->Take();
  EXPECT_THAT(again, HasSubstr(told)) << "who missed them is told all of them together, too";
  EXPECT_EQ(TypesIn(again), "heartbeats ");
  feed.Tick();
  EXPECT_EQ(stream->Take(), "");
}

TEST_F(FeedTest, Heartbeats_of_a_large_fleet_do_not_wait_for_the_tick) {
  const auto beat = [&](std::size_t first, std::size_t behind, bool isNew) {
    store->Write([&](Transaction& work) {
      for (std::size_t i = first; i < behind; ++i) {
        const std::string uuid = "many-" + std::to_string(i);
        if (isNew) work.AddManager({uuid, "n", "{}", now, {}}, uuid);
        work.AddHeartbeat(uuid, now, 90, "");
      }
    });
  };
  beat(0, Feed::kMostHeard, true);
  const auto stream = Open();
  stream->Take();
  beat(1, Feed::kMostHeard, false);
  EXPECT_EQ(Text(*stream), "");
  beat(0, 1, false);
  const std::string text = Text(*stream);
  EXPECT_EQ(TypesIn(text), "heartbeats ");
  EXPECT_THAT(text, HasSubstr("\"many-499\""));
  EXPECT_THAT(text, Not(HasSubstr("id: "))) << "who comes back is told them again";
}

TEST_F(FeedTest, Reader_who_leaves_while_heartbeats_wait_is_told_them) {
  const std::string token = Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto stream = Open();
  const std::string before = IdentifierOf(*stream);
  (*store)->AddHeartbeat("u-1", now, 90, "");
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  const std::string text = Text(*stream);
  EXPECT_EQ(TypesIn(text), "heartbeats resource ") << "all up to an identifier is told";
  EXPECT_THAT(text, testing::ContainsRegex("\n\nid: [0-9-]+\nevent: resource\n"));
  EXPECT_EQ(TypesIn(Open(before)->Take()), "heartbeats resource ");
  EXPECT_EQ(TypesIn(Open(IdentifierIn(text))->Take()), "");
}

TEST_F(FeedTest, Heartbeat_of_an_appliance_that_was_late_is_told_at_once) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto stream = Open();
  now += 180;
  (*store)->AddHeartbeat("u-1", now, 90, "");
  EXPECT_EQ(Types(*stream), "appliance ");
}

TEST_F(FeedTest, Overdue_appliances_are_told_at_the_tick_after) {
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

TEST_F(FeedTest, What_came_due_while_nobody_read_is_caught_up_with) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  stream->End();
  now += 1000;
  feed.Tick();
  EXPECT_THAT(Open(id)->Take(), HasSubstr("\"state\":\"offline\""));
}

TEST_F(SqliteFeedTest, Nothing_is_made_ready_while_nobody_follows) {
  Token("u-1");
  Open()->End();
  // Without it no appliance can be told of.
  store->Execute("PRAGMA foreign_keys = OFF; DROP TABLE account");
  Beat(1);
  feed.TellChanges();
  EXPECT_THAT(lines, Not(testing::Contains(HasSubstr("error: "))));
}

TEST_F(FeedTest, Reader_who_comes_back_is_told_what_nobody_read) {
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

TEST_F(FeedTest, Identifier_that_nobody_was_told_makes_its_reader_load_afresh) {
  Token("u-1");
  const std::string id = IdentifierOf(*Open());
  EXPECT_EQ(TypesIn(Open(id)->Take()), "");
  for (const std::string& wrong :
       {std::string("nonsense"), std::string("-"), std::string("1"), std::string("1-"),
        std::string("0-1772716029"), std::string("-1-1772716029"), "x" + id, id + "x", " " + id,
        std::string("999999999999999-1772716029"), std::string("99999999999999999999-1772716029"),
        id.substr(0, id.find('-')) + "--1", id.substr(0, id.find('-')) + "-9223372036854775807"}) {
    EXPECT_EQ(TypesIn(Open(wrong)->Take()), "reset ") << wrong;
  }
}

TEST_F(FeedTest, Reader_behind_what_is_kept_loads_afresh) {
  Token("u-1");
  const std::string id = IdentifierOf(*Open());
  Beat(2);
  const std::string last = IdentifierOf(*Open());
  EXPECT_EQ(TypesIn(Open(id)->Take()), "appliance appliance ");
  (*store)->RemoveChanges(std::numeric_limits<std::int64_t>::max(), 100);
  EXPECT_EQ(TypesIn(Open(id)->Take()), "reset ");
  EXPECT_EQ(TypesIn(Open(last)->Take()), "");
}

TEST_F(FeedTest, Reader_who_missed_too_much_loads_afresh) {
  Token("u-1");
  const std::string id = IdentifierOf(*Open());
  Beat(Feed::kMissed);
  EXPECT_EQ(EventsIn(Open(id)->Take()).size(), Feed::kMissed);
  Beat(1);
  EXPECT_EQ(TypesIn(Open(id)->Take()), "reset ");
}

TEST_F(FeedTest, Reader_who_missed_too_much_with_what_came_due_loads_afresh) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const std::string id = IdentifierOf(*Open());
  Token("u-2");
  Beat(Feed::kMissed - 1);
  now += 1000;
  EXPECT_EQ(TypesIn(Open(id)->Take()), "reset ");
}

TEST_F(FeedTest, More_than_may_wait_makes_everyone_load_afresh) {
  Token("u-1");
  const auto stream = Open();
  Beat(Feed::kMaxWaiting + 1);
  EXPECT_EQ(Types(*stream), "reset ");
  Beat(1);
  EXPECT_EQ(Types(*stream), "appliance ");
}

TEST_F(FeedTest, Account_that_goes_makes_readers_load_afresh) {
  const std::int64_t account = (*store)->FindAccount(kEmail)->id;
  const auto stream = Open();
  (*store)->DeleteAccount(account, false);
  EXPECT_EQ(Types(*stream), "reset ");
}

TEST_F(TwoFeedsTest, Change_is_told_by_the_other_process) {
  const auto stream = OpenThere();
  Token("u-1");
  EXPECT_EQ(TypesIn(TextThere(*stream)), "appliance ");
  storeThere->AddHeartbeat("u-1", now, 90, "");
  Beat(1);
  EXPECT_EQ(TypesIn(TextThere(*stream)), "appliance appliance ");
}

TEST_F(TwoFeedsTest, Tick_tells_changes_of_which_nothing_was_heard) {
  const auto stream = OpenThere();
  Token("u-1");
  there.Tick();
  EXPECT_EQ(TypesIn(stream->Take()), "appliance ");
}

TEST_F(TwoFeedsTest, Reader_goes_on_at_the_other_process_without_loss_or_doubling) {
  const std::string token = Token("u-1");
  const auto stays = Open();
  const auto leaves = Open();
  stays->Take();
  Chassis(token);
  const std::string before = Text(*leaves);
  leaves->End();
  Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, R"({"A": 1})");
  storeThere->AddHeartbeat("u-1", now, 90, "");
  const auto comes = OpenThere(IdentifierIn(before));
  feed.TellChanges();
  storeThere->DeleteManager("u-1");
  const std::string after = TextThere(*comes);
  EXPECT_EQ(TypesIn(before), "resource appliance ");
  EXPECT_EQ(TypesIn(after), "resource appliance gone ");
  std::vector<std::string> events = EventsIn(before);
  for (const std::string& one : EventsIn(after)) events.push_back(one);
  EXPECT_EQ(EventsIn(Text(*stays)), events);
}

TEST_F(TwoFeedsTest, Reader_is_told_once_what_came_due_on_its_way_to_the_other_process) {
  Token("u-1");
  (*store)->AddHeartbeat("u-1", now, 90, "");
  const std::string id = IdentifierOf(*Open());
  now += 1000;
  const std::string text = OpenThere(id)->Take();
  EXPECT_EQ(TypesIn(text), "appliance ");
  EXPECT_THAT(text, HasSubstr("\"state\":\"offline\""));
  EXPECT_EQ(TypesIn(Open(IdentifierIn(text))->Take()), "");
}

TEST_F(FeedTest, Reader_is_told_what_it_missed_up_to_its_bytes) {
  for (int i = 0; i < 6; ++i) Token(std::to_string(i));
  const auto stream = Open();
  const std::string id = IdentifierOf(*stream);
  for (int i = 0; i < 4; ++i) SendLarge(std::to_string(i));
  EXPECT_EQ(Types(*Open(id)), "event event event event ");
  for (int i = 4; i < 6; ++i) SendLarge(std::to_string(i));
  EXPECT_EQ(Types(*Open(id)), "reset ");
}

TEST_F(FeedTest, Reader_who_leaves_too_much_is_cut_off_alone) {
  for (int i = 0; i < 20; ++i) Token(std::to_string(i));
  const auto slow = Open();
  const auto quick = Open();
  for (int i = 0; i < 20 && !slow->Ended(); ++i) {
    SendLarge(std::to_string(i));
    EXPECT_EQ(Types(*quick), "event ");
  }
  EXPECT_TRUE(slow->Ended());
  EXPECT_EQ(slow->Take(), "");
  EXPECT_EQ(feed.Streams(), 1u);
}

TEST_F(FeedTest, Streams_have_an_end) {
  std::vector<std::shared_ptr<Stream>> streams;
  std::vector<std::int64_t> people;
  for (const char* name : {"a", "b", "c", "d", "e"}) {
    operators.AddWithToken(name);
    people.push_back((*store)->FindOperator(name)->id);
  }
  for (std::size_t i = 0; i < Feed::kMaxStreams; ++i) {
    streams.push_back(feed.Open(people.at(i % 4), "", ""));
    ASSERT_NE(streams.back(), nullptr) << i;
  }
  EXPECT_EQ(feed.Open(people[4], "", ""), nullptr);
  EXPECT_FALSE(feed.HasAll(people[4]));
  EXPECT_EQ(feed.Refused(), 1u);
  streams.front()->Detach();
  EXPECT_NE(feed.Open(people[4], "", ""), nullptr);
}

TEST_F(FeedTest, Operator_leaves_streams_to_others) {
  operators.AddWithToken("other");
  const std::int64_t other = (*store)->FindOperator("other")->id;
  std::vector<std::shared_ptr<Stream>> streams;
  for (std::size_t i = 0; i < Feed::kMaxStreamsOfOperator; ++i) streams.push_back(Open());
  EXPECT_NE(streams.back(), nullptr);
  EXPECT_EQ(Open(), nullptr);
  EXPECT_TRUE(feed.HasAll(person));
  EXPECT_EQ(feed.RefusedOfOperator(), 1u);
  EXPECT_EQ(feed.Refused(), 0u);
  EXPECT_NE(feed.Open(other, "", ""), nullptr);
  streams.front()->Detach();
  EXPECT_FALSE(feed.HasAll(person));
  EXPECT_NE(Open(), nullptr);
}

TEST_F(FeedTest, Appliance_that_changes_without_end_ends_no_stream) {
  Token("u-1");
  Token("u-2");
  const auto stream = Open();
  const std::string start = IdentifierOf(*stream);
  // All at once: nobody could read as fast.
  Beat(9000);
  const std::string flood = Text(*stream);
  EXPECT_FALSE(stream->Ended());
  const std::size_t events = EventsIn(flood).size();
  EXPECT_LE(events, Feed::kOfAppliance);
  EXPECT_GT(events, 100u);
  EXPECT_LT(flood.size(), Feed::kBytesOfAppliance + events * 50 + 1000);
  // What others do is told as before, and not as if all before it had been told.
  (*store)->AddHeartbeat("u-2", now, 90, "");
  const std::string other = Text(*stream);
  EXPECT_THAT(other, StartsWith("event: appliance\ndata: "));
  EXPECT_THAT(other, HasSubstr("\"uuid\":\"u-2\""));
  Beat(1);
  EXPECT_EQ(Text(*stream), "");
  feed.Tick();
  const std::string more = stream->Take();
  EXPECT_THAT(more, StartsWith("event: more\ndata: {\"uuid\":\"u-1\"}\n\nid: "));
  EXPECT_EQ(TypesIn(more), "more ");
  // Whoever comes back after that has been told all of it.
  EXPECT_EQ(TypesIn(Open(IdentifierIn(more))->Take()), "");
  EXPECT_EQ(TypesIn(Open(IdentifierIn(flood))->Take()), "reset ");
  Beat(1);
  EXPECT_EQ(Types(*stream), "appliance ") << "it is told one by one again";
  feed.Tick();
  EXPECT_EQ(stream->Take(), "");
}

TEST_F(FeedTest, Reader_who_leaves_amid_a_flood_is_told_what_was_held) {
  Token("u-1");
  const auto stream = Open();
  Beat(Feed::kOfAppliance + 7);
  const std::string id = IdentifierOf(*stream);
  (*store)->AddHeartbeat("u-1", now + 5, 90, "");
  EXPECT_EQ(Text(*stream), "");
  const std::string text = Open(id)->Take();
  EXPECT_GE(EventsIn(text).size(), 8u);
  EXPECT_THAT(text, HasSubstr(UtcTime(now + 5)));
}

TEST_F(FeedTest, Large_events_of_one_appliance_end_no_stream) {
  Token("u-1");
  const auto stream = Open();
  for (int i = 0; i < 20; ++i) SendLarge("u-1");
  EXPECT_EQ(Types(*stream), "event ");
  EXPECT_FALSE(stream->Ended());
  feed.Tick();
  EXPECT_EQ(TypesIn(stream->Take()), "more ");
}

TEST_F(FeedTest, What_is_held_is_told_without_a_tick_where_the_clock_goes_on) {
  Token("u-1");
  const auto stream = Open();
  Beat(Feed::kOfAppliance + 1);
  Text(*stream);
  now += Feed::kTickSeconds + 1;
  Beat(1);
  EXPECT_EQ(Types(*stream), "more ");
  Beat(1);
  EXPECT_EQ(Types(*stream), "appliance ");
}

TEST_F(FeedTest, Comment_comes_with_every_third_tick) {
  const auto stream = Open();
  stream->Take();
  feed.Tick();
  feed.Tick();
  EXPECT_EQ(stream->Take(), "");
  feed.Tick();
  EXPECT_EQ(stream->Take(), ": still here\n\n");
}

TEST_F(FeedTest, Stream_ends_at_the_tick_after_its_session) {
  const std::string session = operators.Begin(person);
  const auto stream = feed.Open(person, session, "");
  now += kSessionSeconds - 1;
  feed.Tick();
  EXPECT_FALSE(stream->Ended());
  now += 1;
  feed.Tick();
  EXPECT_TRUE(stream->Ended());
}

TEST_F(SqliteFeedTest, What_a_failing_database_holds_back_is_told_later) {
  const auto stream = Open();
  Token("u-1");
  store->Execute("ALTER TABLE change RENAME TO lost");
  EXPECT_EQ(Types(*stream), "");
  EXPECT_THAT(lines.back(), HasSubstr("error: the streams have to wait: no such table"));
  store->Execute("ALTER TABLE lost RENAME TO change");
  feed.Tick();
  EXPECT_EQ(TypesIn(stream->Take()), "appliance ");
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

class OperatorApiTest : public FeedTest {
 protected:
  Response AskApi(const std::string& method, const std::string& target,
                  std::vector<std::pair<std::string, std::string>> headers = {}) {
    return api.Handle(Request{method, target, "", "", "192.0.2.7", std::move(headers)});
  }
  OperatorApi api{
      *store, operators, feed, log, [this] { return now; }, true, "cloudservice --db F"};
};

TEST_F(OperatorApiTest, Serves_what_lies_below_api_alone) {
  EXPECT_TRUE(OperatorApi::Serves("/api"));
  EXPECT_TRUE(OperatorApi::Serves("/api/v1/x?y"));
  EXPECT_TRUE(OperatorApi::Serves("/api?x"));
  EXPECT_FALSE(OperatorApi::Serves("/apix"));
  EXPECT_FALSE(OperatorApi::Serves("/?/api/"));
  EXPECT_FALSE(OperatorApi::Serves("/redfish/v1"));
}

TEST_F(OperatorApiTest, Session_is_found_among_other_cookies) {
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

TEST_F(OperatorApiTest, Stream_is_refused_by_who_has_too_many_of_them) {
  const std::vector<std::pair<std::string, std::string>> cookie = {
      {"Cookie", "session=" + operators.Begin(person)}};
  const auto refused = [&](unsigned status, const std::string& reason) {
    const Response response = AskApi("GET", "/api/v1/stream", cookie);
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(Json::parse(response.body).at("error").at("message"), reason);
    EXPECT_EQ(Header(response, "Retry-After"), "15");
  };
  std::vector<std::shared_ptr<Stream>> streams;
  while (streams.size() < Feed::kMaxStreamsOfOperator) streams.push_back(Open());
  refused(429, "As many streams are open as one operator may have.");
  streams.front()->End();
  streams.front() = feed.Open(1000, "", "");
  for (std::int64_t other = 1001; streams.size() < Feed::kMaxStreams; ++other) {
    streams.push_back(feed.Open(other, "", ""));
  }
  refused(503, "As many streams are open as can be served at once.");
}

TEST_F(OperatorApiTest, Wrong_header_is_not_made_good_by_a_session) {
  const std::string cookie = "session=" + operators.Begin(person);
  EXPECT_EQ(
      AskApi("GET", "/api/v1/session", {{"Cookie", cookie}, {"Authorization", "Bearer x"}}).status,
      401u);
}

TEST_F(OperatorApiTest,
       Body_is_refused_before_it_comes_where_nothing_takes_it_or_not_from_its_sender) {
  const auto status = [&](const std::string& method, const std::string& target,
                          const std::string& cookie) {
    const auto refusal = api.RefuseHead(
        Request{method, target, "", "", "192.0.2.7", {{"Cookie", "session=" + cookie}}});
    return refusal ? refusal->status : 0u;
  };
  const std::string session = operators.Begin(person);
  EXPECT_EQ(status("POST", "/api/v1/session", ""), 0u);
  EXPECT_EQ(status("GET", "/api/v1/appliances", session), 0u);
  EXPECT_EQ(status("GET", "/api/v1/appliances", "x"), 401u);
  EXPECT_EQ(status("POST", "/api/v1/appliances", session), 405u);
  EXPECT_EQ(status("GET", "/api/v1/nowhere", session), 404u);
}

TEST_F(OperatorApiTest, Passwords_that_were_not_right_before_are_slow) {
  operators.AddWithPassword("ann", "secret-88");
  const auto slow = [&](const std::string& method, const std::string& target,
                        const std::string& authorization) {
    return api.IsSlow(
        Request{method, target, "", "", "192.0.2.7", {{"Authorization", authorization}}});
  };
  const std::string basic = "Basic YW5uOnNlY3JldC04OA==";
  EXPECT_TRUE(slow("GET", "/api/v1/session", basic));
  EXPECT_EQ(AskApi("GET", "/api/v1/session", {{"Authorization", basic}}).status, 200u);
  EXPECT_FALSE(slow("GET", "/api/v1/session", basic));
  EXPECT_FALSE(slow("GET", "/api/v1/session", "Bearer x"));
  EXPECT_FALSE(slow("GET", "/api/v1/session", ""));
  EXPECT_TRUE(slow("POST", "/api/v1/session", ""));
}

TEST_F(OperatorApiTest, Refusals_are_logged_without_what_was_searched) {
  const std::string cookie = "session=" + operators.Begin(person);
  AskApi("GET", "/api/v1/appliances?q=private&limit=0", {{"Cookie", cookie}});
  EXPECT_THAT(lines.back(), HasSubstr("refused: GET /api/v1/appliances?...: 400 \"limit\" takes"));
  EXPECT_THAT(lines.back(), Not(HasSubstr("private")));
}

}  // namespace
}  // namespace cloudservice
