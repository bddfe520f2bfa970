// SPDX-License-Identifier: Apache-2.0
// Views of sent documents: their types, their links, the resources below them.
#include "service/redfish/Views.h"

#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Shape.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"

namespace cloudservice {

namespace {

// The positions in a path of the identifier of a manager or a chassis, and of the first segment
// below it.
constexpr std::size_t kOwnerSegment = 3;
constexpr std::size_t kBelow = 4;

std::string SchemaBelow(Transaction& store, const std::string& owner, const Target& target) {
  const std::string& id = target.Segments().at(kOwnerSegment);
  const bool itself = target.Segments().size() == kBelow;
  if (target.Segments().at(2) == "Managers") {
    if (id != owner) return "";
    if (itself) return SchemaOf(types::kManager);
  } else if (target.Segments().at(2) == "Chassis") {
    if (!store.HasChassis(owner, id)) return "";
    if (itself) return SchemaOf(types::kChassis);
  } else {
    return "";
  }
  const std::string type = TypeAt(target);
  const std::string path = target.Path();
  const bool found = store.HasResource(owner, path) ||
                     (type == types::kSensorCollection && store.HasChildren(owner, path));
  return found ? SchemaOf(type) : "";
}

// The schema of the resource at `path`; empty when there is none that `owner` may see.
std::string SchemaAt(Transaction& store, const std::string& owner, const std::string& path) {
  const Target target = path;
  if (path.rfind('/', 0) != 0 || !target.IsPath() || !target.Query().empty()) return "";
  const std::vector<std::string>& segments = target.Segments();
  if (segments.size() < 2 || segments[0] != "redfish" || segments[1] != "v1") return "";
  std::string schema;
  if (segments.size() == 2) {
    schema = SchemaOf(types::kServiceRoot);
  } else if (segments.size() == 3) {
    if (segments[2] == "Managers") schema = SchemaOf(types::kManagerCollection);
    if (segments[2] == "Chassis") schema = SchemaOf(types::kChassisCollection);
  } else {
    schema = SchemaBelow(store, owner, target);
  }
  return schema;
}

Resolver ResolverFor(const Call& call, Transaction& store, const std::string& owner) {
  return [&call, &store, &owner](const std::string& link) {
    const std::size_t fragment = link.find('#');
    const std::string path = link.substr(0, fragment);
    const std::string schema =
        call.lookUps->Schema(path, [&] { return SchemaAt(store, owner, path); });
    // A path with a fragment leads to a part of the resource, which has another type: the "#" marks
    // that.
    return schema.empty() || fragment == std::string::npos ? schema : schema + "#";
  };
}

}  // namespace

const char* TypeAt(const Target& target) {
  const std::vector<std::string>& path = target.Segments();
  if (path.at(2) != "Chassis") return types::kDocument;
  const std::size_t below = path.size() - kBelow;
  const std::string& first = path.at(kBelow);
  if (below == 1 && first == "Thermal") return types::kThermal;
  if (below == 1 && first == "EnvironmentMetrics") return types::kEnvironmentMetrics;
  if (below == 1 && first == "Sensors") return types::kSensorCollection;
  if (below == 2 && first == "Sensors") return types::kSensor;
  return types::kDocument;
}

Json ShapedFor(const Call& call, Transaction& store, const std::string& owner, const char* type,
               const std::string& path, const Json& sent) {
  const Resolver resolve = ResolverFor(call, store, owner);
  try {
    return Shaped(TypeNamed(type), path, sent, resolve);
  } catch (const ViewTooLarge&) {
    call.lookUps->Count(kMaxAnswer + 1, 0);
    return Shaped(TypeNamed(type), path, Json::object(), resolve);
  }
}

void LinkResources(Transaction& store, const std::string& owner,
                   const std::optional<std::string>& chassis, Json& view) {
  Json documents = Json::array();
  const auto link = [&](const std::string& path) {
    const std::string type = TypeAt(path);
    if (type == types::kDocument) {
      documents.push_back(Reference(path));
    } else if (type == types::kSensor || type == types::kSensorCollection) {
      view["Sensors"] = Reference(view.at("@odata.id").get<std::string>() + "/Sensors");
    } else {
      view[SchemaOf(type)] = Reference(path);
    }
  };
  ForEach(store, link, &Transaction::ListResources, owner, chassis);
  Json& oem = OemOf(view);
  oem["History"] = Reference(view.at("@odata.id").get<std::string>() + kHistoryBelow);
  if (!documents.empty()) oem["Documents"] = documents;
}

Readings ReadingsOf(const Call& call, const std::optional<std::string>& chassis, std::int64_t now) {
  Readings readings;
  readings.path = call.target.Path();
  readings.manager = call.owner->uuid;
  readings.chassis = chassis;
  readings.time = now;
  readings.numbers = NumbersOf(call.body);
  return readings;
}

std::string Named(const std::string& name, const std::string& uuid) {
  return name + " (UUID " + uuid + ")";
}

std::string Named(const SenderRecord& manager) { return Named(manager.name, manager.uuid); }

}  // namespace cloudservice
