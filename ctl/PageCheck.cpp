// SPDX-License-Identifier: Apache-2.0
// map check: what the engine makes of a page.
#include "ctl/PageCheck.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <tuple>

#include "host/device/DeviceEngine.h"
#include "host/device/Pages.h"
#include "host/util/Json.h"
#include "patch/SevenDays.h"

namespace ctl {

namespace {

using cloudclient::kTemperatureTag;

const char kDigits[] = "0123456789";
const char kAnyUuid[] = "00000000-0000-0000-0000-000000000000";

// The page with a value in the place of each word that the daemon replaces.
std::string Filled(std::string page) {
  for (const cloudclient::Quantity* quantity : cloudclient::kQuantities) {
    for (const std::string word : {quantity->highWord, quantity->lowWord}) {
      const size_t at = page.find(word);
      if (at != std::string::npos) page.replace(at, word.size(), "null");
    }
  }
  for (size_t at = 0; (at = page.find(kTemperatureTag, at)) != std::string::npos;) {
    const size_t end = page.find_first_not_of(kDigits, at + sizeof(kTemperatureTag) - 1);
    page.replace(at, std::min(end, page.size()) - at, "null");
  }
  return page;
}

// Whether the page becomes a JSON object when every source tells `told`.
bool RendersJson(const std::string& page, host::DeviceModel device, const std::string& told) {
  for (host::PointModel& point : device.points) {
    if (!point.source) continue;
    point.source.reset();
    point.value = told;
  }
  const host::DeviceEngine engine(std::move(device));
  const std::string document = Filled(host::RenderPage(engine, kAnyUuid, page));
  const host::JsonRef root(json_loadb(document.data(), document.size(), 0, nullptr));
  return json_is_object(root.get());
}

// The line of a byte of the page, from 1.
size_t LineOf(const std::string& page, size_t position) {
  const auto at = page.begin() + static_cast<std::string::difference_type>(position);
  return 1 + static_cast<size_t>(std::count(page.begin(), at, '\n'));
}

// What looks like a point's mark, and has no point's number: it is not replaced.
void CheckMarks(const std::string& where, const std::string& page, Findings& findings) {
  std::set<size_t> marks;
  for (const host::PointMark& mark : host::PointMarks(page)) marks.insert(mark.position);
  for (size_t at = 0; (at = page.find("{{point:", at)) != std::string::npos; ++at) {
    const size_t end = page.find("}}", at);
    if (end == std::string::npos) return;
    if (marks.count(at) != 0) continue;
    findings.push_back(where + "line " + std::to_string(LineOf(page, at)) + ": " +
                       page.substr(at, end + 2 - at) +
                       " is no mark, it is sent as it is: a point is a number of up to 65535");
  }
}

// Points that the device does not have: no value ever comes in their place.
void CheckPagePoints(const std::string& where, const std::string& page,
                     const cloudclient::ResourceUrlEntry& resource, const host::DeviceModel& device,
                     Findings& findings) {
  const host::DeviceEngine engine(device);
  std::set<std::tuple<size_t, uint16_t, std::string>> lacking;  // line, point, what asks for it
  const auto ask = [&](size_t position, uint16_t point, const char* what) {
    if (!engine.IsPoint(point)) lacking.emplace(LineOf(page, position), point, what);
  };
  for (const host::PointMark& mark : host::PointMarks(page)) ask(mark.position, mark.point, "mark");
  size_t at = resource.tempUomCelsius ? page.find(kTemperatureTag) : std::string::npos;
  for (; at != std::string::npos; at = page.find(kTemperatureTag, at + 1)) {
    const char* const digits = &page[at + sizeof(kTemperatureTag) - 1];
    // As the daemon reads it: the lowest 16 bits; without digits nothing is asked.
    if (std::isdigit(static_cast<unsigned char>(*digits)) == 0) continue;
    ask(at, static_cast<uint16_t>(strtoll(digits, nullptr, 10)), "temperature tag");
  }
  for (const auto& [line, point, what] : lacking) {
    findings.push_back(where + "line " + std::to_string(line) + ": a " + what + " asks for point " +
                       std::to_string(point) + ", which the device does not have");
  }
}

}  // namespace

void CheckPage(const std::string& where, const std::string& page,
               const cloudclient::ResourceUrlEntry& resource, const host::DeviceModel* device,
               Findings& findings) {
  CheckMarks(where, page, findings);
  if (device == nullptr) return;
  CheckPagePoints(where, page, resource, *device, findings);
  if (!RendersJson(page, *device, "0")) {
    findings.push_back(where + "with the device's values it becomes no JSON object");
  } else if (!RendersJson(page, *device, "")) {
    findings.push_back(where +
                       "it becomes no JSON object while a source has no value: let "
                       "{{point:N|null}} stand in its place");
  }
}

}  // namespace ctl
