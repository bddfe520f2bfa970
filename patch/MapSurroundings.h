// SPDX-License-Identifier: Apache-2.0
// What the check of a map asks of others, and the form of what it finds.
#ifndef PATCH_MAPSURROUNDINGS_H_
#define PATCH_MAPSURROUNDINGS_H_

#include <jansson.h>

#include <cstdint>
#include <string>
#include <vector>

#include "patch/PatchMap.h"

namespace cloudclient {

// What a check found, a sentence each.
typedef std::vector<std::string> Findings;

// What the check of a map asks of whoever knows more than the map: the device that it is for, and
// the pages of its resources.
class MapSurroundings {
 public:
  virtual ~MapSurroundings() = default;

  // Whether the device is known. Its points are asked for only when it is.
  virtual bool KnowsDevice() const = 0;
  // Whether the device has a point, its label's included.
  virtual bool HasPoint(uint16_t number) const = 0;
  // The same of a point's name. On false `hint` is what is put behind the finding: which name was
  // perhaps meant, or nothing.
  virtual bool HasName(const std::string& name, std::string& hint) const = 0;

  // The keys of `object` that are none of `known`, as a finding shows them.
  virtual std::vector<std::string> UnknownKeys(const json_t* object,
                                               const std::vector<std::string>& known) const = 0;

  // Where pages are looked for, as a finding shows it.
  virtual std::string PageFolder() const = 0;
  // Reads a page into `text`; false when there is none.
  virtual bool ReadPage(const std::string& page, std::string& text) const = 0;
  // Adds what in a page only the engine that renders it can tell; `where` begins each finding.
  virtual void CheckPage(const std::string& where, const std::string& page,
                         const ResourceUrlEntry& resource, Findings& findings) const = 0;
};

// A text as findings show it.
inline std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

}  // namespace cloudclient

#endif  // PATCH_MAPSURROUNDINGS_H_
