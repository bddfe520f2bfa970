// SPDX-License-Identifier: Apache-2.0
// The files of the service's own schemas.
#include "service/redfish/schema/SchemaFiles.h"

#include "service/redfish/schema/Csdl.h"
#include "service/redfish/schema/JsonSchema.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

const std::map<std::string, std::string>& SchemaFiles() {
  static const std::map<std::string, std::string> files = [] {
    std::map<std::string, std::string> made;
    for (const Type& type : OwnTypes()) {
      const std::string schema = SchemaOf(type.name);
      const std::string name = schema + "_v1.xml";
      if (made.count(name) != 0) continue;
      made[name] = CsdlOf(schema);
      made[NamespaceOf(type.name) + ".json"] = JsonSchemaOf(schema);
    }
    return made;
  }();
  return files;
}

}  // namespace cloudservice
