// SPDX-License-Identifier: Apache-2.0
#include "PayloadCheck.h"

#include <map>
#include <regex>

#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

bool Fits(const Json& value, const char* pattern) {
  static std::map<std::string, std::regex> known;
  const auto [form, fresh] = known.try_emplace(pattern);
  if (fresh) form->second = std::regex(pattern);
  return value.is_string() && std::regex_match(value.get<std::string>(), form->second);
}

class Checker {
 public:
  Checker(std::vector<std::string>& faults, bool partial) : m_faults(faults), m_partial(partial) {}

  void Resource(const Json& document, const std::string& where) {
    const auto named = document.find("@odata.type");
    if (named == document.end() || !named->is_string()) return Fault(where, "has no type");
    const auto name = named->get<std::string>();
    for (const Type* type : AllTypes()) {
      if (name == std::string("#") + type->name) return Object(*type, document, where);
    }
    Fault(where, "has the unknown type " + name);
  }

 private:
  void Fault(const std::string& where, const std::string& what) {
    m_faults.push_back((where.empty() ? "the document" : where) + " " + what);
  }

  void Object(const Type& type, const Json& object, const std::string& where) {
    const bool resource = type.base == Base::kResource || type.base == Base::kCollection;
    if (resource || type.base == Base::kMember) {
      if (!Fits(object.value("@odata.id", Json()), "/redfish/v1/.*"))
        Fault(where, "has no address");
    }
    if (resource || type.base == Base::kOpen) {
      const Json expected = std::string("#") + type.name;
      if (object.value("@odata.type", Json()) != expected) Fault(where, "has another type");
    }
    if (type.base == Base::kMember && !(m_partial && !object.contains("MemberId")) &&
        object.value("MemberId", "") != where.substr(where.rfind('/') + 1)) {
      Fault(where + "/MemberId", "is no position");
    }
    for (const auto& [name, value] : object.items()) {
      const std::string way = where + "/" + name;
      const Property* property = type.Find(name);
      if (property != nullptr) {
        Member(*property, value, way);
      } else if (name.find('@') != std::string::npos) {
        Annotation(object, name, way);
      } else if (type.base != Base::kOpen) {
        Fault(way, std::string("is no member of ") + type.name);
      }
    }
    for (const Property& property : type.properties) {
      if (!m_partial && property.Is(kRequired) && !object.contains(property.name)) {
        Fault(where + "/" + property.name, "is missing");
      }
    }
  }

  void Annotation(const Json& object, const std::string& name, const std::string& way) {
    const std::size_t at = name.find('@');
    const std::string what = name.substr(at);
    const bool counted = what == "@odata.count" || what == "@odata.nextLink";
    if (at == 0 ? what != "@odata.id" && what != "@odata.type" : !counted) {
      Fault(way, "is an annotation that nobody makes");
    }
    if (at > 0 && !object.contains(name.substr(0, at))) Fault(way, "annotates nothing");
  }

  void Member(const Property& property, const Json& value, const std::string& way) {
    if (!property.Is(kArray)) return Value(property, value, way);
    if (!value.is_array()) return Fault(way, "is no array");
    for (std::size_t i = 0; i < value.size(); ++i) {
      Value(property, value[i], way + "/" + std::to_string(i));
    }
  }

  void Value(const Property& property, const Json& value, const std::string& way) {
    if (value.is_null()) {
      if (!property.Is(kNull)) Fault(way, "is null");
    } else if (property.kind == Kind::kObject) {
      value.is_object() ? Object(TypeNamed(property.type), value, way) : Fault(way, "is no object");
    } else if (property.kind == Kind::kLink) {
      Link(property, value, way);
    } else if (property.kind == Kind::kOem) {
      const bool ours = value.is_object() && value.size() == 1 && value.contains("Quorvan");
      ours ? Object(TypeNamed(types::kOem), value.at("Quorvan"), way + "/Quorvan")
           : Fault(way, "holds more than Quorvan");
    } else if (!IsPlain(property, value)) {
      Fault(way, "has the wrong value " + value.dump());
    }
    if (property.Is(kNotNegative) && value.is_number() && value < 0) Fault(way, "is negative");
    if (value.is_number() && (value < property.least || value > property.most)) {
      Fault(way, "is beyond its bounds");
    }
  }

  // A link, or in its place what it leads to.
  void Link(const Property& property, const Json& value, const std::string& way) {
    if (!value.is_object() || !value.contains("@odata.id")) return Fault(way, "is no link");
    if (value.size() == 1) return;
    Resource(value, way);
    const std::string type = value.value("@odata.type", "#");
    const std::string schema = SchemaOf(type.substr(1));
    const bool collection = schema.find("Collection") != std::string::npos;
    const std::string wanted = property.type;
    if (wanted.empty() ? collection : wanted != kItemOrCollection && wanted != schema) {
      Fault(way, "leads to a " + type);
    }
  }

  static bool IsPlain(const Property& property, const Json& value) {
    switch (property.kind) {
      case Kind::kNumber:
        return value.is_number();
      case Kind::kInteger:
        return value.is_number_integer();
      case Kind::kBoolean:
        return value.is_boolean();
      case Kind::kTime:
        return Fits(value, R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[-+]\d\d:\d\d))");
      case Kind::kOffset:
        return Fits(value, R"([-+][0-1]\d:[0-5]\d)");
      case Kind::kDuration:
        return Fits(value, R"(P(\d+D)?(T(\d+H)?(\d+M)?(\d+(\.\d+)?S)?)?)");
      case Kind::kUuid:
        return Fits(value, "[0-9a-fA-F]{8}-([0-9a-fA-F]{4}-){3}[0-9a-fA-F]{12}");
      case Kind::kUri:
        return Fits(value, R"([^\s<>"{}|\\^`]*)");
      case Kind::kEnum:
        return value.is_string() && EnumerationNamed(property.type).Has(value.get<std::string>());
      default:
        return value.is_string();
    }
  }

  std::vector<std::string>& m_faults;
  const bool m_partial;
};

void CollectLinks(const Json& value, std::vector<std::string>& links) {
  if (!value.is_structured()) return;
  if (value.is_object() && value.contains("@odata.id")) {
    const auto link = value.at("@odata.id").get<std::string>();
    if (link.find('#') == std::string::npos) links.push_back(link);
  }
  for (const Json& member : value) CollectLinks(member, links);
}

}  // namespace

std::vector<std::string> FaultsOf(const Json& document, bool partial) {
  std::vector<std::string> faults;
  Checker(faults, partial).Resource(document, "");
  return faults;
}

std::vector<std::string> LinksOf(const Json& document) {
  std::vector<std::string> links;
  CollectLinks(document, links);
  return links;
}

}  // namespace cloudservice
