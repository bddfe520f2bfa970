// SPDX-License-Identifier: Apache-2.0
// Documents below chassis and managers.
#include "service/redfish/Resources.h"

#include <utility>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Body.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Shape.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"

namespace cloudservice {

namespace {

Answer GetResource(const Call& call, Transaction& store) {
  const std::string path = call.target.Path();
  const std::optional<ResourceRecord> resource = store.FindResource(call.owner->uuid, path);
  if (!resource) throw NothingAt(path);
  Json view = ShapedFor(call, store, call.owner->uuid, TypeAt(call.target), path,
                        ParseStored(resource->document));
  OemOf(view)["History"] = Reference(path + kHistoryBelow);
  return Found(std::move(view));
}

// The collection of a chassis' sensors. It exists when there are sensors, or when a document was
// sent for the collection itself.
Answer GetSensors(const Call& call, Transaction& store) {
  const std::string path = call.target.Path();
  const std::string& owner = call.owner->uuid;
  const std::vector<std::string> sensors = AllOf(store, &Transaction::ListChildren, owner, path);
  const std::optional<ResourceRecord> sent = store.FindResource(owner, path);
  if (sensors.empty() && !sent) throw NothingAt(path);
  Json view = CollectionView(path, types::kSensorCollection, "Sensors", sensors, call.query);
  if (!sent) return Found(std::move(view));
  Json document = ParseStored(sent->document);
  document.erase("Members");
  Json shaped = ShapedFor(call, store, call.owner->uuid, types::kSensorCollection, path, document);
  OemOf(shaped)["History"] = Reference(path + kHistoryBelow);
  view.update(shaped);
  return Found(std::move(view));
}

}  // namespace

void Resources::AddTo(Routes& routes) const {
  const auto patch = [*this](const Call& call, Transaction& store) { return Patch(call, store); };
  const std::string manager = ManagerPath("*") + "/**";
  const std::string chassis = ChassisPath("*") + "/**";
  const std::string sensors = ChassisPath("*") + "/Sensors";
  routes.Add("GET", manager, {Access::kItsManager, QueryUse::kResource, GetResource});
  routes.Add("PATCH", manager, {Access::kItsManager, QueryUse::kNone, patch});
  routes.Add("GET", chassis, {Access::kItsChassis, QueryUse::kResource, GetResource});
  routes.Add("PATCH", chassis, {Access::kItsChassis, QueryUse::kNone, patch});
  routes.Add("GET", sensors, {Access::kItsChassis, QueryUse::kCollection, GetSensors});
  routes.Add("PATCH", sensors, {Access::kItsChassis, QueryUse::kNone, patch});
}

Answer Resources::Patch(const Call& call, Transaction& store) const {
  ResourceRecord resource;
  resource.path = call.target.Path();
  resource.manager = call.owner->uuid;
  if (call.target.Segments().at(2) == "Chassis") resource.chassis = call.names.at(0);
  resource.changed = m_clock();
  const auto before = store.FindResource(resource.manager, resource.path);
  resource.document = MergedText(before ? before->document : "{}", call.body);
  std::optional<std::size_t> size;
  if (before) size = before->document.size();
  m_quota.CheckDocument(*call.owner, store, size, resource.document.size());
  store.PutResource(resource, ReadingsOf(call, resource.chassis, resource.changed));
  Answer answer = Done();
  answer.lines = {(before ? "resource changed: " : "resource created: ") + resource.path};
  answer.routine = true;
  return answer;
}

}  // namespace cloudservice
