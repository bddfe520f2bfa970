// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "Scarcity.h"
#include "host/device/ControlProtocol.h"
#include "host/util/Log.h"
#include "host/util/Secrets.h"

namespace {

class ControlProtocolTest : public testing::Test {
 protected:
  std::string Answer(const std::string& line) { return host::AnswerControlLine(m_engine, line); }
  static std::string Error(const std::string& text) {
    return R"({"ok":false,"error":")" + text + "\"}";
  }
  std::string Value() const {
    std::string text;
    m_engine.PointText(1201, text);
    return text;
  }
  // Answers the line while one request for memory after the other fails; how many there are.
  template <typename Failing>
  int FailuresOf(const std::string& line) {
    const std::string whole = Answer(line);
    int failures = 0;
    for (bool failed = true; failed; failures += failed ? 1 : 0) {
      std::string answer;
      {
        const Failing memory(failures);
        try {
          answer = Answer(line);
        } catch (const std::bad_alloc&) {
        }
        failed = memory.Failed();
      }
      EXPECT_TRUE(answer.empty() || answer == whole || answer.rfind(R"({"ok":false)", 0) == 0)
          << answer;
    }
    return failures;
  }
  int State(uint16_t module) const { return m_engine.Events().at(module).state; }

  host::DeviceEngine m_engine{ModelOf(R"({
    "VelocityId": 3, "ProductSequenceId": "1.2", "Label": "Räck",
    "Points": [{"Id": 1201, "Name": "t", "Value": "21", "Unit": "degC", "Modules": 2, "Report": 9},
               {"Id": 7, "Source": {"Type": "file", "Path": "/x"}}],
    "Events": [{"GddId": 4711, "Text": "High", "Modules": 2}]})")};
};

constexpr char kOk[] = R"({"ok":true})";

}  // namespace

TEST_F(ControlProtocolTest, Set_changes_a_value) {
  EXPECT_EQ(Answer(R"({"op": "set", "point": 1201, "value": "23.5"})"), kOk);
  EXPECT_EQ(Value(), "23.5");
  EXPECT_EQ(Answer(R"({"op": "set", "point": 1201, "value": ""})"), kOk);
  EXPECT_EQ(Value(), "");
}

TEST_F(ControlProtocolTest, Answer_for_which_there_is_no_memory_is_none_or_says_so) {
  HOST_LOG(3, "a message");
  for (const char* line : {R"({"op": "list"})", R"({"op": "messages"})"}) {
    EXPECT_GT(FailuresOf<FailingJson>(line), 10);
    EXPECT_GT(FailuresOf<FailingMemory>(line), 3);
  }
}

TEST_F(ControlProtocolTest, Raise_and_clear_take_module_0_unless_told) {
  EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 4711})"), kOk);
  EXPECT_EQ(State(0), 3);
  EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 4711, "module": 1, "state": "Fault"})"), kOk);
  EXPECT_EQ(State(1), 4);
  EXPECT_EQ(Answer(R"({"op": "clear", "gdd": 4711})"), kOk);
  EXPECT_EQ(State(0), 0);
  EXPECT_EQ(State(1), 4);
  EXPECT_EQ(Answer(R"({"op": "clear", "gdd": 4711, "module": 1})"), kOk);
  EXPECT_EQ(State(1), 0);
}

TEST_F(ControlProtocolTest, List_tells_everything) {
  Answer(R"({"op": "raise", "gdd": 4711, "module": 1, "state": "Warning"})");
  EXPECT_EQ(Answer(R"({"op": "list"})"),
            R"({"ok":true,"velocityId":3,"label":"Räck","psi":"1.2","points":[)"
            R"({"id":1201,"name":"t","value":"21","unit":"degC","modules":2,"report":9},)"
            R"({"id":7,"name":"","value":"","unit":"","modules":1,"report":7,"source":"/x"}],)"
            R"("events":[{"gdd":4711,"module":0,"state":"Cleared","text":"High"},)"
            R"({"gdd":4711,"module":1,"state":"Warning","text":"High"}]})");
}

TEST_F(ControlProtocolTest, List_of_an_empty_device) {
  host::DeviceEngine empty(ModelOf("{}"));
  EXPECT_EQ(host::AnswerControlLine(empty, R"({"op":"list"})"),
            R"({"ok":true,"velocityId":0,"label":"","psi":null,"points":[],"events":[]})");
}

TEST_F(ControlProtocolTest, Lines_that_are_no_request_are_answered) {
  EXPECT_EQ(Answer("x"), Error("not JSON: column 1: invalid token near 'x'"));
  EXPECT_EQ(Answer(""), Error("not JSON: column 0: unexpected token near end of file"));
  EXPECT_EQ(Answer("\xff").substr(0, 30), Error("not JSON: column 0: ").substr(0, 30));
  EXPECT_EQ(Answer("[]"), Error("not a JSON object"));
  EXPECT_EQ(Answer("{}"), Error("\\\"op\\\" is not a text"));
  EXPECT_EQ(Answer(R"({"op": 1})"), Error("\\\"op\\\" is not a text"));
  EXPECT_EQ(Answer(R"({"op": "dance"})"), Error("unknown op \\\"dance\\\""));
  EXPECT_EQ(Answer(std::string(60000, '[')).substr(0, 30),
            Error("not JSON: column ").substr(0, 30));
}

TEST_F(ControlProtocolTest, Wrong_points_are_answered) {
  EXPECT_EQ(Answer(R"({"op": "set", "point": 9, "value": "1"})"), Error("unknown point 9"));
  const std::string wrong = Error("\\\"point\\\" is not an integer from 0 to 65535");
  EXPECT_EQ(Answer(R"({"op": "set", "value": "1"})"), wrong);
  EXPECT_EQ(Answer(R"({"op": "set", "point": "1201", "value": "1"})"), wrong);
  EXPECT_EQ(Answer(R"({"op": "set", "point": 66737, "value": "1"})"), wrong);
  EXPECT_EQ(Answer(R"({"op": "set", "point": -1, "value": "1"})"), wrong);
  EXPECT_EQ(Answer(R"({"op": "set", "point": 1201, "value": 1})"),
            Error("\\\"value\\\" is not a text"));
  EXPECT_EQ(Answer(R"({"op": "set", "point": 7, "value": "1"})"),
            Error("point 7 has a source of its own"));
  EXPECT_EQ(Value(), "21");
}

TEST_F(ControlProtocolTest, Wrong_events_are_answered) {
  EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 1})"), Error("unknown event 1"));
  EXPECT_EQ(Answer(R"({"op": "clear", "gdd": 1})"), Error("unknown event 1"));
  EXPECT_EQ(Answer(R"({"op": "raise"})"), Error("\\\"gdd\\\" is not an integer from 0 to 65535"));
  EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 4711, "module": 2})"),
            Error("event 4711 has no module 2"));
  EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 4711, "module": "0"})"),
            Error("\\\"module\\\" is not an integer from 0 to 65535"));
  for (const char* state : {"\"Cleared\"", "\"alarm\"", "3", "null"}) {
    EXPECT_EQ(Answer(R"({"op": "raise", "gdd": 4711, "state": )" + std::string(state) + "}"),
              Error("\\\"state\\\" is none of Message, Warning, Alarm, Fault"));
  }
  EXPECT_EQ(State(0), 0);
}

TEST_F(ControlProtocolTest, Messages_are_the_newest_of_the_log) {
  setenv("CLOUDCLIENT_LOG_LEVEL", "3", 1);
  EXPECT_EQ(Answer(R"({"op": "messages"})"), R"({"ok":true,"messages":[]})");
  host::KeepSecret("s3cret");
  __dlog_printf(4, "HttpsClient", "%s: s3cret \"\xff\"", "PerformGet");
  const std::string time = host::RecentMessages().at(0).time;
  EXPECT_EQ(Answer(R"({"op": "messages"})"),
            R"({"ok":true,"messages":[{"time":")" + time +
                R"(","level":4,"unit":"HttpsClient","text":"PerformGet: ******** \"?\""}]})");
}
