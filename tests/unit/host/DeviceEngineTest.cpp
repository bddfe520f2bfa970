// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstring>
#include <thread>

#include "HostTest.h"
#include "host/device/DeviceEngine.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> g_events;
std::vector<std::string> g_covs;
std::vector<std::string> g_active;
std::string g_buffer;
host::DeviceEngine* g_engine = nullptr;

void OnEvent(int status, const LxPldEventNotification* event) {
  EXPECT_EQ(status, 0);
  EXPECT_EQ(event->status, 0u);
  EXPECT_EQ(event->spare, 0u);
  g_events.push_back(std::to_string(event->gddId) + "." + std::to_string(event->module) + "=" +
                     std::to_string(event->eventState));
}

void OnCov(int status, const LxPldCovNotification* cov) {
  EXPECT_EQ(status, 0);
  EXPECT_EQ(cov->status, 0u);
  g_covs.push_back(std::to_string(cov->pointId) + "=" + (cov->valueText + 2));
  g_buffer.assign(cov->valueText, 256);
}

void OnActive(int status, const std::list<LxPldProxy::ActiveEvent*>& events) {
  EXPECT_EQ(status, 0);
  g_active.clear();
  for (const LxPldProxy::ActiveEvent* event : events) {
    g_active.push_back(std::to_string(event->gddId) + "." + std::to_string(event->module) + "=" +
                       std::to_string(event->eventState));
  }
}

// Asks the engine while it calls back.
void AskEngine(int /*status*/, const LxPldCovNotification* cov) {
  std::string text;
  EXPECT_TRUE(g_engine->PointText(static_cast<uint16_t>(cov->pointId), text));
  EXPECT_FALSE(g_engine->SetPoint(2, "set while dispatching"));
  g_covs.push_back(text);
}

constexpr char kDevice[] = R"({
  "Label": "Rack", "ProductSequenceId": "1.2",
  "Points": [
    {"Id": 1, "Name": "temp", "Value": "70", "Unit": "degF", "Decimals": 1, "Report": 10},
    {"Id": 2, "Name": "text", "Value": "on", "Modules": 4, "Report": 10},
    {"Id": 3, "Unit": "degC", "Value": "21.5"},
    {"Id": 4, "Unit": "degF", "Value": "warm"},
    {"Id": 5, "Name": "file", "Source": {"Type": "file", "Path": "/x"}}],
  "Events": [
    {"GddId": 100, "Text": "High", "State": "Alarm", "Modules": 3},
    {"GddId": 101, "Text": "Low"},
    {"GddId": 102, "Text": "Hot", "When": {"Point": 3, "Above": 30, "Hysteresis": 2}},
    {"GddId": 103, "Text": "Cold", "When": {"Point": 3, "Below": 10, "Hysteresis": 2}}]})";

class DeviceEngineTest : public testing::Test {
 protected:
  std::string Text(uint16_t point) const {
    std::string text = "stale";
    return m_engine.PointText(point, text) ? text : "none" + text;
  }
  std::string Celsius(uint16_t point) const {
    std::string text = "stale";
    return m_engine.CelsiusText(point, text) ? text : "none" + text;
  }
  void Listen() {
    m_engine.RegisterEvents(&OnEvent);
    m_engine.RegisterCovs(&OnCov);
  }
  void Tell(uint16_t point, const std::string& value) { m_engine.SetFromSource(point, &value); }
  // Everything that waits, dispatched.
  static std::vector<std::string> EventsOf(host::DeviceEngine& engine) {
    g_events.clear();
    while (engine.DispatchEvent()) {
    }
    return g_events;
  }
  std::vector<std::string> Events() { return EventsOf(m_engine); }
  std::vector<std::string> Covs() {
    g_covs.clear();
    while (m_engine.DispatchCov()) {
    }
    return g_covs;
  }
  static std::vector<std::string> ActiveOf(host::DeviceEngine& engine) {
    engine.ActiveEvents(&OnActive);
    return g_active;
  }
  std::vector<std::string> Active() { return ActiveOf(m_engine); }

  host::DeviceEngine m_engine{ModelOf(kDevice)};
};

}  // namespace

TEST_F(DeviceEngineTest, Values_are_texts) {
  EXPECT_EQ(Text(1), "70");
  EXPECT_EQ(Text(2), "on");
  EXPECT_EQ(Text(99), "none");
}

TEST_F(DeviceEngineTest, Point_4329_is_the_label) {
  EXPECT_EQ(Text(4329), "Rack");
  EXPECT_EQ(Celsius(4329), "Rack");
  EXPECT_TRUE(m_engine.IsPoint(4329));
}

TEST_F(DeviceEngineTest, Celsius_is_converted_from_fahrenheit_only) {
  EXPECT_EQ(Celsius(1), "21.1");
  EXPECT_EQ(Celsius(2), "on");
  EXPECT_EQ(Celsius(3), "21.5");
  EXPECT_EQ(Celsius(4), "none");
  EXPECT_EQ(Celsius(99), "none");
  EXPECT_FALSE(m_engine.SetPoint(1, "32"));
  EXPECT_EQ(Celsius(1), "0.0");
  EXPECT_FALSE(m_engine.SetPoint(1, "-40"));
  EXPECT_EQ(Celsius(1), "-40.0");
}

TEST_F(DeviceEngineTest, Names_find_values) {
  std::string text;
  EXPECT_TRUE(m_engine.NamedText("temp", text));
  EXPECT_EQ(text, "70");
  EXPECT_FALSE(m_engine.NamedText("", text));
  EXPECT_EQ(text, "");
  EXPECT_FALSE(m_engine.NamedText("Temp", text));
}

TEST_F(DeviceEngineTest, Events_have_texts) {
  std::string text = "stale";
  EXPECT_TRUE(m_engine.EventText(101, text));
  EXPECT_EQ(text, "Low");
  EXPECT_FALSE(m_engine.EventText(1, text));
  EXPECT_EQ(text, "");
}

TEST_F(DeviceEngineTest, Reports_and_modules_answer_for_points_and_events) {
  uint32_t number = 77;
  EXPECT_TRUE(m_engine.Report(1, number));
  EXPECT_EQ(number, 10u);
  EXPECT_TRUE(m_engine.Report(100, number));
  EXPECT_EQ(number, 100u);
  EXPECT_FALSE(m_engine.Report(99, number));
  EXPECT_EQ(number, 100u);
  EXPECT_TRUE(m_engine.ModuleCount(10, number));
  EXPECT_EQ(number, 4u);
  EXPECT_TRUE(m_engine.ModuleCount(100, number));
  EXPECT_EQ(number, 3u);
  EXPECT_TRUE(m_engine.ModuleCount(101, number));
  EXPECT_EQ(number, 1u);
  EXPECT_FALSE(m_engine.ModuleCount(99, number));
  EXPECT_EQ(number, 1u);
}

TEST_F(DeviceEngineTest, Setting_answers_why_not) {
  EXPECT_EQ(m_engine.SetPoint(99, "1").Text(), "unknown point 99");
  EXPECT_EQ(m_engine.SetPoint(4329, "1").Text(), "unknown point 4329");
  EXPECT_EQ(m_engine.SetPoint(5, "1").Text(), "point 5 has a source of its own");
  EXPECT_EQ(m_engine.SetPoint(2, std::string(254, 'x')).Text(),
            "a value is at most 253 bytes long");
  EXPECT_EQ(m_engine.SetPoint(2, std::string("a\0", 2)).Text(), "a value holds no NUL byte");
  EXPECT_FALSE(m_engine.SetPoint(2, std::string(253, 'x')));
  EXPECT_EQ(m_engine.SetEvent(1, 0, 3).Text(), "unknown event 1");
  EXPECT_EQ(m_engine.SetEvent(100, 3, 3).Text(), "event 100 has no module 3");
  EXPECT_FALSE(m_engine.SetEvent(100, 2, 3));
}

TEST_F(DeviceEngineTest, Changes_of_value_wait_from_the_registration_on) {
  EXPECT_FALSE(m_engine.SetPoint(1, "71"));
  m_engine.RegisterCovs(&OnCov);
  EXPECT_THAT(Covs(), IsEmpty());
  EXPECT_FALSE(m_engine.SetPoint(1, "72"));
  EXPECT_FALSE(m_engine.SetPoint(1, "72"));
  EXPECT_THAT(Covs(), ElementsAre("1=72"));
  EXPECT_THAT(Covs(), IsEmpty());
}

TEST_F(DeviceEngineTest, Newest_change_of_each_point_is_kept) {
  Listen();
  EXPECT_FALSE(m_engine.SetPoint(1, "1"));
  EXPECT_FALSE(m_engine.SetPoint(2, "a"));
  EXPECT_FALSE(m_engine.SetPoint(1, "2"));
  EXPECT_FALSE(m_engine.SetPoint(1, "3"));
  EXPECT_THAT(Covs(), ElementsAre("2=a", "1=3"));
}

TEST_F(DeviceEngineTest, Newest_change_of_each_event_and_module_is_kept) {
  Listen();
  EXPECT_FALSE(m_engine.SetEvent(100, 1, 3));
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 2));
  EXPECT_FALSE(m_engine.SetEvent(100, 2, 1));
  EXPECT_FALSE(m_engine.SetEvent(100, 1, 0));
  EXPECT_THAT(Events(), ElementsAre("101.0=2", "100.2=1", "100.1=0"));
}

TEST_F(DeviceEngineTest, Dispatch_delivers_one_and_tells_of_more) {
  Listen();
  g_events.clear();
  g_covs.clear();
  EXPECT_FALSE(m_engine.DispatchEvent());
  EXPECT_FALSE(m_engine.DispatchCov());
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 3));
  EXPECT_FALSE(m_engine.SetEvent(100, 0, 4));
  EXPECT_TRUE(m_engine.DispatchEvent());
  EXPECT_THAT(g_events, ElementsAre("101.0=3"));
  EXPECT_FALSE(m_engine.DispatchEvent());
  EXPECT_THAT(g_events, ElementsAre("101.0=3", "100.0=4"));
  EXPECT_FALSE(m_engine.SetPoint(1, "1"));
  EXPECT_FALSE(m_engine.SetPoint(2, "2"));
  EXPECT_TRUE(m_engine.DispatchCov());
  EXPECT_FALSE(m_engine.DispatchCov());
  EXPECT_THAT(g_covs, ElementsAre("1=1", "2=2"));
}

TEST_F(DeviceEngineTest, Repeated_state_is_no_change) {
  Listen();
  EXPECT_FALSE(m_engine.SetEvent(100, 0, 3));
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 0));
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(DeviceEngineTest, Registering_again_replaces) {
  m_engine.RegisterCovs(&AskEngine);
  m_engine.RegisterCovs(&OnCov);
  EXPECT_FALSE(m_engine.SetPoint(1, "1"));
  EXPECT_THAT(Covs(), ElementsAre("1=1"));
}

TEST_F(DeviceEngineTest, Callback_may_use_the_engine) {
  g_engine = &m_engine;
  m_engine.RegisterCovs(&AskEngine);
  EXPECT_FALSE(m_engine.SetPoint(1, "1"));
  g_covs.clear();
  EXPECT_FALSE(m_engine.DispatchCov());
  EXPECT_THAT(g_covs, ElementsAre("1"));
  EXPECT_THAT(Covs(), ElementsAre("set while dispatching"));
}

TEST_F(DeviceEngineTest, State_in_the_file_is_active_from_the_start_and_no_change) {
  Listen();
  EXPECT_THAT(Active(), ElementsAre("100.0=3"));
  EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(DeviceEngineTest, Active_events_are_those_not_cleared) {
  EXPECT_FALSE(m_engine.SetEvent(100, 2, 4));
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 1));
  EXPECT_FALSE(m_engine.SetEvent(100, 0, 0));
  EXPECT_THAT(Active(), ElementsAre("100.2=4", "101.0=1"));
}

TEST_F(DeviceEngineTest, Changes_since_the_last_look_wait_for_the_callback) {
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 3));
  Active();
  EXPECT_FALSE(m_engine.SetEvent(100, 1, 2));
  EXPECT_THAT(Events(), IsEmpty());
  m_engine.RegisterEvents(&OnEvent);
  EXPECT_THAT(Events(), ElementsAre("100.1=2"));
}

TEST_F(DeviceEngineTest, Changes_before_any_look_wait_as_well) {
  EXPECT_FALSE(m_engine.SetEvent(101, 0, 3));
  m_engine.RegisterEvents(&OnEvent);
  EXPECT_THAT(Events(), ElementsAre("101.0=3"));
}

TEST_F(DeviceEngineTest, Who_listens_misses_nothing_by_a_look) {
  Listen();
  EXPECT_FALSE(m_engine.SetEvent(100, 0, 0));
  EXPECT_THAT(Active(), IsEmpty());
  EXPECT_THAT(Events(), ElementsAre("100.0=0"));
}

TEST_F(DeviceEngineTest, Value_buffer_is_256_bytes_with_the_reading_first) {
  Listen();
  EXPECT_FALSE(m_engine.SetPoint(1, "23.45"));
  Covs();
  std::string expected(256, '\0');
  expected[0] = 0;
  expected[1] = static_cast<char>(235);
  expected.replace(2, 5, "23.45");
  EXPECT_EQ(g_buffer, expected);
  EXPECT_FALSE(m_engine.SetPoint(1, std::string(253, 'x')));
  Covs();
  EXPECT_EQ(g_buffer, std::string(2, '\0') + std::string(253, 'x') + std::string(1, '\0'));
  EXPECT_FALSE(m_engine.SetPoint(1, "1000"));
  Covs();
  EXPECT_EQ(g_buffer.substr(0, 7),
            "\x27\x10"
            "1000" +
                std::string(1, '\0'));
}

TEST_F(DeviceEngineTest, Reading_is_tenfold_rounded_and_kept_in_16_bits) {
  EXPECT_EQ(host::TenfoldReading("21"), 210);
  EXPECT_EQ(host::TenfoldReading("21.04"), 210);
  EXPECT_EQ(host::TenfoldReading("21.06"), 211);
  EXPECT_EQ(host::TenfoldReading("6553.5"), 65535);
  EXPECT_EQ(host::TenfoldReading("7000"), 65535);
  EXPECT_EQ(host::TenfoldReading("1e300"), 65535);
  EXPECT_EQ(host::TenfoldReading("-1"), 0);
  EXPECT_EQ(host::TenfoldReading("on"), 0);
  EXPECT_EQ(host::TenfoldReading(""), 0);
}

TEST_F(DeviceEngineTest, Rule_raises_above_its_limit_and_clears_beyond_its_hysteresis) {
  Listen();
  EXPECT_FALSE(m_engine.SetPoint(3, "30"));
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_FALSE(m_engine.SetPoint(3, "30.1"));
  EXPECT_THAT(Events(), ElementsAre("102.0=3"));
  EXPECT_FALSE(m_engine.SetPoint(3, "28"));
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_FALSE(m_engine.SetPoint(3, "warm"));
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_FALSE(m_engine.SetPoint(3, "27.9"));
  EXPECT_THAT(Events(), ElementsAre("102.0=0"));
}

TEST_F(DeviceEngineTest, Rule_raises_below_its_limit_and_clears_beyond_its_hysteresis) {
  Listen();
  EXPECT_FALSE(m_engine.SetPoint(3, "9.9"));
  EXPECT_THAT(Events(), ElementsAre("103.0=3"));
  EXPECT_FALSE(m_engine.SetPoint(3, "12"));
  EXPECT_THAT(Events(), IsEmpty());
  EXPECT_FALSE(m_engine.SetPoint(3, "12.1"));
  EXPECT_THAT(Events(), ElementsAre("103.0=0"));
}

TEST_F(DeviceEngineTest, Rule_holds_for_the_values_of_the_start) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 1, "Value": "50"}],
      "Events": [{"GddId": 7, "When": {"Point": 1, "Above": 40}}]})"));
  engine.RegisterEvents(&OnEvent);
  engine.ActiveEvents(&OnActive);
  EXPECT_THAT(g_active, ElementsAre("7.0=3"));
  EXPECT_FALSE(engine.DispatchEvent());
}

TEST_F(DeviceEngineTest, Source_that_cannot_tell_has_no_value) {
  EXPECT_EQ(Text(5), "none");
  Tell(5, "12");
  EXPECT_EQ(Text(5), "12");
  m_engine.SetFromSource(5, nullptr);
  EXPECT_EQ(Text(5), "none");
  Tell(5, "12");
  EXPECT_EQ(Text(5), "12");
  Tell(99, "12");
}

TEST_F(DeviceEngineTest, Value_that_goes_away_or_comes_back_is_a_change) {
  Listen();
  m_engine.SetFromSource(5, nullptr);
  EXPECT_THAT(Covs(), IsEmpty());
  Tell(5, "12");
  EXPECT_THAT(Covs(), ElementsAre("5=12"));
  m_engine.SetFromSource(5, nullptr);
  m_engine.SetFromSource(5, nullptr);
  EXPECT_THAT(Covs(), ElementsAre("5="));
  EXPECT_EQ(g_buffer, std::string(256, '\0'));
  Tell(5, "12");
  EXPECT_THAT(Covs(), ElementsAre("5=12"));
}

TEST_F(DeviceEngineTest, Missing_value_raises_and_a_value_clears) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 1, "Value": "x"}], "Events": [
      {"GddId": 7, "When": {"Point": 1, "Missing": true, "State": "Fault"}}]})"));
  engine.RegisterEvents(&OnEvent);
  EXPECT_FALSE(engine.SetPoint(1, ""));
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=4"));
  EXPECT_FALSE(engine.SetPoint(1, "y"));
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=0"));
}

TEST_F(DeviceEngineTest, Source_that_was_not_asked_yet_is_not_missing) {
  host::DeviceEngine engine(ModelOf(R"({
      "Points": [{"Id": 1, "Source": {"Type": "file", "Path": "/x"}}],
      "Events": [{"GddId": 7, "When": {"Point": 1, "Missing": true, "State": "Warning"}}]})"));
  engine.RegisterEvents(&OnEvent);
  EXPECT_THAT(ActiveOf(engine), IsEmpty());
  engine.SetFromSource(1, nullptr);
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=2"));
  const std::string value = "1";
  engine.SetFromSource(1, &value);
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=0"));
  engine.SetFromSource(1, nullptr);
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=2"));
}

TEST_F(DeviceEngineTest, Point_that_starts_without_a_value_is_missing_from_the_start) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 1}], "Events": [
      {"GddId": 7, "When": {"Point": 1, "Missing": true}}]})"));
  EXPECT_THAT(ActiveOf(engine), ElementsAre("7.0=3"));
}

TEST_F(DeviceEngineTest, Rule_raises_at_a_text_and_clears_at_any_other) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 1, "Value": "Off"}], "Events": [
      {"GddId": 7, "When": {"Point": 1, "Equals": "Heating", "State": "Message"}},
      {"GddId": 8, "When": {"Point": 1, "NotEquals": "Off", "State": "Warning"}}]})"));
  engine.RegisterEvents(&OnEvent);
  EXPECT_THAT(ActiveOf(engine), IsEmpty());
  EXPECT_FALSE(engine.SetPoint(1, "Heating"));
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=1", "8.0=2"));
  EXPECT_FALSE(engine.SetPoint(1, "Heatin"));
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=0"));
  EXPECT_FALSE(engine.SetPoint(1, ""));
  EXPECT_THAT(EventsOf(engine), IsEmpty());
  EXPECT_FALSE(engine.SetPoint(1, "Off"));
  EXPECT_THAT(EventsOf(engine), ElementsAre("8.0=0"));
}

TEST_F(DeviceEngineTest, Rule_compares_numbers_as_numbers) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 1, "Value": "1.50"}], "Events": [
      {"GddId": 7, "When": {"Point": 1, "Equals": 1.5}},
      {"GddId": 8, "When": {"Point": 1, "NotEquals": 1.5}}]})"));
  engine.RegisterEvents(&OnEvent);
  EXPECT_THAT(ActiveOf(engine), ElementsAre("7.0=3"));
  EXPECT_FALSE(engine.SetPoint(1, "1.5"));
  EXPECT_THAT(EventsOf(engine), IsEmpty());
  EXPECT_FALSE(engine.SetPoint(1, "off"));
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=0", "8.0=3"));
}

TEST_F(DeviceEngineTest, Limit_of_a_value_that_goes_away_changes_nothing) {
  host::DeviceEngine engine(ModelOf(R"({
      "Points": [{"Id": 1, "Source": {"Type": "file", "Path": "/x"}}],
      "Events": [{"GddId": 7, "When": {"Point": 1, "Above": 40, "State": "Fault"}}]})"));
  engine.RegisterEvents(&OnEvent);
  const std::string value = "50";
  engine.SetFromSource(1, &value);
  engine.SetFromSource(1, nullptr);
  EXPECT_THAT(EventsOf(engine), ElementsAre("7.0=4"));
}

TEST_F(DeviceEngineTest, Threads_may_set_and_dispatch_at_once) {
  Listen();
  std::atomic<bool> run{true};
  std::thread setter([&] {
    for (int i = 0; i < 2000; ++i) {
      EXPECT_FALSE(m_engine.SetPoint(1, std::to_string(i)));
      EXPECT_FALSE(m_engine.SetEvent(101, 0, static_cast<uint16_t>(i % 5)));
    }
    run = false;
  });
  while (run) {
    m_engine.DispatchCov();
    m_engine.DispatchEvent();
    m_engine.ActiveEvents(&OnActive);
  }
  setter.join();
  Covs();
  EXPECT_EQ(Text(1), "1999");
}
