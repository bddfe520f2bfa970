// SPDX-License-Identifier: Apache-2.0
// The types as CSDL, and the metadata document.
#include "service/redfish/schema/Csdl.h"

#include <map>
#include <set>

#include "service/redfish/schema/SchemaUris.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

const std::string kVocabulary =
    "http://docs.oasis-open.org/odata/odata/v4.0/errata03/csd01/complete/vocabularies/"
    "Org.OData.Core.V1.xml";

std::string XmlText(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '&') {
      out += "&amp;";
    } else if (c == '<') {
      out += "&lt;";
    } else if (c == '"') {
      out += "&quot;";
    } else {
      out += c;
    }
  }
  return out;
}

// Writes XML elements with their attributes, indented.
class Xml {
 public:
  using Attributes = std::vector<std::pair<std::string, std::string>>;

  void Empty(const std::string& name, const Attributes& attributes) {
    Begin(name, attributes, "/>\n");
  }
  void Open(const std::string& name, const Attributes& attributes) {
    Begin(name, attributes, ">\n");
    m_open.push_back(name);
  }
  void Close() {
    const std::string name = m_open.back();
    m_open.pop_back();
    m_text += std::string(2 * m_open.size(), ' ') + "</" + name + ">\n";
  }
  const std::string& Text() const { return m_text; }

 private:
  void Begin(const std::string& name, const Attributes& attributes, const char* end) {
    m_text += std::string(2 * m_open.size(), ' ') + "<" + name;
    for (const auto& [key, value] : attributes) m_text += " " + key + "=\"" + XmlText(value) + "\"";
    m_text += end;
  }

  std::vector<std::string> m_open;
  std::string m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
};

void WriteReference(Xml& xml, const std::string& uri, const std::set<std::string>& namespaces,
                    const std::string& alias = "") {
  xml.Open("edmx:Reference", {{"Uri", uri}});
  for (const std::string& name : namespaces) {
    Xml::Attributes attributes = {{"Namespace", name}};
    if (!alias.empty()) attributes.emplace_back("Alias", alias);
    xml.Empty("edmx:Include", attributes);
  }
  xml.Close();
}

void OpenDocument(Xml& xml) {
  xml.Open("edmx:Edmx",
           {{"xmlns:edmx", "http://docs.oasis-open.org/odata/ns/edmx"}, {"Version", "4.0"}});
}

void OpenSchema(Xml& xml, const std::string& name) {
  xml.Open("Schema", {{"xmlns", "http://docs.oasis-open.org/odata/ns/edm"}, {"Namespace", name}});
}

void WriteExtensions(Xml& xml) {
  WriteReference(xml, CsdlUri("RedfishExtensions"), {"RedfishExtensions.v1_0_0"}, "Redfish");
}

void Describe(Xml& xml, const std::string& text) {
  xml.Empty("Annotation", {{"Term", "OData.Description"}, {"String", text}});
  xml.Empty("Annotation", {{"Term", "OData.LongDescription"}, {"String", text}});
}

std::string EdmType(const Property& property) {
  switch (property.kind) {
    case Kind::kNumber:
      return "Edm.Decimal";
    case Kind::kInteger:
      return "Edm.Int64";
    case Kind::kBoolean:
      return "Edm.Boolean";
    case Kind::kTime:
      return "Edm.DateTimeOffset";
    case Kind::kObject:
      return property.type;
    case Kind::kLink:
      if (*property.type == '\0') return "Resource.Item";
      if (property.type == std::string(kItemOrCollection)) return "Resource.ItemOrCollection";
      return property.type + std::string(".") + property.type;
    default:
      return "Edm.String";
  }
}

void WriteProperty(Xml& xml, const Property& property) {
  std::string type = EdmType(property);
  if (property.Is(kArray)) type = "Collection(" + type + ")";
  Xml::Attributes attributes = {{"Name", property.name}, {"Type", type}};
  if (!property.Is(kNull)) attributes.emplace_back("Nullable", "false");
  xml.Open(property.kind == Kind::kLink ? "NavigationProperty" : "Property", attributes);
  xml.Empty("Annotation", {{"Term", "OData.Permissions"}, {"EnumMember", "OData.Permission/Read"}});
  Describe(xml, property.description);
  if (property.Is(kRequired)) xml.Empty("Annotation", {{"Term", "Redfish.Required"}});
  xml.Close();
}

// Whether a type inherits the property from its base type.
bool IsInherited(const Type& type, const std::string& property) {
  if (type.base != Base::kResource && type.base != Base::kCollection) return false;
  return property == "Id" || property == "Name" || property == "Description" || property == "Oem";
}

void WriteType(Xml& xml, const Type& type) {
  const std::string name = type.name;
  const std::string schema = SchemaOf(name);
  Xml::Attributes attributes = {{"Name", name.substr(name.rfind('.') + 1)}};
  const bool entity = type.base == Base::kResource || type.base == Base::kCollection;
  if (type.base == Base::kResource) attributes.emplace_back("BaseType", schema + "." + schema);
  if (type.base == Base::kCollection) {
    attributes.emplace_back("BaseType", "Resource.v1_0_0.ResourceCollection");
  }
  if (type.base == Base::kOpen) attributes.emplace_back("BaseType", "Resource.OemObject");
  xml.Open(entity ? "EntityType" : "ComplexType", attributes);
  xml.Empty("Annotation", {{"Term", "OData.AdditionalProperties"},
                           {"Bool", type.base == Base::kOpen ? "true" : "false"}});
  Describe(xml, type.description);
  for (const Property& property : type.properties) {
    if (!IsInherited(type, property.name)) WriteProperty(xml, property);
  }
  xml.Close();
}

// The types of one of the service's own schemas.
std::vector<const Type*> TypesOf(const std::string& schema) {
  std::vector<const Type*> types;
  for (const Type* type : AllTypes()) {
    if (SchemaOf(type->name) == schema) types.push_back(type);
  }
  return types;
}

}  // namespace

std::string CsdlOf(const std::string& schema) {
  const std::vector<const Type*> types = TypesOf(schema);
  std::set<std::string> others;
  for (const Type* type : types) {
    for (const Property& property : type->properties) {
      if (property.kind == Kind::kLink && *property.type != '\0' &&
          property.type != std::string(kItemOrCollection)) {
        others.insert(property.type);
      }
    }
  }
  Xml xml;
  OpenDocument(xml);
  WriteReference(xml, kVocabulary, {"Org.OData.Core.V1"}, "OData");
  WriteExtensions(xml);
  WriteReference(xml, CsdlUri("Resource"), {"Resource", "Resource.v1_0_0"});
  for (const std::string& other : others) WriteReference(xml, CsdlUri(other), {other});
  xml.Open("edmx:DataServices", {});
  if (types.front()->base == Base::kResource) {
    OpenSchema(xml, schema);
    xml.Open("EntityType",
             {{"Name", schema}, {"BaseType", "Resource.v1_0_0.Resource"}, {"Abstract", "true"}});
    Describe(xml, types.front()->description);
    xml.Close();
    xml.Close();
  }
  OpenSchema(xml, NamespaceOf(types.front()->name));
  for (const Type* type : types) WriteType(xml, *type);
  xml.Close();
  xml.Close();
  xml.Close();
  return xml.Text();
}

std::string MetadataDocument() {
  std::map<std::string, std::set<std::string>> namespaces;
  for (const Type* type : AllTypes()) {
    const std::string schema = SchemaOf(type->name);
    namespaces[schema].insert(NamespaceOf(type->name));
    if (type->base == Base::kResource) namespaces[schema].insert(schema);
  }
  namespaces["Resource"].insert({"Resource", "Resource.v1_0_0"});
  namespaces["ServiceRoot"].insert("ServiceRoot.v1_0_0");
  namespaces["Message"].insert({"Message", "Message.v1_1_1"});
  namespaces["Session"].insert("Session");
  Xml xml;
  OpenDocument(xml);
  for (const auto& [schema, names] : namespaces) WriteReference(xml, CsdlUri(schema), names);
  WriteExtensions(xml);
  xml.Open("edmx:DataServices", {});
  OpenSchema(xml, "Service");
  xml.Empty("EntityContainer",
            {{"Name", "Service"}, {"Extends", "ServiceRoot.v1_0_0.ServiceContainer"}});
  xml.Close();
  xml.Close();
  xml.Close();
  return xml.Text();
}

}  // namespace cloudservice
