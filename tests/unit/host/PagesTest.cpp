// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "host/config/ConfigKeys.h"
#include "host/device/DataFolder.h"
#include "host/device/DeviceProxy.h"
#include "host/device/Pages.h"
#include "platform/pld/PldQueryWorker.h"

namespace {

class PagesTest : public HostTest {
 protected:
  std::string Render(const std::string& text) const {
    return host::RenderPage(m_engine, "u-u-i-d", text);
  }
  std::string Get(const std::string& page, const std::string& query = "") {
    return PldQueryWorker::GetDocument(&m_proxy, query, page, 0);
  }

  host::DeviceEngine m_engine{ModelOf(R"({
    "ProductSequenceId": "1.2.3", "Label": "Rack {{psi}}",
    "Points": [{"Id": 1201, "Name": "supply_temp", "Value": "21.5"},
               {"Id": 7, "Name": "lost", "Source": {"Type": "file", "Path": "/x"}}]})")};
  host::DeviceProxy m_proxy{m_engine};
};

}  // namespace

TEST_F(PagesTest, Marks_are_replaced) {
  EXPECT_EQ(Render("a {{point:1201}} b {{psi}} c {{uuid}}{{uuid}}"),
            "a 21.5 b 1.2.3 c u-u-i-du-u-i-d");
}

TEST_F(PagesTest, Inserted_values_are_not_looked_at_again) {
  EXPECT_EQ(Render("{{label}}"), "Rack {{psi}}");
}

TEST_F(PagesTest, Values_that_cannot_be_told_are_empty) {
  EXPECT_EQ(Render("[{{point:99}}{{point:7}}]"), "[]");
}

TEST_F(PagesTest, Mark_says_what_stands_in_for_a_value_that_cannot_be_told) {
  EXPECT_EQ(Render("[{{point:99|null}}, {{point:7|0}}, \"{{point:7|not known}}\", {{point:7|}}]"),
            "[null, 0, \"not known\", ]");
  EXPECT_EQ(Render("{{point:1201|null}}"), "21.5");
  EXPECT_EQ(Render("{{point:7|a|b}}"), "a|b");
  const std::string value = "3";
  m_engine.SetFromSource(7, &value);
  EXPECT_EQ(Render("{{point:7|null}}"), "3");
}

TEST_F(PagesTest, Mark_of_an_empty_value_takes_what_stands_in_for_it) {
  ASSERT_FALSE(m_engine.SetPoint(1201, ""));
  EXPECT_EQ(Render("{{point:1201|null}}[{{point:1201}}]"), "null[]");
}

TEST_F(PagesTest, What_stands_in_is_not_looked_at_again) {
  EXPECT_EQ(Render("{{point:99|{{psi}}"), "{{psi");
}

TEST_F(PagesTest, Everything_else_passes_untouched) {
  for (const char* text :
       {"", "{{", "}}", "{{}}", "{{ label }}", "{{Label}}", "{{point:}}", "{{point:x}}",
        "{{point:-1}}", "{{point:65536}}", "{{point:99999999999}}", "{{point:|null}}",
        "{{point:x|null}}", "{{label|null}}", "{{point: 99|null}}", "<chassisid> %1 7dayhightemp",
        "{\"t\":temp_uom_celsius~1201}", "{{unknown {{other", "\r\n\t\\"}) {
    EXPECT_EQ(Render(text), text);
  }
  EXPECT_EQ(Render(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(PagesTest, Mark_behind_braces_that_are_none_is_found) {
  EXPECT_EQ(Render("{{{psi}}}"), "{1.2.3}");
  EXPECT_EQ(Render("{{x {{psi}}"), "{{x 1.2.3");
}

TEST_F(PagesTest, Points_of_marks_are_told_with_their_places) {
  const std::string text =
      "{{point:1201}} {{{point:99|null}} {{label}}{{point:x}}{{point:65536}}\n"
      "{{point:7|{{point:8}} {{point:65535";
  std::string told;
  for (const host::PointMark& mark : host::PointMarks(text)) {
    told += std::to_string(mark.position) + ":" + std::to_string(mark.point) + " ";
  }
  EXPECT_EQ(told, "0:1201 16:99 " + std::to_string(text.find("{{point:7|")) + ":7 ");
}

TEST_F(PagesTest, Page_is_searched_from_the_devices_folder_upwards) {
  Write("/var/local/orv/pldserver/0/patch/thermal", "base");
  EXPECT_EQ(Get("patch/thermal"), "base");
  Write("/var/local/orv/pldserver/0/1/patch/thermal", "family");
  EXPECT_EQ(Get("patch/thermal"), "family");
  Write("/var/local/orv/pldserver/0/1/2/3/patch/thermal", "device {{point:1201}}");
  EXPECT_EQ(Get("patch/thermal"), "device 21.5");
}

TEST_F(PagesTest, Page_named_from_the_data_folder_is_found) {
  Write("/var/local/orv/pldserver/0/1/2/cloudchassis.txt", "chassis");
  EXPECT_EQ(Get("1/2/cloudchassis.txt"), "chassis");
}

TEST_F(PagesTest, Page_outside_the_data_folder_is_not_found) {
  Write("/var/local/orv/pldserver/secret", "s");
  Write("/var/local/orv/pldserver/0/1/2/3/x", "x");
  EXPECT_EQ(Get("../secret"), "");
  EXPECT_EQ(Get("a/../../secret"), "");
  EXPECT_EQ(Get("secret"), "");
  EXPECT_EQ(Get(""), "");
  EXPECT_EQ(Get(std::string("x\0", 2)), "");
  EXPECT_EQ(Get("x"), "x");
}

TEST_F(PagesTest, Page_with_a_NUL_byte_is_refused) {
  Write("/var/local/orv/pldserver/0/page", std::string("{\"a\": \0 1}", 10));
  EXPECT_EQ(Get("page"), "");
  EXPECT_EQ(LogCount("4 Host page page is refused: it holds a NUL byte"), 1);
}

TEST_F(PagesTest, Page_with_a_NUL_byte_in_an_inserted_value_is_refused) {
  Write("/var/local/orv/pldserver/0/page", "{{uuid}}");
  EXPECT_EQ(host::GetPage(m_engine, std::string("the-\0uuid", 9), "", "page"), "");
  EXPECT_EQ(LogCount("page page is refused: it holds a NUL byte"), 1);
}

TEST_F(PagesTest, Unreadable_page_costs_a_message) {
  MakeUnreadable("/var/local/orv/pldserver/0/1/page");
  EXPECT_EQ(Get("page"), "");
  EXPECT_EQ(LogCount("4 Host page " + In("/var/local/orv/pldserver/0/1/page") +
                     " cannot be read: Too many levels of symbolic links"),
            1);
}

TEST_F(PagesTest, Uuid_is_the_configured_one) {
  Write("/etc/cloudclient/cloud.json", R"({"UUID": "the-uuid"})");
  Write("/var/local/orv/pldserver/0/page", "{{uuid}}");
  EXPECT_EQ(Get("page"), "the-uuid");
}

TEST_F(PagesTest, Value_page_answers_the_named_point_without_a_line_end) {
  EXPECT_EQ(Get("httpGetSet/httpGet.htm", "op1=supply_temp"), "op1=\"21.5\"");
  EXPECT_EQ(Get("httpGetSet/httpGet.htm", "op1=nobody"), "");
  EXPECT_EQ(Get("httpGetSet/httpGet.htm", "op1="), "");
  EXPECT_EQ(Get("httpGetSet/httpGet.htm", ""), "");
}

TEST_F(PagesTest, Value_page_of_a_point_without_a_value_has_an_empty_one) {
  EXPECT_EQ(Get("httpGetSet/httpGet.htm", "op1=lost"), "op1=\"\"");
}

TEST_F(PagesTest, Without_a_proxy_there_is_no_page) {
  EXPECT_EQ(PldQueryWorker::GetDocument(nullptr, "op1=supply_temp", "httpGetSet/httpGet.htm", 0),
            "");
}

TEST_F(PagesTest, Folders_go_from_the_device_to_the_data_folder) {
  EXPECT_THAT(host::PageFolders("1.20"),
              testing::ElementsAre("/var/local/orv/pldserver/0/1/20",
                                   "/var/local/orv/pldserver/0/1", "/var/local/orv/pldserver/0"));
  EXPECT_THAT(host::PageFolders(""), testing::ElementsAre("/var/local/orv/pldserver/0"));
}
