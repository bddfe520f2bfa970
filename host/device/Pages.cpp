// SPDX-License-Identifier: Apache-2.0
// Pages: the marks in them replaced by values.
#include "host/device/Pages.h"

#include <cerrno>
#include <vector>

#include "host/device/DataFolder.h"
#include "host/util/Files.h"
#include "host/util/Log.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"
#include "platform/util/LxStringUtils.h"

namespace host {
namespace {

constexpr size_t kLargestPage = 16 * 1024 * 1024;
constexpr char kPointMark[] = "point:";

// Whether the page's name stays inside the folder that it is looked for in.
bool StaysInside(const std::string& page) {
  std::vector<std::string> pieces;
  LxStringUtils::Split(page, '/', pieces);
  for (const std::string& piece : pieces) {
    if (piece == "..") return false;
  }
  return !page.empty() && page.find('\0') == std::string::npos;
}

bool ReadPage(const std::string& psi, const std::string& page, std::string& text) {
  for (const std::string& folder : PageFolders(psi)) {
    const std::string path = LocalPath(folder + "/" + page);
    const Problem problem = ReadFile(path, kLargestPage, text);
    if (!problem) return true;
    if (problem.Errno() == ENOENT || problem.Errno() == ENOTDIR) continue;
    HOST_LOG(4, "page %s cannot be read: %s", path.c_str(), problem.Text().c_str());
    return false;
  }
  return false;
}

// The point of a mark `point:ID`, with or without a bar; false when it is no point's number.
bool PointOf(const std::string& mark, uint16_t& point) {
  const size_t prefix = sizeof(kPointMark) - 1;
  if (mark.compare(0, prefix, kPointMark) != 0) return false;
  const std::string digits = mark.substr(prefix, mark.find('|') - prefix);
  int32_t number = 0;
  if (digits.find_first_not_of("0123456789") != std::string::npos ||
      !LxStringUtils::ConvertStringToLong(digits, number) || number > UINT16_MAX) {
    return false;
  }
  point = static_cast<uint16_t>(number);
  return true;
}

// The point's value, or what stands in for it behind the mark's bar.
std::string PointValue(const DeviceEngine& engine, const std::string& mark, uint16_t point) {
  std::string value;
  engine.PointText(point, value);
  const size_t bar = mark.find('|');
  return value.empty() && bar != std::string::npos ? mark.substr(bar + 1) : value;
}

// The value of what stands between the braces; false when it is none of the host's marks.
bool MarkValue(const DeviceEngine& engine, const std::string& uuid, const std::string& mark,
               std::string& value) {
  uint16_t point = 0;
  if (PointOf(mark, point)) {
    value = PointValue(engine, mark, point);
  } else if (mark == "label") {
    value = engine.Model().label;
  } else if (mark == "psi") {
    value = engine.Model().psi.value_or("");
  } else if (mark == "uuid") {
    value = uuid;
  } else {
    return false;
  }
  return true;
}

// Calls `take` for each `{{...}}` of the text, with the positions of both pairs of braces and the
// text between them. When `take` answers true the search goes on after the mark, else after its
// first brace.
template <typename Take>
void ForEachMark(const std::string& text, const Take& take) {
  for (size_t start = text.find("{{"); start != std::string::npos; start = text.find("{{", start)) {
    const size_t end = text.find("}}", start + 2);
    if (end == std::string::npos) break;
    start = take(start, end, text.substr(start + 2, end - start - 2)) ? end + 2 : start + 1;
  }
}

// `rendered`; empty, and a message, when it holds a NUL byte.
std::string Checked(const std::string& page, std::string rendered) {
  if (rendered.find('\0') == std::string::npos) return rendered;
  HOST_LOG(4, "page %s is refused: it holds a NUL byte", page.c_str());
  return "";
}

}  // namespace

std::string RenderPage(const DeviceEngine& engine, const std::string& uuid,
                       const std::string& text) {
  std::string rendered;
  size_t done = 0;
  ForEachMark(text, [&](size_t start, size_t end, const std::string& mark) {
    std::string value;
    if (!MarkValue(engine, uuid, mark, value)) return false;
    rendered.append(text, done, start - done).append(value);
    done = end + 2;
    return true;
  });
  return rendered.append(text, done, std::string::npos);
}

std::vector<PointMark> PointMarks(const std::string& text) {
  std::vector<PointMark> marks;
  ForEachMark(text, [&marks](size_t start, size_t /*end*/, const std::string& mark) {
    uint16_t point = 0;
    if (!PointOf(mark, point)) return false;
    marks.push_back({start, point});
    return true;
  });
  return marks;
}

std::string GetPage(const DeviceEngine& engine, const std::string& uuid, const std::string& query,
                    const std::string& page) {
  std::string text;
  if (page == pld::kValuePage && query.compare(0, 4, "op1=") == 0) {
    // A point without a value is known all the same: its value is empty, not absent.
    return engine.NamedText(query.substr(4), text) ? "op1=\"" + text + "\"" : "";
  }
  if (!StaysInside(page) || !ReadPage(engine.Model().psi.value_or(""), page, text)) return "";
  return Checked(page, RenderPage(engine, uuid, text));
}

}  // namespace host
