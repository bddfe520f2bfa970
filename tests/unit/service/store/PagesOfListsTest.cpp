// SPDX-License-Identifier: Apache-2.0
// The lists of the store, page by page.
#include <algorithm>
#include <tuple>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What a case compares of an entry.
const std::string& NameOf(const std::string& text) { return text; }
std::string NameOf(std::int64_t id) { return std::to_string(id); }
const std::string& NameOf(const ChassisName& chassis) { return chassis.id; }
const std::string& NameOf(const ChassisRecord& chassis) { return chassis.id; }
const std::string& NameOf(const AlarmRecord& alarm) { return alarm.messageId; }
const std::string& NameOf(const AccountRecord& account) { return account.email; }
const std::string& NameOf(const OperatorRecord& person) { return person.name; }
const std::string& NameOf(const DocumentRecord& document) { return document.name.name; }
std::string NameOf(const MemberRecord& member) { return member.path + " " + member.name; }
std::string NameOf(const DueAppliance& due) { return std::to_string(due.time) + " " + due.uuid; }

template <typename Entry>
std::vector<std::string> NamesOf(const std::vector<Entry>& entries) {
  std::vector<std::string> names;
  for (const Entry& entry : entries) names.push_back(NameOf(entry));
  return names;
}

// A store with what is listed, and more of another manager's beside it.
class PagesOfListsTest : public StoreTest {
 protected:
  PagesOfListsTest() {
    for (const char* uuid : {"u", "v"}) Fill(uuid);
    for (const char* name : {"c", "a", "b"}) {
      store->AddOperator({0, name, {}, {}, 1});
      store->AddRegistrationKey(name, "hash", false, 1);
    }
  }

  void Fill(const std::string& uuid) {
    store->AddManager({uuid, "n", "{}", 1000, {}}, uuid);
    for (const char* name : {"3", "1", "2"}) {
      const std::string chassis = uuid + name;
      store->AddChassis({chassis, uuid, "{}", 1});
      for (const char* below : {"/y", "/x", "/x/b", "/x/a", "/x/a/deep"}) {
        const std::string path = "/" + chassis + below;
        store->PutResource({path, uuid, chassis, "{}", 1},
                           {path, uuid, chassis, 1, {{"", "1"}, {"q", "1"}, {"p", "2"}}});
      }
      for (const char* alarm : {"m", "n"}) {
        store->AddEvent({0, uuid, chassis, alarm, "Alarm", "{}", 1}, alarm);
      }
      store->AddEvent({0, uuid, chassis, "258", "OK", "{}", 1}, "n");
    }
    store->PutResource({"/" + uuid + "/own", uuid, {}, "{}", 1}, {});
  }

  // Reads a list in pages of each size: their entries are those of the whole list, each once.
  // Returns the names of all.
  template <typename Entry, typename... Parameters, typename... Scope>
  std::vector<std::string> Paged(std::vector<Entry> (Transaction::*list)(Parameters...),
                                 const Scope&... scope) {
    std::decay_t<std::tuple_element_t<sizeof...(Scope), std::tuple<Parameters...>>> page;
    page.limit = 1000;
    const std::vector<std::string> whole =
        NamesOf(store.Read([&](Transaction& kept) { return (kept.*list)(scope..., page); }));
    EXPECT_EQ(NamesOf(store.All(list, scope...)), whole);
    for (page.limit = 1; page.limit < 5; ++page.limit) {
      std::vector<std::string> names;
      page.after.reset();
      for (;;) {
        const auto entries =
            store.Read([&](Transaction& kept) { return (kept.*list)(scope..., page); });
        EXPECT_LE(entries.size(), static_cast<std::size_t>(page.limit));
        if (entries.empty()) break;
        for (const Entry& entry : entries) names.push_back(NameOf(entry));
        page.after = KeyOf(entries.back());
      }
      EXPECT_EQ(names, whole) << "in pages of " << page.limit;
    }
    return whole;
  }

  TestStore store{file};
};

TEST_F(PagesOfListsTest, Chassis_stand_in_the_order_of_their_creation) {
  EXPECT_THAT(Paged(&Transaction::ListChassis, "u"), ElementsAre("u3", "u1", "u2"));
  EXPECT_THAT(Paged(&Transaction::ListChassisRecords, "u"), ElementsAre("u3", "u1", "u2"));
  EXPECT_THAT(Paged(&Transaction::ListChassis, "none"), IsEmpty());
}

TEST_F(PagesOfListsTest, Paths_stand_in_ascending_order) {
  EXPECT_THAT(Paged(&Transaction::ListResources, "u", "u1"),
              ElementsAre("/u1/x", "/u1/x/a", "/u1/x/a/deep", "/u1/x/b", "/u1/y"));
  EXPECT_THAT(Paged(&Transaction::ListResources, "u", std::nullopt), ElementsAre("/u/own"));
  EXPECT_THAT(Paged(&Transaction::ListChildren, "u", "/u1/x"), ElementsAre("/u1/x/a", "/u1/x/b"));
}

TEST_F(PagesOfListsTest, Numbers_stand_in_the_order_of_paths_and_names) {
  EXPECT_THAT(Paged(&Transaction::ListHistoryMembers, "u", "/u1/x", 0), ElementsAre("", "p", "q"));
  EXPECT_THAT(Paged(&Transaction::ListMembers, "u", "/u1/x"),
              ElementsAre("/u1/x ", "/u1/x p", "/u1/x q"));
  const std::vector<std::string> all = Paged(&Transaction::ListMembers, "u", std::nullopt);
  EXPECT_EQ(all.size(), 45u);
  EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
}

TEST_F(PagesOfListsTest, Documents_stand_as_those_of_the_manager_its_chassis_its_resources) {
  std::vector<std::string> documents = Paged(&Transaction::ListDocuments, "u");
  ASSERT_EQ(documents.size(), 20u);
  EXPECT_TRUE(std::is_sorted(documents.begin() + 4, documents.end()));
  documents.resize(5);
  EXPECT_THAT(documents, ElementsAre("u", "u3", "u1", "u2", "/u/own"));
}

TEST_F(PagesOfListsTest, Filtered_events_stand_as_they_came) {
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", {}, {}, {}}),
              ElementsAre("1", "2", "3", "4", "5", "6", "7", "8", "9"));
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", "u1", {}, {}}),
              ElementsAre("4", "5", "6"));
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", {}, {}, "OK"}),
              ElementsAre("3", "6", "9"));
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", {}, false, {}}),
              ElementsAre("1", "4", "7"));
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", {}, true, {}}),
              ElementsAre("2", "5", "8"));
  EXPECT_THAT(Paged(&Transaction::ListEvents, EventFilter{"u", "u2", true, "Alarm"}),
              ElementsAre("8"));
}

TEST_F(PagesOfListsTest, Open_alarms_stand_newest_first) {
  store->AddEvent({0, "u", "u3", "o", "Fault", "{}", 1}, "o");
  EXPECT_THAT(Paged(&Transaction::ListOpenAlarms, "u"), ElementsAre("o", "m", "m", "m"));
}

TEST_F(PagesOfListsTest, Accounts_and_operators_stand_by_name) {
  EXPECT_THAT(Paged(&Transaction::ListAccounts), ElementsAre("a", "b", "c"));
  EXPECT_THAT(Paged(&Transaction::ListOperators), ElementsAre("a", "b", "c"));
}

TEST_F(PagesOfListsTest, Appliances_stand_by_the_time_at_which_they_become_due) {
  store->AddHeartbeat("v", 1000, 60, "");  // late at 1120, offline at 1180
  store->AddManager({"w", "n", "{}", 1000, {}}, "w");
  EXPECT_THAT(Paged(&Transaction::ListDue, 1119, 1359), ElementsAre("1180 v", "1240 u", "1240 w"));
  EXPECT_THAT(Paged(&Transaction::ListDue, 1120, 1360), ElementsAre("1180 v", "1360 u", "1360 w"));
  EXPECT_THAT(Paged(&Transaction::ListDue, 1180, 1239), IsEmpty());
}

TEST_F(PagesOfListsTest, List_of_several_pages_is_read_as_a_whole) {
  store.Write([](Transaction& kept) {
    for (std::int64_t i = 0; i < 2 * kListPage + 1; ++i) {
      kept.AddEvent({0, "v", "", "m", "MESSAGE", "{}", 1}, "");
    }
  });
  const auto ids = store.All(&Transaction::ListEvents, EventFilter{"v", {}, {}, "MESSAGE"});
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(2 * kListPage + 1));
  EXPECT_EQ(ids.back() - ids.front(), 2 * kListPage);
}

TEST_F(PagesOfListsTest, What_came_or_went_between_two_pages_moves_no_other) {
  const std::vector<ChassisName> first = store->ListChassis("u", {{}, 2});
  store->DeleteChassis("u1");
  store->AddChassis({"u0", "u", "{}", 1});
  EXPECT_THAT(NamesOf(store->ListChassis("u", {KeyOf(first.back()), 9})), ElementsAre("u2", "u0"));
}

}  // namespace
}  // namespace cloudservice
