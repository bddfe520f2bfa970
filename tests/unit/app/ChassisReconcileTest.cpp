// SPDX-License-Identifier: Apache-2.0
// Reconciling the configured chassis with those of the service.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

typedef AppTest ReconcileTest;

TEST_F(ReconcileTest, The_alarms_of_the_chassis_are_synchronised_for_the_managed_device) {
  cloud.chassis["c-1"] = 8;
  FreshApp().ReconcileWithCloudService("{}");
  EXPECT_THAT(steps().All(), ElementsAre("DeviceMgr::SyncChassisAlarms(3, c-1)"));
}

TEST_F(ReconcileTest, The_document_is_not_read) {
  cloud.chassis["c-1"] = 3;
  CloudClient& app = FreshApp();
  app.ReconcileWithCloudService("");
  app.ReconcileWithCloudService("{ no JSON");
  EXPECT_THAT(steps().All(), ElementsAre("DeviceMgr::SyncChassisAlarms(3, c-1)",
                                         "DeviceMgr::SyncChassisAlarms(3, c-1)"));
}

TEST_F(ReconcileTest, Without_a_chassis_there_is_nothing_to_do) {
  FreshApp().ReconcileWithCloudService("{}");
  EXPECT_THAT(steps().All(), ElementsAre("3 ReconcileWithCloudService: No configure chassis"));
}

TEST_F(ReconcileTest, An_unreadable_list_is_an_empty_one) {
  cloud.chassis["c-1"] = 3;
  cloud.fails["GetConfiguredChassis"] = 1;
  FreshApp().ReconcileWithCloudService("{}");
  EXPECT_THAT(steps().All(), ElementsAre("3 ReconcileWithCloudService: No configure chassis"));
}

TEST_F(ReconcileTest, Of_several_chassis_the_smallest_key_is_named_and_synchronised) {
  cloud.chassis = {{"c-9", 3}, {"c-10", 3}, {"c-2", 3}};
  FreshApp().ReconcileWithCloudService("{}");
  EXPECT_THAT(steps().All(),
              ElementsAre("3 ReconcileWithCloudService: Multiple chassis detected -- only one "
                          "supported (c-10)",
                          "DeviceMgr::SyncChassisAlarms(3, c-10)"));
}

class DeleteChassisTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    cloud.chassis["c-1"] = 3;
    service.answers("DELETE", "/redfish/v1/Chassis/*", 204);
  }
};

TEST_F(DeleteChassisTest, A_chassis_is_deleted_and_forgotten) {
  EXPECT_EQ(FreshApp().DeleteChassisInstanceFromCloudService("c-1"), 0);
  EXPECT_THAT(steps().All(),
              ElementsAre("DELETE /redfish/v1/Chassis/c-1", "cloud.RemoveChassis", "cloud.Save"));
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("RemoveChassis(c-1)", "Save()"));
  EXPECT_EQ(service.requests().at(0).Header("X-Auth-Token"), "t-1");
}

TEST_F(DeleteChassisTest, A_refused_delete_is_kAppDeleteRefused_and_forgets_all_the_same) {
  service.answers("DELETE", "/redfish/v1/Chassis/c-1", 404);
  EXPECT_EQ(FreshApp().DeleteChassisInstanceFromCloudService("c-1"), 18);
  EXPECT_THAT(steps().All(), ElementsAre("DELETE /redfish/v1/Chassis/c-1",
                                         "3 DeleteChassisInstanceFromCloudService: Failed to "
                                         "delete (5) chassis from the Cloud Service",
                                         "cloud.RemoveChassis", "cloud.Save"));
}

TEST_F(DeleteChassisTest, A_transfer_that_fails_is_kAppDeleteRefused) {
  service.isDown();
  EXPECT_EQ(FreshApp().DeleteChassisInstanceFromCloudService("c-1"), 18);
  EXPECT_EQ(steps().All().at(1),
            "3 DeleteChassisInstanceFromCloudService: Failed to delete (4) chassis from the Cloud "
            "Service");
  EXPECT_TRUE(cloud.chassis.empty());
}

TEST_F(DeleteChassisTest, Without_URL_or_token_it_is_forgotten_without_a_request) {
  CloudClient& app = FreshApp();
  for (const char* operation : {"GetUrl", "GetXAuthToken"}) {
    cloud.fails = {{operation, 1}};
    steps().Forget();
    EXPECT_EQ(app.DeleteChassisInstanceFromCloudService("c-1"), 0);
    EXPECT_THAT(steps().All(), ElementsAre("cloud.RemoveChassis", "cloud.Save"));
  }
}

TEST_F(DeleteChassisTest, An_empty_Id_asks_at_the_collection_and_leaves_configuration_alone) {
  EXPECT_EQ(FreshApp().DeleteChassisInstanceFromCloudService(""), 0);
  EXPECT_THAT(steps().All(), ElementsAre("DELETE /redfish/v1/Chassis/"));
  EXPECT_EQ(cloud.chassis.size(), 1);
}

// Comparing the links of the manager's document with the configured list, here c-1 and c-2.
class ReconcileChassisTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    cloud.chassis = {{"c-1", 3}, {"c-2", 4}};
    service.answers("GET", "/c/1", 200, R"({"Id":"c-1"})");
    service.answers("GET", "/c/2", 200, R"({"Id":"c-2"})");
    service.answers("GET", "/c/9", 200, R"({"Id":"c-9"})");
    service.answers("GET", "/c/none", 200, "{}");
    service.answers("DELETE", "/redfish/v1/Chassis/*", 204);
    service.answers("POST", "/redfish/v1/Chassis", 201, R"({"Id":"c-3"})");
  }

  // The result for these elements of the links, which is followed by the steps.
  std::vector<std::string> Reconcile(const std::string& elements) {
    return ReconcileDocument(R"({"Links":{"ManagerForChassis":[)" + elements + "]}}");
  }

  std::vector<std::string> ReconcileDocument(const std::string& document) {
    CloudClient& app = App();
    steps().Forget();
    std::vector<std::string> all = {std::to_string(app.ReconcileChassis(document))};
    const std::vector<std::string>& done = steps().All();
    all.insert(all.end(), done.begin(), done.end());
    return all;
  }

  static std::vector<std::string> Joined(std::vector<std::vector<std::string>> parts) {
    std::vector<std::string> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

  const std::vector<std::string> m_emptied = {
      "cloud.RemoveChassis", "7 ReconcileChassis: removed cloud client chassis c-1",
      "cloud.RemoveChassis", "7 ReconcileChassis: removed cloud client chassis c-2", "cloud.Save"};
  const std::vector<std::string> m_posted = {"DeviceMgr::FindPath(3, cloudchassis.txt)",
                                             "PatchMgr::FillSevenDayValues",
                                             "PatchMgr::UpdateDocWithTempUomValues(3)",
                                             "POST /redfish/v1/Chassis",
                                             "cloud.AddChassis",
                                             "cloud.Save"};
  const std::vector<std::string> m_deleted9 = {"DELETE /redfish/v1/Chassis/c-9",
                                               "cloud.RemoveChassis", "cloud.Save"};
};

TEST_F(ReconcileChassisTest, A_document_that_is_no_JSON_is_kAppManagerNotJson_without_a_message) {
  EXPECT_THAT(ReconcileDocument(""), ElementsAre("21"));
  EXPECT_THAT(ReconcileDocument("{"), ElementsAre("21"));
}

TEST_F(ReconcileChassisTest, A_document_without_Links_is_kAppNoLinks_whatever_value_it_is) {
  EXPECT_THAT(ReconcileDocument("{}"), ElementsAre("22"));
  EXPECT_THAT(ReconcileDocument("7"), ElementsAre("22"));
  EXPECT_THAT(ReconcileDocument("[]"), ElementsAre("22"));
}

TEST_F(ReconcileChassisTest, Links_without_chassis_is_kAppNoCollection) {
  EXPECT_THAT(ReconcileDocument(R"({"Links":{}})"), ElementsAre("11"));
  EXPECT_THAT(ReconcileDocument(R"({"Links":[]})"), ElementsAre("11"));
}

TEST_F(ReconcileChassisTest, An_empty_list_posts_the_chassis_and_removes_nothing) {
  EXPECT_EQ(Reconcile(""), Joined({{"0"}, m_posted}));
  EXPECT_EQ(cloud.chassis.size(), 3);
}

TEST_F(ReconcileChassisTest, An_empty_list_gives_the_result_of_the_post) {
  fakes::platform().framework.managedVelId = -4;
  EXPECT_THAT(Reconcile(""),
              ElementsAre("14", "3 PostChassisInstance: Invalid managed device id(-4)"));
}

TEST_F(ReconcileChassisTest, Links_that_are_no_list_count_as_empty) {
  EXPECT_EQ(ReconcileDocument(R"({"Links":{"ManagerForChassis":{"@odata.id":"/c/1"}}})"),
            Joined({{"0"}, m_posted}));
}

TEST_F(ReconcileChassisTest, Chassis_that_all_match_change_nothing) {
  EXPECT_THAT(Reconcile(R"({"@odata.id":"/c/2"},{"@odata.id":"/c/1"})"),
              ElementsAre("0", "GET /c/2", "GET /c/1"));
  EXPECT_EQ(cloud.chassis.size(), 2);
}

TEST_F(ReconcileChassisTest, The_last_of_two_members_of_one_name_counts) {
  EXPECT_THAT(ReconcileDocument(R"({"Links":{},"Links":{"ManagerForChassis":[)"
                                R"({"@odata.id":"/c/9","@odata.id":"/c/1"}]}})"),
              ElementsAre("0", "GET /c/1"));
}

TEST_F(ReconcileChassisTest, A_chassis_that_is_not_configured_is_deleted_and_a_new_one_posted) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/9"})"),
            Joined({{"0", "GET /c/9"}, m_deleted9, m_emptied, m_posted}));
  EXPECT_EQ(cloud.chassis.size(), 1);
  EXPECT_EQ(cloud.chassis.count("c-3"), 1);
}

TEST_F(ReconcileChassisTest, One_that_does_not_match_is_enough) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/1"},{"@odata.id":"/c/9"},{"@odata.id":"/c/2"})"),
            Joined({{"0", "GET /c/1", "GET /c/9"}, m_deleted9, m_emptied, {"GET /c/2"}, m_posted}));
}

// The list that was copied is not emptied: it is removed, and compared with, each time again.
TEST_F(ReconcileChassisTest, Each_one_that_does_not_match_removes_the_whole_list_again) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/9"},{"@odata.id":"/c/9"})"), Joined({{"0", "GET /c/9"},
                                                                               m_deleted9,
                                                                               m_emptied,
                                                                               {"GET /c/9"},
                                                                               m_deleted9,
                                                                               m_emptied,
                                                                               m_posted}));
}

TEST_F(ReconcileChassisTest, A_missing_reference_removes_the_list_and_the_loop_goes_on) {
  EXPECT_EQ(Reconcile(R"({},{"@odata.id":"/c/1"})"),
            Joined({{"0"}, m_emptied, {"GET /c/1"}, m_posted}));
}

TEST_F(ReconcileChassisTest, An_element_that_is_no_object_has_no_reference) {
  EXPECT_EQ(Reconcile(R"("/c/1")"), Joined({{"0"}, m_emptied, m_posted}));
}

TEST_F(ReconcileChassisTest, A_reference_that_is_no_string_is_not_followed_and_matches_nothing) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":7})"), Joined({{"0"}, m_emptied, m_posted}));
}

TEST_F(ReconcileChassisTest, A_reference_that_is_no_string_does_not_match_an_empty_Id_either) {
  cloud.chassis = {{"", 3}};
  EXPECT_EQ(Reconcile(R"({"@odata.id":7})"),
            Joined({{"0", "cloud.RemoveChassis",
                     "7 ReconcileChassis: removed cloud client chassis ", "cloud.Save"},
                    m_posted}));
}

TEST_F(ReconcileChassisTest, An_Id_of_an_earlier_element_is_not_that_of_a_later_one) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/9"},{"@odata.id":7})"),
            Joined({{"0", "GET /c/9"}, m_deleted9, m_emptied, m_emptied, m_posted}));
}

TEST_F(ReconcileChassisTest, A_chassis_document_without_Id_deletes_nothing_at_the_service) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/none"})"),
            Joined({{"0", "GET /c/none"}, m_emptied, m_posted}));
}

TEST_F(ReconcileChassisTest, A_chassis_that_cannot_be_fetched_is_posted_anew) {
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/404"})"),
            Joined({{"0", "GET /c/404",
                     "3 GetAuthDocument: Failed to get (4) url (https://cloud.example/c/404) "
                     "document from the Cloud Service"},
                    m_emptied,
                    m_posted}));
}

TEST_F(ReconcileChassisTest, Without_a_readable_token_the_list_is_removed_and_the_post_fails) {
  cloud.fails["GetXAuthToken"] = 1;
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/1"})"),
            Joined({{"13", "3 GetAuthDocument: missing x-auth-token  -- not registered?",
                     "3 GetChassisIdFromChassisDoc: Failed to parse chassis document"},
                    m_emptied,
                    {"3 PostChassisInstance: Failed to get the xauthtoken"}}));
}

TEST_F(ReconcileChassisTest, A_delete_that_fails_is_reported_and_the_chassis_posted_anew) {
  service.answers("DELETE", "/redfish/v1/Chassis/*", 500);
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/9"})"),
            Joined({{"0", "GET /c/9", "DELETE /redfish/v1/Chassis/c-9",
                     "3 DeleteChassisInstanceFromCloudService: Failed to delete (5) chassis from "
                     "the Cloud Service",
                     "cloud.RemoveChassis", "cloud.Save"},
                    m_emptied,
                    m_posted}));
}

TEST_F(ReconcileChassisTest, The_result_is_that_of_the_post) {
  service.answers("POST", "/redfish/v1/Chassis", 201, "{}");
  const auto all = Reconcile(R"({"@odata.id":"/c/9"})");
  EXPECT_EQ(all.front(), "16");
  EXPECT_TRUE(cloud.chassis.empty());
}

TEST_F(ReconcileChassisTest, Without_configured_chassis_none_matches) {
  cloud.chassis.clear();
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/1"})"),
            Joined({{"0", "GET /c/1", "DELETE /redfish/v1/Chassis/c-1", "cloud.RemoveChassis",
                     "cloud.Save", "cloud.Save"},
                    m_posted}));
}

// Without a chassis that is configured under an empty `Id`, an empty one matches nothing and
// names nothing to delete.
TEST_F(ReconcileChassisTest, An_empty_Id_deletes_nothing_at_the_service) {
  service.answers("GET", "/c/1", 200, R"({"Id":""})");
  EXPECT_EQ(Reconcile(R"({"@odata.id":"/c/1"})"), Joined({{"0", "GET /c/1"}, m_emptied, m_posted}));
}

}  // namespace
}  // namespace cloudclient
