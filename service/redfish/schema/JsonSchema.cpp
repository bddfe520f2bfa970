// SPDX-License-Identifier: Apache-2.0
// The types as JSON Schema.
#include "service/redfish/schema/JsonSchema.h"

#include "service/json/Json.h"
#include "service/redfish/schema/SchemaUris.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

// The pattern of annotations, which any object may have.
constexpr const char* kAnnotations =
    R"(^([a-zA-Z_][a-zA-Z0-9_]*)?@(odata|Redfish|Message)\.[a-zA-Z_][a-zA-Z0-9_]*$)";

std::string LastName(const std::string& type) { return type.substr(type.rfind('.') + 1); }

Json LinkSchema() {
  return {{"type", "object"},
          {"properties", {{"@odata.id", {{"type", "string"}, {"format", "uri-reference"}}}}},
          {"required", {"@odata.id"}},
          {"additionalProperties", false}};
}

Json ValueSchema(const Property& property) {
  switch (property.kind) {
    case Kind::kNumber:
      return {{"type", "number"}};
    case Kind::kInteger:
      return {{"type", "integer"}};
    case Kind::kBoolean:
      return {{"type", "boolean"}};
    case Kind::kTime:
      return {{"type", "string"}, {"format", "date-time"}};
    case Kind::kObject:
      return {{"$ref", "#/definitions/" + LastName(property.type)}};
    case Kind::kOem:
      return {{"type", "object"}};
    case Kind::kLink:
      return LinkSchema();
    default:
      return {{"type", "string"}};
  }
}

Json PropertySchema(const Property& property) {
  Json schema = ValueSchema(property);
  if (property.Is(kNotNegative)) schema["minimum"] = 0;
  if (property.Is(kNull)) schema["type"] = Json::array({schema.at("type"), "null"});
  if (property.Is(kArray)) schema = {{"type", "array"}, {"items", schema}};
  schema["readOnly"] = true;
  if (*property.description != '\0') schema["description"] = property.description;
  return schema;
}

Json TypeSchema(const Type& type) {
  Json properties = Json::object();
  Json required = Json::array();
  if (type.base != Base::kObject) {
    properties["@odata.type"] = {{"type", "string"}};
    required.push_back("@odata.type");
  }
  if (type.base == Base::kResource || type.base == Base::kCollection) {
    properties["@odata.id"] = {{"type", "string"}, {"format", "uri-reference"}};
    required.push_back("@odata.id");
  }
  for (const Property& property : type.properties) {
    properties[property.name] = PropertySchema(property);
    if (property.Is(kRequired)) required.push_back(property.name);
  }
  return {{"type", "object"},         {"description", type.description},
          {"properties", properties}, {"patternProperties", {{kAnnotations, Json::object()}}},
          {"required", required},     {"additionalProperties", type.base == Base::kOpen}};
}

}  // namespace

std::string JsonSchemaOf(const std::string& schema) {
  Json definitions = Json::object();
  std::string main;
  for (const Type& type : OwnTypes()) {
    if (SchemaOf(type.name) != schema) continue;
    if (main.empty()) main = type.name;
    definitions[LastName(type.name)] = TypeSchema(type);
  }
  return CompactText({{"$id", JsonSchemaUri(main)},
                      {"$schema", "http://json-schema.org/draft-07/schema#"},
                      {"$ref", "#/definitions/" + LastName(main)},
                      {"title", "#" + main},
                      {"definitions", definitions}});
}

}  // namespace cloudservice
