// SPDX-License-Identifier: Apache-2.0
// Tables: the types of the service itself.
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

Type CollectionOf(const char* name, const char* member) {
  return {name,
          Base::kCollection,
          {
              {"Description", Kind::kText, kNull},
              {"Members", Kind::kLink, kArray | kRequired, member},
              {"Name", Kind::kText, kRequired},
              {"Oem", Kind::kOem},
          }};
}

Type LocationOf(const char* name) {
  return {name,
          Base::kObject,
          {
              {"ArchiveFile", Kind::kText},
              {"ArchiveUri", Kind::kUri},
              {"Language", Kind::kText},
              {"PublicationUri", Kind::kUri},
              {"Uri", Kind::kUri},
          }};
}

// The type of a resource that tells where a file is published; `what` is the member that names what
// the file describes.
Type FileOf(const char* name, const char* what, const char* location) {
  return {name,
          Base::kResource,
          {
              {"Description", Kind::kText, kNull},
              {"Id", Kind::kText, kRequired},
              {"Languages", Kind::kText, kArray | kRequired},
              {"Location", Kind::kObject, kArray | kRequired, location},
              {"Name", Kind::kText, kRequired},
              {"Oem", Kind::kOem},
              {what, Kind::kText, kRequired},
          }};
}

const Type kServiceRootType = {types::kServiceRoot,
                               Base::kResource,
                               {
                                   {"Chassis", Kind::kLink, 0, "ChassisCollection"},
                                   {"Description", Kind::kText, kNull},
                                   {"Id", Kind::kText, kRequired},
                                   {"JsonSchemas", Kind::kLink, 0, "JsonSchemaFileCollection"},
                                   {"Links", Kind::kObject, kRequired, "ServiceRoot.v1_15_0.Links"},
                                   {"Managers", Kind::kLink, 0, "ManagerCollection"},
                                   {"Name", Kind::kText, kRequired},
                                   {"Oem", Kind::kOem},
                                   {"Product", Kind::kText, kNull},
                                   {"ProtocolFeaturesSupported", Kind::kObject, 0,
                                    "ServiceRoot.v1_21_0.ProtocolFeaturesSupported"},
                                   {"RedfishVersion", Kind::kText},
                                   {"Registries", Kind::kLink, 0, "MessageRegistryFileCollection"},
                                   {"SessionService", Kind::kLink, 0, "SessionService"},
                                   {"UUID", Kind::kUuid, kNull},
                                   {"Vendor", Kind::kText, kNull},
                               }};

const Type kRootLinks = {"ServiceRoot.v1_15_0.Links",
                         Base::kObject,
                         {
                             {"Oem", Kind::kOem},
                             {"Sessions", Kind::kLink, kRequired, "SessionCollection"},
                         }};

const Type kFeatures = {"ServiceRoot.v1_21_0.ProtocolFeaturesSupported",
                        Base::kObject,
                        {
                            {"ExcerptQuery", Kind::kBoolean},
                            {"ExpandQuery", Kind::kObject, 0, "ServiceRoot.v1_3_0.Expand"},
                            {"FilterQuery", Kind::kBoolean},
                            {"MultipleHTTPRequests", Kind::kBoolean},
                            {"OnlyMemberQuery", Kind::kBoolean},
                            {"SelectQuery", Kind::kBoolean},
                            {"TopSkipQuery", Kind::kBoolean},
                        }};

const Type kExpand = {"ServiceRoot.v1_3_0.Expand",
                      Base::kObject,
                      {
                          {"ExpandAll", Kind::kBoolean},
                          {"Levels", Kind::kBoolean},
                          {"Links", Kind::kBoolean},
                          {"MaxLevels", Kind::kInteger, kNotNegative},
                          {"NoLinks", Kind::kBoolean},
                      }};

const Type kSessions = {types::kSessionService,
                        Base::kResource,
                        {
                            {"Description", Kind::kText, kNull},
                            {"Id", Kind::kText, kRequired},
                            {"Name", Kind::kText, kRequired},
                            {"Oem", Kind::kOem},
                            {"ServiceEnabled", Kind::kBoolean, kNull | kWrite},
                            {"SessionTimeout", Kind::kInteger, kWrite | kNotNegative},
                            {"Sessions", Kind::kLink, 0, "SessionCollection"},
                            {"Status", Kind::kObject, 0, "Resource.Status"},
                        }};

}  // namespace

const std::vector<Type>& ServiceTypes() {
  static const std::vector<Type> types = {
      kServiceRootType,
      kRootLinks,
      kFeatures,
      kExpand,
      kSessions,
      CollectionOf(types::kManagerCollection, "Manager"),
      CollectionOf(types::kChassisCollection, "Chassis"),
      CollectionOf(types::kSensorCollection, "Sensor"),
      CollectionOf(types::kSessionCollection, "Session"),
      CollectionOf(types::kSchemaCollection, "JsonSchemaFile"),
      CollectionOf(types::kRegistryCollection, "MessageRegistryFile"),
      LocationOf("JsonSchemaFile.v1_0_0.Location"),
      FileOf(types::kSchemaFile, "Schema", "JsonSchemaFile.v1_0_0.Location"),
      LocationOf("MessageRegistryFile.v1_0_0.Location"),
      FileOf(types::kRegistryFile, "Registry", "MessageRegistryFile.v1_0_0.Location"),
  };
  return types;
}

}  // namespace cloudservice
