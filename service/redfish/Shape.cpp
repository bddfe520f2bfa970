// SPDX-License-Identifier: Apache-2.0
// Giving a sent document the shape of its type.
#include "service/redfish/Shape.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "service/http/Target.h"
#include "service/redfish/schema/Formats.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

// Whether clients take the name for an annotation, also for one of a member
// ("Temperatures@odata.count").
bool IsAnnotation(const std::string& name) { return name.find('@') != std::string::npos; }

// The last segment of a path, percent-decoded.
std::string LastSegment(const std::string& path) {
  const Target target = path;
  return target.Segments().empty() ? path : target.Segments().back();
}

std::optional<Json> WholeNumber(const Json& value) {
  if (value.is_number_integer()) return value;
  if (!value.is_number()) return std::nullopt;
  // A double represents every whole number exactly up to this one.
  constexpr double kExact = 9007199254740992.0;
  const auto number = value.get<double>();
  if (std::trunc(number) != number || std::fabs(number) > kExact) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<Json> FittingText(const Property& property, const std::string& text) {
  bool fits = true;
  switch (property.kind) {
    case Kind::kTime:
      if (const auto time = ValidTime(text)) return *time;
      return std::nullopt;
    case Kind::kOffset:
      fits = IsOffset(text);
      break;
    case Kind::kDuration:
      fits = IsDuration(text);
      break;
    case Kind::kUuid:
      fits = IsUuid(text);
      break;
    case Kind::kUri:
      fits = IsUri(text);
      break;
    case Kind::kEnum:
      fits = EnumerationNamed(property.type).Has(text);
      break;
    default:
      break;
  }
  if (!fits) return std::nullopt;
  return text;
}

// The value in the form of a plain property; none when it does not fit the property.
std::optional<Json> FittingValue(const Property& property, const Json& value) {
  if (value.is_null()) return property.Is(kNull) ? std::optional<Json>(value) : std::nullopt;
  switch (property.kind) {
    case Kind::kBoolean:
      return value.is_boolean() ? std::optional<Json>(value) : std::nullopt;
    case Kind::kNumber:
    case Kind::kInteger: {
      if (!value.is_number() || (property.Is(kNotNegative) && value < 0)) return std::nullopt;
      if (value < property.least || value > property.most) return std::nullopt;
      return property.kind == Kind::kInteger ? WholeNumber(value) : value;
    }
    case Kind::kObject:
    case Kind::kLink:
    case Kind::kOem:
      return std::nullopt;
    default:
      return value.is_string() ? FittingText(property, value.get<std::string>()) : std::nullopt;
  }
}

// Whether a path leads to an item in the sense of the types: a resource that is no collection, or
// an element of an array that has an address of its own. `schema` is what a Resolver returns for
// the path.
bool IsItem(const std::string& path, const std::string& schema) {
  const std::string whole = schema.substr(0, schema.find('#'));
  for (const Type* type : AllTypes()) {
    if (SchemaOf(type->name) != whole || type->base != Base::kResource) continue;
    if (whole == schema) return true;
    const std::vector<std::string> part = Split(path.substr(path.find('#') + 1), '/');
    if (part.size() != 3 || !part[0].empty() || part[2].empty() ||
        part[2].find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    const Property* array = type->Find(part[1]);
    return array != nullptr && array->kind == Kind::kObject && array->Is(kArray) &&
           TypeNamed(array->type).base == Base::kMember;
  }
  return false;
}

class Shaper {
 public:
  explicit Shaper(const Resolver& resolve) : m_resolve(resolve) {}

  // Shapes one object. If its type has no Oem, `left` gets the members that have no place in it.
  Json Object(const Type& type, const std::string& path, const Json& sent, Json& left) {
    Json shaped = Json::object();
    Json oem = Json::object();
    for (const auto& [name, value] : sent.items()) {
      if (IsAnnotation(name)) continue;
      const Property* property = type.Find(name);
      if (type.base == Base::kMember && name == "MemberId") {
        // MemberId becomes the element's position, which links into the array use.
        if (value != LastSegment(path)) left[name] = Foreign(value);
      } else if (property == nullptr) {
        left[name] = Foreign(value);
      } else if (property->kind == Kind::kOem) {
        TakeOem(value, oem, left);
      } else {
        Member(*property, path, value, shaped, left);
      }
    }
    const Property* place = type.Find("Oem");
    if (place != nullptr) {
      // insert() keeps members that are there already.
      oem.insert(left.begin(), left.end());
      left = Json::object();
      for (const Property& own : TypeNamed(types::kOem).properties) oem.erase(own.name);
      if (!oem.empty()) {
        Json& own = OemOf(shaped);
        Count(R"("Oem":{"Quorvan":{"@odata.type":""}})", own.at("@odata.type"));
        own.insert(oem.begin(), oem.end());
      }
    }
    Complete(type, path, shaped);
    return shaped;
  }

 private:
  // A value that the type does not know, without annotations. Links in it that lead to a resource
  // stay, since clients follow them; others become texts.
  Json Foreign(const Json& value) const {
    if (value.is_array()) {
      Json array = Json::array();
      for (const Json& element : value) array.push_back(Foreign(element));
      return array;
    }
    if (!value.is_object()) return value;
    const auto link = value.find("@odata.id");
    const bool leads = link != value.end() && SchemaAt(*link).has_value();
    if (link != value.end() && value.size() == 1 && !leads) return Foreign(*link);
    Json object = Json::object();
    for (const auto& [name, member] : value.items()) {
      if (name == "@odata.id" && leads) object[name] = member;
      if (!IsAnnotation(name)) object[name] = Foreign(member);
    }
    return object;
  }

  void TakeOem(const Json& sent, Json& oem, Json& left) const {
    if (!sent.is_object()) {
      left["Oem"] = Foreign(sent);
      return;
    }
    for (const auto& [vendor, value] : sent.items()) {
      if (vendor == "Quorvan" && value.is_object()) {
        for (const auto& [name, member] : value.items()) {
          if (!IsAnnotation(name)) oem[name] = Foreign(member);
        }
      } else if (!IsAnnotation(vendor)) {
        left[vendor] = Foreign(value);
      }
    }
  }

  void Member(const Property& property, const std::string& path, const Json& value, Json& shaped,
              Json& left) {
    const char* name = property.name;
    if (!property.Is(kArray)) {
      Json rest = Json::object();
      std::optional<Json> fitting = One(property, path + "/" + name, value, rest);
      if (fitting) {
        shaped[name] = *std::move(fitting);
        if (!rest.empty()) left[name] = rest;
      } else {
        left[name] = Foreign(value);
      }
    } else if (!value.is_array()) {
      left[name] = Foreign(value);
    } else if (property.kind == Kind::kLink) {
      Links(property, value, shaped, left);
    } else {
      Elements(property, path + "/" + name, value, shaped, left);
    }
  }

  // Links that fit the property stay in their place; only the others move below Oem.
  void Links(const Property& property, const Json& value, Json& shaped, Json& left) const {
    Json links = Json::array();
    Json lost = Json::array();
    for (const Json& element : value) {
      const std::optional<Json> link = Link(property, element);
      (link ? links : lost).push_back(link ? *link : Foreign(element));
    }
    if (!links.empty() || lost.empty()) shaped[property.name] = links;
    if (!lost.empty()) left[property.name] = lost;
  }

  // All elements stay in their place or all of them move, since elements are identified by their
  // positions.
  void Elements(const Property& property, const std::string& path, const Json& value, Json& shaped,
                Json& left) {
    // Objects always fit. Knowing that before keeps members from being added to objects that are
    // dropped later.
    const bool objects = std::all_of(value.begin(), value.end(),
                                     [](const Json& element) { return element.is_object(); });
    if (property.kind == Kind::kObject && !objects) {
      left[property.name] = Foreign(value);
      return;
    }
    Json elements = Json::array();
    Json rests = Json::array();
    bool some = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
      Json rest = Json::object();
      std::optional<Json> fitting = One(property, path + "/" + std::to_string(i), value[i], rest);
      if (!fitting) {
        left[property.name] = Foreign(value);
        return;
      }
      elements.push_back(*std::move(fitting));
      some = some || !rest.empty();
      rests.push_back(std::move(rest));
    }
    shaped[property.name] = elements;
    if (some) left[property.name] = rests;
  }

  std::optional<Json> One(const Property& property, const std::string& path, const Json& value,
                          Json& rest) {
    if (property.kind == Kind::kLink) return Link(property, value);
    if (property.kind != Kind::kObject) return FittingValue(property, value);
    if (!value.is_object()) return std::nullopt;
    return Object(TypeNamed(property.type), path, value, rest);
  }

  std::optional<Json> Link(const Property& property, const Json& value) const {
    if (!value.is_object() || value.size() != 1 || !value.contains("@odata.id")) {
      return std::nullopt;
    }
    const Json& path = value.at("@odata.id");
    const std::optional<std::string> target = SchemaAt(path);
    const std::string wanted = property.type;
    if (!target || !(wanted.empty() ? IsItem(path, *target) : *target == wanted)) {
      return std::nullopt;
    }
    return Reference(path.get<std::string>());
  }

  // The schema of the resource at the path; none when the path leads to nothing.
  std::optional<std::string> SchemaAt(const Json& path) const {
    if (!path.is_string()) return std::nullopt;
    std::string schema = m_resolve(path.get<std::string>());
    if (schema.empty()) return std::nullopt;
    return schema;
  }

  void Complete(const Type& type, const std::string& path, Json& shaped) {
    if (type.base == Base::kResource || type.base == Base::kCollection) {
      shaped["@odata.id"] = path;
      shaped["@odata.type"] = std::string("#") + type.name;
    }
    if (type.base == Base::kResource) shaped["Id"] = LastSegment(path);
    if (type.base == Base::kMember) {
      shaped["@odata.id"] = PathInside(path);
      Count(R"("@odata.id":"","MemberId":"0")", shaped["@odata.id"]);
      shaped["MemberId"] = LastSegment(path);
    }
    for (const Property& property : type.properties) {
      if (!property.Is(kRequired) || shaped.contains(property.name)) continue;
      if (property.name == std::string("Name")) shaped["Name"] = LastSegment(path);
      if (property.name == std::string("ChassisType")) shaped["ChassisType"] = "Other";
    }
  }

  // Counts the bytes that the service adds to an object, of which a sender can send very many. The
  // view has at least as many bytes.
  void Count(const std::string& around, const Json& text) {
    m_added += around.size() + text.get_ref<const std::string&>().size();
    if (m_added > kMaxAnswer) throw ViewTooLarge();
  }

  // Makes ".../Thermal#/Temperatures/0" of ".../Thermal/Temperatures/0".
  static std::string PathInside(const std::string& path) {
    const std::size_t position = path.rfind('/');
    const std::size_t array = path.rfind('/', position - 1);
    return path.substr(0, array) + "#" + path.substr(array);
  }

  const Resolver& m_resolve;
  std::size_t m_added = 0;
};

}  // namespace

Json Shaped(const Type& type, const std::string& path, const Json& sent, const Resolver& resolve) {
  Json left = Json::object();
  return Shaper(resolve).Object(type, path, sent, left);
}

Json Reference(const std::string& path) { return Json{{"@odata.id", path}}; }

Json& OemOf(Json& document) {
  Json& oem = document["Oem"]["Quorvan"];
  oem["@odata.type"] = std::string("#") + types::kOem;
  return oem;
}

}  // namespace cloudservice
