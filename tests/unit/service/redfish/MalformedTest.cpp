// SPDX-License-Identifier: Apache-2.0
#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class MalformedTest : public ServiceTest {
 protected:
  std::string Reason(const std::string& body) {
    const Response response = Ask("POST", "/redfish/v1/Chassis", token, body);
    EXPECT_EQ(response.status, 400u) << body;
    return ErrorText(response);
  }
  ~MalformedTest() override { EXPECT_TRUE((*store)->ListChassis("u-1", {{}, 9}).empty()); }

  const std::string token = Token("u-1");
};

TEST_F(MalformedTest, Error_object_says_what_and_where_as_redfish_does) {
  const Response response =
      Ask("POST", "/redfish/v1/Chassis", token, "{\n  \"a\": 1,\n  \"b\" 2\n}");
  EXPECT_EQ(response.status, 400u);
  const Json error = Json::parse(response.body).at("error");
  EXPECT_THAT(error.at("message").get<std::string>(), HasSubstr("line 3, column 7: "));
  EXPECT_EQ(error.at("code"), error.at("@Message.ExtendedInfo").at(0).at("MessageId"));
  EXPECT_EQ(error.at("message"), error.at("@Message.ExtendedInfo").at(0).at("Message"));
  EXPECT_THAT(lines.back(), HasSubstr(" refused: POST /redfish/v1/Chassis: 400 The body is not "
                                      "acceptable: line 3, column 7: "));
}

TEST_F(MalformedTest, Body_has_to_be_one_object) {
  EXPECT_EQ(Reason(""), "The body is empty; a JSON object is expected.");
  EXPECT_EQ(Reason("[]"), "The body is a JSON array; an object is expected.");
  EXPECT_EQ(Reason("null"), "The body is a JSON null; an object is expected.");
  EXPECT_THAT(Reason("{} {}"), HasSubstr("line 1, column 4"));
  EXPECT_THAT(Reason("{\"a\":"), HasSubstr("line 1, column 6"));
  EXPECT_THAT(Reason("hello"), HasSubstr("line 1, column 1"));
}

TEST_F(MalformedTest, Nul_byte_is_found_wherever_it_stands) {
  using namespace std::string_literals;
  EXPECT_THAT(Reason("{}\0"s), HasSubstr("line 1, column 3: a NUL byte"));
  EXPECT_THAT(Reason("{\"a\": \"\0\"}"s), HasSubstr("line 1, column 8: a NUL byte"));
  EXPECT_THAT(Reason("{\"a\": \"\\\0\"}"s), HasSubstr("line 1, column 9: a NUL byte"));
  EXPECT_THAT(Reason("{\n\0}"s), HasSubstr("line 2, column 1: a NUL byte"));
}

TEST_F(MalformedTest, Bytes_that_are_no_utf8_are_refused) {
  EXPECT_THAT(Reason("{\"a\": \"\xff\"}"), HasSubstr("ill-formed UTF-8"));
  EXPECT_THAT(Reason("{\"a\": \"\xc3\"}"), HasSubstr("ill-formed UTF-8"));
  EXPECT_THAT(Reason("{\"\xed\xa0\x80\": 1}"), HasSubstr("ill-formed UTF-8"));
}

TEST_F(MalformedTest, Number_that_is_too_large_is_refused) {
  EXPECT_THAT(Reason("{\"a\": 1e999}"), HasSubstr("a number in it is too large"));
}

TEST_F(MalformedTest, Depth_of_33_is_refused_and_of_32_taken) {
  const auto nested = [](int depth) {
    return "{\"a\": " + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
  };
  EXPECT_THAT(Reason(nested(33)), HasSubstr("line 1, column 38: nested deeper than 32"));
  EXPECT_THAT(Reason(std::string(1000000, '[')), HasSubstr("nested deeper than 32"));
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, nested(32)).status, 204u);
  const std::string brackets = "{\"a\": \"" + std::string(100, '[') + "\\\"[\"}";
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, brackets).status, 204u);
}

TEST_F(MalformedTest, More_than_100000_values_are_refused_before_they_take_memory) {
  // Itself, the array, and its elements.
  const auto with = [](const std::string& element, int count) {
    std::string elements = element;
    for (int i = 1; i < count; ++i) elements += ", " + element;
    return "{\"a\": [" + elements + "]}";
  };
  for (const std::string element : {"1", "{}", "[ ]", "\"[,{\""}) {
    EXPECT_THAT(Reason(with(element, 99999)), HasSubstr("more than 100000 values"));
    EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1/X", token, with(element, 99998)).status, 204u);
  }
  EXPECT_THAT(Reason("{\"a\": [" + std::string(900000, ',')),
              HasSubstr("column 100006: more than"));
  EXPECT_THAT(Reason(with("{\"b\": 1}", 50000)), HasSubstr("more than 100000 values"));
}

TEST_F(MalformedTest, Unknown_path_is_404_with_or_without_a_token) {
  for (const char* path : {"/", "/x", "/redfish/v2", "/redfish/v1/Systems", "/hb", "/hb/u-1/x",
                           "/redfish/v1/Oem", "/redfish/v1/Oem/Quorvan:Events/1/x"}) {
    EXPECT_EQ(Ask("GET", path).status, 404u) << path;
    EXPECT_EQ(Ask("GET", path, token).status, 404u) << path;
  }
}

TEST_F(MalformedTest, Path_that_leaves_the_tree_is_400) {
  for (const char* path :
       {"", "x", "*", "/redfish/../etc/passwd", "/redfish/v1/Managers/u-1/%2e%2e/x", "/redfish//v1",
        "/redfish/v1/Managers/u-1/a%2fb", "/redfish/v1/Managers/u-1/a%00b",
        "/redfish/v1/Managers/u-1/%zz", "/redfish/v1/%4"}) {
    EXPECT_EQ(Ask("GET", path, token).status, 400u) << path;
  }
}

TEST_F(MalformedTest, Wrong_method_is_405_and_says_which_are_right) {
  const std::pair<const char*, const char*> cases[] = {
      {"/redfish", "GET, HEAD, OPTIONS"},
      {"/redfish/v1/", "GET, HEAD, OPTIONS"},
      {"/redfish/v1/Managers", "GET, HEAD, POST, OPTIONS"},
      {"/redfish/v1/Managers/u-1", "GET, HEAD, PATCH, DELETE, OPTIONS"},
      {"/redfish/v1/Managers/u-1/Oem/Quorvan:Events", "POST, OPTIONS"},
      {"/redfish/v1/Chassis/x", "GET, HEAD, PATCH, DELETE, OPTIONS"},
      {"/redfish/v1/Chassis/x/Thermal", "GET, HEAD, PATCH, OPTIONS"},
      {"/redfish/v1/Oem/Quorvan:Events", "GET, HEAD, OPTIONS"},
      {"/hb/u-1", "POST, OPTIONS"},
  };
  for (const auto& [path, allowed] : cases) {
    const Response response = Ask("PUT", path, token, "{}");
    EXPECT_EQ(response.status, 405u) << path;
    EXPECT_EQ(Header(response, "Allow"), allowed) << path;
  }
}

TEST_F(MalformedTest, Log_line_cannot_be_made_up_by_a_sender) {
  Ask("POST", kRegistration, "", R"({"UUID": "u-2", "Name": "x"})");
  Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token,
      R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "a\nb\u001b[1m"})");
  EXPECT_THAT(lines.back(), EndsWith("message: x MESSAGE \"a\\nb\\x1b[1m\""));
}

TEST_F(MalformedTest, Failing_write_is_500_and_nothing_is_stored) {
  const std::string trigger = "CREATE TRIGGER refuse BEFORE INSERT ON chassis ";
  store->Execute(OnPostgres() ? "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS "
                                "$$ BEGIN RAISE 'disk is full'; END $$; " +
                                    trigger + "EXECUTE FUNCTION refuse()"
                              : trigger + "BEGIN SELECT RAISE(ABORT, 'disk is full'); END");
  const Response response = Ask("POST", "/redfish/v1/Chassis", token, "{}");
  EXPECT_EQ(response.status, 500u);
  EXPECT_EQ(ErrorText(response), "The service could not do it.");
  EXPECT_THAT(lines.at(lines.size() - 2), HasSubstr(" error: disk is full"));
  EXPECT_EQ(Ask("GET", "/redfish/v1/Chassis", token).status, 200u);
}

}  // namespace
}  // namespace cloudservice
