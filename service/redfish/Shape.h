// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SHAPE_H_
#define SERVICE_REDFISH_SHAPE_H_

#include <functional>
#include <stdexcept>
#include <string>

#include "service/json/Json.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

// Returns the schema of the resource at a path, without its version ("Thermal"); empty when a link
// to this path would lead a client to nothing.
using Resolver = std::function<std::string(const std::string& path)>;

// Thrown when the service itself would add more bytes to a view than an answer may have.
struct ViewTooLarge : std::runtime_error {
  ViewTooLarge() : std::runtime_error("a view is too large") {}
};

// The document `sent` in the shape of `type`, for the resource at `path`. The result is a valid
// document, whatever was sent. Only two kinds of members are left out: annotations, which are all
// names with an "@" in them, and members that the service sets itself ("Id").
//  - A member that the type has, with a value that fits it, stays in its place. A time whose offset
//    has no colon gets one.
//  - Every other member moves below the nearest Oem.Quorvan, under its own name. If the name is
//    taken there, the member that has it stays; names that the service uses there are always taken.
//  - A link to nothing becomes a text there. Where the type allows a link to any item, a link to a
//    collection, or to a part without an address, does not fit.
//  - The MemberId of an array's element is its position, whatever was sent for it.
//  - Required members that were not sent are added; names are taken from the path.
// Throws ViewTooLarge before much memory is used: a short text may hold very many elements, to each
// of which the service adds members.
Json Shaped(const Type& type, const std::string& path, const Json& sent, const Resolver& resolve);

// {"@odata.id": path}
Json Reference(const std::string& path);

// The object Oem.Quorvan of a document; it is added where it is missing.
Json& OemOf(Json& document);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SHAPE_H_
