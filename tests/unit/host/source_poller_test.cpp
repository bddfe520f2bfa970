#include "HostTest.h"
#include "host/SourcePoller.h"

namespace {

class SourcePollerTest : public HostTest {
 protected:
  std::string Text(uint16_t point) const {
    std::string text;
    return m_engine.PointText(point, text) ? text : "none";
  }

  host::DeviceEngine m_engine{ModelOf(R"({"PollSeconds": 5, "Points": [
    {"Id": 1, "Decimals": 1, "Source": {"Type": "file", "Path": "/sys/temp", "Scale": 0.001}},
    {"Id": 2, "Source": {"Type": "file", "Path": "/sys/fan"}},
    {"Id": 3, "Value": "set"}]})")};
  host::SourcePoller m_poller{m_engine};
};

}  // namespace

TEST_F(SourcePollerTest, Value_is_the_scaled_number_of_the_file) {
  Write("/sys/temp", "23456\n");
  Write("/sys/fan", " 1200.4 \n");
  m_poller.Poll();
  EXPECT_EQ(Text(1), "23.5");
  EXPECT_EQ(Text(2), "1200");
  EXPECT_EQ(Text(3), "set");
  Write("/sys/temp", "-51\n");
  m_poller.Poll();
  EXPECT_EQ(Text(1), "-0.1");
  Write("/sys/temp", "-49\n");
  m_poller.Poll();
  EXPECT_EQ(Text(1), "0.0");
}

TEST_F(SourcePollerTest, Source_that_fails_costs_one_message_until_it_tells_again) {
  Write("/sys/fan", "1");
  m_poller.Poll();
  m_poller.Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("4 Host point 1 has no value: " + In("/sys/temp") + ": No such file"), 1);
  Write("/sys/temp", "1000");
  m_poller.Poll();
  m_poller.Poll();
  EXPECT_EQ(Text(1), "1.0");
  EXPECT_EQ(LogCount("5 Host point 1 has a value again"), 1);
  Write("/sys/temp", "N/A");
  m_poller.Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("point 1 has no value: " + In("/sys/temp") + ": holds no number"), 1);
  EXPECT_EQ(LogCount("point 2"), 0);
}

TEST_F(SourcePollerTest, Files_that_hold_no_number_are_refused) {
  Write("/sys/fan", "1");
  for (const char* text : {"", " ", "nan", "1 2", "0x10", "1e999"}) {
    Write("/sys/temp", text);
    m_poller.Poll();
    EXPECT_EQ(Text(1), "none") << text;
  }
  Write("/sys/temp", std::string(5000, '1'));
  m_poller.Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("File too large"), 1);
}

TEST_F(SourcePollerTest, Sources_are_read_every_so_many_seconds) {
  Write("/sys/temp", "1000");
  Write("/sys/fan", "1");
  const host::Wait wait;
  m_poller.Serve(wait, 100000);
  EXPECT_EQ(Text(2), "1");
  Write("/sys/fan", "2");
  m_poller.Serve(wait, 104999);
  EXPECT_EQ(Text(2), "1");
  m_poller.Serve(wait, 105000);
  EXPECT_EQ(Text(2), "2");
}
