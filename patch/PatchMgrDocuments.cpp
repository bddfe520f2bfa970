// SPDX-License-Identifier: Apache-2.0
// Rendered documents and the edits made in them: plain text, never parsed.
#include <algorithm>
#include <cstdlib>

#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/pld/PldConstants.h"
#include "platform/pld/PldQueryWorker.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// Of the ten digits, whatever the locale.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A text that is edited in one pass. Its beginning is edited, its end still has to be read, and a
// gap lies between the two, so that neither moves when a part is replaced by one of another length.
// Positions count the gap; they are valid until the next change.
class GapText {
 public:
  explicit GapText(std::string& text) : m_text(text) {}

  size_t Rest() const { return m_rest; }

  // Ends the editing of the text before `begin`, and replaces the text from `begin` to `end` by
  // `value`, with which the rest to be read begins.
  void Replace(size_t begin, size_t end, const std::string& value) {
    std::copy(&m_text[m_rest], &m_text[begin], &m_text[m_done]);
    m_done += begin - m_rest;
    const size_t gap = end - m_done;
    if (gap < value.size()) {
      // A gap as long as the rest: a text that grows moves its rest seldom.
      const size_t more = m_text.size() - end + value.size();
      m_text.insert(end, more, ' ');
      end += more;
    }
    m_rest = end - value.size();
    value.copy(&m_text[m_rest], value.size());
  }

  // Removes the gap: all of the text has to be read again. Returns by how much the rest moved.
  size_t Close() {
    const size_t gap = m_rest - m_done;
    m_text.erase(m_done, gap);
    m_rest = m_done;
    return gap;
  }

 private:
  std::string& m_text;
  size_t m_done = 0;
  size_t m_rest = 0;
};

}  // namespace

std::string PatchMgr::GetPatchDoc(int32_t deviceId, const ResourceUrlEntry& resource) {
  std::string document;
  if (m_pldProxy != nullptr) {
    document = PldQueryWorker::GetDocument(m_pldProxy, "", resource.resourcePatch, deviceId);
  }
  if (document.empty()) {
    __dlog_printf(3, kUnit, "%s: Failed to get patch %s", "GetPatchDoc",
                  resource.resourcePatch.c_str());
  }
  return document;
}

void PatchMgr::UpdateDocWithTempUomValues(int32_t deviceId, std::string& document) {
  constexpr size_t kTagSize = sizeof kTemperatureTag - 1;
  GapText text(document);
  size_t position = document.find(kTemperatureTag);
  while (position != std::string::npos) {
    const size_t digits = position + kTagSize;
    size_t end = digits;
    while (IsDigit(document[end])) ++end;
    if (end == document.size()) {
      // The document stays as it is, the tag is found again, the loop does not end.
      // Kept: docs/kept-behaviour.md#endless-tag
      position -= text.Close();
      __dlog_printf(3, kUnit, "%s: Found invalid UoM tag (%s) at position %d.  No point ID.",
                    "UpdateDocWithTempUomValues", kTemperatureTag, static_cast<int>(position));
    } else {
      std::string value;
      if (end > digits) {
        const auto pointId = static_cast<int32_t>(strtoll(&document[digits], nullptr, 10));
        QueryPoint(value, deviceId, {pointId, 1, 0, pld::kCelsius, 0});
      }
      // A tag that the value makes, with the text after it, is replaced as well.
      if (value.empty()) value = "null";
      text.Replace(position, end, value);
      position = text.Rest();
    }
    position = document.find(kTemperatureTag, position, kTagSize);
  }
  text.Close();
}

void PatchMgr::ReplaceTagWithValue(std::string& document, const std::string& tag,
                                   const std::string& value, size_t from) {
  if (tag.empty()) return;
  // Kept: docs/kept-behaviour.md#first-word-only
  const size_t position = document.find(tag, from);
  if (position == std::string::npos) return;
  document.replace(position, tag.size(), value.empty() ? "null" : value);
}

// Kept: docs/kept-behaviour.md#uncalled-templates
std::string PatchMgr::PatchValueSubstitute(const std::string& patchTemplate,
                                           const std::string& value) {
  std::string clean = value;
  clean.erase(std::remove(clean.begin(), clean.end(), '"'), clean.end());
  const size_t parameter = patchTemplate.find("%1");
  if (parameter == std::string::npos) {
    __dlog_printf(3, kUnit, "%s: Failed to find substitution parameter", "PatchValueSubstitute");
    return {};
  }
  return patchTemplate.substr(0, parameter) + clean + patchTemplate.substr(parameter + 2);
}

}  // namespace cloudclient
