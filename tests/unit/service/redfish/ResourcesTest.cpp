// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ResourcesTest : public ServiceTest {
 protected:
  // What of the document at `from` has no place in a published type.
  Json Rest(const std::string& from) {
    return Got(200, Ask("GET", from, token)).at("Oem").at("Quorvan");
  }

  std::string token = Token("u-1");
  std::string path = "/redfish/v1/Chassis/" + Chassis(token) + "/Thermal";
};

TEST_F(ResourcesTest, First_patch_creates_and_later_ones_merge) {
  const std::string first = R"({"Temperatures": [{"ReadingCelsius": 21}], "A": {"b": 1, "c": 2}})";
  const Response created = Ask("PATCH", path, token, first);
  EXPECT_EQ(created.status, 204u);
  EXPECT_EQ(created.body, "");
  EXPECT_THAT(lines.back(), EndsWith(" resource created: " + path));
  EXPECT_EQ(Ask("PATCH", path, token, R"({"Temperatures": [], "A": {"b": null}})").status, 204u);
  EXPECT_THAT(lines.back(), EndsWith(" resource changed: " + path));
  const Json resource = Got(200, Ask("GET", path, token));
  EXPECT_EQ(resource.at("@odata.id"), path);
  EXPECT_EQ(resource.at("Temperatures"), Json::array());
  EXPECT_EQ(Rest(path).at("A"), Json({{"c", 2}}));
}

// A file has one writer at a time; a server has many, and lets one of two that meet begin anew.
using SqliteResourcesTest = ResourcesTest;

TEST_F(SqliteResourcesTest, What_a_patch_is_merged_into_nobody_changes_meanwhile) {
  Database other(folder.File("service.db"));
  other.Execute("PRAGMA busy_timeout = 0");
  int refused = 0;
  // Asked for the time of each change, between what is found and what is put.
  RedfishService asked(*store, log, *accounts, [&] {
    EXPECT_THROW(DatabaseTransaction(other, DatabaseTransaction::Mode::kWrite), DatabaseError);
    ++refused;
    return now;
  });
  const std::string chassis = path.substr(0, path.rfind('/'));
  for (const std::string& target : {path, chassis, std::string("/redfish/v1/Managers/u-1")}) {
    EXPECT_EQ(asked.Handle({"PATCH", target, "{}", token, "192.0.2.7"}).status, 204u) << target;
  }
  EXPECT_EQ(refused, 3);
  EXPECT_NO_THROW(DatabaseTransaction(other, DatabaseTransaction::Mode::kWrite));
}

TEST_F(ResourcesTest, Null_in_the_first_patch_leaves_nothing_behind) {
  Ask("PATCH", path, token, R"({"A": {"b": null, "c": [null]}})");
  EXPECT_EQ(Rest(path).at("A"), Json({{"c", {nullptr}}}));
}

TEST_F(ResourcesTest, Path_may_go_deeper_and_hang_below_the_manager) {
  for (const std::string& deeper :
       {path + "/Fans/1", std::string("/redfish/v1/Managers/u-1/Net")}) {
    EXPECT_EQ(Ask("PATCH", deeper, token, R"({"x": "y"})").status, 204u);
    EXPECT_EQ(Rest(deeper).at("x"), "y");
  }
}

TEST_F(ResourcesTest, One_resource_however_its_path_is_written) {
  Ask("PATCH", path, token, R"({"x": 1})");
  const std::string encoded = path.substr(0, path.size() - 7) + "%54hermal/";
  EXPECT_EQ(Rest(encoded).at("x"), 1);
}

TEST_F(ResourcesTest, What_was_never_patched_is_not_there) {
  EXPECT_EQ(Ask("GET", path, token).status, 404u);
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Chassis/none/Thermal", token, "{}").status, 404u);
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Chassis//Thermal", token, "{}").status, 400u);
}

TEST_F(ResourcesTest, Refused_patch_changes_nothing) {
  Ask("PATCH", path, token, R"({"x": 1})");
  for (const std::string body : {"", "[]", "7", "{\"x\": }", "{\"x\": 2} {}"}) {
    EXPECT_EQ(Ask("PATCH", path, token, body).status, 400u) << body;
  }
  EXPECT_EQ(Rest(path).at("x"), 1);
}

TEST_F(ResourcesTest, Document_grows_to_100000_values_and_no_further) {
  const auto many = [](const char* name, std::size_t count) {
    return Json({{name, std::vector<int>(count, 1)}}).dump();
  };
  EXPECT_EQ(Ask("PATCH", path, token, many("a", 60000)).status, 204u);
  const Response refused = Ask("PATCH", path, token, many("b", 60000));
  EXPECT_EQ(refused.status, 413u);
  EXPECT_EQ(ErrorText(refused), "The document would grow to 120003 values; it may have 100000.");
  EXPECT_EQ(Ask("PATCH", path, token, many("b", 39997)).status, 204u);
  EXPECT_EQ(Ask("PATCH", path, token, R"({"c": 1})").status, 413u);
  EXPECT_EQ(Ask("PATCH", path, token, R"({"a": null, "c": 1})").status, 204u);
}

TEST_F(ResourcesTest, Answer_of_many_documents_has_a_limit_of_values) {
  const std::string chassis = path.substr(0, path.rfind('/'));
  const Json many = {{"a", std::vector<int>(90000, 1)}};
  for (const char* name : {"/A", "/B", "/C"}) {
    EXPECT_EQ(Ask("PATCH", chassis + name, token, many.dump()).status, 204u);
  }
  EXPECT_EQ(Ask("GET", chassis + "/A", token).status, 200u);
  const Response refused = Ask("GET", chassis + "?$expand=*", token);
  EXPECT_EQ(refused.status, 507u);
  EXPECT_EQ(ErrorText(refused), "The answer would have more than 200000 values.");
}

TEST_F(ResourcesTest, Document_grows_to_its_limit_and_no_further) {
  const Json megabyte(std::string(std::size_t{1} << 20, 'x'));
  for (const std::string& of : {path, std::string("/redfish/v1/Managers/u-1"),
                                path.substr(0, path.size() - std::strlen("/Thermal"))}) {
    for (const char* name : {"a", "b", "c"}) {
      EXPECT_EQ(Ask("PATCH", of, token, Json({{name, megabyte}}).dump()).status, 204u);
    }
    const Response refused = Ask("PATCH", of, token, Json({{"d", megabyte}}).dump());
    EXPECT_EQ(refused.status, 413u) << of;
    EXPECT_THAT(refused.body, HasSubstr("bytes; it may have 4194304."));
    EXPECT_EQ(Rest(of).count("d"), 0u);
    EXPECT_EQ(Ask("PATCH", of, token, R"({"a": null})").status, 204u);
    EXPECT_EQ(Ask("PATCH", of, token, Json({{"d", megabyte}}).dump()).status, 204u);
  }
}

TEST_F(ResourcesTest, Event_collection_is_no_resource_to_patch) {
  const Response response =
      Ask("PATCH", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token, R"({"x": 1})");
  EXPECT_EQ(response.status, 405u);
  EXPECT_EQ(Header(response, "Allow"), "POST, OPTIONS");
}

}  // namespace
}  // namespace cloudservice
