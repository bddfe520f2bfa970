// SPDX-License-Identifier: Apache-2.0
// Tables: the types of this service's own resources.
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

constexpr Property kDescription = {"Description", Kind::kText, kNull};
constexpr Property kId = {"Id", Kind::kText, kRequired};
constexpr Property kName = {"Name", Kind::kText, kRequired};
constexpr Property kOemMember = {"Oem", Kind::kOem};

Type DocumentType() {
  return {
      types::kDocument,
      Base::kResource,
      {kDescription, kId, kName, kOemMember},
      "A document that an appliance keeps at the service and that is of no published type. What "
      "is in it stands in Oem.Quorvan."};
}

Type EventType() {
  return {types::kEvent,
          Base::kResource,
          {
              {"Created", Kind::kTime, 0, "", "When it happened, by the appliance's clock."},
              kDescription,
              kId,
              {"Message", Kind::kText, kRequired, "", "What happened, for people to read."},
              {"MessageArgs", Kind::kText, kArray | kNull, "", "The arguments of the message."},
              {"MessageId", Kind::kText, kRequired, "",
               "What happened, for programs. 258: the alarm that the fourth argument names is no "
               "more."},
              kName,
              kOemMember,
              {"OriginOfCondition", Kind::kLink, 0, "", "The chassis to which it happened."},
              {"Received", Kind::kTime, kRequired, "", "When the service received it."},
              {"Severity", Kind::kText, kRequired, "",
               "The appliance's word for it: Fault, Alarm and Warning open an alarm."},
          },
          "An event that an appliance has reported."};
}

Type EventCollectionType() {
  return {
      types::kEventCollection,
      Base::kCollection,
      {
          kDescription,
          {"Members", Kind::kLink, kArray | kRequired, "QuorvanEvent", "The events, oldest first."},
          kName,
          kOemMember,
      },
      "The events that an appliance has reported."};
}

Type HistoryType() {
  return {types::kHistory,
          Base::kResource,
          {
              kDescription,
              kId,
              {"Member", Kind::kText, 0, "", "The number whose history this is."},
              {"MemberNames", Kind::kText, kArray, "", "The numbers that have a history."},
              kName,
              kOemMember,
              {"Resource", Kind::kLink, kRequired, kItemOrCollection,
               "The document in which the numbers stand."},
              {"Values", Kind::kObject, kArray, "QuorvanHistory.v1_0_0.Value",
               "The values in the order of their arrival."},
          },
          "What became of the numbers of a document over the last days."};
}

Type ValueType() {
  return {"QuorvanHistory.v1_0_0.Value",
          Base::kObject,
          {
              {"Time", Kind::kTime, kRequired, "", "When it arrived, by the service's clock."},
              {"Value", Kind::kNumber, kRequired, "", "The value."},
          },
          "A value at a time."};
}

Type OemType() {
  return {
      types::kOem,
      Base::kOpen,
      {
          {"Documents", Kind::kLink, kArray, "QuorvanDocument",
           "The documents below this resource that no other link leads to."},
          {"Events", Kind::kLink, 0, "QuorvanEventCollection", "The appliance's events."},
          {"Heartbeat", Kind::kObject, 0, "QuorvanOem.v1_0_0.Heartbeat",
           "How the appliance shows that it is alive."},
          {"History", Kind::kLink, 0, "QuorvanHistory",
           "What became of the numbers of this document."},
      },
      "What the published types have no place for: links of the service's, and whatever else an "
      "appliance has sent."};
}

Type HeartbeatType() {
  return {
      "QuorvanOem.v1_0_0.Heartbeat",
      Base::kObject,
      {
          {"Count", Kind::kInteger, kRequired | kNotNegative, "",
           "How many have arrived since the registration."},
          {"IntervalSeconds", Kind::kInteger, kRequired | kNull | kNotNegative, "",
           "In how many seconds the next one is due, as the last one announced; null before the "
           "first."},
          {"Last", Kind::kTime, kRequired | kNull, "",
           "When the last one arrived; null before the first."},
          {"Overdue", Kind::kBoolean, kRequired, "",
           "Whether the next one is overdue by twice the interval."},
      },
      "The heartbeats of an appliance."};
}

}  // namespace

const std::vector<Type>& OwnTypes() {
  static const std::vector<Type> types = {
      DocumentType(), EventType(), EventCollectionType(), HistoryType(),
      ValueType(),    OemType(),   HeartbeatType(),
  };
  return types;
}

}  // namespace cloudservice
