// SPDX-License-Identifier: Apache-2.0
// Temperature tags are replaced in one pass, with the result of the literal algorithm.
#include <random>

#include "PatchTest.h"

namespace patch_test {
namespace {

const char kTag[] = "temp_uom_celsius~";
const char kDigits[] = "0123456789";

// Steps after which a loop counts as one that does not end.
constexpr size_t kEndless = 60;

struct Endless {};

// Answers each query by a text of a list, in turn, and takes down what was asked.
class Engine : public fakes::PldProxy {
 public:
  std::vector<std::string> answers;
  std::vector<std::string> steps;

  void Step(const std::string& step) {
    steps.push_back(step);
    if (steps.size() >= kEndless) throw Endless();
  }

  int GetPointText(std::string& text, uint16_t device, uint16_t point, uint16_t arg2, uint16_t arg3,
                   int32_t arg4, int16_t arg5, int reserved) override {
    const std::string& answer = answers[steps.size() % answers.size()];
    Step("query " + std::to_string(device) + " " + std::to_string(point) + " " +
         std::to_string(arg2) + " " + std::to_string(arg3) + " " + std::to_string(arg4) + " " +
         std::to_string(arg5) + " " + std::to_string(reserved));
    text = answer;
    return 0;
  }
};

// What an edit came to: the document, and the queries and messages in their order.
struct Edit {
  std::string document;
  std::vector<std::string> steps;
  bool endless = false;
};

bool operator==(const Edit& a, const Edit& b) {
  return a.document == b.document && a.steps == b.steps && a.endless == b.endless;
}

std::ostream& operator<<(std::ostream& out, const Edit& edit) {
  return out << (edit.endless ? "endless, " : "") << testing::PrintToString(edit.steps) << " '"
             << edit.document << "'";
}

// The document is edited in place, tag by tag: what is asked for in words.
void EditLiterally(Engine& engine, uint16_t device, std::string& document) {
  size_t position = document.find(kTag);
  while (position != std::string::npos) {
    const size_t digits = position + sizeof kTag - 1;
    const size_t end = document.find_first_not_of(kDigits, digits);
    if (end == std::string::npos) {
      engine.Step("3 PatchMgr UpdateDocWithTempUomValues: Found invalid UoM tag (" +
                  std::string(kTag) + ") at position " + std::to_string(position) +
                  ".  No point ID.");
    } else {
      std::string value;
      if (end > digits) {
        const auto point = static_cast<uint16_t>(std::stoll(document.substr(digits, end - digits)));
        engine.GetPointText(value, device, point, 1, 0, 4125, 0, 0);
      }
      const std::string tag = document.substr(position, end - position);
      document.replace(document.find(tag, position), tag.size(), value.empty() ? "null" : value);
    }
    position = document.find(kTag, position);
  }
}

class TemperatureTagTest : public PatchTest {
 protected:
  template <typename Work>
  Edit Edited(std::string document, const Work& work) {
    engine.steps.clear();
    Edit edit;
    try {
      work(document);
    } catch (const Endless&) {
      edit.endless = true;
    }
    edit.document = document;
    edit.steps = engine.steps;
    return edit;
  }

  Edit Literal(const std::string& document) {
    return Edited(document, [this](std::string& text) { EditLiterally(engine, 7, text); });
  }

  // Of an endless loop of queries nobody sees the document.
  Edit InOnePass(const std::string& document) {
    patch.SetPldProxy(&engine);
    platform().log.hook = [this](const fakes::LogRecord& record) {
      engine.Step(std::to_string(record.level) + " " + record.unit + " " + record.text);
    };
    return Edited(document,
                  [this](std::string& text) { patch.UpdateDocWithTempUomValues(7, text); });
  }

  void Compare(const std::string& document) {
    Edit literal = Literal(document);
    Edit inOnePass = InOnePass(document);
    if (literal.endless && literal.steps.back().rfind("query", 0) == 0) {
      literal.document = inOnePass.document = "";
    }
    ASSERT_EQ(inOnePass, literal) << document;
    (literal.endless ? m_endless : m_ending) += 1;
  }

  // Up to `count` of the pieces, drawn and joined.
  std::string Draw(const std::vector<std::string>& pieces, size_t count) {
    std::string text;
    for (size_t left = m_random() % (count + 1); left > 0; --left) {
      text += pieces[m_random() % pieces.size()];
    }
    return text;
  }

  Engine engine;
  std::mt19937 m_random{20260305};  // the same each time
  int m_endless = 0;
  int m_ending = 0;
};

TEST_F(TemperatureTagTest, Is_replaced_in_one_pass_as_by_the_literal_algorithm) {
  const std::vector<std::string> ofDocuments = {kTag,
                                                "temp_uom_celsius~12",
                                                "temp_uom_celsius~7}",
                                                "temp_uom",
                                                "_celsius~",
                                                "temp_",
                                                "3",
                                                "45",
                                                "}",
                                                ",\"t\":",
                                                "t",
                                                "~",
                                                "null"};
  const std::vector<std::string> ofValues = {"21.5",           "-4", kTag, "temp_uom", "_celsius~",
                                             "temp_",          "12", "t",  "~9}",      "}",
                                             "a longer text, "};
  for (int round = 0; round < 20000; ++round) {
    engine.answers.clear();
    for (size_t answers = m_random() % 4 + 1; answers > 0; --answers) {
      engine.answers.push_back(Draw(ofValues, 3));
    }
    ASSERT_NO_FATAL_FAILURE(Compare(Draw(ofDocuments, 12)));
  }
  EXPECT_GT(m_endless, 1000);
  EXPECT_GT(m_ending, 1000);
}

TEST_F(TemperatureTagTest, Gives_way_to_a_longer_value_and_to_a_shorter_one_in_any_order) {
  engine.answers = {std::string(5000, 'a'), "1", std::string(300, 'b'), "", std::string(40, 'c')};
  std::string document;
  for (int tag = 0; tag < 50; ++tag) document += "[temp_uom_celsius~" + std::to_string(tag) + "]";
  Compare(document);
  EXPECT_EQ(m_ending, 1);
}

}  // namespace
}  // namespace patch_test
