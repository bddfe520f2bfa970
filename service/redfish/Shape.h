// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SHAPE_H_
#define SERVICE_REDFISH_SHAPE_H_

#include <functional>
#include <stdexcept>
#include <string>

#include "service/json/Json.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

// The schema of the resource at a path, without its version ("Thermal"); empty when a client that
// follows a link to this path would find nothing.
using Resolver = std::function<std::string(const std::string& path)>;

// Thrown for a view to which the service itself would add more bytes than an answer may have.
struct ViewTooLarge : std::runtime_error {
  ViewTooLarge() : std::runtime_error("a view is too large") {}
};

// The document `sent` in the shape of `type`, for the resource at `path`: a valid document whatever
// was sent, in which nothing that was sent is left out but annotations, which are all names with an
// "@" in them, and what the service itself says ("Id").
//  - Members that the type has, with values that fit it, stay in their places; times get the colon
//    that their offset lacks.
//  - Everything else moves below the nearest Oem.Quorvan, under its own name. Where that name is
//    taken there, what stands there stays; the names that the service has for itself there are
//    always taken.
//  - Links to nothing become texts there. Where any item may be linked to, a collection may not,
//    nor a part that has no address.
//  - Elements of arrays have their positions as MemberId, whatever was sent for it.
//  - Required members that were not sent are made up: names from the path.
// Throws ViewTooLarge before it has grown far: a short text may be that of very many elements.
Json Shaped(const Type& type, const std::string& path, const Json& sent, const Resolver& resolve);

// {"@odata.id": path}
Json Reference(const std::string& path);

// The Oem.Quorvan of a document, made where there is none.
Json& OemOf(Json& document);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SHAPE_H_
