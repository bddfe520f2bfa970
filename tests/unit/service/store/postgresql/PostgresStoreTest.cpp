// SPDX-License-Identifier: Apache-2.0
// What holds of the store on PostgreSQL alone: several processes, partitions, lost connections.
#include <chrono>
#include <condition_variable>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PostgresDatabase.h"
#include "service/store/postgresql/Days.h"
#include "service/store/postgresql/PostgresStore.h"

namespace cloudservice::postgresql {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t kDay = kSecondsOfDay;

// Changes that the fixture makes.
constexpr std::ptrdiff_t kFirstChanges = 6;

// The changes that can be listed when a store's listener is called, waited for.
class Told {
 public:
  explicit Told(Store& store) : m_store(store) {
    store.Listen([this] { List(); });
  }
  ~Told() { m_store.Listen(nullptr); }
  Told(const Told&) = delete;
  Told& operator=(const Told&) = delete;

  // The managers of the `count` changes that follow those of the fixture.
  std::vector<std::string> Next(std::size_t count) {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_changed.wait_for(guard, std::chrono::minutes(1),
                       [&] { return m_managers.size() >= count + kFirstChanges; });
    return {m_managers.begin() + kFirstChanges, m_managers.end()};
  }

 private:
  void List() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    const ListPage<std::int64_t> page = {m_last, 1000};
    for (const ChangeRecord& one :
         m_store.Read([&](Transaction& work) { return work.ListChanges(page); })) {
      m_last = one.id;
      m_managers.push_back(one.change.manager);
    }
    m_changed.notify_all();
  }

  Store& m_store;
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::int64_t m_last = 0;
  std::vector<std::string> m_managers;
};

// Two managers, "u" and "v", with a chassis each.
class PostgresStoreTest : public testing::Test {
 protected:
  PostgresStoreTest() {
    for (const char* uuid : {"u", "v"}) {
      store.Write([&](Transaction& work) {
        work.AddManager({uuid, uuid, "{}", 1000, {}}, uuid);
        work.AddChassis({std::string("c") + uuid, uuid, "{}", 1000});
      });
    }
  }

  static std::int64_t Beat(Store& store, const std::string& uuid) {
    return store.Write([&](Transaction& work) { return work.AddHeartbeat(uuid, 2000, 60, ""); });
  }
  // A heartbeat that is written before a query, and not only at the end.
  static void BeatAtOnce(Transaction& work, const std::string& uuid) {
    work.AddHeartbeat(uuid, 2000, 60, "");
    work.FindManager(uuid);
  }
  static std::int64_t AddEvent(Store& store, std::int64_t received,
                               const std::string& severity = "OK") {
    return store.Write([&](Transaction& work) {
      return work.AddEvent({0, "u", "cu", "m", severity, "{}", received}, "m").id;
    });
  }
  static void Patch(Store& store, const std::string& value, std::int64_t time) {
    store.Write([&](Transaction& work) {
      work.PutResource({"/r", "u", "cu", "{}", time}, {"/r", "u", "cu", time, {{"n", value}}});
    });
  }
  // The managers of all changes that can be seen.
  static std::vector<std::string> Changed(Store& store) {
    std::vector<std::string> managers;
    for (const ChangeRecord& one : store.Read([](Transaction& look) {
           return look.ListChanges({std::nullopt, 99});
         })) {
      managers.push_back(one.change.manager);
    }
    return managers;
  }
  std::vector<std::string> Texts(const std::string& query) {
    const Sql sql(query, Sql::Plan::kEachTime);
    Connection connection = database.Connect();
    const Result result = connection.Run(sql);
    std::vector<std::string> texts;
    for (const Row row : result) texts.push_back(row.Text(0));
    return texts;
  }
  std::vector<std::string> Partitions(const std::string& table) {
    return Texts(
        "SELECT relname FROM pg_inherits JOIN pg_class ON oid = inhrelid WHERE inhparent = '" +
        table + "'::regclass ORDER BY relname");
  }
  std::vector<std::int64_t> Log() {
    LogFilter filter;
    filter.manager = "u";
    filter.limit = 99;
    std::vector<std::int64_t> ids;
    for (const LoggedEvent& entry :
         store.Read([&](Transaction& look) { return look.ListLog(filter); })) {
      ids.push_back(entry.event.id);
    }
    return ids;
  }
  bool RemoveOld(std::int64_t before) {
    return store.Write([&](Transaction& work) {
      return work.RemoveOld({before, before, 1000}).more;
    });
  }

  PostgresDatabase database;
  PostgresStore store{database.Url()};
  PostgresStore other{database.Url()};
  Told told{other};
};

TEST_F(PostgresStoreTest, Work_that_met_another_change_of_the_same_appliance_is_run_again) {
  int runs = 0;
  store.Write([&](Transaction& work) {
    const std::int64_t members =
        static_cast<std::int64_t>(work.ListResources("u", "cu", {std::nullopt, 99}).size());
    // Between what was found and what is put.
    if (++runs == 1) Patch(other, "1", 1000);
    work.PutResource({"/q" + std::to_string(members), "u", "cu", "{}", 1}, {});
  });
  EXPECT_EQ(runs, 2);
  EXPECT_TRUE(store.Read([](Transaction& look) { return look.HasResource("u", "/q1"); }));
  EXPECT_FALSE(store.Read([](Transaction& look) { return look.HasResource("u", "/q0"); }));
}

TEST_F(PostgresStoreTest, Heartbeats_of_two_appliances_do_not_meet) {
  int runs = 0;
  store.Write([&](Transaction& work) {
    ++runs;
    work.AddHeartbeat("u", 2000, 60, "");
    Beat(other, "v");
  });
  EXPECT_EQ(runs, 1);
}

TEST_F(PostgresStoreTest, Two_that_register_one_appliance_come_one_after_the_other) {
  int runs = 0;
  store.Write([&](Transaction& work) {
    if (++runs == 1) {
      work.FindManager("w");
      other.Write([](Transaction& first) { first.AddManager({"w", "1", "{}", 1, {}}, "w1"); });
    }
    EXPECT_EQ(work.AddManager({"w", "2", "{}", 1, {}}, "w2"), runs == 2);
  });
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(store.Read([](Transaction& look) { return look.FindManager("w")->name; }), "2");
  EXPECT_EQ(store.Read([](Transaction& look) { return look.CountTotals().managers; }), 3);
}

TEST_F(PostgresStoreTest, Work_that_always_meets_another_ends) {
  int runs = 0;
  EXPECT_THROW(store.Write([&](Transaction& work) {
    ++runs;
    work.FindManager("u");
    Beat(other, "u");
    work.AddHeartbeat("u", 2000, 60, "");
  }),
               DatabaseError);
  EXPECT_EQ(runs, 10);
  EXPECT_THROW(store.Check(), DatabaseError);
  Beat(store, "u");
  EXPECT_NO_THROW(store.Check());
}

// Units of work for which nobody waits.
class PostgresGroupTest : public PostgresStoreTest {
 protected:
  // A heartbeat that ends in an error before or after it, or well.
  enum class Fails { kNever, kBefore, kAfter };
  std::future<void> BeatLater(const std::string& uuid, Fails fails = Fails::kNever) {
    return Later([uuid, fails](Transaction& work) {
      if (fails == Fails::kBefore) throw std::runtime_error("refused");
      work.AddHeartbeat(uuid, 2000, 60, "");
      if (fails == Fails::kAfter) throw std::runtime_error("changed its mind");
    });
  }
  std::future<void> Later(Store::Unit work) {
    const auto end = std::make_shared<std::promise<void>>();
    EXPECT_TRUE(store.WriteLater(std::move(work), [end](const std::exception_ptr& error) {
      if (error) return end->set_exception(error);
      end->set_value();
    }));
    return end->get_future();
  }
  // Keeps the threads that run them until Release().
  void Hold() {
    for (std::size_t i = 0; i < Group::Settings().threads; ++i) {
      std::promise<void> begun;
      m_held.push_back(Later([this, &begun](Transaction&) {
        begun.set_value();
        m_go.wait();
      }));
      begun.get_future().wait();
    }
  }
  void Release() {
    m_release.set_value();
    for (std::future<void>& one : m_held) one.get();
  }
  std::int64_t Beats(const std::string& uuid) {
    return store.Read([&](Transaction& look) { return look.FindManager(uuid)->heartbeat.count; });
  }
  // How many transactions have changed something, but for the fixture's two. The tests beside this
  // one may still hide them from ListChanges().
  std::size_t Transactions() { return Texts("SELECT DISTINCT id >> 20 FROM change").size() - 2; }

 private:
  std::promise<void> m_release;
  const std::shared_future<void> m_go = m_release.get_future().share();
  std::vector<std::future<void>> m_held;
};

TEST_F(PostgresGroupTest, Share_a_transaction_also_with_one_that_is_refused) {
  Hold();
  auto first = BeatLater("u");
  auto refused = BeatLater("v", Fails::kBefore);
  auto last = BeatLater("v");
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(refused.get(), std::runtime_error);
  EXPECT_NO_THROW(last.get());
  EXPECT_EQ(Beats("u"), 1);
  EXPECT_EQ(Beats("v"), 1);
  EXPECT_EQ(Transactions(), 1u);
}

TEST_F(PostgresGroupTest, Are_run_one_by_one_where_one_undoes_what_it_has_changed) {
  Hold();
  auto first = BeatLater("u");
  auto wrong = BeatLater("v", Fails::kAfter);
  auto last = BeatLater("v");
  auto unknown = Later([](Transaction& work) {
    work.PutResource({"/r", "w", "cw", "{}", 1}, {"/r", "w", "cw", 1, {}});
  });
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(wrong.get(), std::runtime_error);
  EXPECT_NO_THROW(last.get());
  EXPECT_THROW(unknown.get(), DatabaseError);
  EXPECT_EQ(Beats("u"), 1);
  EXPECT_EQ(Beats("v"), 1);
  EXPECT_EQ(Transactions(), 2u);
}

// What an appliance's requests are to the store, from its token on.
class PostgresSendersTest : public PostgresGroupTest {
 protected:
  PostgresSendersTest() {
    // Statements that change heartbeats and documents.
    database.Connect().Execute(
        "CREATE TABLE seen (name text); "
        "CREATE FUNCTION see() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
        "INSERT INTO seen VALUES (TG_TABLE_NAME); RETURN NULL; END $$; "
        "CREATE TRIGGER see AFTER UPDATE ON heartbeat FOR EACH STATEMENT EXECUTE FUNCTION see(); "
        "CREATE TRIGGER see AFTER INSERT ON resource FOR EACH STATEMENT EXECUTE FUNCTION see()");
  }

  // The unit of work of a heartbeat; `count` gets its answer, 0 for an unknown token.
  static Store::Unit Beats(const std::string& token, std::int64_t& count) {
    return [token, &count](Transaction& work) {
      const auto sender = work.FindSender(token);
      count = sender ? work.AddHeartbeat(sender->uuid, 2000, 60, "192.0.2.1") : 0;
    };
  }
  // That of a value, which is added to those that the document has.
  static Store::Unit Sends(const std::string& token, const std::string& value,
                           std::int64_t time = 1000) {
    return [token, value, time](Transaction& work) {
      const auto sender = work.FindSender(token);
      const std::string chassis = "c" + sender.value().uuid;
      if (!work.HasChassis(sender->uuid, chassis)) throw std::runtime_error("no chassis");
      const auto before = work.FindResource(sender->uuid, "/r");
      work.FindUsage(sender->uuid);
      const std::string document = (before ? before->document : "") + value;
      work.PutResource({"/r", sender->uuid, chassis, document, time},
                       {"/r", sender->uuid, chassis, time, {{"n", value}}});
    };
  }
  std::string Document(const std::string& uuid) {
    return store.Read([&](Transaction& look) { return look.FindResource(uuid, "/r")->document; });
  }
  std::vector<std::string> History(const std::string& uuid) {
    std::vector<std::string> values;
    for (const HistoryValue& one : store.Read([&](Transaction& look) {
           return look.ListHistory({uuid, "/r", "n", 0, 0, 99});
         })) {
      values.push_back(one.value);
    }
    return values;
  }
  // Has them run together.
  void RunThem(const std::vector<Store::Unit>& units) {
    std::vector<std::future<void>> ends;
    Hold();
    for (const Store::Unit& unit : units) ends.push_back(Later(unit));
    Release();
    for (std::future<void>& end : ends) EXPECT_NO_THROW(end.get());
  }
  std::vector<std::string> Statements() { return Texts("SELECT name FROM seen ORDER BY name"); }
};

TEST_F(PostgresSendersTest, Heartbeats_are_written_by_one_statement_and_each_has_its_count) {
  std::int64_t first = 0;
  std::int64_t alone = 0;
  std::int64_t second = 0;
  std::int64_t unknown = -1;
  RunThem({Beats("u", first), Beats("v", alone), Beats("w", unknown), Beats("u", second)});
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(alone, 1);
  EXPECT_EQ(unknown, 0);
  EXPECT_EQ(PostgresGroupTest::Beats("u"), 2);
  EXPECT_EQ(PostgresGroupTest::Beats("v"), 1);
  EXPECT_THAT(Statements(), ElementsAre("heartbeat"));
  EXPECT_EQ(Transactions(), 1u);
}

TEST_F(PostgresSendersTest, Those_of_appliances_that_come_back_are_written_by_one_statement_too) {
  store.Write([](Transaction& work) { EXPECT_EQ(work.Settle(100000, 99), 2); });
  std::int64_t count = 0;
  RunThem({Beats("u", count), Beats("v", count), Beats("u", count)});
  EXPECT_THAT(Statements(), ElementsAre("heartbeat", "heartbeat")) << "the first settled them";
  EXPECT_EQ(Transactions(), 1u);
  EXPECT_EQ(store.Read([](Transaction& look) { return look.CountStates(2001); }),
            (StateCounts{2, 0, 0}));
}

TEST_F(PostgresSendersTest, Values_are_written_by_one_statement) {
  std::int64_t count = 0;
  RunThem({Sends("u", "1"), Beats("v", count), Sends("v", "2")});
  EXPECT_EQ(Document("u"), "1");
  EXPECT_EQ(Document("v"), "2");
  EXPECT_THAT(History("u"), ElementsAre("1"));
  EXPECT_THAT(History("v"), ElementsAre("2"));
  EXPECT_THAT(Statements(), ElementsAre("heartbeat", "resource"));
  EXPECT_EQ(Transactions(), 1u);
  store.Write(Sends("u", "3"));
  store.Write(Sends("v", "2"));
  EXPECT_THAT(History("u"), ElementsAre("1", "3"));
  EXPECT_THAT(History("v"), ElementsAre("2")) << "the same within the hour";
  EXPECT_EQ(store.Write([](Transaction& work) { return work.FindUsage("u").bytes; }), 6);
}

TEST_F(PostgresSendersTest, One_sees_what_another_has_left) {
  RunThem({Sends("u", "1"), Sends("u", "2"), Sends("u", "3", 9000)});
  EXPECT_EQ(Document("u"), "123");
  EXPECT_THAT(History("u"), ElementsAre("1", "2", "3"));
  EXPECT_EQ(store.Write([](Transaction& work) { return work.FindUsage("u").bytes; }), 7);
  EXPECT_EQ(Transactions(), 1u);
}

TEST_F(PostgresSendersTest, One_finds_no_sender_whom_another_has_removed) {
  std::int64_t first = -1;
  std::int64_t last = -1;
  RunThem({Beats("u", first),
           [](Transaction& work) {
             const auto sender = work.FindSender("u");
             work.DeleteManager(sender.value().uuid);
           },
           Beats("u", last)});
  EXPECT_EQ(first, 1);
  EXPECT_EQ(last, 0);
  EXPECT_EQ(Transactions(), 1u);
}

TEST_F(PostgresSendersTest, One_that_meets_another_transaction_has_the_others_begin_anew) {
  std::int64_t count = 0;
  std::int64_t met = 0;
  int runs = 0;
  RunThem({Beats("u", count), [&](Transaction& work) {
             const auto sender = work.FindSender("v");
             if (++runs == 1) Beat(other, "v");
             met = work.AddHeartbeat(sender.value().uuid, 2000, 60, "");
           }});
  EXPECT_EQ(count, 1);
  EXPECT_EQ(met, 2);
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(PostgresGroupTest::Beats("u"), 1);
  EXPECT_EQ(PostgresGroupTest::Beats("v"), 2);
}

TEST_F(PostgresStoreTest, Other_process_is_told_of_a_change) {
  Beat(store, "u");
  EXPECT_THAT(told.Next(1), ElementsAre("u"));
}

TEST_F(PostgresStoreTest, Changes_are_told_in_the_order_in_which_their_transactions_began) {
  PostgresStore third(database.Url());
  store.Write([&](Transaction& work) {
    BeatAtOnce(work, "u");
    Beat(third, "v");
    // Nobody sees it before the change that may still come before it.
    EXPECT_LE(Changed(third).size(), 6u);
  });
  EXPECT_THAT(told.Next(2), ElementsAre("u", "v"));
  std::vector<std::string> managers;
  for (const ChangeRecord& one : third.Read([](Transaction& look) {
         return look.ListChanges({std::nullopt, 99});
       })) {
    managers.push_back(one.change.manager);
  }
  EXPECT_THAT(managers, ElementsAre("u", "u", "u", "v", "v", "v", "u", "v"));
}

TEST_F(PostgresStoreTest, Own_change_is_told_when_what_hid_it_has_ended_without_a_change) {
  EXPECT_THROW(store.Write([&](Transaction& work) {
    BeatAtOnce(work, "u");
    Beat(other, "v");
    throw std::runtime_error("changed its mind");
  }),
               std::runtime_error);
  EXPECT_THAT(told.Next(1), ElementsAre("v"));
}

// The server would interrupt a wait for the standby, and answer as if that had the change.
TEST_F(PostgresStoreTest, Commit_has_no_limit_of_time_at_the_server) {
  database.Connect().Execute(
      "CREATE TABLE seen (timeout text); "
      "CREATE FUNCTION see() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
      "INSERT INTO seen VALUES (TG_ARGV[0] || current_setting('statement_timeout')); "
      "RETURN NULL; END $$; "
      "CREATE TRIGGER at_once AFTER UPDATE ON heartbeat FOR EACH ROW EXECUTE FUNCTION see('work "
      "'); "
      "CREATE CONSTRAINT TRIGGER at_commit AFTER UPDATE ON heartbeat DEFERRABLE INITIALLY DEFERRED "
      "FOR EACH ROW EXECUTE FUNCTION see('commit ')");
  Beat(store, "u");
  EXPECT_THAT(Texts("SELECT timeout FROM seen"), ElementsAre("work 30s", "commit 0"));
}

TEST_F(PostgresStoreTest, Connections_that_were_lost_are_replaced) {
  Beat(store, "u");
  ASSERT_EQ(told.Next(1).size(), 1u);
  const Sql end(
      "SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity "
      "WHERE datname = current_database() AND pid <> pg_backend_pid()",
      Sql::Plan::kEachTime);
  database.Connect().Run(end);
  EXPECT_EQ(Beat(store, "u"), 2);
  EXPECT_EQ(Beat(other, "u"), 3);
  Beat(store, "v");
  EXPECT_THAT(told.Next(4), ElementsAre("u", "u", "u", "v")) << "what came meanwhile as well";
}

TEST_F(PostgresStoreTest, Work_whose_connection_is_lost_on_the_way_is_run_again) {
  int runs = 0;
  store.Write([&](Transaction& work) {
    work.AddHeartbeat("u", 2000, 60, "");
    if (++runs > 1) return;
    const Sql end(
        "SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity "
        "WHERE datname = current_database() AND state = 'idle in transaction'",
        Sql::Plan::kEachTime);
    database.Connect().Run(end);
    work.FindManager("u");
  });
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(Beat(store, "u"), 2);
}

TEST_F(PostgresStoreTest, Database_that_is_not_there_is_named_without_the_password) {
  std::string url = database.Url();
  url.replace(url.find("///"), 3, "//me:geheim@/no_");
  url.replace(url.find("user=postgres"), 13, "x=y");
  try {
    PostgresStore none(url.substr(0, url.find("&x=y")));
    ADD_FAILURE() << "it was opened";
  } catch (const DatabaseError& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot open postgresql://"));
    EXPECT_THAT(error.what(), testing::Not(HasSubstr("geheim")));
  }
}

TEST_F(PostgresStoreTest, Events_and_readings_stand_in_the_partition_of_their_day) {
  AddEvent(store, 3 * kDay + 5);
  Patch(store, "1", 2 * kDay - 1);
  EXPECT_THAT(Texts("SELECT tableoid::regclass::text FROM event"), ElementsAre("event_3"));
  EXPECT_THAT(Texts("SELECT tableoid::regclass::text FROM reading"), ElementsAre("reading_1"));
}

TEST_F(PostgresStoreTest, Events_are_in_the_order_of_arrival_though_the_clock_is_set_back) {
  const std::int64_t first = AddEvent(store, 3 * kDay);
  const std::int64_t second = AddEvent(other, 2 * kDay);
  const std::int64_t third = AddEvent(store, 4 * kDay);
  EXPECT_LT(first, second);
  EXPECT_LT(second, third);
  EXPECT_THAT(Log(), ElementsAre(third, second, first));
  const auto found = store.Read([&](Transaction& look) { return look.FindEvent("u", second); });
  ASSERT_TRUE(found);
  EXPECT_EQ(found->received, 2 * kDay);
}

TEST_F(PostgresStoreTest, Days_that_are_over_go_with_their_partitions) {
  for (std::int64_t day = 1; day < 5; ++day) {
    AddEvent(store, day * kDay);
    Patch(store, std::to_string(day), day * kDay);
  }
  while (RemoveOld(3 * kDay + 7)) {
  }
  EXPECT_THAT(Partitions("event"), ElementsAre("event_3", "event_4", "event_5", "event_kept"));
  EXPECT_THAT(Partitions("reading"), ElementsAre("reading_3", "reading_4", "reading_5"));
  EXPECT_EQ(Log().size(), 2u);
  EXPECT_EQ(store.Read([](Transaction& look) { return look.CountEvents("u"); }), 2);
  EXPECT_EQ(Texts("SELECT 1 FROM event_count").size(), 2u);
  // A day that comes again, since the clock was set back.
  EXPECT_NO_THROW(Patch(store, "7", 2 * kDay));
  EXPECT_EQ(Texts("SELECT 1 FROM reading").size(), 3u);
}

TEST_F(PostgresStoreTest, Event_of_an_open_alarm_outlives_its_partition) {
  const std::int64_t alarm = AddEvent(store, kDay, "Alarm");
  AddEvent(store, kDay + 1);
  while (RemoveOld(3 * kDay)) {
  }
  EXPECT_THAT(Partitions("event"), ElementsAre("event_kept"));
  EXPECT_THAT(Log(), ElementsAre(alarm));
  EXPECT_EQ(store.Read([](Transaction& look) { return look.CountEvents("u"); }), 1);
  EXPECT_TRUE(store.Read([&](Transaction& look) { return look.FindEvent("u", alarm); }));
  const auto open = store.Read([](Transaction& look) {
    return look.ListOpenAlarms("u", {std::nullopt, 9});
  });
  ASSERT_EQ(open.size(), 1u);
  EXPECT_EQ(open[0].document, "{}");
  AddEvent(store, 3 * kDay, "Fault");
  while (RemoveOld(3 * kDay)) {
  }
  EXPECT_EQ(Log().size(), 1u) << "the alarm has another event now";
}

TEST_F(PostgresStoreTest, Partition_that_somebody_reads_stays_until_another_time) {
  AddEvent(store, kDay);
  store.Read([&](Transaction& look) {
    look.CountEvents("u");
    EXPECT_THROW(RemoveOld(3 * kDay), DatabaseError);
  });
  while (RemoveOld(3 * kDay)) {
  }
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(PostgresStoreTest, Counts_that_many_change_are_added_up) {
  for (int i = 0; i < 600; ++i) {
    store.Write([&](Transaction& work) {
      work.AddEvent({0, "u", "cu", i % 2 == 0 ? "m" : "258", "Alarm", "{}", 1}, "m");
    });
  }
  EXPECT_LT(Texts("SELECT 1 FROM total").size(), 200u);
  const Totals totals = store.Read([](Transaction& look) { return look.CountTotals(); });
  EXPECT_EQ(totals.managers, 2);
  EXPECT_EQ(totals.alarms, AlarmCounts{});
}

TEST_F(PostgresStoreTest, Changes_of_a_database_that_was_copied_are_dropped) {
  database.Connect().Execute("INSERT INTO change VALUES (1::bigint << 60, 0, 'u', 0, 0, '', 1)");
  const PostgresStore opened(database.Url());
  EXPECT_THAT(Texts("SELECT 1 FROM change WHERE id = 1::bigint << 60"), IsEmpty());
  EXPECT_EQ(Texts("SELECT 1 FROM change").size(), 6u);
}

// The roles of docs/postgresql.md: one owns the tables, the service runs as the other one.
class PostgresRolesTest : public testing::Test {
 protected:
  PostgresRolesTest() {
    PostgresDatabase::Server().Execute("CREATE ROLE " + owner + " LOGIN; CREATE ROLE " + service +
                                       " LOGIN");
    database.Connect().Execute(
        "ALTER SCHEMA public OWNER TO " + owner + "; GRANT USAGE ON SCHEMA public TO " + service +
        "; ALTER DEFAULT PRIVILEGES FOR ROLE " + owner +
        " GRANT SELECT, INSERT, UPDATE, DELETE ON TABLES TO " + service +
        "; ALTER DEFAULT PRIVILEGES FOR ROLE " + owner + " GRANT USAGE, SELECT ON SEQUENCES TO " +
        service + "; ALTER DEFAULT PRIVILEGES FOR ROLE " + owner +
        " GRANT EXECUTE ON FUNCTIONS TO " + service);
  }
  ~PostgresRolesTest() override {
    for (const std::string& role : {service, owner}) {
      database.Connect().Execute("DROP OWNED BY " + role + " CASCADE");
      PostgresDatabase::Server().Execute("DROP ROLE " + role);
    }
  }
  std::string UrlOf(const std::string& role) const {
    std::string url = database.Url();
    return url.replace(url.find("user=postgres"), 13, "user=" + role);
  }

  PostgresDatabase database;
  const std::string owner = database.Name() + "_owner";
  const std::string service = database.Name() + "_service";
};

TEST_F(PostgresRolesTest, Service_reads_and_writes_rows_in_tables_that_are_not_its_own) {
  { const PostgresStore made(UrlOf(owner)); }
  PostgresStore store(UrlOf(service));
  store.Write([](Transaction& work) {
    work.AddManager({"u", "n", "{}", 1, {}}, "u");
    work.AddChassis({"c", "u", "{}", 1});
    work.PutResource({"/r", "u", "c", "{}", 1}, {"/r", "u", "c", kDay, {{"n", "1"}}});
    work.AddEvent({0, "u", "c", "m", "Alarm", "{}", kDay}, "m");
    work.AddHeartbeat("u", 1, 60, "");
    work.AddFailure("s", 1, 1, 1);
  });
  while (store.Write([](Transaction& work) {
    return work.RemoveOld({9 * kDay, 9 * kDay, 9}).more;
  })) {
  }
  store.Write([](Transaction& work) { work.DeleteManager("u"); });
  while (store.Write([](Transaction& work) { return work.RemoveNext(9); }) != Left::kNothing) {
  }
  Connection connection(UrlOf(service), std::chrono::seconds(60));
  EXPECT_THROW(connection.Execute("DROP TABLE event_kept"), ServerError);
  EXPECT_THROW(connection.Execute("CREATE TABLE mine (x int)"), ServerError);
}

TEST_F(PostgresRolesTest, Service_alone_makes_no_tables) {
  try {
    const PostgresStore store(UrlOf(service));
    ADD_FAILURE() << "it was opened";
  } catch (const DatabaseError& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot make the tables of postgresql://"));
    EXPECT_THAT(error.what(), HasSubstr("permission denied"));
  }
}

}  // namespace
}  // namespace cloudservice::postgresql
